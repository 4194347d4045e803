// kivsync::ThreadWin: kivsync::Thread as a Windows thread.
#pragma once

#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Thread.h"

namespace kivsync {

class ThreadWin final : public Thread {
  public:
    /// Takes ownership of the handle of a running thread.
    explicit ThreadWin(HANDLE handle) : handle_(handle) {}
    ~ThreadWin() override;

    void Join() override;
    bool Join(std::uint32_t timeoutMs) override;

  private:
    const UniqueHandle handle_;
};

}  // namespace kivsync
