// ServerWinPipe: the listening end of a named server, over named pipes.
#include <utility>

#include "IPC/transport/ServerTransport.h"
#include "IPC/transport/impl/win/ClientWinPipe.h"
#include "IPC/transport/impl/win/ServerWinPipePool.h"

namespace {

constexpr std::size_t kWaitingPipes = 2;  // one for the next client while the other one is being accepted

class ServerWinPipe : public ServerTransport {
  public:
    explicit ServerWinPipe(const std::string& serverName) : serverName_(serverName), pool_(serverName, kWaitingPipes) {}

    /// Creates the pipes. 0 when at least one waits for a client, otherwise -1. Call it before Accept.
    std::int32_t Init() { return pool_.Init(); }
    std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) override {
        auto pipe = pool_.Accept(timeoutMs);
        return pipe ? std::make_shared<ClientWinPipe>(serverName_, std::move(pipe)) : nullptr;
    }
    void Interrupt() override { pool_.Interrupt(); }

  private:
    const std::string serverName_;
    ServerWinPipePool pool_;
};

}  // namespace

std::shared_ptr<ServerTransport> ServerTransport::Make(const std::string& serverName) {
    auto transport = std::make_shared<ServerWinPipe>(serverName);
    return transport->Init() == 0 ? transport : nullptr;
}
