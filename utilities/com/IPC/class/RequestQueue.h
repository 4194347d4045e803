// RequestQueue: the requests of all connections that a server has read and not carried out yet.
//
//     while (const auto request = queue->Take()) {
//         ... carry it out ...
//         queue->Done(*request);
//     }
//
// Several threads may take requests. Requests of one connection are carried out one at a time, in order; requests of
// different connections at the same time. Changes are carried out one at a time, in the order in which they were read.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>

#include "IPC/class/IPC.h"
#include "utils/sync/Guarded.h"

/// Any thread. A closed queue stays closed: a server that is started again uses a new one.
class RequestQueue {
  public:
    /// Adds a request of its connection (IPC::Connection): a change or a question. After Close, drops it.
    void Push(const std::shared_ptr<IPC>& request, bool isChange);
    /// Takes the oldest request that may be carried out now; waits for one without limit. Empty once the queue is
    /// closed. Done must follow.
    std::shared_ptr<IPC> Take();
    /// Tells that a request from Take is carried out, so that the next one of its connection may be taken. Wakes no
    /// thread: the caller itself calls Take next.
    void Done(const IPC& request);
    /// Ends every Take, and drops the requests that wait.
    void Close();

    /// Whether no request of that connection waits or is being carried out. Only the connection's listener thread adds
    /// requests, so on that thread a true answer stays true.
    bool HasNothingOf(const std::weak_ptr<IPCServerClient>& connection);
    /// Whether more requests may be carried out now than threads wait in Take.
    bool WantsThread();

  private:
    struct Entry {
        std::shared_ptr<IPC> request;
        std::uint64_t number;  // in the order of reading
    };
    struct Lane {
        std::deque<Entry> entries;
        bool busy = false;  // the first one is being carried out
    };
    struct State {
        std::map<std::weak_ptr<IPCServerClient>, Lane, std::owner_less<>> lanes;  // only of connections with requests
        std::set<std::uint64_t> changes;                                          // numbers of the unfinished changes
        std::uint64_t next = 0;
        std::size_t waiting = 0;  // threads in Take
        bool closed = false;

        /// The ready lane with the oldest request; null when no lane is ready.
        Lane* NextLane();
        /// Whether the first request of the lane may be carried out now.
        bool IsReady(const Lane& lane) const;
    };

    kivsync::Guarded<State> state_;
};
