#include "protocols/kivapi/EventThread.h"

#include <initializer_list>

#include "protocols/kivapi/Handles.h"

namespace kivapi {

namespace {

// ms: the time between two attempts to connect, and the longest wait for a notice; a stop ends both early.
constexpr std::uint32_t kInterval = 1000;

thread_local const EventThread* running = nullptr;  // whose thread the current thread is

/// Copies the names of a notice, in their order, to the fields. False when the notice is too short.
bool ReadNames(const IPC& notice, std::initializer_list<char*> fields) {
    if (notice.Payload().size() < fields.size() * sizeof(wire::Name))
        return false;
    std::size_t offset = 0;
    for (char* const field : fields) {
        PutText(wire::Decode<wire::Name>(notice.Payload(), offset)->Text(), field);
        offset += sizeof(wire::Name);
    }
    return true;
}

}  // namespace

bool ReadEvent(const IPC& notice, kiv_event& event) {
    event = {};
    event.kind = notice.Command();
    switch (notice.Command()) {
        case kEventAdded:
        case kEventRemoved:
        case kEventStarted:
        case kEventStopped:
            return ReadNames(notice, {event.instance});
        case kEventRenamed:
            return ReadNames(notice, {event.instance, event.new_name});
        case kEventStringChanged:
            return ReadNames(notice, {event.instance, event.property, event.old_value, event.new_value});
        default:
            return false;
    }
}

EventThread::~EventThread() {
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();  // the thread itself released the last reference, and cannot join itself
    else if (thread_.joinable())
        thread_.join();
}

void EventThread::Start() {
    const std::lock_guard hold(joining_);
    thread_ = std::thread([self = shared_from_this()] { self->Run(); });
}

void EventThread::SignalStop() {
    *stopping_.Lock() = true;
    stopping_.NotifyAll();
    control_->WakeNoticeReader();
}

bool EventThread::Stop() {
    SignalStop();
    if (running == this)
        return false;
    const std::lock_guard hold(joining_);
    if (thread_.joinable())
        thread_.join();
    return true;
}

void EventThread::Run() {
    running = this;
    bool connected = true;
    while (!IsStopping()) {
        if (!connected && !control_->Connect().IsAnswered()) {
            auto stopping = stopping_.Lock();
            stopping.Wait(kInterval, [&] { return *stopping; });
            continue;
        }
        if (!connected)
            Tell(KIV_EVENT_CONNECTED);
        const auto next = control_->NextNotice(kInterval);
        connected = next.IsAnswered() || next.delivery == Delivery::TimedOut;
        kiv_event event;
        if (!connected)
            Tell(KIV_EVENT_DISCONNECTED);
        else if (next.value && ReadEvent(*next.value, event))
            Call(event);
    }
}

void EventThread::Tell(std::uint32_t kind) {
    kiv_event event = {};
    event.kind = kind;
    Call(event);
}

void EventThread::Call(const kiv_event& event) {
    if (IsStopping())
        return;
    auto told = event;
    told.size = sizeof told;
    callback_(&told, context_);
}

}  // namespace kivapi
