// The files of one log: the one that is written to, and the older ones that it was renamed to when it was full. FILE.1
// is the youngest of them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Logging {

/// No log has more older files than these.
inline constexpr std::uint32_t kMostOlderLogFiles = 999;

/// When a log file is full, and how many older ones are kept; with either 0 it is never full.
struct LogRotation {
    std::uint64_t maxBytes = 0;
    std::uint32_t keep = 0;  // at most kMostOlderLogFiles
};

/// Those files of the log at `path` that are there, the oldest first, the one that is written to last. Any thread and
/// process. The files can be renamed and replaced at any moment: who reads them opens them with FILE_SHARE_DELETE, or
/// else the log cannot be rotated meanwhile, and with FILE_SHARE_WRITE, or else lines are lost.
std::vector<std::string> LogFiles(const std::string& path);

/// Renames each file to the next older name, so that nothing is left at `path`; the oldest of `keep` files is replaced.
/// False when one of them cannot be renamed: then `path` is still there, no file has gone, and the next call goes on
/// where this one stopped. One caller at a time among all processes.
[[nodiscard]] bool RotateLogFiles(const std::string& path, std::uint32_t keep);

}  // namespace Logging
