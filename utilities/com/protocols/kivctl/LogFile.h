// A log file that other programs write, rename and delete while kivctl reads it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kivctl {

/// An open file with a read position, which begins at the start of the file. One thread at a time.
class LogFile {
  public:
    /// Null when there is no such file or it cannot be read.
    static std::unique_ptr<LogFile> Open(const std::string& path);
    virtual ~LogFile() = default;

    /// Reads from the position to the present end of the file, and moves the position there.
    virtual std::string ReadOn() = 0;
    /// Moves the position to `bytes` before the end, or to the start of a smaller file. Returns the number of bytes
    /// between the position and the end.
    virtual std::uint64_t SkipToLast(std::uint64_t bytes) = 0;
    /// Whether the path still names this file; also true when that cannot be found out.
    virtual bool IsAt(const std::string& path) const = 0;
};

struct LogFileCondition {
    std::string problem;  // why this user cannot write to the file; empty when it is writable or does not exist yet
    std::optional<std::uint64_t> size = std::nullopt;  // bytes; empty when there is no such file
    std::uint64_t idleSeconds = 0;                     // since the last write
};
/// Finds out whether this user can write to the log file. Changes nothing.
LogFileCondition LookAtLogFile(const std::string& path);

}  // namespace kivctl
