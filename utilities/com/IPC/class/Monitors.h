// The callbacks through which the owner of a reader hears of requests and of the connection's end.
#pragma once

#include <cstdint>
#include <memory>

class IPC;

/// Called on the reader's listener thread.
class RequestMonitor {
  public:
    virtual ~RequestMonitor() = default;
    /// Takes the request. 0, or IPCServerClient::kCarriedOut.
    virtual std::int32_t OnRequest(const std::shared_ptr<IPC>& request) = 0;
};

/// Called on the reader's listener thread, which must not destroy the reader: it only takes note.
class DisconnectMonitor {
  public:
    virtual ~DisconnectMonitor() = default;
    virtual void OnDisconnect(std::uint64_t value) = 0;
};
