// IProcess: one child process. Process is what the program holds; the platform supplies the implementation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

inline constexpr std::uint32_t kProcessStartFailed = 0xFFFFFFFF;

/// Start, Stop and WaitForExit are called by one thread at a time (the instance's owner sees to that); the three
/// queries may be called by any thread meanwhile. None of them stops the child at destruction.
class IProcess {
  public:
    virtual ~IProcess() = default;
    /// Starts the child: 0, or kProcessStartFailed. A child that is held already is forgotten, not stopped.
    virtual std::uint32_t Start() = 0;
    /// Ends the child by force; always 0.
    virtual std::int32_t Stop() = 0;
    /// A child is held, running or not.
    virtual bool IsStarted() = 0;
    virtual bool IsRunning() = 0;
    /// True when the child ended within `timeoutMs`; it is then no longer held.
    virtual bool WaitForExit(std::uint32_t timeoutMs) = 0;
    /// Id of the child held; 0 when none.
    virtual std::uint64_t GetPid() = 0;

    /// The platform's implementation.
    static std::shared_ptr<IProcess> MakeImplementation(std::string path, std::vector<std::string> arguments);
};
