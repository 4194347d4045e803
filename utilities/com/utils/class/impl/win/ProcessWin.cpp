#include "utils/class/impl/win/ProcessWin.h"

#include <array>
#include <cstring>
#include <utility>

#include "utils/logging/Logger.h"

namespace {

constexpr const char* kProgram = "KivProtocol ";
constexpr std::size_t kCommandLineSize = 70;  // with the terminator
constexpr DWORD kNoCreationFlags = 0;
constexpr UINT kKilledExitCode = 0;

using CommandLine = std::array<char, kCommandLineSize>;

/// strcpy_s reports a text that is too long to the C runtime's invalid-parameter handler, which ends the process. If a
/// handler returns, this function ends the process in the same way.
void CopyChecked(CommandLine& target, const std::string& text) {
    if (strcpy_s(target.data(), target.size(), text.c_str()) != 0)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_INVALID_CRUNTIME_PARAMETER));
}

}  // namespace

ProcessWin::ProcessWin(std::string path, std::vector<std::string> arguments)
    : path_(std::move(path)), arguments_(std::move(arguments)) {}

ProcessWin::~ProcessWin() {
    watches_.clear();  // first: a monitor that is being called may still use this object
    CloseHandles();
}

std::uint32_t ProcessWin::Start() {
    CommandLine commandLine{};
    CopyChecked(commandLine, kProgram + (arguments_.empty() ? std::string() : arguments_.front()));

    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    GetStartupInfoA(&startup);  // the child's window and standard handles are those of this process

    PROCESS_INFORMATION child{};
    const bool started = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, kNoCreationFlags, nullptr,
                                        nullptr, &startup, &child);
    SetInformation(started ? child : PROCESS_INFORMATION{});
    if (started && monitor_ && !Watch(child))
        KIV_LOG(Logging::Error, "Cannot watch process %lu %s", child.dwProcessId, path_.c_str());
    KIV_LOG(Logging::Info, "Start process running:%d", IsRunning() ? 1 : 0);
    return started ? 0 : kProcessStartFailed;
}

std::int32_t ProcessWin::Stop() {
    if (!TerminateProcess(Information().hProcess, kKilledExitCode))
        KIV_LOG(Logging::Error, "Error on terminate process %s", path_.c_str());
    SetInformation({});
    return 0;
}

bool ProcessWin::IsStarted() {
    return Information().hProcess != nullptr;
}

bool ProcessWin::IsRunning() {
    const std::lock_guard guard(lock_);  // also during the query: WaitForExit must not close the handle meanwhile
    DWORD exitCode = 0;
    return information_.hProcess != nullptr && GetExitCodeProcess(information_.hProcess, &exitCode) &&
           exitCode == STILL_ACTIVE;
}

bool ProcessWin::WaitForExit(std::uint32_t timeoutMs) {
    // Only the owner's calls close the handle, and the owner makes one call at a time: it stays open during the wait.
    if (WaitForSingleObject(Information().hProcess, timeoutMs) != WAIT_OBJECT_0)
        return false;
    CloseHandles();
    return true;
}

std::uint64_t ProcessWin::GetPid() {
    return Information().dwProcessId;
}

void ProcessWin::OnEnd(EndMonitor monitor) {
    monitor_ = std::move(monitor);
}

bool ProcessWin::Watch(const PROCESS_INFORMATION& child) {
    std::erase_if(watches_, [](const auto& watch) { return watch->HasTold(); });
    auto watch = std::make_unique<ProcessWatch>(child.hProcess, child.dwProcessId, monitor_);
    if (!watch->Start())
        return false;
    watches_.push_back(std::move(watch));
    return true;
}

PROCESS_INFORMATION ProcessWin::Information() {
    const std::lock_guard guard(lock_);
    return information_;
}

void ProcessWin::SetInformation(const PROCESS_INFORMATION& information) {
    const std::lock_guard guard(lock_);
    information_ = information;
}

void ProcessWin::CloseHandles() {
    const std::lock_guard guard(lock_);
    if (information_.hThread != nullptr)
        CloseHandle(information_.hThread);
    if (information_.hProcess != nullptr)
        CloseHandle(information_.hProcess);
    information_ = {};
}

std::shared_ptr<IProcess> IProcess::MakeImplementation(std::string path, std::vector<std::string> arguments) {
    return std::make_shared<ProcessWin>(std::move(path), std::move(arguments));
}
