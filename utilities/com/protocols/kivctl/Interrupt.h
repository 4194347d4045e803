// Ctrl-C for commands that go on until it comes: they end by themselves, with exit code 0.
#pragma once

#include <cstdint>

namespace kivctl {

/// From now on Ctrl-C no longer ends the program.
void CatchInterrupt();
bool IsInterrupted();
/// Returns after `ms`, or soon after Ctrl-C.
void PauseUnlessInterrupted(std::uint32_t ms);

}  // namespace kivctl
