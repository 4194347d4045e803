// kivsync::Thread: one operating-system thread, joined at the latest by its destructor.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kivsync {

/// Owned by whoever started it. Join from one thread only, and never from the thread itself.
class Thread {
  public:
    /// Waits without limit for the thread's end.
    virtual void Join() = 0;
    /// Waits at most `timeoutMs`; true when the thread has ended.
    virtual bool Join(std::uint32_t timeoutMs) = 0;
    /// Joins.
    virtual ~Thread() = default;

    /// Starts a thread that runs `body`; empty when the system has no thread to give.
    static std::unique_ptr<Thread> Start(std::function<void()> body);
};

}  // namespace kivsync
