// Logging::FileSink: one line an entry at the end of a file that several processes of the product share.
#pragma once

#include <fstream>
#include <memory>
#include <string>

#include "utils/logging/ISink.h"
#include "utils/sync/Mutex.h"

namespace Logging {

/// The file is opened and closed for every entry, so that it can be moved away at any time; it never shrinks and has no
/// size limit. An entry that finds the file not to be opened is lost. Lines are whole: a named mutex keeps the
/// processes apart.
class FileSink : public ISink {
  public:
    /// Colours are forced on or off for the whole process. The folder must exist.
    FileSink(std::string path, bool color);

    void Write(const std::shared_ptr<LogEntry>& entry) override;
    /// Nothing to do: 0.
    std::int32_t Open() override { return 0; }
    std::int32_t Close() override { return 0; }

  private:
    const std::string path_;
    const std::shared_ptr<kivsync::Mutex> mutex_;  // empty when the system refuses it: lines may then mix
    std::ofstream stream_;
};

}  // namespace Logging
