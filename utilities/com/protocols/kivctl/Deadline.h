// Deadline: how much is left of a time that several waits share.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace kivctl {

class Deadline {
  public:
    explicit Deadline(std::uint64_t timeoutMs) : end_(Clock::now() + std::chrono::milliseconds(timeoutMs)) {}

    bool Passed() const { return Clock::now() >= end_; }
    /// ms; 0 when it has passed.
    std::uint32_t Rest() const {
        const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(rest, 0, UINT32_MAX));
    }

  private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end_;
};

}  // namespace kivctl
