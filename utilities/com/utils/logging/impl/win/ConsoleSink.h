// Logging::ConsoleSink: entries on the process's standard output; errors and warnings stand out in colour on a console.
#pragma once

#include <windows.h>

#include <string_view>

#include "utils/logging/ISink.h"
#include "utils/logging/SinkMutex.h"

namespace Logging {

/// A line is `timestamp|process:thread|function : message`; a Verbose entry is its message alone. Output that was
/// redirected to a file or a pipe gets the same text without colours. A named mutex keeps processes on one console
/// apart.
class ConsoleSink : public ISink {
  public:
    /// Standard output and its colours are those of this moment.
    ConsoleSink();

    void Write(const std::shared_ptr<LogEntry>& entry) override;

  private:
    void Print(std::string_view text) const;
    void SetAttribute(WORD attribute) const;

    const HANDLE output_;  // the process's, not owned
    const bool isConsole_;
    const WORD defaultAttribute_;
    SinkMutex mutex_;
};

}  // namespace Logging
