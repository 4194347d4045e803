// ProcessWin: one child process on Windows.
#pragma once

#include <windows.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "utils/class/IProcess.h"
#include "utils/class/impl/win/ProcessWatch.h"

/// The child is the program "KivProtocol". The system searches for it, first in the folder of this process's own
/// executable. Its command line, program name included, may have at most 69 characters. A longer one ends this
/// process, as the C runtime does for an invalid argument, so callers must limit the length of their arguments.
class ProcessWin : public IProcess {
  public:
    /// `path` appears in log messages only. The child gets the first of `arguments`, if there is one.
    ProcessWin(std::string path, std::vector<std::string> arguments);
    ~ProcessWin() override;
    ProcessWin(const ProcessWin&) = delete;
    ProcessWin& operator=(const ProcessWin&) = delete;

    std::uint32_t Start() override;
    /// Releases the child without closing its process and thread handles.
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
    std::mutex lock_;                    // guards information_; never held during a wait
    PROCESS_INFORMATION information_{};  // all zero when the object holds no child
    EndMonitor monitor_;
    std::vector<std::unique_ptr<ProcessWatch>> watches_;  // of children that run, or ended since the last Start
};
