// kivsync::MutexWin: kivsync::Mutex over a named Windows mutex, as a rule in the machine's global name space, which the
// service and a user's console program see alike.
#pragma once

#include <string>
#include <utility>

#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"

namespace kivsync {

class MutexWin final : public Mutex {
  public:
    /// `created` says which of Create (true) and Open (false) the maker calls next.
    MutexWin(const std::string& name, bool created);
    /// Takes over a mutex that was made or opened elsewhere, such as one whose name belongs to a session.
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
    bool locked_ = false;  // touched by the thread that holds the mutex only
    const std::string name_;
    UniqueHandle handle_;
};

}  // namespace kivsync
