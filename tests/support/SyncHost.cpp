// Events, named mutexes and threads on the standard library, for the native build of the tests.
#include "support/Doubles.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "utils/platform/Deadline.h"
#include "utils/sync/Event.h"
#include "utils/sync/Mutex.h"
#include "utils/sync/Thread.h"
#include "utils/sync/WaitWord.h"

namespace kivsync {

namespace {

/// One lock and one condition for all events and words, and the names of the mutexes.
struct Shared {
    template <class Condition>
    bool Await(std::unique_lock<std::mutex>& guard, std::uint32_t timeoutMs, Condition condition) {
        if (timeoutMs != platform::kInfinite)
            return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), condition);
        changed.wait(guard, condition);
        return true;
    }

    std::mutex lock;
    std::condition_variable changed;
    std::map<std::string, std::weak_ptr<Event>> mutexes;
    int threadsToFailure = 0;  // threads until the one that does not start; 0: none
    std::function<void()> onWait;
};

Shared& TheShared() {
    static auto& shared = *new Shared;  // outlives every static object that may still wait or signal
    return shared;
}

class EventHost final : public Event {
  public:
    std::int32_t Close() override { return 0; }
    std::int32_t Set() override { return Become(true); }
    std::int32_t Reset() override { return Become(false); }
    std::int32_t Wait(std::uint32_t timeoutMs) override {
        std::unique_lock guard(TheShared().lock);
        return TheShared().Await(guard, timeoutMs, [&] { return LetsThrough(); }) ? 0 : -1;
    }
    std::int32_t Wait() override { return Wait(platform::kInfinite); }
    std::int32_t Create(bool manualReset, bool initialState) override {
        manual = manualReset;
        signalled = initialState;
        return 0;
    }

    /// Whether a waiter may pass now. Call it with the shared lock held.
    bool LetsThrough() { return signalled && std::exchange(signalled, manual); }

    bool manual = false;  // the shared lock guards both members
    bool signalled = false;

  private:
    std::int32_t Become(bool newState) {
        const std::lock_guard guard(TheShared().lock);
        signalled = newState;
        TheShared().changed.notify_all();
        return 0;
    }
};

/// Its name exists as long as an object for it exists. Unlike a mutex of the system, it cannot be locked twice by its
/// holder, and it is not taken over from a holder that died.
class MutexHost final : public Mutex {
  public:
    explicit MutexHost(std::shared_ptr<Event> free, bool locked = false) : free_(std::move(free)), locked_(locked) {}
    ~MutexHost() override {
        if (locked_)
            Unlock();
    }

    std::int32_t Close() override { return 0; }
    std::int32_t Destroy() override { return Unlock(); }
    std::int32_t Unlock() override {
        locked_ = false;
        return free_->Set();
    }
    std::int32_t Lock(std::uint32_t timeoutMs) override {
        const auto result = free_->Wait(timeoutMs);
        if (result == 0)
            locked_ = true;
        return result;
    }
    std::int32_t Lock() override { return Lock(platform::kInfinite); }
    std::int32_t Create() override { return 0; }
    std::int32_t Open() override { return 0; }

  private:
    const std::shared_ptr<Event> free_;  // signalled while no thread holds the mutex
    std::atomic<bool> locked_;
};

class ThreadHost final : public Thread {
  public:
    explicit ThreadHost(std::function<void()> body)
        : thread_([this, work = std::move(body)]() mutable {
              work();
              work = nullptr;  // releases its captures before the thread counts as ended
              ended_->Set();
          }) {}
    ~ThreadHost() override { Join(); }

    void Join() override {
        if (thread_.joinable())
            thread_.join();
    }
    bool Join(std::uint32_t timeoutMs) override { return ended_->Wait(timeoutMs) == 0; }

  private:
    const std::shared_ptr<Event> ended_ = Event::Make(Reset::Manual, Initially::Clear);
    std::thread thread_;  // declared after ended_, which it uses
};

}  // namespace

std::shared_ptr<Event> Event::Make(kivsync::Reset reset, Initially state) {
    auto event = std::make_shared<EventHost>();
    event->Create(reset == kivsync::Reset::Manual, state == Initially::Signalled);
    return event;
}

void WaitWhile(const WaitWord& word, std::uint32_t seen, std::uint32_t timeoutMs) {
    std::unique_lock guard(TheShared().lock);
    if (const auto hook = TheShared().onWait) {
        guard.unlock();
        hook();
        guard.lock();
    }
    TheShared().Await(guard, timeoutMs, [&] { return word != seen; });
}

void WakeOne(WaitWord& word) {
    WakeAll(word);
}

void WakeAll(WaitWord&) {
    const std::lock_guard guard(TheShared().lock);
    TheShared().changed.notify_all();
}

std::shared_ptr<Mutex> Mutex::MakeNamed(const std::string& name, bool lockNow) {
    const auto free = Event::Make(kivsync::Reset::Auto, lockNow ? Initially::Clear : Initially::Signalled);
    const std::lock_guard guard(TheShared().lock);
    auto& known = TheShared().mutexes[name];
    if (!known.expired())
        return nullptr;
    known = free;
    return std::make_shared<MutexHost>(free, lockNow);
}

std::shared_ptr<Mutex> Mutex::OpenNamed(const std::string& name) {
    const std::lock_guard guard(TheShared().lock);
    auto free = TheShared().mutexes[name].lock();
    return free ? std::make_shared<MutexHost>(std::move(free)) : nullptr;
}

std::unique_ptr<Thread> Thread::Start(std::function<void()> body) {
    {
        const std::lock_guard guard(TheShared().lock);
        auto& left = TheShared().threadsToFailure;
        if (left > 0 && --left == 0)
            return nullptr;
    }
    return std::make_unique<ThreadHost>(std::move(body));
}

}  // namespace kivsync

int sync_host::FailThread(int nth) {
    const std::lock_guard guard(kivsync::TheShared().lock);
    return std::exchange(kivsync::TheShared().threadsToFailure, nth);
}

void sync_host::OnWait(std::function<void()> hook) {
    const std::lock_guard guard(kivsync::TheShared().lock);
    kivsync::TheShared().onWait.swap(hook);
}
