// Logging::ISink: a destination of the logger's entries.
#pragma once

#include <cstdint>
#include <memory>

namespace Logging {

class LogEntry;

/// Owned by the logger. The logger calls Write with its lock held, one entry at a time, so Write must not log.
class ISink {
  public:
    virtual ~ISink() = default;
    /// Writes one entry. Reports no failure: an entry that cannot be written is lost.
    virtual void Write(const std::shared_ptr<LogEntry>& entry) = 0;
    /// Loads what the sink needs, such as a library: 0, or -1 when that is missing. Most sinks need nothing.
    virtual std::int32_t Open() { return 0; }
    /// Releases what Open has loaded. Always 0.
    virtual std::int32_t Close() { return 0; }
};

}  // namespace Logging
