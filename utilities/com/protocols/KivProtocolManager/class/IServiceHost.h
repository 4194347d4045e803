// IServiceHost: what the manager needs from the program that runs it, as a service or in a console.
#pragma once

#include <cstdint>
#include <string>

/// The service states that the manager reports, with the platform's values.
enum class ServiceState : std::uint32_t { Stopped = 1, StartPending = 2, StopPending = 3, Running = 4 };

/// Outlives the manager. Any thread may call it.
class IServiceHost {
  public:
    virtual ~IServiceHost() = default;
    /// True under the service control manager, false in a console.
    virtual bool InServiceMode() const = 0;
    /// Reports a state to the service control manager, with exit codes and checkpoint 0. Ignores the current state and,
    /// once a stop is pending, every state but Stopped.
    virtual void SetState(ServiceState state) = 0;
    /// These two set and clear the host's ready event: the service is running.
    virtual void SignalReady() = 0;
    virtual void ResetReady() = 0;
    /// Shows a message to the person who started the program.
    virtual void PrintMessage(const std::wstring& message) = 0;
};
