#include <array>

#include "utils/sync/WaitAny.h"
#include "utils/sync/impl/win/EventWin.h"

namespace kivsync {

static_assert(kInfinite == INFINITE && kWaitTimeout == WAIT_TIMEOUT && kWaitFailed == WAIT_FAILED &&
              kWaitMaximum == MAXIMUM_WAIT_OBJECTS);

std::uint32_t WaitAny(std::initializer_list<Event*> events, std::uint32_t timeoutMs) {
    if (events.size() == 0 || events.size() > kWaitMaximum)
        return kWaitFailed;
    std::array<HANDLE, kWaitMaximum> handles{};
    DWORD count = 0;
    for (auto* event : events) {
        if (event == nullptr)
            return kWaitFailed;
        handles[count++] = static_cast<EventWin*>(event)->Handle();
    }
    return WaitForMultipleObjects(count, handles.data(), FALSE, timeoutMs);
}

}  // namespace kivsync
