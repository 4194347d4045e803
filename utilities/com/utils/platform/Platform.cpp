#include "utils/platform/Platform.h"

#include <chrono>
#include <ratio>

namespace platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
using WallClockTick = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

}  // namespace

std::int64_t TicksToNanoseconds(std::int64_t ticks, std::int64_t frequency) {
    const auto seconds = ticks / frequency;
    const auto remainder = ticks % frequency;
    return seconds * kNanosecondsPerSecond + remainder * kNanosecondsPerSecond / frequency;
}

std::int64_t MonotonicNanoseconds() {
    static const std::int64_t frequency = CounterFrequency();
    return TicksToNanoseconds(CounterTicks(), frequency);
}

std::int64_t WallClockTicks() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<WallClockTick>(sinceEpoch).count();
}

}  // namespace platform
