// ProcessWatch: tells once that a process has ended.
//
//     ProcessWatch watch(process, pid, [](std::uint64_t endedPid, std::uint32_t exitCode) { ... });
//     if (!watch.Start()) { /* nobody will be told */ }
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "utils/class/IProcess.h"
#include "utils/platform/impl/win/Handle.h"

/// Has a handle of its own to the process, which it closes after the call: the caller may drop or close the other one.
class ProcessWatch {
  public:
    ProcessWatch(HANDLE process, std::uint64_t pid, EndMonitor monitor);
    /// Waits for a call under way; none comes afterwards. Not from within the monitor.
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    /// From here on the monitor may be called, on a thread of the system's pool. False when the system refuses. Once.
    bool Start();
    /// The monitor was called and has returned. Any thread.
    bool HasTold() const { return told_; }

  private:
    static void CALLBACK Tell(PTP_CALLBACK_INSTANCE call, void* context, PTP_WAIT wait, TP_WAIT_RESULT result);

    const std::uint64_t pid_;
    const EndMonitor monitor_;
    UniqueHandle process_;
    PTP_WAIT wait_ = nullptr;
    std::atomic<bool> told_{false};
};
