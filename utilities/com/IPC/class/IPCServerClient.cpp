#include "IPC/class/IPCServerClient.h"

#include <array>
#include <utility>

#include "IPC/transport/WholeTransfer.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"

IPCServerClient::IPCServerClient(std::string serverName, std::uint64_t connectionId,
                                 std::shared_ptr<ClientTransport> transport, RequestMonitor& requests,
                                 DisconnectMonitor& disconnects)
    : peer_{std::move(serverName), connectionId},
      transport_(std::move(transport)),
      requestMonitor_(requests),
      disconnectMonitor_(disconnects),
      sender_(*transport_, peer_, [this] { End(); }),
      reader_(transport_, *this, *this) {}

IPCServerClient::~IPCServerClient() {
    KIV_LOG(Logging::Info, "~IPCServerClient");
    Close();
    AwaitFinish();
}

bool IPCServerClient::Handshake() {
    const std::array<wire::u64, 2> ids{peer_.connectionId, platform::CurrentProcessId()};
    if (transport_->Write(ids.data(), sizeof ids, platform::kInfinite) != static_cast<std::int32_t>(sizeof ids))
        return false;
    wire::u64 clientProcessId;
    if (!ReadWhole(*transport_, &clientProcessId, sizeof clientProcessId, platform::kInfinite))
        return false;
    peer_.processId = clientProcessId;
    reader_.SetIds(peer_.connectionId, peer_.processId);
    handshakeDone_ = true;
    return true;
}

std::int32_t IPCServerClient::Close() {
    ended_ = true;
    gate_.Close();
    const auto result = transport_->Close();
    sender_.Close();
    reader_.SignalStop();
    return result;
}

std::int32_t IPCServerClient::End() {
    const bool first = !ended_.exchange(true);
    const auto result = Close();
    if (first)
        disconnectMonitor_.OnDisconnect(peer_.connectionId);
    return result;
}

std::int32_t IPCServerClient::OnRequest(const std::shared_ptr<IPC>& request) {
    if (request->IsTerminate()) {
        AnswerTerminate(*request);
        return kIpcSuccess;
    }
    request->SetConnection(weak_from_this());
    gate_.Enter(*request);
    const auto result = requestMonitor_.OnRequest(request);
    if (result == kCarriedOut)
        gate_.Leave(*request);
    else if (!gate_.AwaitRoom([this] { return transport_->HasPeerClosed(); }))
        End();
    return result;
}

void IPCServerClient::AnswerTerminate(const IPC& request) {
    const auto id = static_cast<long long>(peer_.connectionId);
    const auto pid = static_cast<long long>(peer_.processId);
    KIV_LOG(Logging::Info, "OnRequest terminate handling id:%lld pid:%lld", id, pid);
    const auto answer = std::make_shared<const IPCPayload>(IPC::Reply(request)->Serialize());
    if (!IsServing() || sender_.Send(answer, MessageSender::Begin::Here) != MessageSender::Result::Sent)
        KIV_LOG(Logging::Error, "Cannot send terminate reply for client %X", static_cast<unsigned>(peer_.connectionId));
    sender_.AwaitEmpty();
    if (End() != 0)
        KIV_LOG(Logging::Error, "Cannot close client %X", static_cast<unsigned>(peer_.connectionId));
    KIV_LOG(Logging::Info, "OnRequest terminate set event id:%lld pid:%lld", id, pid);
}

MessageSender::Result IPCServerClient::Send(const MessageSender::Message& message, MessageSender::Begin begin) {
    if (!IsServing())
        return MessageSender::Result::Gone;
    const auto result = sender_.Send(message, begin);
    if (result != MessageSender::Result::Sent)
        End();
    return result;
}
