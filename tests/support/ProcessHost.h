// The native double of child processes: a test says what a "child" does when the product starts one.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "utils/sync/Event.h"

/// A child that runs until Exit or Kill is called, by any thread. A test derives from it what the child shall do.
class FakeChild {
  public:
    FakeChild();
    virtual ~FakeChild() = default;

    /// The child ends by itself.
    void Exit() { exited_->Set(); }
    /// The product ends the child by force.
    virtual void Kill() { Exit(); }

    bool IsRunning() { return exited_->Wait(0) != 0; }
    bool WaitForExit(std::uint32_t timeoutMs) { return exited_->Wait(timeoutMs) == 0; }
    std::uint64_t Pid() const { return pid_; }

  private:
    const std::uint64_t pid_;
    const std::shared_ptr<kivsync::Event> exited_;
};

/// Makes the child for its command-line argument; empty: it cannot be started.
using ChildFactory = std::function<std::shared_ptr<FakeChild>(const std::string& argument)>;

/// Takes effect for the children started from now on. Without a factory none can be started.
void SetChildFactory(ChildFactory factory);
