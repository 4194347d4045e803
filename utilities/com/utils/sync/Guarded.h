// kivsync::Guarded: data that nobody reaches without its lock, and the wait for a change of it.
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

/// Any thread. The lock is neither recursive nor fair: it is for data that is looked at and let go. `Lock()->` keeps it
/// to the end of the whole expression, so nothing in that may lock it again.
template <class Data>
class Guarded {
  public:
    /// The data, and the lock for as long as this lives.
    class Held {
      public:
        explicit Held(Guarded& owner) : owner_(owner), guard_(owner.lock_) {}
        Data* operator->() { return &owner_.data_; }
        Data& operator*() { return owner_.data_; }

        /// Lets go of the lock until `done`, which is called with the lock held: at first and after each notification.
        /// False when `timeoutMs` were over before.
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

    /// Wakes those who wait for a change; with or without the lock.
    void NotifyAll() {
        ++changes_;
        WakeAll(changes_);
    }
    /// Enough when any one of them can do what is to be done.
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
