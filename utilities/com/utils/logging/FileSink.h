// Logging::FileSink: one line an entry at the end of a file that several processes of the product share.
#pragma once

#include <memory>
#include <string>

#include "utils/logging/ISink.h"
#include "utils/logging/LogFile.h"
#include "utils/logging/LogFiles.h"
#include "utils/logging/SinkMutex.h"

namespace Logging {

/// The file is opened and closed for every entry, so that it can be moved away at any time. An entry that finds the
/// file not to be opened is lost. Lines are whole: a named mutex keeps the processes apart, and where it has to be
/// passed over, the system still appends each line as one piece.
///
/// A file that is full is rotated before the next line by the process that has this line to write. Where the mutex is
/// passed over, or a file cannot be renamed, the line goes into the full file and the next line tries again.
class FileSink : public ISink {
  public:
    /// Colours are forced on or off for the whole process. The folder must exist.
    FileSink(std::string path, bool color, LogRotation rotation = {});

    void Write(const std::shared_ptr<LogEntry>& entry) override;

  private:
    bool IsFull(const LogFile& file) const;

    const std::string path_;
    const LogRotation rotation_;
    SinkMutex mutex_;
};

}  // namespace Logging
