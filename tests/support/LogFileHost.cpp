// The log file on POSIX, for the native build of the tests.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "utils/logging/LogFile.h"

namespace {

class LogFileHost final : public Logging::LogFile {
  public:
    explicit LogFileHost(int file) : file_(file) {}
    ~LogFileHost() override { close(file_); }
    LogFileHost(const LogFileHost&) = delete;

    void Append(std::string_view text) override {
        [[maybe_unused]] const auto written = write(file_, text.data(), text.size());
    }
    std::uint64_t Size() const override {
        struct stat status = {};
        return fstat(file_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }

  private:
    const int file_;
};

}  // namespace

std::unique_ptr<Logging::LogFile> Logging::LogFile::Open(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    return file < 0 ? nullptr : std::make_unique<LogFileHost>(file);
}

bool Logging::LogFile::Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool Logging::LogFile::Rename(const std::string& oldPath, const std::string& newPath) {
    return std::rename(oldPath.c_str(), newPath.c_str()) == 0;
}
