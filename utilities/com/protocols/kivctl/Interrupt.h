// Ctrl-C for commands that run until the operator presses it: it ends them with exit code 0.
#pragma once

#include <cstdint>

namespace kivctl {

/// From now on the first Ctrl-C does not end the program; IsInterrupted reports it.
void CatchInterrupt();
bool IsInterrupted();
/// Waits `ms`; returns within 100 ms of a Ctrl-C.
void PauseUnlessInterrupted(std::uint32_t ms);

}  // namespace kivctl
