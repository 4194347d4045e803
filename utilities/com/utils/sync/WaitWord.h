// A number in memory that threads of this process wait on, without a call into the system when nobody waits.
#pragma once

#include <atomic>
#include <cstdint>

namespace kivsync {

using WaitWord = std::atomic<std::uint32_t>;

/// Returns when the word was changed and woken, after `timeoutMs` (platform::kInfinite: never for that), or for no
/// reason at all; at once when the word is no longer `seen`.
void WaitWhile(const WaitWord& word, std::uint32_t seen, std::uint32_t timeoutMs);
/// Wakes one of those who wait on the word, which was changed before.
void WakeOne(WaitWord& word);
void WakeAll(WaitWord& word);

}  // namespace kivsync
