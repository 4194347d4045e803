// ServerWinPipePool: the pipe instances that a server keeps waiting, so that a client finds one also while another
// client is being taken over. Owned by ServerWinPipe.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "IPC/transport/impl/win/ServerWinPipeInstance.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/impl/win/SecurityAttributes.h"

/// Accept is called by one thread at a time; Interrupt by any.
class ServerWinPipePool {
  public:
    ServerWinPipePool(std::string serverName, std::size_t count);

    /// The next connected pipe; empty after `timeoutMs` (with a log line) or, when no client has connected, an
    /// Interrupt. Instances that wait for nobody are tried again meanwhile.
    UniqueHandle Accept(std::uint32_t timeoutMs);
    /// Makes the instances wait. 0; -1 when none of them could be made to wait.
    [[nodiscard]] std::int32_t Init();
    void Interrupt() { SetEvent(interruptEvent_.Get()); }

  private:
    /// Moves the instances that wait for a client to the front. Their number.
    std::size_t MakeReady();

    const std::string serverName_;
    SecurityAttributes securityAttributes_;
    std::vector<std::unique_ptr<ServerWinPipeInstance>> instances_;
    const UniqueHandle interruptEvent_;  // auto reset
};
