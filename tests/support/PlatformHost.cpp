// The platform functions on POSIX, for the native build of the tests.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "utils/platform/CodePage.h"
#include "utils/platform/Platform.h"

namespace platform {

static thread_local std::uint32_t lastError = 0;

std::uint64_t CurrentProcessId() {
    return static_cast<std::uint64_t>(getpid());
}

std::uint64_t CurrentThreadId() {
    return static_cast<std::uint64_t>(gettid());
}

std::uint32_t LastError() {
    return lastError;
}

void SetLastError(std::uint32_t code) {
    lastError = code;
}

std::string ModulePath() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

std::string CommandLine() {
    return "program";
}

// The narrow code page here is UTF-8 without the characters beyond the first plane, which begin with the byte 0xF0.
std::string ToUtf8(const std::string& narrow) {
    return narrow;
}

std::optional<std::string> FromUtf8(const std::string& utf8) {
    return utf8.find_first_of("\xF0\xFF") == std::string::npos ? std::optional(utf8) : std::nullopt;
}

std::string EnvironmentVariable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::int64_t CounterTicks() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::int64_t CounterFrequency() {
    return std::nano::den;
}

std::tm LocalTime(std::int64_t seconds) {
    std::tm calendar{};
    localtime_r(&seconds, &calendar);
    return calendar;
}

bool IsTerminal(StandardStream stream) {
    return isatty(stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

}  // namespace platform
