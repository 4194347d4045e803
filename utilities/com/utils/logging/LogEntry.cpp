#include "utils/logging/LogEntry.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "utils/platform/Platform.h"

namespace Logging {

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;

std::uint64_t CachedProcessId() {
    static const std::uint64_t id = platform::CurrentProcessId();
    return id;
}

const std::string& CachedModulePath() {
    // Never destroyed: static objects may log while the process ends.
    static const auto& path = *new std::string(platform::ModulePath());
    return path;
}

}  // namespace

LogEntry::LogEntry(std::uint32_t level, const char* message, const char* file, std::uint32_t line, const char* function)
    : lastError_(platform::LastError()),
      level_(level),
      message_(message),
      file_(file),
      line_(line),
      function_(function),
      timestamp_(platform::WallClockTicks()),
      threadId_(platform::CurrentThreadId()),
      processId_(CachedProcessId()),
      modulePath_(CachedModulePath()) {
    platform::SetLastError(lastError_);
}

std::string LogEntry::FormatTimestamp() const {
    return Logging::FormatTimestamp(timestamp_);
}

std::string FormatTimestamp(std::int64_t ticks) {
    const std::int64_t seconds = ticks / kTicksPerSecond;
    const long long milliseconds = (ticks - seconds * kTicksPerSecond) / kTicksPerMillisecond;
    const std::tm calendar = platform::LocalTime(seconds);
    std::array<char, 200> text{};
    const auto length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &calendar);
    std::snprintf(text.data() + length, text.size() - length, ".%03lld", milliseconds);
    return text.data();
}

}  // namespace Logging
