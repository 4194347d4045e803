// platform::LastErrorKeeper: puts the calling thread's last error back at the end of a scope, so that clean-up and
// logging never hide from the caller why its own call failed.
#pragma once

#include "utils/platform/Platform.h"

namespace platform {

class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(LastError()) {}
    ~LastErrorKeeper() { Restore(); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

    /// Puts the code back before the scope ends.
    void Restore() const { SetLastError(code_); }

  private:
    const std::uint32_t code_;
};

}  // namespace platform
