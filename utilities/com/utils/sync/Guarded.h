// kivsync::Guarded: data that only a holder of its lock can access, with a wait for a change of the data.
//
//     kivsync::Guarded<std::vector<int>> numbers;
//     numbers.Lock()->push_back(1);
//     numbers.NotifyAll();
//
//     auto held = numbers.Lock();
//     if (held.Wait(timeoutMs, [&] { return !held->empty(); }))
//         ... held->front() ...
#pragma once

#include <mutex>
#include <utility>

#include "utils/platform/Deadline.h"
#include "utils/sync/WaitWord.h"

namespace kivsync {

/// Any thread. The lock is neither recursive nor fair, so hold it for a short time only. `Lock()->` holds it to the end
/// of the whole expression, so nothing in that expression may lock it again.
template <class Data>
class Guarded {
  public:
    /// Access to the data. Holds the lock as long as this object lives.
    class Held {
      public:
        explicit Held(Guarded& owner) : owner_(owner), guard_(owner.lock_) {}
        Data* operator->() { return &owner_.data_; }
        Data& operator*() { return owner_.data_; }

        /// Waits until `done` returns true, and releases the lock meanwhile. Calls `done` with the lock held, at the
        /// beginning and each time the thread wakes. False when `timeoutMs` passed first.
        template <class Condition>
        bool Wait(std::uint32_t timeoutMs, Condition done) {
            const platform::Deadline deadline(timeoutMs);
            while (!done()) {
                const auto leftMs = deadline.LeftMs();
                if (leftMs == 0)
                    return false;
                const std::uint32_t seen = owner_.changes_;
                guard_.unlock();
                WaitWhile(owner_.changes_, seen, leftMs);
                guard_.lock();
            }
            return true;
        }
        template <class Condition>
        void Wait(Condition done) {
            Wait(platform::kInfinite, done);
        }
        void Unlock() { guard_.unlock(); }
        void Relock() { guard_.lock(); }

      private:
        Guarded& owner_;
        std::unique_lock<std::mutex> guard_;
    };

    Guarded() = default;
    explicit Guarded(Data data) : data_(std::move(data)) {}
    Held Lock() { return Held(*this); }

    /// Wakes all threads in Held::Wait. The caller may hold the lock, but need not.
    void NotifyAll() {
        ++changes_;
        WakeAll(changes_);
    }
    /// Wakes one thread in Held::Wait: enough when each of them can handle the change.
    void NotifyOne() {
        ++changes_;
        WakeOne(changes_);
    }

  private:
    std::mutex lock_;
    WaitWord changes_{0};
    Data data_{};
};

}  // namespace kivsync
