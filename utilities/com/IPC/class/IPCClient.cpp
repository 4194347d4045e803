#include "IPC/class/IPCClient.h"

#include <algorithm>
#include <map>
#include <utility>

#include "IPC/class/PipeReader.h"
#include "IPC/transport/WholeTransfer.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"

namespace {

/// The entry of one server in the process's table of clients.
struct NamedClient {
    std::mutex lock;  // guards client, also while it connects; taken before the client's own locks
    std::weak_ptr<IPCClient> client;
};

NamedClient& FindNamedClient(const std::string& serverName) {
    static kivsync::Guarded<std::map<std::string, NamedClient>> table;
    return (*table.Lock())[serverName];  // entries of the map are never moved or removed
}

/// The status at the beginning of a reply to one of the framework's commands 3 to 5.
std::int32_t ReplyStatus(const IPC& reply) {
    const auto status = wire::Decode<wire::i32>(reply.Payload());
    return status ? static_cast<std::int32_t>(*status) : kIpcFailure;
}

/// The request of command 3 or 4.
std::shared_ptr<IPC> ValueRequest(std::uint32_t command) {
    return IPC::Request(command, wire::Encode(ipc_get_state_request{}));
}

/// The status of a reply to command 3 or 4. Sets `value` when the status is 0.
std::int32_t ReplyValue(const IPC& reply, std::uint32_t& value) {
    if (const auto status = ReplyStatus(reply); status != kIpcSuccess)
        return status;
    const auto record = wire::Decode<ipc_value_reply>(reply.Payload());
    if (!record)
        return kIpcFailure;
    value = record->value;
    return kIpcSuccess;
}

}  // namespace

std::shared_ptr<IPCClient> IPCClient::GetClient(const std::string& serverName, bool useListener) {
    auto& entry = FindNamedClient(serverName);
    const std::scoped_lock guard(entry.lock);
    auto client = entry.client.lock();
    if (client && client->IsConnected())
        return client;
    if (client) {
        KIV_LOG(Logging::Info, "Reconnect IPCClient");
        client->Disconnect();
    } else {
        client = std::make_shared<IPCClient>(useListener);
        entry.client = client;
    }
    static_cast<void>(client->Connect(serverName));  // the caller asks IsConnected
    return client;
}

std::int32_t IPCClient::Connect(const std::string& serverName) {
    const std::scoped_lock guard(lock_);
    if (connected_)
        return kIpcSuccess;
    DropConnection();  // the remains of a connection that broke
    const auto transport = ClientTransport::Make(serverName);
    if (!transport) {
        KIV_LOG(Logging::Error, "Cannot create IPC ClientTransport for %s", serverName.c_str());
        return kIpcFailure;
    }
    connection_.Lock()->transport = transport;
    // From now on Disconnect finds this transport and closes it. disconnecting_ tells of an earlier Disconnect.
    if (disconnecting_ == 0 && transport->Connect(Timeout()) == 0 && Handshake(*transport) && StartReader(transport))
        return kIpcSuccess;
    KIV_LOG(Logging::Error, "Cannot connect IPC client for %s", serverName.c_str());
    DropConnection();
    return kIpcFailure;
}

bool IPCClient::Handshake(ClientTransport& transport) {
    wire::u64 clientId;
    wire::u64 serverPid;
    const wire::u64 ownPid = platform::CurrentProcessId();
    constexpr auto kIdSize = static_cast<std::int32_t>(sizeof(wire::u64));
    const platform::Deadline deadline(Timeout());
    if (!ReadWhole(transport, &clientId, kIdSize, deadline.LeftMs()) ||
        !ReadWhole(transport, &serverPid, kIdSize, deadline.LeftMs()) ||
        transport.Write(&ownPid, kIdSize, deadline.LeftMs()) != kIdSize)
        return false;
    clientId_ = clientId;
    const auto known = transport.PeerProcessId();
    serverPid_ = known != 0 ? known : std::uint64_t{serverPid};  // the system's answer first: a server may send any id
    return true;
}

