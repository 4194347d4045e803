// Logging::SinkMutex: the named mutex by which the processes that share a log file or a console take turns.
//
//     const std::lock_guard guard(mutex_);  // has the mutex, or has passed it over
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "utils/sync/Mutex.h"

namespace Logging {

/// A process can be suspended in the middle of its line, and must not stop the log of all others. So lock waits for the
/// mutex for kPatienceMs at most and then returns without it; later locks only try it, until one gets it again. A mutex
/// whose owner died is taken over. One thread at a time.
class SinkMutex {
  public:
    static constexpr std::uint32_t kPatienceMs = 1000;

    /// An empty one, because the system refused to make it, is always passed over.
    explicit SinkMutex(std::shared_ptr<kivsync::Mutex> mutex) : mutex_(std::move(mutex)) {}

    void lock() { taken_ = mutex_ != nullptr && mutex_->Lock(taken_ ? kPatienceMs : 0) == 0; }
    void unlock() {
        if (taken_)
            mutex_->Unlock();
    }
    /// Between lock and unlock: false when the mutex was passed over.
    bool IsHeld() const { return taken_; }

  private:
    const std::shared_ptr<kivsync::Mutex> mutex_;
    bool taken_ = true;  // by the last lock; true at first, so that the first lock has patience
};

}  // namespace Logging
