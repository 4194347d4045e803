// IProcess: one child process. Process is what the program holds; the platform supplies the implementation.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

inline constexpr std::uint32_t kProcessStartFailed = 0xFFFFFFFF;

/// Is told that the child with this process id ended, and with which exit code.
using EndMonitor = std::function<void(std::uint64_t pid, std::uint32_t exitCode)>;

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
    /// Sets the monitor; once, before Start. It is called once for every child that was started, when its process has
    /// ended: whoever ended it, also when the object let the child go, and possibly before Start has returned. It runs
    /// on a thread of the system's with no lock of this object held. Never after the destructor of this object, which
    /// waits for a call under way: the monitor must not drop the last reference to the object.
    virtual void OnEnd(EndMonitor monitor) = 0;

    /// The platform's implementation.
    static std::shared_ptr<IProcess> MakeImplementation(std::string path, std::vector<std::string> arguments);
};
