// kivsync::Thread: one operating-system thread. The destructor joins it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kivsync {

/// Owned by the caller of Start. Only one thread may join it, and never the thread itself.
class Thread {
  public:
    /// Waits without limit for the thread's end.
    virtual void Join() = 0;
    /// Waits at most `timeoutMs`; true when the thread has ended.
    virtual bool Join(std::uint32_t timeoutMs) = 0;
    /// Waits like Join().
    virtual ~Thread() = default;

    /// Starts a thread that runs `body`; empty when the system cannot start one.
    static std::unique_ptr<Thread> Start(std::function<void()> body);
};

}  // namespace kivsync
