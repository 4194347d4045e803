// IPCRequestInfo: a queue of records and the event that wakes whoever waits for the next one. The reader keeps one for
// every awaited request; the server gathers the requests of all its clients in one.
//
//     for (;;) {
//         if (auto record = queue->PopOrAwait())
//             return record;
//         if (kivsync::WaitAny({stop, queue->ReplyEvent()}, timeoutMs) == 0)
//             return {};
//     }
#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "utils/sync/Event.h"

class IPC;

/// Any thread pushes, one at a time waits. The event is signalled only for a waiter that announced itself by
/// PopOrAwait, and goes back by being waited for: while the consumer keeps up or lags behind, a record costs no call
/// into the system. A wait may end without a record to take; the waiter then waits again.
class IPCRequestInfo {
  public:
    /// A queue that can be waited for; empty when the system has no event to give. One made without it cannot.
    static std::shared_ptr<IPCRequestInfo> Make();

    void Push(std::shared_ptr<IPC> record);
    /// The oldest record; empty when there is none.
    std::shared_ptr<IPC> Pop();
    /// The same, but an empty result also promises that the next Push signals the event.
    std::shared_ptr<IPC> PopOrAwait();
    bool IsEmpty();
    /// Drops what is queued and forgets that the waiter gave up.
    void Clear();

    kivsync::Event* ReplyEvent() const { return replyEvent_.get(); }

    /// The waiter gave up. Guarded by the lock of the table that the object is kept in.
    bool aborted = false;

  private:
    std::shared_ptr<IPC> PopLocked();

    std::mutex lock_;  // guards replies_ and awaited_; taken last
    std::deque<std::shared_ptr<IPC>> replies_;
    bool awaited_ = false;
    std::shared_ptr<kivsync::Event> replyEvent_;  // resets itself
};
