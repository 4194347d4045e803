#include "utils/sync/impl/win/ThreadWin.h"

#include <process.h>

#include <utility>

namespace kivsync {

namespace {

constexpr unsigned kDefaultStackSize = 0;
constexpr unsigned kRunAtOnce = 0;

unsigned __stdcall Run(void* argument) {
    const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
    (*body)();
    return 0;
}

}  // namespace

ThreadWin::~ThreadWin() {
    Join();
}

void ThreadWin::Join() {
    Join(INFINITE);
}

bool ThreadWin::Join(std::uint32_t timeoutMs) {
    return WaitForSingleObject(handle_.Get(), timeoutMs) == WAIT_OBJECT_0;
}

std::unique_ptr<Thread> Thread::Start(std::function<void()> body) {
    auto argument = std::make_unique<std::function<void()>>(std::move(body));
    // Not CreateThread: the C runtime keeps data for each thread, which only this call sets up and frees.
    const auto handle = _beginthreadex(nullptr, kDefaultStackSize, Run, argument.get(), kRunAtOnce, nullptr);
    if (handle == 0)
        return nullptr;
    static_cast<void>(argument.release());  // the thread owns it now
    return std::make_unique<ThreadWin>(reinterpret_cast<HANDLE>(handle));
}

}  // namespace kivsync
