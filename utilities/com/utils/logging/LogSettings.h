// Logging::LogSettings: where the programs of this machine log to, as its tuning values say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Logging {

/// The names of the tuning values, and the types that are told by their name; any other type is event tracing.
inline constexpr const char* kLogTypeValue = "logtype";
inline constexpr const char* kLogFileValue = "logfile";
inline constexpr const char* kLogColorValue = "logcolor";
inline constexpr const char* kConsoleType = "console";
inline constexpr const char* kFileType = "file";

/// A value that is not set, or is of another kind, is empty here.
struct LogSettings {
    std::optional<std::string> type;
    std::optional<std::string> file;
    std::optional<std::uint32_t> color;

    /// The machine's settings as they are now. Any thread.
    static LogSettings Read();
    /// The log file that is set, or the one of a machine that has chosen none.
    std::string File() const;
    /// Whether the log file has colour codes.
    bool UsesColor() const { return color.value_or(1) != 0; }
};

}  // namespace Logging
