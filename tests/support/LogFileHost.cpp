// The log file on POSIX, for the native build of the tests.
#include <fcntl.h>
#include <unistd.h>

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

  private:
    const int file_;
};

}  // namespace

std::unique_ptr<Logging::LogFile> Logging::LogFile::Open(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    return file < 0 ? nullptr : std::make_unique<LogFileHost>(file);
}
