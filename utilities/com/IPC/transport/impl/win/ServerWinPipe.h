// ServerWinPipe: the listening end of a named server, over named pipes.
#pragma once

#include "IPC/transport/ServerTransport.h"
#include "IPC/transport/impl/win/ServerWinPipePool.h"

class ServerWinPipe : public ServerTransport {
  public:
    explicit ServerWinPipe(const std::string& serverName);

    /// 0 when pipes wait under the name, -1 otherwise. Before Accept.
    std::int32_t Init() { return pool_.Init(); }
    /// Nothing to do: the pipes are there from Init to the destructor.
    std::int32_t Open() override { return 0; }
    std::int32_t Close() override { return 0; }
    std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) override;
    void Interrupt() override { pool_.Interrupt(); }

  private:
    const std::string serverName_;
    ServerWinPipePool pool_;
};
