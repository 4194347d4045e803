#include <windows.h>

#include "utils/logging/LogFile.h"
#include "utils/platform/impl/win/Handle.h"

namespace Logging {

namespace {

/// Without FILE_WRITE_DATA, the system itself puts each write at the end of the file, also when others write to it.
constexpr DWORD kAppendOnly = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
constexpr DWORD kSharedForAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class LogFileWin final : public LogFile {
  public:
    explicit LogFileWin(UniqueHandle file) : file_(std::move(file)) {}

    void Append(std::string_view text) override {
        std::string bytes;
        bytes.reserve(text.size() + 1);
        for (const char character : text) {
            if (character == '\n')
                bytes += '\r';
            bytes += character;
        }
        DWORD written = 0;
        WriteFile(file_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    std::uint64_t Size() const override {
        LARGE_INTEGER size{};
        return GetFileSizeEx(file_.Get(), &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    }

  private:
    const UniqueHandle file_;
};

}  // namespace

std::unique_ptr<LogFile> LogFile::Open(const std::string& path) {
    UniqueHandle file(
        CreateFileA(path.c_str(), kAppendOnly, kSharedForAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file ? std::make_unique<LogFileWin>(std::move(file)) : nullptr;
}

bool LogFile::Exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool LogFile::Rename(const std::string& oldPath, const std::string& newPath) {
    return MoveFileExA(oldPath.c_str(), newPath.c_str(), MOVEFILE_REPLACE_EXISTING);
}

}  // namespace Logging
