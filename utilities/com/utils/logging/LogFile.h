// Logging::LogFile: a log file that is open for appending.
//
//     if (const auto file = LogFile::Open(path)) file->Append("a line\n");
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Logging {

/// The destructor closes the file. While it is open, other processes may read, rename and delete it and append to it.
class LogFile {
  public:
    virtual ~LogFile() = default;
    /// Writes the text at the current end of the file, in one write and with the platform's line ends. Text that the
    /// system does not write is lost.
    virtual void Append(std::string_view text) = 0;
    /// Size in bytes; 0 when the system cannot tell it.
    virtual std::uint64_t Size() const = 0;

    /// Opens the file, and creates it when it is missing; its folder must exist. Empty when the system refuses.
    static std::unique_ptr<LogFile> Open(const std::string& path);
    static bool Exists(const std::string& path);
    /// Renames a file, also one that is open. Replaces a file that already has the new name. False when the system
    /// refuses, for example because a process has opened the file without FILE_SHARE_DELETE.
    [[nodiscard]] static bool Rename(const std::string& oldPath, const std::string& newPath);
};

}  // namespace Logging
