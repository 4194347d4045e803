#include "IPC/class/IPCServer.h"

#include <algorithm>
#include <utility>

#include "IPC/class/IPCServerClient.h"
#include "utils/logging/Logger.h"
#include "utils/sync/WaitAny.h"

namespace {

constexpr std::uint32_t kAcceptRetryMs = 10;  // after an accept that brought nothing: no busy loop

}  // namespace

IPCServer::IPCServer()
    : stopEvent_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)),
      requests_(IPCRequestInfo::Make()) {}

IPCServer::~IPCServer() {
    Stop();
}

std::int32_t IPCServer::Start(const std::string& serverName) {
    const std::scoped_lock guard(stopMutex_);
    if (acceptThread_ || !stopEvent_ || !requests_)
        return kIpcFailure;
    auto transport = ServerTransport::Make(serverName);
    if (!transport) {
        KIV_LOG(Logging::Error, "Cannot listen under %s", serverName.c_str());
        return kIpcFailure;
    }
    serverName_ = serverName;
    stopEvent_->Reset();
    stopping_ = false;
    {
        const std::scoped_lock clientsGuard(clientsLock_);
        transport_ = transport;
        lastClientId_ = 0;
    }
    acceptThread_ = kivsync::Thread::Start([this, transport] { AcceptClients(transport); });
    if (!acceptThread_) {
        KIV_LOG(Logging::Error, "Cannot start accepting thread for %s", serverName.c_str());
        const std::scoped_lock clientsGuard(clientsLock_);
        transport_.reset();
        return kIpcFailure;
    }
    return kIpcSuccess;
}

void IPCServer::Stop() {
    const std::scoped_lock guard(stopMutex_);
    stopping_ = true;
    if (stopEvent_)
        stopEvent_->Set();
    if (!acceptThread_)
        return;
    WakeAcceptThread();
    acceptThread_.reset();

    ClientList clients;
    {
        const std::scoped_lock clientsGuard(clientsLock_);
        clients.swap(clients_);
        transport_.reset();
    }
    // All of them first: their threads then end side by side.
    for (const auto& client : clients)
        client->Close();
    clients.clear();
    requests_->Clear();
}

void IPCServer::AcceptClients(const std::shared_ptr<ServerTransport>& transport) {
    while (!stopping_) {
        const auto connection = transport->Accept(kivsync::kInfinite);
        const std::size_t removed = RemoveEndedClients();
        if (stopping_)
            return;
        if (connection)
            AddCLient(NextClientId(), connection);
        else if (removed == 0)
            stopEvent_->Wait(kAcceptRetryMs);
    }
}

std::uint64_t IPCServer::NextClientId() {
    const std::scoped_lock guard(clientsLock_);
    const auto inUse = [this](const auto& client) { return client->ConnectionId() == lastClientId_; };
    do {
        ++lastClientId_;
    } while (std::any_of(clients_.begin(), clients_.end(), inUse));
    return lastClientId_;
}

std::int32_t IPCServer::AddCLient(std::uint64_t connectionId, const std::shared_ptr<ClientTransport>& connection) {
    auto client = std::make_shared<IPCServerClient>(serverName_, connectionId, connection, *this, *this);
    {
        const std::scoped_lock guard(clientsLock_);
        const auto sameId = [=](const auto& other) { return other->ConnectionId() == connectionId; };
        if (std::any_of(clients_.begin(), clients_.end(), sameId)) {
            KIV_LOG(Logging::Error, "Client already connected");
            return kIpcFailure;
        }
        clients_.push_back(client);
    }
    // The handshake runs on the connection's own thread: a peer that stays silent delays nobody else.
    if (client->Start() != kIpcSuccess) {
        KIV_LOG(Logging::Error, "Cannot connect to client %s", serverName_.c_str());
        client->Close();
        RemoveEndedClients();
        return kIpcFailure;
    }
    return kIpcSuccess;
}

std::size_t IPCServer::RemoveEndedClients() {
    ClientList ended;
    {
        const std::scoped_lock guard(clientsLock_);
        const auto serving = [](const auto& client) { return !client->HasEnded(); };
        const auto first = std::stable_partition(clients_.begin(), clients_.end(), serving);
        ended.assign(std::make_move_iterator(first), std::make_move_iterator(clients_.end()));
        clients_.erase(first, clients_.end());
        for (const auto& client : ended) {
            // Ids are given out again from there on. One whose handshake failed was never a client.
            if (client->IsHandshakeDone() && client->ConnectionId() < lastClientId_)
                lastClientId_ = client->ConnectionId();
        }
    }
    return ended.size();
}

