// platform::Deadline: a common time limit for several waits in a row.
//
//     const platform::Deadline deadline(timeoutMs);
//     return First(deadline.LeftMs()) && Second(deadline.LeftMs());
#pragma once

#include <cstdint>

#include "utils/platform/Platform.h"

namespace platform {

inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;  // ms: no limit

/// The time runs from construction. Any thread.
class Deadline {
  public:
    explicit Deadline(std::uint32_t timeoutMs)
        : never_(timeoutMs == kInfinite), end_(MonotonicNanoseconds() + timeoutMs * kNanosecondsPerMs) {}

    /// The remaining time in ms, rounded up: 0 once the time is over, kInfinite when there is no limit.
    std::uint32_t LeftMs() const {
        if (never_)
            return kInfinite;
        const std::int64_t left = end_ - MonotonicNanoseconds();
        return left <= 0 ? 0 : static_cast<std::uint32_t>((left + kNanosecondsPerMs - 1) / kNanosecondsPerMs);
    }

  private:
    static constexpr std::int64_t kNanosecondsPerMs = 1'000'000;

    bool never_;
    std::int64_t end_;
};

}  // namespace platform