bool IPCClient::StartReader(const std::shared_ptr<ClientTransport>& transport) {
    const auto reader = std::make_shared<PipeReader>(transport, *this, *this);
    reader->SetIds(clientId_, platform::CurrentProcessId());
    connection_.Lock()->reader = reader;
    SetConnected(true);  // before the listener starts, which may find the connection broken at once
    return reader->StartListener() == kIpcSuccess;
}

std::int32_t IPCClient::Disconnect() {
    ++disconnecting_;
    const auto [reader, transport] = *connection_.Lock();
    if (reader)
        reader->SignalStop();
    // Close before taking lock_: a thread that waits on the connection holds lock_, and releases it now.
    if (transport)
        transport->Close();
    const std::scoped_lock guard(lock_);
    DropConnection();
    --disconnecting_;
    return kIpcSuccess;
}

void IPCClient::DropConnection() {
    const auto [reader, transport] = *connection_.Lock();
    if (reader)
        reader->StopListener();
    if (transport)
        transport->Close();
    SetConnected(false);
    *connection_.Lock() = {};
}

void IPCClient::SetConnected(bool connected) {
    const auto inbox = inbox_.Lock();
    connected_ = connected;
    inbox_.NotifyAll();
}

void IPCClient::OnDisconnect(std::uint64_t) {
    SetConnected(false);
    auto connection = connection_.Lock();
    if (connection->reader)
        connection->reader->SignalStop();
}

std::shared_ptr<IPC> IPCClient::Inbox::RemoveOldest() {
    auto notice = std::move(notices.front());
    notices.pop_front();
    bytes -= notice->Payload().size();
    lost = lost && !notices.empty();
    return notice;
}

std::int32_t IPCClient::OnRequest(const std::shared_ptr<IPC>& request) {
    bool firstLoss = false;
    {
        auto inbox = inbox_.Lock();
        inbox->notices.push_back(request);
        inbox->bytes += request->Payload().size();
        while (inbox->notices.size() > kMaximumNotices || inbox->bytes > kIpcMaximumSize) {
            inbox->RemoveOldest();
            firstLoss |= !std::exchange(inbox->lost, true);
        }
    }
    inbox_.NotifyOne();
    if (firstLoss)
        KIV_LOG(Logging::Warning, "Notices are not taken, the oldest are dropped id:%lld pid:%lld",
                static_cast<long long>(clientId_), static_cast<long long>(serverPid_));
    return kIpcSuccess;
}

std::shared_ptr<IPC> IPCClient::TakeNotice(std::uint32_t timeoutMs) {
    auto inbox = inbox_.Lock();
    inbox.Wait(timeoutMs, [&] { return !inbox->notices.empty() || !connected_; });
    return inbox->notices.empty() ? nullptr : inbox->RemoveOldest();
}

std::int32_t IPCClient::SendTogether(std::initializer_list<std::shared_ptr<IPC>> requests) {
    const std::scoped_lock guard(lock_);
    if (!connected_)
        return kIpcCannotSend;
    const auto [reader, transport] = *connection_.Lock();
    IPCPayload message;
    std::vector<std::uint64_t> awaited;
    bool ready = true;
    for (const auto& request : requests) {
        if (settings_.ipcStatEnabled)
            request->EnableMeasurement();
        if (settings_.ipcMeasureLog)
            request->EnableMeasurementLog();
        if (request->ExpectsReply()) {
            ready = ready && reader->BeginRequest(request->RequestId()) == kIpcSuccess;
            if (!ready)
                break;
            awaited.push_back(request->RequestId());
        }
        const auto bytes = request->Serialize();
        message.insert(message.end(), bytes.begin(), bytes.end());
    }
    const auto size = static_cast<std::int32_t>(message.size());
    if (ready && transport->Write(message.data(), size, Timeout()) == size)
        return kIpcSuccess;
    for (const auto requestId : awaited)
        reader->EndRequest(requestId);
    if (ready) {
        transport->Close();
        OnDisconnect(0);
    }
    return kIpcCannotSend;
}

