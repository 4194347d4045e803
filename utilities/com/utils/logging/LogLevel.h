// The levels of a log entry.
#pragma once

#include <cstdint>

namespace Logging {

/// A log call passes exactly one level. Each value is a single bit, so that one number can stand for a set of levels.
enum LogLevel : std::uint32_t {
    Info = 1,
    Warning = 2,
    Error = 4,
    Verbose = 8,
    Trace = 16,
    Debug = 32,
    Fatal = 64,
    Notice = 128,  // a configuration change
};

}  // namespace Logging
