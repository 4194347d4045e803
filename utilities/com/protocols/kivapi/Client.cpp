#include "protocols/kivapi/Client.h"

#include "protocols/kivapi/EventThread.h"

namespace kivapi {

kiv_result Code(const ControlResult& result) {
    switch (result.delivery) {
        case Delivery::Answered:
            return result.result;
        case Delivery::NotThere:
        case Delivery::NotLetIn:
            return KIV_NOT_CONNECTED;
        case Delivery::Lost:
            return KIV_CONNECTION_LOST;
        case Delivery::TimedOut:
            return KIV_NO_ANSWER;
        case Delivery::Malformed:
            break;
    }
    return KIV_BAD_ANSWER;
}

bool Client::Readers::IsFree() const {
    return !polling && (!thread || thread->IsStopping());
}

Client::~Client() {
    Close();
}

void Client::Close() {
    if (const auto thread = readers_.Lock()->thread)
        thread->SignalStop();  // first, so that the callback is not told that the connection ends
    control->Close();          // ends also a call that the callback may be making
    StopEvents();
}

kiv_result Client::NextEvent(std::uint32_t timeoutMs, kiv_event& event) {
    {
        auto readers = readers_.Lock();
        if (!readers->IsFree())
            return KIV_WRONG_STATE;
        readers->polling = true;
    }
    const Polling polling{readers_};
    const platform::Deadline deadline(timeoutMs);
    auto result = kiv_result{KIV_NO_EVENT};
    while (result == KIV_NO_EVENT) {
        const auto next = control->NextNotice(deadline.LeftMs());
        if (next.delivery == Delivery::TimedOut)
            break;
        if (!next.IsAnswered() || ReadEvent(*next.value, event))
            result = Code(next);
    }
    return result;
}

kiv_result Client::StartEvents(kiv_event_callback callback, void* context) {
    auto thread = std::make_shared<EventThread>(control, callback, context);
    auto readers = readers_.Lock();
    if (!readers->IsFree())
        return KIV_WRONG_STATE;
    thread->Start();
    readers->thread.swap(thread);
    return KIV_OK;
}

void Client::StopEvents() {
    const auto thread = readers_.Lock()->thread;
    if (!thread || !thread->Stop())
        return;
    auto readers = readers_.Lock();
    if (readers->thread == thread)
        readers->thread.reset();
}

}  // namespace kivapi
