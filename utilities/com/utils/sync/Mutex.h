// kivsync::Mutex: a named mutex that several processes share (for one log file, one console, one manager).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace kivsync {

/// Every operation returns 0 on success and -1 on failure. Only the thread that locked the mutex may unlock it.
class Mutex {
  public:
    /// Unlocks and closes a mutex that was opened by name; -1 for one that this object created.
    virtual std::int32_t Close() = 0;
    /// Unlocks and closes a mutex that this object created; -1 for one that was opened.
    virtual std::int32_t Destroy() = 0;
    virtual std::int32_t Unlock() = 0;
    /// Waits at most `timeoutMs` for the mutex. A mutex whose owner died is taken over.
    [[nodiscard]] virtual std::int32_t Lock(std::uint32_t timeoutMs) = 0;
    /// Waits without limit.
    [[nodiscard]] virtual std::int32_t Lock() = 0;
    /// Unlocks and closes.
    virtual ~Mutex() = default;
    /// The platform's parts of MakeNamed and OpenNamed. Create fails when the name exists already.
    [[nodiscard]] virtual std::int32_t Create() = 0;
    [[nodiscard]] virtual std::int32_t Open() = 0;

    /// Creates the mutex, and locks it when `lockNow`. Empty when the name exists already, or on any failure.
    static std::shared_ptr<Mutex> MakeNamed(const std::string& name, bool lockNow);
    /// Opens a mutex that exists; empty when it does not.
    static std::shared_ptr<Mutex> OpenNamed(const std::string& name);
};

}  // namespace kivsync
