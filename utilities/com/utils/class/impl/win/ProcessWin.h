// ProcessWin: one child process on Windows.
#pragma once

#include <windows.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "utils/class/IProcess.h"
#include "utils/class/impl/win/ProcessWatch.h"

/// The child is the program "KivProtocol", found as the system finds a program without a path: beside this process's
/// own executable first. Its command line is at most 69 characters; a longer one ends this process, as the C runtime
/// does with an invalid argument, so callers bound their arguments.
class ProcessWin : public IProcess {
  public:
    /// `path` appears in messages only. The child gets the first argument; none when the list is empty.
    ProcessWin(std::string path, std::vector<std::string> arguments);
    ~ProcessWin() override;
    ProcessWin(const ProcessWin&) = delete;
    ProcessWin& operator=(const ProcessWin&) = delete;

    std::uint32_t Start() override;
    /// Drops the child's two handles unclosed.
    std::int32_t Stop() override;
    bool IsStarted() override;
    /// A child that ended with the exit code 259 (STILL_ACTIVE) counts as running.
    bool IsRunning() override;
    bool WaitForExit(std::uint32_t timeoutMs) override;
    std::uint64_t GetPid() override;
    void OnEnd(EndMonitor monitor) override;

  private:
    PROCESS_INFORMATION Information();
    void SetInformation(const PROCESS_INFORMATION& information);
    void CloseHandles();
    bool Watch(const PROCESS_INFORMATION& child);

    const std::string path_;
    const std::vector<std::string> arguments_;
    std::mutex lock_;                    // keeps the owner's changes and the queries apart; never held during a wait
    PROCESS_INFORMATION information_{};  // all zero when no child is held
    EndMonitor monitor_;
    std::vector<std::unique_ptr<ProcessWatch>> watches_;  // of children that run, or ended since the last start
};
