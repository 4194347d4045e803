// kivsync::EventWin: kivsync::Event as a Windows event.
#pragma once

#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Event.h"

namespace kivsync {

class EventWin final : public Event {
  public:
    std::int32_t Close() override;
    std::int32_t Set() override;
    std::int32_t Reset() override;
    std::int32_t Wait(std::uint32_t timeoutMs) override;
    std::int32_t Wait() override;
    std::int32_t Create(bool manualReset, bool initialState) override;

    /// The handle for waits and overlapped operations; this object still owns it. Null before Create and after Close.
    HANDLE Handle() const { return handle_.Get(); }

  private:
    UniqueHandle handle_;
};

}  // namespace kivsync
