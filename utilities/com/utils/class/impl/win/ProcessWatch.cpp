#include "utils/class/impl/win/ProcessWatch.h"

#include <utility>

namespace {

constexpr DWORD kRights = SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;  // to wait, and to read the exit code

UniqueHandle Duplicate(HANDLE process) {
    HANDLE duplicate = nullptr;
    DuplicateHandle(GetCurrentProcess(), process, GetCurrentProcess(), &duplicate, kRights, FALSE, 0);
    return UniqueHandle(duplicate);
}

}  // namespace

ProcessWatch::ProcessWatch(HANDLE process, std::uint64_t pid, EndMonitor monitor)
    : pid_(pid), monitor_(std::move(monitor)), process_(Duplicate(process)) {}

ProcessWatch::~ProcessWatch() {
    if (wait_ == nullptr)
        return;
    SetThreadpoolWait(wait_, nullptr, nullptr);
    WaitForThreadpoolWaitCallbacks(wait_, TRUE);
    CloseThreadpoolWait(wait_);
}

bool ProcessWatch::Start() {
    if (process_)
        wait_ = CreateThreadpoolWait(Tell, this, nullptr);
    if (wait_ == nullptr)
        return false;
    SetThreadpoolWait(wait_, process_.Get(), nullptr);
    return true;
}

void CALLBACK ProcessWatch::Tell(PTP_CALLBACK_INSTANCE call, void* context, PTP_WAIT, TP_WAIT_RESULT) {
    CallbackMayRunLong(call);  // a slow monitor must not delay the other users of the thread pool
    auto& watch = *static_cast<ProcessWatch*>(context);
    DWORD exitCode = 0;
    GetExitCodeProcess(watch.process_.Get(), &exitCode);
    watch.monitor_(watch.pid_, exitCode);
    watch.process_.Reset();
    watch.told_ = true;
}
