#include "support/Doubles.h"

#include <mutex>
#include <utility>

#include "utils/class/IProcess.h"
#include "utils/platform/Platform.h"

namespace {

std::mutex lock;  // guards the factory and every process's child
ChildFactory factory;

template <class Value>
Value Locked(const Value& value) {
    const std::lock_guard guard(lock);
    return value;
}

class ProcessHost : public IProcess {
  public:
    explicit ProcessHost(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

    std::uint32_t Start() override {
        const auto make = Locked(factory);
        const auto child = make ? make(arguments_.empty() ? "" : arguments_.front()) : nullptr;
        Hold(child);
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
        return Locked(child_) ? platform::CurrentProcessId() : 0;  // its threads are this process's
    }

  private:
    void Hold(std::shared_ptr<FakeChild> child) {
        const std::lock_guard guard(lock);
        child_.swap(child);
    }

    const std::vector<std::string> arguments_;
    std::shared_ptr<FakeChild> child_;
};

}  // namespace

FakeChild::FakeChild() : exited_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {}

void SetChildFactory(ChildFactory newFactory) {
    const std::lock_guard guard(lock);
    factory = std::move(newFactory);
}

std::shared_ptr<IProcess> IProcess::MakeImplementation(std::string, std::vector<std::string> arguments) {
    return std::make_shared<ProcessHost>(std::move(arguments));
}
