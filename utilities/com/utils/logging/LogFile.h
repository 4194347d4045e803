// Logging::LogFile: a log file that was opened to append to it.
//
//     if (const auto file = LogFile::Open(path)) file->Append("a line\n");
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace Logging {

/// Closed by its destructor. Meanwhile others may read the file, append to it, rename it and delete it.
class LogFile {
  public:
    virtual ~LogFile() = default;
    /// Puts the text at the end of the file as it is at that moment, in one write and with the platform's line ends.
    /// What the system refuses to write is lost.
    virtual void Append(std::string_view text) = 0;

    /// Makes the file when it is not there; its folder must be. Empty when the system refuses.
    static std::unique_ptr<LogFile> Open(const std::string& path);
};

}  // namespace Logging
