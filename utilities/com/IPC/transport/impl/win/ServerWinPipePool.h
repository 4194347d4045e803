// ServerWinPipePool: the pipe instances that a server keeps waiting, so that a client finds a free one even while
// another client is being accepted. Owned by ServerWinPipe.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "IPC/transport/impl/win/ServerWinPipeInstance.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/impl/win/SecurityAttributes.h"

/// Only one thread at a time may call Accept; any thread may call Interrupt.
class ServerWinPipePool {
  public:
    ServerWinPipePool(std::string serverName, std::size_t count);

    /// Waits for the next connected pipe. Empty after `timeoutMs` (with a log line) or, when no client has connected,
    /// after Interrupt. Meanwhile it retries MakeReady on the instances where that failed.
    UniqueHandle Accept(std::uint32_t timeoutMs);
    /// Makes the instances wait for clients. 0, or -1 when all of them fail. Call it before Accept.
    [[nodiscard]] std::int32_t Init();
    void Interrupt() { SetEvent(interruptEvent_.Get()); }

  private:
    /// Moves the instances that wait for a client to the front, and returns their number.
    std::size_t MakeReady();

    const std::string serverName_;
    SecurityAttributes securityAttributes_;
    std::vector<std::unique_ptr<ServerWinPipeInstance>> instances_;
    const UniqueHandle interruptEvent_;  // auto reset
};
