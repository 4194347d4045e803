// EventThread: hands a connection's events to a callback.
#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "protocols/control/ControlClient.h"
#include "protocols/kivapi/kivapi.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

/// Fills the event from a notice; false for one that this library does not know.
bool ReadEvent(const IPC& notice, kiv_event& event);

/// Any thread.
class EventThread : public std::enable_shared_from_this<EventThread> {
  public:
    EventThread(std::shared_ptr<ControlClient> control, kiv_event_callback callback, void* context)
        : control_(std::move(control)), callback_(callback), context_(context) {}
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Throws std::system_error when there is no thread to be had.
    void Start();
    /// No callback begins from now on, but for one that is about to.
    void SignalStop();
    /// The same, and waits for the thread to end. False when called by the callback itself: the thread ends after it.
    bool Stop();
    bool IsStopping() { return *stopping_.Lock(); }

  private:
    void Run();
    void Tell(std::uint32_t kind);
    void Call(const kiv_event& event);

    const std::shared_ptr<ControlClient> control_;
    const kiv_event_callback callback_;
    void* const context_;
    kivsync::Guarded<bool> stopping_{false};
    std::mutex joining_;  // guards thread_; held while it is joined, and by nobody whom it waits for
    std::thread thread_;
};

}  // namespace kivapi
