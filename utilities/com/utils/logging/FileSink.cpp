#include "utils/logging/FileSink.h"

#include <mutex>
#include <optional>
#include <utility>

#include "utils/logging/LogLine.h"

namespace Logging {

namespace {

constexpr const char* kMutexName = "vexa-logger-file-mutex";
constexpr int kAttempts = 10;

/// Creates the mutex, or opens the existing one. That one may disappear between the two calls, hence the attempts.
std::shared_ptr<kivsync::Mutex> CreateOrOpenMutex() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (auto created = kivsync::Mutex::MakeNamed(kMutexName, false))
            return created;
        if (auto opened = kivsync::Mutex::OpenNamed(kMutexName))
            return opened;
    }
    return nullptr;
}

}  // namespace

FileSink::FileSink(std::string path, bool color, LogRotation rotation)
    : path_(std::move(path)), rotation_(rotation), mutex_(CreateOrOpenMutex()) {
    SetColorMode(color ? ColorMode::Force : ColorMode::Off);
}

bool FileSink::IsFull(const LogFile& file) const {
    return rotation_.maxBytes != 0 && rotation_.keep != 0 && file.Size() >= rotation_.maxBytes;
}

void FileSink::Write(const std::shared_ptr<LogEntry>& entry) {
    const std::string line = FormatLine(*entry, UsesColor(std::nullopt)) + '\n';
    const std::lock_guard guard(mutex_);
    auto file = LogFile::Open(path_);
    if (file && mutex_.IsHeld() && IsFull(*file) && RotateLogFiles(path_, rotation_.keep)) {
        if (auto next = LogFile::Open(path_))
            file = std::move(next);  // if it cannot be opened, the line goes into the renamed file
    }
    if (file)
        file->Append(line);
}

}  // namespace Logging
