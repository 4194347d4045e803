// Where the logger puts its entries.
#pragma once

#include <cstdint>
#include <memory>

namespace Logging {

class LogEntry;

/// Owned by the logger, which calls Write with its lock held: one entry at a time within the process.
class ISink {
  public:
    virtual ~ISink() = default;
    /// Emits one entry. Never fails toward its caller: an entry that cannot be written is lost.
    virtual void Write(const std::shared_ptr<LogEntry>& entry) = 0;
    /// Acquires what the sink needs from outside: 0, or -1 when it is not there. Most sinks need nothing.
    virtual std::int32_t Open() { return 0; }
    /// Releases it; 0.
    virtual std::int32_t Close() { return 0; }
};

}  // namespace Logging