std::int32_t IPCServer::RemoveClient(std::uint64_t connectionId) {
    const auto client = FindServingClient(connectionId);
    if (!client)
        return kIpcFailure;
    client->End();
    return kIpcSuccess;
}

IPCServer::ClientList IPCServer::ServingClients() {
    const std::scoped_lock guard(clientsLock_);
    ClientList serving;
    std::copy_if(clients_.begin(), clients_.end(), std::back_inserter(serving),
                 [](const auto& client) { return client->IsServing(); });
    return serving;
}

std::shared_ptr<IPCServerClient> IPCServer::FindServingClient(std::uint64_t connectionId) {
    const std::scoped_lock guard(clientsLock_);
    const auto found = std::find_if(clients_.begin(), clients_.end(), [=](const auto& client) {
        return client->ConnectionId() == connectionId && client->IsServing();
    });
    return found == clients_.end() ? nullptr : *found;
}

// The table is the accepting thread's to clean: the caller may be a thread of the connection that ended.
void IPCServer::OnDisconnect(std::uint64_t) {
    WakeAcceptThread();
}

void IPCServer::WakeAcceptThread() {
    std::shared_ptr<ServerTransport> transport;
    {
        const std::scoped_lock guard(clientsLock_);
        transport = transport_;
    }
    if (transport)
        transport->Interrupt();
}

std::int32_t IPCServer::OnRequest(const std::shared_ptr<IPC>& request) {
    requests_->Push(request);
    return kIpcSuccess;
}

std::shared_ptr<IPC> IPCServer::GetRequest() {
    while (!stopping_ && stopEvent_ && requests_) {
        if (auto request = requests_->PopOrAwait()) {
            if (const auto client = FindServingClient(request->ClientId()))
                client->RequestTaken(*request);
            return request;
        }
        kivsync::WaitAny({stopEvent_.get(), requests_->ReplyEvent()}, kivsync::kInfinite);
    }
    return {};
}

std::int32_t IPCServer::SendReply(const std::shared_ptr<IPC>& reply) {
    reply->MarkReply();
    const auto client = FindServingClient(reply->ClientId());
    // The id may have been given out again since the request came; its new owner's requests have ids like this one's.
    if (!client || client->ProcessId() != reply->Pid()) {
        KIV_LOG(Logging::Error, "Did not Send IPC id:%lld pid:%lld cmd:%lld", static_cast<long long>(reply->ClientId()),
                static_cast<long long>(reply->Pid()), static_cast<long long>(reply->Command()));
        return kIpcFailure;
    }
    return client->Send(std::make_shared<const IPCPayload>(reply->Serialize()));
}

std::int32_t IPCServer::Broadcast(const std::shared_ptr<IPC>& record) {
    const auto clients = ServingClients();
    if (clients.empty())
        return kIpcSuccess;
    const auto message = std::make_shared<const IPCPayload>(record->Serialize());
    std::int32_t results = kIpcSuccess;
    for (const auto& client : clients)
        results |= client->Send(message);
    return results;
}

std::uint32_t IPCServer::ClientCount() {
    return static_cast<std::uint32_t>(ServingClients().size());
}

std::vector<ipc_client_info> IPCServer::Clients() {
    std::vector<ipc_client_info> clients;
    for (const auto& client : ServingClients())
        clients.push_back({client->ConnectionId(), client->ProcessId(), 0});
    return clients;
}

std::shared_ptr<IPC> IPCServer::AnswerBuiltIn(const IPC& request, std::uint32_t state) {
    const auto value = [&request](bool complete, std::uint32_t answer) {
        const auto reply = complete ? ipc_value_reply{kIpcSuccess, answer} : ipc_value_reply{kIpcFailure, 0};
        return IPC::Reply(request, wire::Encode(reply));
    };
    switch (request.Command()) {
        case kIpcGetState:
            return value(wire::Decode<ipc_get_state_request>(request.Payload()).has_value(), state);
        case kIpcGetClientCount:
            return value(wire::Decode<ipc_get_client_count_request>(request.Payload()).has_value(), ClientCount());
        case kIpcGetClientsInfo: {
            auto payload = wire::Encode(ipc_value_reply{kIpcSuccess, 0});  // the entries start at offset 8
            for (const auto& client : Clients())
                wire::Append(payload, client);
            return IPC::Reply(request, std::move(payload));
        }
        default:
            return {};
    }
}
