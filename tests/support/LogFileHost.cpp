// The log file on the standard library, for the native build of the tests.
#include <filesystem>
#include <fstream>

#include "utils/logging/LogFile.h"

namespace {

class LogFileHost final : public Logging::LogFile {
  public:
    explicit LogFileHost(const std::string& path) : file_(path, std::ios::app | std::ios::ate) {}
    bool IsOpen() const { return file_.is_open(); }
    void Append(std::string_view text) override { file_ << text << std::flush; }
    std::uint64_t Size() const override { return static_cast<std::uint64_t>(file_.tellp()); }

  private:
    mutable std::ofstream file_;
};

}  // namespace

std::unique_ptr<Logging::LogFile> Logging::LogFile::Open(const std::string& path) {
    auto file = std::make_unique<LogFileHost>(path);
    return file->IsOpen() ? std::move(file) : nullptr;
}

bool Logging::LogFile::Exists(const std::string& path) {
    return std::filesystem::exists(path);
}

bool Logging::LogFile::Rename(const std::string& oldPath, const std::string& newPath) {
    std::error_code error;
    std::filesystem::rename(oldPath, newPath, error);
    return !error;
}
