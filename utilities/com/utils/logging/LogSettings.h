// Logging::LogSettings: where the programs of this machine log to, as its tuning values say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "utils/logging/LogFiles.h"

namespace Logging {

/// The names of the tuning values, and the types that are told by their name; any other type is event tracing.
inline constexpr const char* kLogTypeValue = "logtype";
inline constexpr const char* kLogFileValue = "logfile";
inline constexpr const char* kLogColorValue = "logcolor";
inline constexpr const char* kLogMaxSizeValue = "logmaxsize";
inline constexpr const char* kLogKeepValue = "logkeep";
inline constexpr const char* kLogLevelValue = "loglevel";
inline constexpr const char* kConsoleType = "console";
inline constexpr const char* kFileType = "file";

/// A value that is not set, or is of another kind, is empty here.
struct LogSettings {
    std::optional<std::string> type;
    std::optional<std::string> file;
    std::optional<std::uint32_t> color;
    std::optional<std::uint32_t> maxSize;  // MiB
    std::optional<std::uint32_t> keep;
    std::optional<std::string> level;

    /// The machine's settings as they are now. Any thread.
    static LogSettings Read();
    /// The log file that is set, or the one of a machine that has chosen none.
    std::string File() const;
    /// Whether the log file has colour codes.
    bool UsesColor() const { return color.value_or(1) != 0; }
    /// When the log file is full; it never is unless both values are set and above 0.
    LogRotation Rotation() const;
    /// The levels that are logged, for Logger::SetEnabledLevels; empty for all of them, which is what the level "info"
    /// stands for and what counts when none is set. Nothing for a word that is no level.
    std::optional<std::vector<std::uint32_t>> Levels() const;
};

}  // namespace Logging
