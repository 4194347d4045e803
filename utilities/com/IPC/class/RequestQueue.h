// RequestQueue: the requests that a server has read and nobody has carried out yet, of all its connections.
//
//     while (const auto request = queue->Take()) {
//         ... carry it out ...
//         queue->Done(*request);
//     }
//
// Several threads may take requests. Those of one connection are handed out one after the other, in their order; those
// of different connections side by side. Changes are handed out one at a time, in the order in which they were read.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>

#include "IPC/class/IPC.h"
#include "utils/sync/Guarded.h"

/// Any thread. One life of a server has one queue: a server that is started again begins with another one.
class RequestQueue {
  public:
    /// Adds a request of the connection that it names (IPC::Connection), a change or a question. After Close it is
    /// dropped.
    void Push(const std::shared_ptr<IPC>& request, bool isChange);
    /// The oldest request that may be carried out now, waiting for one without limit; empty once the queue is closed.
    /// Done must follow.
    std::shared_ptr<IPC> Take();
    /// The request that Take gave out is answered: the next one of its connection may come.
    void Done(const IPC& request);
    /// Ends every Take, and drops what waits.
    void Close();

    /// No request of that connection waits or is carried out. Only that connection's own listener adds any, so on that
    /// thread the answer stays true.
    bool HasNothingOf(const std::weak_ptr<IPCServerClient>& connection);
    /// More requests may be carried out now than threads wait in Take.
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
        std::map<std::weak_ptr<IPCServerClient>, Lane, std::owner_less<>> lanes;  // of the connections with requests
        std::set<std::uint64_t> changes;                                          // the numbers of those not done yet
        std::uint64_t next = 0;
        std::size_t waiting = 0;  // threads in Take
        bool closed = false;

        /// The lane whose turn it is; null when there is none.
        Lane* NextLane();
        bool IsReady(const Lane& lane) const;
    };

    kivsync::Guarded<State> state_;
};
