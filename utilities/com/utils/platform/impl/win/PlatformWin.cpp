#include <windows.h>

#include <array>
#include <string_view>

#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Module.h"

namespace platform {

namespace {

/// The pseudo terminal of a Unix-like shell is a pipe. Its file name distinguishes it from any other pipe.
bool IsPseudoTerminal(HANDLE stream) {
    if (GetFileType(stream) != FILE_TYPE_PIPE)
        return false;
    const auto query = FindFunction<decltype(GetFileInformationByHandleEx)>(GetModuleHandleW(L"kernel32.dll"),
                                                                            "GetFileInformationByHandleEx");
    if (query == nullptr)
        return false;

    alignas(FILE_NAME_INFO) std::array<char, sizeof(FILE_NAME_INFO) + MAX_PATH * sizeof(wchar_t)> buffer{};
    if (!query(stream, FileNameInfo, buffer.data(), static_cast<DWORD>(buffer.size())))
        return false;
    const auto* info = reinterpret_cast<const FILE_NAME_INFO*>(buffer.data());
    const std::wstring_view name(info->FileName, info->FileNameLength / sizeof(wchar_t));
    const auto has = [name](std::wstring_view part) { return name.find(part) != std::wstring_view::npos; };
    return (has(L"msys-") || has(L"cygwin-")) && has(L"-pty");
}

}  // namespace

std::uint64_t CurrentProcessId() {
    return GetCurrentProcessId();
}

std::uint64_t CurrentThreadId() {
    return GetCurrentThreadId();
}

std::uint32_t LastError() {
    return GetLastError();
}

void SetLastError(std::uint32_t code) {
    ::SetLastError(code);
}

std::string ModulePath() {
    std::array<char, MAX_PATH> path{};
    const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::string(path.data(), length);
}

std::string CommandLine() {
    return GetCommandLineA();
}

std::string EnvironmentVariable(const char* name) {
    std::string value;
    DWORD length = GetEnvironmentVariableA(name, nullptr, 0);
    // Another thread may lengthen the variable between the two calls: ask until it fits.
    while (length > value.size()) {
        value.resize(length);
        length = GetEnvironmentVariableA(name, value.data(), length);
    }
    value.resize(length);
    return value;
}

std::int64_t CounterTicks() {
    LARGE_INTEGER ticks{};
    QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

std::int64_t CounterFrequency() {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

std::tm LocalTime(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm calendar{};
    if (localtime_s(&calendar, &time) != 0)
        return std::tm{};
    return calendar;
}

bool IsTerminal(StandardStream stream) {
    const HANDLE handle = GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) || IsPseudoTerminal(handle);
}

}  // namespace platform
