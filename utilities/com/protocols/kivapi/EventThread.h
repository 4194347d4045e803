// EventThread: the thread that passes the events of a connection to a callback.
#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "protocols/control/ControlClient.h"
#include "protocols/kivapi/kivapi.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

/// Fills in the event from a notice, except for its `size`. False for a notice that this library does not know, or that
/// is too short.
bool ReadEvent(const IPC& notice, kiv_event& event);

/// Its functions may be called by any thread. The running thread keeps the object alive.
class EventThread : public std::enable_shared_from_this<EventThread> {
  public:
    EventThread(std::shared_ptr<ControlClient> control, kiv_event_callback callback, void* context)
        : control_(std::move(control)), callback_(callback), context_(context) {}
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Starts the thread; throws std::system_error when the system has none. Called once.
    void Start();
    /// Asks the thread to end. One more callback may still begin, if it was just about to.
    void SignalStop();
    /// Asks the thread to end and waits until it has ended. Called by the callback itself, returns false without
    /// waiting: the thread ends when the callback returns.
    bool Stop();
    bool IsStopping() { return *stopping_.Lock(); }

  private:
    void Run();
    /// Calls the callback with an event that has only a kind.
    void Tell(std::uint32_t kind);
    void Call(const kiv_event& event);

    const std::shared_ptr<ControlClient> control_;
    const kiv_event_callback callback_;
    void* const context_;
    kivsync::Guarded<bool> stopping_{false};
    std::mutex joining_;  // guards thread_; held while joining it, so the thread itself must never lock it
    std::thread thread_;
};

}  // namespace kivapi
