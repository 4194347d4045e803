// The files of one log: the current file, FILE, and the older ones. A full file is renamed to FILE.1, the newest of the
// older files; the higher the number, the older the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Logging {

/// The largest number of older files that a log can have.
inline constexpr std::uint32_t kMostOlderLogFiles = 999;

/// When a log file is full, and how many older files are kept. If either value is 0, the log is never rotated.
struct LogRotation {
    std::uint64_t maxBytes = 0;
    std::uint32_t keep = 0;  // at most kMostOlderLogFiles
};

/// The existing files of the log at `path`, the oldest first, the current one last. Any thread of any process. The
/// files can be renamed and replaced at any moment. A reader must open them with FILE_SHARE_DELETE, or else the log
/// cannot be rotated meanwhile, and with FILE_SHARE_WRITE, or else lines are lost.
std::vector<std::string> LogFiles(const std::string& path);

/// Renames each file to the next older name, so that no file is left at `path`; the oldest of `keep` files is replaced.
/// False when a file cannot be renamed: then the current file is still at `path`, no newer file is lost, and the next
/// call continues where this one stopped. Only one caller at a time among all processes.
[[nodiscard]] bool RotateLogFiles(const std::string& path, std::uint32_t keep);

}  // namespace Logging
