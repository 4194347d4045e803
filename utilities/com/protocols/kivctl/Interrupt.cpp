#include "protocols/kivctl/Interrupt.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "utils/platform/Deadline.h"

namespace kivctl {

namespace {

std::atomic<bool> interrupted{false};

void Interrupt(int) {
    interrupted = true;
}

}  // namespace

void CatchInterrupt() {
    std::signal(SIGINT, Interrupt);
}

bool IsInterrupted() {
    return interrupted;
}

void PauseUnlessInterrupted(std::uint32_t ms) {
    constexpr std::uint32_t step = 100;  // ms
    for (const platform::Deadline deadline(ms); !interrupted && deadline.LeftMs() != 0;)
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(step, deadline.LeftMs())));
}

}  // namespace kivctl
