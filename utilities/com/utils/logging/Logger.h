// Logging::Logger: the one logger of the process. A call site is one line:
//
//     KIV_LOG(Logging::Error, "Cannot start protocol %s", name.c_str());
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "utils/logging/FunctionName.h"
#include "utils/logging/ISink.h"
#include "utils/logging/LogEntry.h"
#include "utils/logging/LogLevel.h"

#if defined(__GNUC__)
#include <cstdio>  // defines __MINGW_PRINTF_FORMAT where it applies
#if defined(__MINGW_PRINTF_FORMAT)
#define KIV_PRINTF_FORMAT(format, first) __attribute__((__format__(__MINGW_PRINTF_FORMAT, format, first)))
#else
#define KIV_PRINTF_FORMAT(format, first) __attribute__((__format__(__printf__, format, first)))
#endif
#else
#define KIV_PRINTF_FORMAT(format, first)
#endif

namespace Logging {

/// Any thread may call any function. The setters are meant for start-up and for tests.
class Logger {
  public:
    /// The process's logger, created on first use by the default constructor. Never empty.
    static std::shared_ptr<Logger> GetInstance();

    /// Uses the sink and the levels that the tuning values choose (see LogSettings).
    Logger();
    /// Uses this sink and ignores the tuning values. Without a sink, nothing is logged.
    explicit Logger(std::shared_ptr<ISink> sink);

    /// Formats the message, truncates it to 511 bytes, and passes it to the sink. Never throws, and leaves the calling
    /// thread's last-error code unchanged. `file` and `function` are copied.
    void Log(std::uint32_t level, const char* file, std::uint32_t line, const char* function, const char* format,
             ...) noexcept KIV_PRINTF_FORMAT(6, 7);

    /// Replaces the sink. Without a sink, nothing is logged.
    void SetSink(std::shared_ptr<ISink> sink);
    /// Logs only these levels; an empty list stands for all.
    void SetEnabledLevels(std::vector<std::uint32_t> levels);
    /// Logs only if this executable's path is exactly one of these; an empty list stands for any.
    void SetModuleFilter(std::vector<std::string> modules);
    /// Switches logging off (true) or on again.
    void SetDisabled(bool disabled);

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace Logging

/// Logs with the call site's file, line and Class::Method. `level` is one LogLevel; printf's arguments follow.
#define KIV_LOG(level, ...) KIV_LOG_AS(KIV_FUNCTION_NAME, level, __VA_ARGS__)

/// The same for a helper whose log lines name the operation that it is part of: `function` is "Class::Method".
#define KIV_LOG_AS(function, level, ...) \
    ::Logging::Logger::GetInstance()->Log(level, __FILE__, static_cast<std::uint32_t>(__LINE__), function, __VA_ARGS__)
