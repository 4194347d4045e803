#include "utils/sync/WaitWord.h"

#include <windows.h>

#include "utils/platform/Deadline.h"

namespace kivsync {

static_assert(sizeof(WaitWord) == sizeof(std::uint32_t) && WaitWord::is_always_lock_free);
static_assert(platform::kInfinite == INFINITE);

void WaitWhile(const WaitWord& word, std::uint32_t seen, std::uint32_t timeoutMs) {
    WaitOnAddress(const_cast<WaitWord*>(&word), &seen, sizeof seen, timeoutMs);
}

void WakeOne(WaitWord& word) {
    WakeByAddressSingle(&word);
}

void WakeAll(WaitWord& word) {
    WakeByAddressAll(&word);
}

}  // namespace kivsync
