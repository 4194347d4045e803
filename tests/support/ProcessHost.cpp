#include "support/ProcessHost.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "utils/class/IProcess.h"

namespace {

std::mutex lock;  // guards the factory and every process's child
ChildFactory factory;
std::atomic<std::uint64_t> lastPid{1000};

class ProcessHost : public IProcess {
  public:
    explicit ProcessHost(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

    std::uint32_t Start() override {
        std::unique_lock guard(lock);
        const auto make = factory;
        guard.unlock();
        const auto child = make ? make(arguments_.empty() ? "" : arguments_.front()) : nullptr;
        Hold(child);
        return child == nullptr ? kProcessStartFailed : 0;
    }
    std::int32_t Stop() override {
        if (const auto child = Held())
            child->Kill();
        Hold(nullptr);
        return 0;
    }
    bool IsStarted() override { return Held() != nullptr; }
    bool IsRunning() override {
        const auto child = Held();
        return child != nullptr && child->IsRunning();
    }
    bool WaitForExit(std::uint32_t timeoutMs) override {
        const auto child = Held();
        if (child == nullptr || !child->WaitForExit(timeoutMs))
            return false;
        Hold(nullptr);
        return true;
    }
    std::uint64_t GetPid() override {
        const auto child = Held();
        return child == nullptr ? 0 : child->Pid();
    }

  private:
    std::shared_ptr<FakeChild> Held() {
        const std::lock_guard guard(lock);
        return child_;
    }
    void Hold(std::shared_ptr<FakeChild> child) {
        const std::lock_guard guard(lock);
        child_.swap(child);
    }

    const std::vector<std::string> arguments_;
    std::shared_ptr<FakeChild> child_;
};

}  // namespace

FakeChild::FakeChild()
    : pid_(++lastPid), exited_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {}

void SetChildFactory(ChildFactory newFactory) {
    const std::lock_guard guard(lock);
    factory = std::move(newFactory);
}

std::shared_ptr<IProcess> IProcess::MakeImplementation(std::string, std::vector<std::string> arguments) {
    return std::make_shared<ProcessHost>(std::move(arguments));
}
