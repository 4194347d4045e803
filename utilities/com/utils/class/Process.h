// Process: the platform-neutral handle of one child process; forwards everything to the platform's implementation.
#pragma once

#include "utils/class/IProcess.h"

/// `path` names the executable in messages; the child is found by its program name, and gets the first argument.
class Process : public IProcess {
  public:
    Process(std::string path, std::vector<std::string> arguments);

    std::uint32_t Start() override;
    std::int32_t Stop() override;
    bool IsStarted() override;
    bool IsRunning() override;
    bool WaitForExit(std::uint32_t timeoutMs) override;
    std::uint64_t GetPid() override;
    void OnEnd(EndMonitor monitor) override;

  private:
    const std::shared_ptr<IProcess> implementation_;
};
