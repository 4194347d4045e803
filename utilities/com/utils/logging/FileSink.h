// Logging::FileSink: one line an entry at the end of a file that several processes of the product share.
#pragma once

#include <memory>
#include <string>

#include "utils/logging/ISink.h"
#include "utils/logging/SinkMutex.h"

namespace Logging {

/// The file is opened and closed for every entry, so that it can be moved away at any time; it never shrinks and has no
/// size limit. An entry that finds the file not to be opened is lost. Lines are whole: a named mutex keeps the
/// processes apart, and where it has to be passed over, the system still appends each line as one piece.
class FileSink : public ISink {
  public:
    /// Colours are forced on or off for the whole process. The folder must exist.
    FileSink(std::string path, bool color);

    void Write(const std::shared_ptr<LogEntry>& entry) override;

  private:
    const std::string path_;
    SinkMutex mutex_;
};

}  // namespace Logging
