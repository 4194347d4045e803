// IProcess: one child process. Programs use the class Process; the platform supplies the implementation behind it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

inline constexpr std::uint32_t kProcessStartFailed = 0xFFFFFFFF;

/// Receives the process id and the exit code of a child that has ended.
using EndMonitor = std::function<void(std::uint64_t pid, std::uint32_t exitCode)>;

/// Only one thread at a time may call Start, Stop and WaitForExit; the owner ensures that. Any thread may call
/// IsStarted, IsRunning and GetPid, also during those calls. The destructor does not stop the child.
class IProcess {
  public:
    virtual ~IProcess() = default;
    /// Starts the child. 0, or kProcessStartFailed. If the object already holds a child, it releases that child without
    /// stopping it.
    virtual std::uint32_t Start() = 0;
    /// Ends the child by force and releases it. Always 0; a failure is logged.
    virtual std::int32_t Stop() = 0;
    /// True while the object holds a child, also when that child has ended.
    virtual bool IsStarted() = 0;
    virtual bool IsRunning() = 0;
    /// True when the child ended within `timeoutMs`; the object then releases it.
    virtual bool WaitForExit(std::uint32_t timeoutMs) = 0;
    /// Process id of the child that the object holds; 0 when it holds none.
    virtual std::uint64_t GetPid() = 0;
    /// Sets the monitor. Call it once, before the first Start. Every child that was started causes one call when its
    /// process has ended, also when the object has released the child, and possibly before Start has returned. The
    /// call comes on a thread of the system, with no lock of this object held. The destructor waits for a call in
    /// progress, and no call comes after it: so the monitor must not release the last reference to this object.
    virtual void OnEnd(EndMonitor monitor) = 0;

    /// The platform's implementation.
    static std::shared_ptr<IProcess> MakeImplementation(std::string path, std::vector<std::string> arguments);
};
