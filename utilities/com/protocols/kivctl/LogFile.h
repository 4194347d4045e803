// A log file that other programs write, rename and delete while it is read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kivctl {

class LogFile {
  public:
    /// Empty when there is no such file or it cannot be read.
    static std::unique_ptr<LogFile> Open(const std::string& path);
    virtual ~LogFile() = default;

    /// What has come behind what was read before.
    virtual std::string ReadOn() = 0;
    /// Goes on reading with the last `bytes` of the file, or with all of it when it has fewer. Returns how many these
    /// are.
    virtual std::uint64_t SkipToLast(std::uint64_t bytes) = 0;
    /// Whether the path still names this file.
    virtual bool IsAt(const std::string& path) const = 0;
};

struct LogFileCondition {
    std::string problem;  // why nobody can write to it; empty when this user can
    std::optional<std::uint64_t> size = std::nullopt;
    std::uint64_t idleSeconds = 0;  // since its last line
};
LogFileCondition LookAtLogFile(const std::string& path);

}  // namespace kivctl
