// platform::Deadline: the time that several waits in a row may take together.
//
//     const platform::Deadline deadline(timeoutMs);
//     return First(deadline.LeftMs()) && Second(deadline.LeftMs());
#pragma once

#include <cstdint>

#include "utils/platform/Platform.h"

namespace platform {

inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;  // ms: no limit

/// Begins with its construction. Any thread.
class Deadline {
  public:
    explicit Deadline(std::uint32_t timeoutMs)
        : never_(timeoutMs == kInfinite), end_(MonotonicNanoseconds() + timeoutMs * kNanosecondsPerMs) {}

    /// What is left, in ms, begun ones counted: 0 once the time is over, kInfinite when it never is.
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
