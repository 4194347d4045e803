// Waiting for the first of several events.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "utils/sync/Event.h"

namespace kivsync {

inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;    // ms: no time-out
inline constexpr std::uint32_t kWaitTimeout = 0x102;      // no event within the time
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;  // the wait itself failed
inline constexpr std::uint32_t kWaitMaximum = 64;         // the most events one wait can take

/// Waits at most `timeoutMs` for any of the events and returns the index of the first signalled one in list order,
/// or kWaitTimeout, or kWaitFailed. An auto-reset event is consumed when its index is returned.
std::uint32_t WaitAny(std::initializer_list<Event*> events, std::uint32_t timeoutMs);

}  // namespace kivsync
