// ProcessWatch: calls a monitor once when a process has ended.
//
//     ProcessWatch watch(process, pid, [](std::uint64_t endedPid, std::uint32_t exitCode) { ... });
//     if (!watch.Start()) { /* the monitor will not be called */ }
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "utils/class/IProcess.h"
#include "utils/platform/impl/win/Handle.h"

/// Duplicates the process handle, so the caller may close the handle that it passed. Closes the duplicate after the
/// call of the monitor.
class ProcessWatch {
  public:
    ProcessWatch(HANDLE process, std::uint64_t pid, EndMonitor monitor);
    /// Waits for a call in progress; the monitor is not called afterwards. Must not run inside the monitor.
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    /// Starts watching: the monitor may be called from now on, on a thread of the system's thread pool. False when the
    /// system refuses. Call it once.
    bool Start();
    /// True once the monitor was called and has returned. Any thread.
    bool HasTold() const { return told_; }

  private:
    static void CALLBACK Tell(PTP_CALLBACK_INSTANCE call, void* context, PTP_WAIT wait, TP_WAIT_RESULT result);

    const std::uint64_t pid_;
    const EndMonitor monitor_;
    UniqueHandle process_;
    PTP_WAIT wait_ = nullptr;
    std::atomic<bool> told_{false};
};
