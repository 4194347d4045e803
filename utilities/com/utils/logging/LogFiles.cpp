#include "utils/logging/LogFiles.h"

#include "utils/logging/LogFile.h"

namespace Logging {

namespace {

/// Path of the n-th older file; 0 stands for the current file.
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
    // Stop at the first gap: an attempt that failed half-way has left one, and the next attempt must not replace the
    // oldest file again.
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
