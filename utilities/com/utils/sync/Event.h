// kivsync::Event: an unnamed event that threads of this process signal and await.
//
//     auto stop = kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear);
//     stop->Set();
//     if (stop->Wait(0) == 0) { /* signalled */ }
#pragma once

#include <cstdint>
#include <memory>

namespace kivsync {

enum class Reset { Auto, Manual };
enum class Initially { Clear, Signalled };

/// Every operation returns 0 on success and -1 on failure. Any thread may call any operation, but Close only when no
/// thread waits any more. Shared ownership: a waiter that holds a reference keeps the event usable.
class Event {
  public:
    virtual std::int32_t Close() = 0;
    virtual std::int32_t Set() = 0;
    virtual std::int32_t Reset() = 0;
    /// Waits at most `timeoutMs` (0xFFFFFFFF: without limit). 0 when signalled, -1 on timeout or failure.
    virtual std::int32_t Wait(std::uint32_t timeoutMs) = 0;
    /// Waits without limit.
    virtual std::int32_t Wait() = 0;
    virtual ~Event() = default;
    /// Creates the system's event. Make calls it.
    [[nodiscard]] virtual std::int32_t Create(bool manualReset, bool initialState) = 0;

    /// A new event; empty when the system cannot create one.
    static std::shared_ptr<Event> Make(kivsync::Reset reset, Initially state);
};

}  // namespace kivsync
