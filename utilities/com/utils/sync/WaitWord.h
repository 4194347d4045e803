// A number in memory that threads of this process wait on. When no thread waits, a wake costs no system call.
#pragma once

#include <atomic>
#include <cstdint>

namespace kivsync {

using WaitWord = std::atomic<std::uint32_t>;

/// Returns at once when the word is not `seen`. Otherwise waits for a wake, at most `timeoutMs` (platform::kInfinite:
/// without limit). The wait may also end for no reason, so the caller must check the word again.
void WaitWhile(const WaitWord& word, std::uint32_t seen, std::uint32_t timeoutMs);
/// Wakes one thread, or all threads, in WaitWhile. Change the word first.
void WakeOne(WaitWord& word);
void WakeAll(WaitWord& word);

}  // namespace kivsync
