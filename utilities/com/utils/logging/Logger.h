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

/// Any thread may call Log and GetInstance. The setters belong to start-up and to tests.
class Logger {
  public:
    /// The process's logger, made on first use with the sink and the levels that the tuning values choose (see
    /// LogSettings). Never empty.
    static std::shared_ptr<Logger> GetInstance();

    Logger();
    /// With that sink, whatever the tuning values say; empty: nothing is logged.
    explicit Logger(std::shared_ptr<ISink> sink);

    /// Formats the message (at most 511 bytes, cut beyond that) and hands it to the sink. Never throws, and leaves the
    /// calling thread's last-error code as it was. `file` and `function` are copied.
    void Log(std::uint32_t level, const char* file, std::uint32_t line, const char* function, const char* format,
             ...) noexcept KIV_PRINTF_FORMAT(6, 7);

    /// Replaces the sink; empty: nothing is logged. The caller keeps its own reference if it wants one.
    void SetSink(std::shared_ptr<ISink> sink);
    /// Only these levels pass; empty: all.
    void SetEnabledLevels(std::vector<std::uint32_t> levels);
    /// Only entries of these executables (exact path) pass; empty: all.
    void SetModuleFilter(std::vector<std::string> modules);
    void SetDisabled(bool disabled);

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace Logging

/// Logs with the call site's file, line and Class::Method. `level` is one LogLevel, the rest is printf's.
#define KIV_LOG(level, ...) KIV_LOG_AS(KIV_FUNCTION_NAME, level, __VA_ARGS__)

/// The same for a part of an operation whose lines bear the operation's name: `function` is "Class::Method".
#define KIV_LOG_AS(function, level, ...) \
    ::Logging::Logger::GetInstance()->Log(level, __FILE__, static_cast<std::uint32_t>(__LINE__), function, __VA_ARGS__)
