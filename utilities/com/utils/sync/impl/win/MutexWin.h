// kivsync::MutexWin: kivsync::Mutex as a Windows mutex. A name goes into the machine's global namespace, which the
// service and a user's console program share.
#pragma once

#include <string>
#include <utility>

#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"

namespace kivsync {

class MutexWin final : public Mutex {
  public:
    /// The caller must call Create next if `created`, otherwise Open.
    MutexWin(const std::string& name, bool created);
    /// Takes ownership of a mutex that the caller created or opened, such as one in the namespace of a session.
    explicit MutexWin(UniqueHandle mutex) : created_(false), handle_(std::move(mutex)) {}
    ~MutexWin() override;

    std::int32_t Close() override;
    std::int32_t Destroy() override;
    std::int32_t Unlock() override;
    std::int32_t Lock(std::uint32_t timeoutMs) override;
    std::int32_t Lock() override;
    std::int32_t Create() override;
    std::int32_t Open() override;

  private:
    std::int32_t UnlockAndClose();

    const bool created_;
    bool locked_ = false;  // changed only by the thread that holds the mutex
    const std::string name_;
    UniqueHandle handle_;
};

}  // namespace kivsync
