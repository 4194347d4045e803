// Client: the object of a kiv_client handle, a connection to the manager and the reader of its events.
#pragma once

#include <memory>

#include "protocols/control/ControlClient.h"
#include "protocols/kivapi/Handles.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

class EventThread;

/// Any thread.
class Client : public Object {
  public:
    /// Does not connect yet. `timeoutMs` is the time to connect.
    explicit Client(std::uint32_t timeoutMs) : control(std::make_shared<ControlClient>(timeoutMs)) {}
    ~Client() override;
    /// Ends the calls under way with KIV_CONNECTION_LOST, and the callback as StopEvents does.
    void Close();

    /// See kiv_next_event, kiv_on_event and kiv_stop_events.
    kiv_result NextEvent(std::uint32_t timeoutMs, kiv_event& event);
    kiv_result StartEvents(kiv_event_callback callback, void* context);
    void StopEvents();

    const std::shared_ptr<ControlClient> control;

  private:
    struct Readers {
        bool polling = false;                 // a thread is in NextEvent
        std::shared_ptr<EventThread> thread;  // calls the callback; kept until it has been joined

        bool IsFree() const;  // whether a new reader may begin
    };
    /// Resets `polling` at the end of its block, also after an exception.
    struct Polling {
        ~Polling() { readers.Lock()->polling = false; }
        kivsync::Guarded<Readers>& readers;
    };

    kivsync::Guarded<Readers> readers_;  // never held during a wait
};

/// The outcome of a control request as a result of the interface.
kiv_result Code(const ControlResult& result);

}  // namespace kivapi
