// platform::LastErrorKeeper: restores the calling thread's last-error code at the end of a scope, so that clean-up and
// logging do not overwrite the reason why the caller's own call failed.
#pragma once

#include "utils/platform/Platform.h"

namespace platform {

class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(LastError()) {}
    ~LastErrorKeeper() { Restore(); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

    /// Restores the code before the scope ends.
    void Restore() const { SetLastError(code_); }

  private:
    const std::uint32_t code_;
};

}  // namespace platform
