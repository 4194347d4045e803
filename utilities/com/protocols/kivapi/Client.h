// Client: what a kiv_client stands for, a connection to the manager and whoever takes its events.
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
    explicit Client(std::uint32_t timeoutMs) : control(std::make_shared<ControlClient>(timeoutMs)) {}
    ~Client() override;
    /// Ends calls and events.
    void Close();

    kiv_result NextEvent(std::uint32_t timeoutMs, kiv_event& event);
    kiv_result StartEvents(kiv_event_callback callback, void* context);
    void StopEvents();

    const std::shared_ptr<ControlClient> control;

  private:
    struct Readers {
        bool polling = false;                 // a thread is in NextEvent
        std::shared_ptr<EventThread> thread;  // of the callback; stays until it has been joined

        bool IsFree() const;  // for another one
    };
    /// Ends the polling with the block, however that comes.
    struct Polling {
        ~Polling() { readers.Lock()->polling = false; }
        kivsync::Guarded<Readers>& readers;
    };

    kivsync::Guarded<Readers> readers_;  // never held during a wait
};

/// The result of a control request, for the caller.
kiv_result Code(const ControlResult& result);

}  // namespace kivapi