std::shared_ptr<IPC> IPCClient::WaitReply(std::uint64_t requestId, std::uint32_t timeoutMs) {
    const std::scoped_lock guard(lock_);
    // Do not check connected_: the reply may have arrived before the server closed the connection.
    const auto reader = connection_.Lock()->reader;
    if (!reader)
        return {};
    auto reply = reader->GetReply(requestId, timeoutMs);
    reader->EndRequest(requestId);
    return reply;
}

std::int32_t IPCClient::Call(const std::shared_ptr<IPC>& request, std::uint32_t timeoutMs,
                             std::shared_ptr<IPC>& reply) {
    reply.reset();
    if (Send(request) != kIpcSuccess)
        return kIpcCannotSend;
    reply = WaitReply(request->RequestId(), timeoutMs);
    return reply ? kIpcSuccess : kIpcNoReply;
}

std::int32_t IPCClient::CheckAlive() {
    std::shared_ptr<IPC> reply;
    return Call(IPC::Request(kIpcAliveCheck), Timeout(), reply) == kIpcSuccess ? kIpcSuccess : kIpcFailure;
}

std::int32_t IPCClient::Stop() {
    std::shared_ptr<IPC> reply;
    const std::int32_t result = Call(IPC::Request(kIpcStop), Timeout(), reply);
    if (result == kIpcCannotSend)
        KIV_LOG(Logging::Error, "Cannot send stop request");
    return result;
}

std::int32_t IPCClient::Terminate() {
    std::shared_ptr<IPC> reply;
    const std::int32_t result = Call(IPC::Terminate(), Timeout(), reply);
    if (result == kIpcCannotSend)
        KIV_LOG(Logging::Error, "Cannot send terminate");
    return result;
}

std::int32_t IPCClient::AskValue(std::uint32_t command, std::uint32_t timeoutMs, std::uint32_t& value) {
    std::shared_ptr<IPC> reply;
    const auto result = Call(ValueRequest(command), timeoutMs, reply);
    return result == kIpcSuccess ? ReplyValue(*reply, value) : result;
}

IPCClient::Condition IPCClient::GetCondition(std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    const auto alive = IPC::Request(kIpcAliveCheck);
    const auto state = ValueRequest(kIpcGetState);
    const auto count = ValueRequest(kIpcGetClientCount);
    Condition condition;
    if (SendTogether({alive, state, count}) != kIpcSuccess)
        return condition;
    condition.alive = WaitReply(alive->RequestId(), deadline.LeftMs()) != nullptr;
    if (const auto reply = WaitReply(state->RequestId(), deadline.LeftMs()))
        ReplyValue(*reply, condition.state);
    if (const auto reply = WaitReply(count->RequestId(), deadline.LeftMs()))
        ReplyValue(*reply, condition.clientCount);
    return condition;
}

std::int32_t IPCClient::GetClientsInfo(std::vector<ipc_client_info>& clients) {
    std::uint32_t count = 0;
    return GetClientsInfo(clients, count, Timeout());
}

std::int32_t IPCClient::GetClientsInfo(std::vector<ipc_client_info>& clients, std::uint32_t& count,
                                       std::uint32_t timeoutMs) {
    const platform::Deadline deadline(timeoutMs);
    if (const auto result = AskValue(kIpcGetClientCount, timeoutMs, count); result != kIpcSuccess)
        return result;
    const std::uint64_t others = std::max(count, 1u) - 1u;
    const auto size = std::min<std::uint64_t>(others * ipc_get_clients_info_request::kUnit, kIpcMaximumSize);
    std::shared_ptr<IPC> reply;
    if (const auto result = Call(IPC::Request(kIpcGetClientsInfo, IPCPayload(size)), deadline.LeftMs(), reply);
        result != kIpcSuccess)
        return result;
    if (const auto status = ReplyStatus(*reply); status != kIpcSuccess)
        return status;
    std::size_t offset = sizeof(ipc_value_reply);
    for (std::uint32_t listed = 0; listed < count; ++listed, offset += sizeof(ipc_client_info)) {
        const auto client = wire::Decode<ipc_client_info>(reply->Payload(), offset);
        if (!client)
            break;  // a client has left since the server was asked for the count
        clients.push_back(*client);
    }
    return kIpcSuccess;
}
