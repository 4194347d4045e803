#include "utils/sync/impl/win/EventWin.h"

namespace kivsync {

std::int32_t EventWin::Close() {
    return handle_ && CloseHandle(handle_.Release()) ? 0 : -1;
}

std::int32_t EventWin::Set() {
    return handle_ && SetEvent(handle_.Get()) ? 0 : -1;
}

std::int32_t EventWin::Reset() {
    return handle_ && ResetEvent(handle_.Get()) ? 0 : -1;
}

std::int32_t EventWin::Wait(std::uint32_t timeoutMs) {
    if (!handle_)
        return -1;
    const DWORD result = WaitForSingleObject(handle_.Get(), timeoutMs);
    return (result & ~static_cast<DWORD>(WAIT_ABANDONED)) == WAIT_OBJECT_0 ? 0 : -1;
}

std::int32_t EventWin::Wait() {
    return Wait(INFINITE);
}

std::int32_t EventWin::Create(bool manualReset, bool initialState) {
    handle_.Reset(CreateEventW(nullptr, manualReset, initialState, nullptr));
    return handle_ ? 0 : -1;
}

std::shared_ptr<Event> Event::Make(kivsync::Reset reset, Initially state) {
    auto event = std::make_shared<EventWin>();
    return event->Create(reset == kivsync::Reset::Manual, state == Initially::Signalled) == 0 ? event : nullptr;
}

}  // namespace kivsync
