// Process: the platform-neutral handle of one child process; forwards every call to the platform's implementation.
#pragma once

#include "utils/class/IProcess.h"

/// `path` appears in log messages only: the platform knows which program to start. The child gets the first of
/// `arguments`, if there is one.
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
