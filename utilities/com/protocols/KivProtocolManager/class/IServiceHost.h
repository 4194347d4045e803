// What the manager needs of the program around it: the service control manager's view, or a console.
#pragma once

#include <cstdint>
#include <string>

/// The service states that the manager reports, with the platform's values.
enum class ServiceState : std::uint32_t { Stopped = 1, StartPending = 2, StopPending = 3, Running = 4 };

/// Outlives the manager. Any thread.
class IServiceHost {
  public:
    virtual ~IServiceHost() = default;
    /// Running under the service control manager rather than in a console.
    virtual bool InServiceMode() const = 0;
    /// Reports a state that differs from the current one, with exit codes and checkpoint zero.
    virtual void SetState(ServiceState state) = 0;
    virtual void SignalReady() = 0;
    virtual void ResetReady() = 0;
    /// Tells whoever started the program.
    virtual void PrintMessage(const std::wstring& message) = 0;
};
