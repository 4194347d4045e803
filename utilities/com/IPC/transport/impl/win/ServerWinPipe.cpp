#include "IPC/transport/impl/win/ServerWinPipe.h"

#include <utility>

#include "IPC/transport/impl/win/ClientWinPipe.h"

namespace {

constexpr std::int32_t kWaitingPipes = 2;  // one for the next client while another is being taken over

}  // namespace

ServerWinPipe::ServerWinPipe(const std::string& serverName)
    : serverName_(serverName), pool_(serverName, kWaitingPipes) {}

std::shared_ptr<ClientTransport> ServerWinPipe::Accept(std::uint32_t timeoutMs) {
    auto pipe = pool_.Accept(timeoutMs);
    if (!pipe)
        return {};
    return std::make_shared<ClientWinPipe>(serverName_, std::move(pipe));
}

std::shared_ptr<ServerTransport> ServerTransport::Make(const std::string& serverName) {
    auto transport = std::make_shared<ServerWinPipe>(serverName);
    return transport->Init() == 0 ? transport : nullptr;
}
