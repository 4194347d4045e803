#include "support/Doubles.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "utils/class/IProcess.h"
#include "utils/platform/Platform.h"

namespace {

std::mutex lock;  // guards the factory, every process's child and every child's exit code
std::condition_variable changed;
ChildFactory factory;

template <class Value>
Value Locked(const Value& value) {
    const std::lock_guard guard(lock);
    return value;
}

class ProcessHost : public IProcess {
  public:
    explicit ProcessHost(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}
    ~ProcessHost() override {
        {
            const std::lock_guard guard(lock);
            gone_ = true;
            changed.notify_all();
        }
        for (auto& watch : watches_)
            watch.join();
    }

    std::uint32_t Start() override {
        const auto make = Locked(factory);
        const auto child = make ? make(arguments_.empty() ? "" : arguments_.front()) : nullptr;
        Hold(child);
        if (child && monitor_)
            watches_.emplace_back([this, exitCode = child->SharedExitCode()] { Watch(*exitCode); });
        return child ? 0 : kProcessStartFailed;
    }
    std::int32_t Stop() override {
        if (const auto child = Locked(child_))
            child->Kill();
        Hold(nullptr);
        return 0;
    }
    bool IsStarted() override { return Locked(child_) != nullptr; }
    bool IsRunning() override {
        const auto child = Locked(child_);
        return child && child->IsRunning();
    }
    bool WaitForExit(std::uint32_t timeoutMs) override {
        const auto child = Locked(child_);
        const bool exited = child && child->WaitForExit(timeoutMs);
        if (exited)
            Hold(nullptr);
        return exited;
    }
    std::uint64_t GetPid() override {
        return Locked(child_) ? platform::CurrentProcessId() : 0;  // the child runs on threads of this process
    }
    void OnEnd(EndMonitor monitor) override { monitor_ = std::move(monitor); }

  private:
    void Watch(const FakeChild::ExitCode& exitCode) {
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return exitCode || gone_; });
        const auto ended = exitCode;
        guard.unlock();
        if (ended)
            monitor_(platform::CurrentProcessId(), *ended);
    }
    void Hold(std::shared_ptr<FakeChild> child) {
        const std::lock_guard guard(lock);
        child_.swap(child);
    }

    const std::vector<std::string> arguments_;
    std::shared_ptr<FakeChild> child_;
    EndMonitor monitor_;
    std::vector<std::thread> watches_;  // of the children that were started
    bool gone_ = false;
};

}  // namespace

void FakeChild::End(std::uint32_t exitCode) {
    const std::lock_guard guard(lock);
    if (!*exitCode_)
        *exitCode_ = exitCode;
    changed.notify_all();
}

bool FakeChild::WaitForExit(std::uint32_t timeoutMs) {
    std::unique_lock guard(lock);
    return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return exitCode_->has_value(); });
}

void SetChildFactory(ChildFactory newFactory) {
    const std::lock_guard guard(lock);
    factory = std::move(newFactory);
}

std::shared_ptr<IProcess> IProcess::MakeImplementation(std::string, std::vector<std::string> arguments) {
    return std::make_shared<ProcessHost>(std::move(arguments));
}
