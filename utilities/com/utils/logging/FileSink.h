// Logging::FileSink: appends one line per entry to a file that several processes of the product share.
#pragma once

#include <memory>
#include <string>

#include "utils/logging/ISink.h"
#include "utils/logging/LogFile.h"
#include "utils/logging/LogFiles.h"
#include "utils/logging/SinkMutex.h"

namespace Logging {

/// The file is opened and closed for every entry, so that it can be moved away at any time. When it cannot be opened,
/// the entry is lost. Lines never mix: the processes take turns by a named mutex, and when a process has to write
/// without it (see SinkMutex), the system still appends each line as a whole.
///
/// A process that finds the file full rotates it before it writes its line. Without the mutex, or when a file cannot be
/// renamed, the line goes into the full file, and the next line tries the rotation again.
class FileSink : public ISink {
  public:
    /// `color` sets the colour mode of the whole process to Force or Off. The folder of `path` must exist.
    FileSink(std::string path, bool color, LogRotation rotation = {});

    void Write(const std::shared_ptr<LogEntry>& entry) override;

  private:
    bool IsFull(const LogFile& file) const;

    const std::string path_;
    const LogRotation rotation_;
    SinkMutex mutex_;
};

}  // namespace Logging
