// kivsync::Mutex: a named mutex seen by every process of the machine (one log file, one console, one manager).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace kivsync {

/// Every operation returns 0 on success and -1 on failure. A lock belongs to the thread that took it.
class Mutex {
  public:
    /// Closes a mutex that was opened by name; -1 for one that this object created.
    virtual std::int32_t Close() = 0;
    /// Closes a mutex that this object created; -1 for one that was opened.
    virtual std::int32_t Destroy() = 0;
    virtual std::int32_t Unlock() = 0;
    /// Waits at most `timeoutMs` for the mutex. A mutex whose owner died is taken over.
    virtual std::int32_t Lock(std::uint32_t timeoutMs) = 0;
    virtual std::int32_t Lock() = 0;
    /// Unlocks and closes.
    virtual ~Mutex() = default;
    virtual std::int32_t Create() = 0;
    virtual std::int32_t Open() = 0;

    /// Creates the mutex; empty when the name exists already (one object only can create it) or on any failure.
    static std::shared_ptr<Mutex> MakeNamed(const std::string& name, bool lockNow);
    /// Opens a mutex that exists; empty when it does not.
    static std::shared_ptr<Mutex> OpenNamed(const std::string& name);
};

}  // namespace kivsync
