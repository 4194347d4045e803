// Logging::LogFile: a log file that was opened to append to it.
//
//     if (const auto file = LogFile::Open(path)) file->Append("a line\n");
#pragma once

#include <cstdint>
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
    /// In bytes; 0 when the system does not tell.
    virtual std::uint64_t Size() const = 0;

    /// Makes the file when it is not there; its folder must be. Empty when the system refuses.
    static std::unique_ptr<LogFile> Open(const std::string& path);
    static bool Exists(const std::string& path);
    /// Also of a file that is open here or elsewhere; a file that has the new name already is replaced. False when the
    /// system refuses, as when somebody opened the file without sharing its deletion.
    [[nodiscard]] static bool Rename(const std::string& oldPath, const std::string& newPath);
};

}  // namespace Logging
