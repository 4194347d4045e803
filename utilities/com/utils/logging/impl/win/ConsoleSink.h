// Logging::ConsoleSink: writes entries to the process's standard output. A console shows errors and warnings in colour.
#pragma once

#include <windows.h>

#include <string_view>

#include "utils/logging/ISink.h"
#include "utils/logging/SinkMutex.h"

namespace Logging {

/// A line is `timestamp|process:thread|function : message`; a Verbose entry is its message alone. A file or a pipe as
/// standard output gets the same text without colours. Processes that share a console take turns by a named mutex.
class ConsoleSink : public ISink {
  public:
    /// Takes over the current standard output and its current colour.
    ConsoleSink();

    void Write(const std::shared_ptr<LogEntry>& entry) override;

  private:
    void Print(std::string_view text) const;
    void SetAttribute(WORD attribute) const;

    const HANDLE output_;  // the process's standard output; not owned
    const bool isConsole_;
    const WORD defaultAttribute_;
    SinkMutex mutex_;
};

}  // namespace Logging
