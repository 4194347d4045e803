// kivsync::Guarded: data that nobody reaches without its lock.
//
//     kivsync::Guarded<std::vector<int>> numbers;
//     numbers.Lock()->push_back(1);
//     auto held = numbers.Lock();
//     changed.wait(held.Guard(), [&] { return !held->empty(); });
#pragma once

#include <mutex>
#include <utility>

namespace kivsync {

/// Any thread. The lock is neither recursive nor fair: it is for data that is looked at and let go.
template <class Data>
class Guarded {
  public:
    /// The data, and the lock for as long as this lives.
    class Held {
      public:
        explicit Held(Guarded& owner) : guard_(owner.lock_), data_(owner.data_) {}
        Data* operator->() { return &data_; }
        Data& operator*() { return data_; }
        /// For a wait on a condition variable, which lets go of the lock meanwhile.
        std::unique_lock<std::mutex>& Guard() { return guard_; }

      private:
        std::unique_lock<std::mutex> guard_;
        Data& data_;
    };

    Guarded() = default;
    explicit Guarded(Data data) : data_(std::move(data)) {}
    Held Lock() { return Held(*this); }

  private:
    std::mutex lock_;
    Data data_{};
};

}  // namespace kivsync
