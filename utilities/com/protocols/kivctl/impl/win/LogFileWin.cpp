#include <windows.h>

#include <algorithm>
#include <array>
#include <utility>

#include "protocols/kivctl/LogFile.h"
#include "protocols/kivctl/impl/win/SystemError.h"
#include "utils/platform/impl/win/Handle.h"

namespace kivctl {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

UniqueHandle OpenShared(const std::string& path, DWORD access) {
    const auto handle = CreateFileA(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

class LogFileWin : public LogFile {
  public:
    explicit LogFileWin(UniqueHandle file) : file_(std::move(file)) {}

    std::string ReadOn() override {
        std::string text;
        std::array<char, 65536> piece;
        DWORD size = 0;
        while (ReadFile(file_.Get(), piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) && size != 0)
            text.append(piece.data(), size);
        return text;
    }

    std::uint64_t SkipToLast(std::uint64_t bytes) override {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(file_.Get(), &size))
            return 0;
        const auto all = static_cast<std::uint64_t>(size.QuadPart);
        LARGE_INTEGER position{};
        position.QuadPart = static_cast<LONGLONG>(all - std::min(all, bytes));
        SetFilePointerEx(file_.Get(), position, nullptr, FILE_BEGIN);
        return std::min(all, bytes);
    }

    bool IsAt(const std::string& path) const override {
        const auto other = OpenShared(path, FILE_READ_ATTRIBUTES);
        BY_HANDLE_FILE_INFORMATION one{};
        BY_HANDLE_FILE_INFORMATION two{};
        // When it cannot be found out, assume the same file, so that nothing is read twice.
        if (!other || !GetFileInformationByHandle(file_.Get(), &one) || !GetFileInformationByHandle(other.Get(), &two))
            return true;
        return one.dwVolumeSerialNumber == two.dwVolumeSerialNumber && one.nFileIndexHigh == two.nFileIndexHigh &&
               one.nFileIndexLow == two.nFileIndexLow;
    }

  private:
    const UniqueHandle file_;
};

}  // namespace

std::unique_ptr<LogFile> LogFile::Open(const std::string& path) {
    auto file = OpenShared(path, GENERIC_READ);
    return file ? std::make_unique<LogFileWin>(std::move(file)) : nullptr;
}

LogFileCondition LookAtLogFile(const std::string& path) {
    LogFileCondition condition;
    if (!OpenShared(path, FILE_APPEND_DATA)) {
        const auto error = GetLastError();
        // A missing file is no problem: the first program that logs creates it, if its folder exists.
        if (error != ERROR_FILE_NOT_FOUND)
            condition.problem = SystemMessage(error);
    }
    const auto file = OpenShared(path, FILE_READ_ATTRIBUTES);
    BY_HANDLE_FILE_INFORMATION information{};
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        return condition;
    const auto join = [](DWORD high, DWORD low) { return (std::uint64_t{high} << 32) | low; };
    condition.size = join(information.nFileSizeHigh, information.nFileSizeLow);
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    constexpr std::uint64_t ticksPerSecond = 10'000'000;
    const auto nowTicks = join(now.dwHighDateTime, now.dwLowDateTime);
    const auto written = join(information.ftLastWriteTime.dwHighDateTime, information.ftLastWriteTime.dwLowDateTime);
    condition.idleSeconds = nowTicks < written ? 0 : (nowTicks - written) / ticksPerSecond;
    return condition;
}

}  // namespace kivctl
