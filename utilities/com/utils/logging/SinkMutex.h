// Logging::SinkMutex: the named mutex by which the processes that share a log file or a console take turns.
//
//     const std::lock_guard guard(mutex_);  // holds the mutex, or continues without it
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "utils/sync/Mutex.h"

namespace Logging {

/// A process that is suspended while it writes its line must not stop the log of all the others. So lock() waits at
/// most kPatienceMs for the mutex and then returns without it; later calls do not wait, until one gets the mutex again.
/// A mutex whose owner died is taken over. Used by one thread at a time.
class SinkMutex {
  public:
    static constexpr std::uint32_t kPatienceMs = 1000;

    /// With an empty `mutex`, which the system refused to create, lock() always returns without it.
    explicit SinkMutex(std::shared_ptr<kivsync::Mutex> mutex) : mutex_(std::move(mutex)) {}

    void lock() { taken_ = mutex_ != nullptr && mutex_->Lock(taken_ ? kPatienceMs : 0) == 0; }
    void unlock() {
        if (taken_)
            mutex_->Unlock();
    }
    /// Whether the last lock() got the mutex. Ask between lock() and unlock().
    bool IsHeld() const { return taken_; }

  private:
    const std::shared_ptr<kivsync::Mutex> mutex_;
    bool taken_ = true;  // by the last lock(); initially true, so that the first lock() waits
};

}  // namespace Logging
