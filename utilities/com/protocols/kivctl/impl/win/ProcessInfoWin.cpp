#include <windows.h>

// This needs <windows.h> before it.
#include <psapi.h>

#include <array>
#include <utility>

#include "protocols/kivctl/ProcessInfo.h"
#include "utils/platform/impl/win/Handle.h"

namespace kivctl {

namespace {

class OpenedProcessWin : public OpenedProcess {
  public:
    explicit OpenedProcessWin(UniqueHandle process) : process_(std::move(process)) {}

    std::optional<std::uint32_t> ExitCode() const override {
        DWORD code = 0;
        if (WaitForSingleObject(process_.Get(), 0) != WAIT_OBJECT_0 || !GetExitCodeProcess(process_.Get(), &code))
            return std::nullopt;
        return code;
    }

    std::string Program() const override {
        std::array<char, 1024> path{};
        DWORD size = path.size();
        return QueryFullProcessImageNameA(process_.Get(), 0, path.data(), &size) ? std::string(path.data(), size) : "";
    }

    std::uint64_t ProcessorMs() const override {
        FILETIME created{};
        FILETIME ended{};
        FILETIME kernel{};
        FILETIME user{};
        if (!GetProcessTimes(process_.Get(), &created, &ended, &kernel, &user))
            return 0;
        constexpr std::uint64_t ticksPerMs = 10'000;
        const auto ticks = [](const FILETIME& time) {
            return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
        };
        return (ticks(kernel) + ticks(user)) / ticksPerMs;
    }

    std::uint64_t MemoryBytes() const override {
        PROCESS_MEMORY_COUNTERS counters{};
        return GetProcessMemoryInfo(process_.Get(), &counters, sizeof counters) ? counters.WorkingSetSize : 0;
    }

  private:
    const UniqueHandle process_;
};

}  // namespace

std::unique_ptr<OpenedProcess> OpenedProcess::Open(std::uint64_t processId) {
    UniqueHandle process(
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(processId)));
    return process ? std::make_unique<OpenedProcessWin>(std::move(process)) : nullptr;
}

bool FileExists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace kivctl
