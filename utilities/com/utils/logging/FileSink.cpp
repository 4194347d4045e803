#include "utils/logging/FileSink.h"

#include <utility>

#include "utils/logging/LogLine.h"

namespace Logging {

namespace {

constexpr const char* kMutexName = "vexa-logger-file-mutex";
constexpr int kAttempts = 10;

/// Creates the mutex, or opens the one that another sink made. That one may be gone between the two steps.
std::shared_ptr<kivsync::Mutex> CreateOrOpenMutex() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (auto created = kivsync::Mutex::MakeNamed(kMutexName, false))
            return created;
        if (auto opened = kivsync::Mutex::OpenNamed(kMutexName))
            return opened;
    }
    return nullptr;
}

/// Lets go also when writing throws: every process of the machine would wait for it.
class Held {
  public:
    explicit Held(kivsync::Mutex* mutex) : mutex_(mutex) {
        if (mutex_ != nullptr)
            mutex_->Lock();
    }
    ~Held() {
        if (mutex_ != nullptr)
            mutex_->Unlock();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

  private:
    kivsync::Mutex* const mutex_;
};

}  // namespace

FileSink::FileSink(std::string path, bool color) : path_(std::move(path)), mutex_(CreateOrOpenMutex()) {
    SetColorMode(color ? ColorMode::Force : ColorMode::Off);
}

void FileSink::Write(const std::shared_ptr<LogEntry>& entry) {
    const std::string line = FormatLine(*entry, UsesColor(stream_));
    const Held held(mutex_.get());
    stream_.open(path_, std::ios::app);
    if (stream_.is_open()) {
        stream_ << line << std::endl;
        stream_.close();
    }
    stream_.clear();  // a failure now says nothing of the next entry
}

}  // namespace Logging
