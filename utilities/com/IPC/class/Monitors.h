// The callbacks by which a connection tells its owner about requests and about its end.
#pragma once

#include <cstdint>
#include <memory>

class IPC;

/// Called on the reader's listener thread.
class RequestMonitor {
  public:
    virtual ~RequestMonitor() = default;
    /// Receives a request. 0, or IPCServerClient::kCarriedOut.
    virtual std::int32_t OnRequest(const std::shared_ptr<IPC>& request) = 0;
};

/// May be called on the reader's listener thread, so it must not destroy the reader.
class DisconnectMonitor {
  public:
    virtual ~DisconnectMonitor() = default;
    /// `value` is the connection id when a server's connection calls, 0 when a reader calls.
    virtual void OnDisconnect(std::uint64_t value) = 0;
};
