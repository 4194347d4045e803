// Logging::LogSettings: the tuning values that decide what the programs of this machine log, and where.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "utils/logging/LogFiles.h"

namespace Logging {

/// The names of the tuning values, and two texts of "logtype"; any other text means event tracing.
inline constexpr const char* kLogTypeValue = "logtype";
inline constexpr const char* kLogFileValue = "logfile";
inline constexpr const char* kLogColorValue = "logcolor";
inline constexpr const char* kLogMaxSizeValue = "logmaxsize";
inline constexpr const char* kLogKeepValue = "logkeep";
inline constexpr const char* kLogLevelValue = "loglevel";
inline constexpr const char* kConsoleType = "console";
inline constexpr const char* kFileType = "file";

/// A tuning value that is not set, or has the wrong type, is empty here.
struct LogSettings {
    std::optional<std::string> type;
    std::optional<std::string> file;
    std::optional<std::uint32_t> color;
    std::optional<std::uint32_t> maxSize;  // MiB
    std::optional<std::uint32_t> keep;
    std::optional<std::string> level;

    /// Reads the machine's current settings. Any thread.
    static LogSettings Read();
    /// Path of the log file: the one that is set, or else the default.
    std::string File() const;
    /// Whether the log file has colour codes.
    bool UsesColor() const { return color.value_or(1) != 0; }
    /// When the log file is rotated: never, unless both values are set and above 0.
    LogRotation Rotation() const;
    /// The levels that are logged, for Logger::SetEnabledLevels. An empty list stands for all levels: for "info", or
    /// when no level is set. No list when the word is not a level.
    std::optional<std::vector<std::uint32_t>> Levels() const;
};

}  // namespace Logging
