#include "utils/logging/LogFiles.h"

#include "utils/logging/LogFile.h"

namespace Logging {

namespace {

/// 0 is the file that is written to.
std::string NthFile(const std::string& path, std::uint32_t n) {
    return n == 0 ? path : path + "." + std::to_string(n);
}

}  // namespace

std::vector<std::string> LogFiles(const std::string& path) {
    std::vector<std::string> files;
    for (std::uint32_t n = kMostOlderLogFiles + 1; n-- > 0;) {
        auto file = NthFile(path, n);
        if (LogFile::Exists(file))
            files.push_back(std::move(file));
    }
    return files;
}

bool RotateLogFiles(const std::string& path, std::uint32_t keep) {
    // Only as far as there is no gap: an attempt that failed half-way left one, and the next must not replace the
    // oldest file once more.
    std::uint32_t free = 1;
    while (free < keep && LogFile::Exists(NthFile(path, free)))
        ++free;
    for (; free > 0; --free) {
        if (!LogFile::Rename(NthFile(path, free - 1), NthFile(path, free)))
            return false;
    }
    return true;
}

}  // namespace Logging
