#include "IPC/class/IPCServer.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>

#include "IPC/class/IPCServerClient.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"

namespace {

constexpr std::chrono::milliseconds kAcceptRetry{10};  // pause after an Accept without a connection: no busy loop
constexpr std::size_t kMaximumCrew = 256;              // threads; when all of them are busy, requests wait
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;

/// The server for which the calling thread carries out requests. Such a thread lives as long as the server's
/// connections, so it may begin writes to them.
thread_local const IPCServer* servedHere = nullptr;

}  // namespace

std::int32_t IPCServer::Start(const std::string& serverName, Duty duty) {
    const std::scoped_lock guard(stopMutex_);
    if (acceptThread_)
        return kIpcFailure;
    auto transport = ServerTransport::Make(serverName);
    if (!transport) {
        KIV_LOG(Logging::Error, "Cannot listen under %s", serverName.c_str());
        return kIpcFailure;
    }
    serverName_ = serverName;
    duty_ = std::move(duty);
    stopping_ = false;
    State state;
    state.transport = transport;
    state.queue = std::make_shared<RequestQueue>();
    *state_.Lock() = std::move(state);
    if (!duty_.carryOut || AddThread())
        acceptThread_ = kivsync::Thread::Start([this, transport] { AcceptClients(transport); });
    if (acceptThread_)
        return kIpcSuccess;
    KIV_LOG(Logging::Error, "Cannot start accepting thread for %s", serverName.c_str());
    TakeDown();
    return kIpcFailure;
}

void IPCServer::Stop() {
    const std::scoped_lock guard(stopMutex_);
    TakeDown();
}

void IPCServer::TakeDown() {
    stopping_ = true;
    if (const auto queue = Queue())
        queue->Close();
    WakeAcceptThread();
    acceptThread_.reset();

    ClientList clients;
    {
        auto state = state_.Lock();
        clients.swap(state->clients);
        std::move(state->ended.begin(), state->ended.end(), std::back_inserter(clients));
        state->ended.clear();
        state->transport.reset();
    }
    // Close all of them before the first wait, so that their threads end at the same time.
    for (const auto& client : clients)
        client->Close();
    for (const auto& client : clients)
        client->AwaitFinish();
    const auto crew = std::exchange(state_.Lock()->crew, {});  // joins its threads; no listener is left to add one
}

void IPCServer::AcceptClients(const std::shared_ptr<ServerTransport>& transport) {
    while (!stopping_) {
        const auto connection = transport->Accept(platform::kInfinite);
        const auto [released, left] = ReleaseEndedClients();
        if (stopping_)
            return;
        if (connection)
            AddCLient(connection);
        else if (released == 0)
            std::this_thread::sleep_for(kAcceptRetry);
        if (left > 0)
            transport->Interrupt();  // ends the next Accept, to check them again; a waiting client still comes first
    }
}

std::uint64_t IPCServer::State::NextClientId() {
    const auto inUse = [this](const auto& client) { return client->ConnectionId() == lastClientId; };
    do {
        ++lastClientId;
    } while (std::any_of(clients.begin(), clients.end(), inUse));
    return lastClientId;
}

void IPCServer::AddCLient(const std::shared_ptr<ClientTransport>& connection) {
    const std::uint64_t connectionId = state_.Lock()->NextClientId();
    const auto client = std::make_shared<IPCServerClient>(serverName_, connectionId, connection, *this, *this);
    state_.Lock()->clients.push_back(client);
    // The handshake runs on the connection's own thread: a peer that stays silent delays no other client.
    if (client->Start() == kIpcSuccess)
        return;
    KIV_LOG(Logging::Error, "Cannot connect to client %s", serverName_.c_str());
    client->End();
}

// May run on a thread of the connection, so it must not destroy the connection.
void IPCServer::OnDisconnect(std::uint64_t connectionId) {
    {
        auto state = state_.Lock();
        const auto found = std::find_if(state->clients.begin(), state->clients.end(),
                                        [=](const auto& client) { return client->ConnectionId() == connectionId; });
        if (found == state->clients.end())
            return;  // the server is being stopped
        // The search for the next free number starts after this one, unless its handshake failed: then the connection
        // never was a client.
        if ((*found)->IsHandshakeDone() && connectionId < state->lastClientId)
            state->lastClientId = connectionId;
        state->ended.push_back(std::move(*found));
        state->clients.erase(found);
    }
    WakeAcceptThread();
}

std::pair<std::size_t, std::size_t> IPCServer::ReleaseEndedClients() {
    ClientList finished;  // declared before the lock, so destroyed after its release
    auto state = state_.Lock();
    const auto runs = [](const auto& client) { return !client->HasFinished(); };
    const auto first = std::stable_partition(state->ended.begin(), state->ended.end(), runs);
    finished.assign(std::make_move_iterator(first), std::make_move_iterator(state->ended.end()));
    state->ended.erase(first, state->ended.end());
    return {finished.size(), state->ended.size()};
}

std::int32_t IPCServer::RemoveClient(std::uint64_t connectionId) {
    for (const auto& client : ServingClients()) {
        if (client->ConnectionId() != connectionId)
            continue;
        client->End();
        return kIpcSuccess;
    }
    return kIpcFailure;
}

IPCServer::ClientList IPCServer::ServingClients() {
    auto state = state_.Lock();
    ClientList serving;
    std::copy_if(state->clients.begin(), state->clients.end(), std::back_inserter(serving),
                 [](const auto& client) { return client->IsServing(); });
    return serving;
}

void IPCServer::WakeAcceptThread() {
    if (const auto transport = state_.Lock()->transport)
        transport->Interrupt();
}

std::int32_t IPCServer::OnRequest(const std::shared_ptr<IPC>& request) {
    const auto queue = Queue();
    const auto turn = duty_.turnOf ? duty_.turnOf(*request) : Turn::Question;
    if (turn == Turn::AtOnce && queue->HasNothingOf(request->Connection())) {
        servedHere = this;  // the listener thread writes only to its own connection, and lives as long as that
        CarryOut(request);
        return IPCServerClient::kCarriedOut;
    }
    queue->Push(request, turn == Turn::Change);
    if (duty_.carryOut && queue->WantsThread())
        AddThread();
    return kIpcSuccess;
}

std::shared_ptr<IPC> IPCServer::GetRequest() {
    const auto queue = Queue();
    auto request = queue ? queue->Take() : nullptr;
    if (!request)
        return {};
    servedHere = this;
    queue->Done(*request);  // already now, since only one thread takes requests
    if (const auto client = request->Connection().lock())
        client->RequestTaken(*request);
    return request;
}

void IPCServer::Work(RequestQueue& queue) {
    servedHere = this;
    while (const auto request = queue.Take()) {
        if (queue.WantsThread())
            AddThread();
        if (const auto client = request->Connection().lock())
            client->RequestTaken(*request);
        CarryOut(request);
        queue.Done(*request);
    }
}

bool IPCServer::AddThread() {
    auto state = state_.Lock();
    if (stopping_ || state->crew.size() >= kMaximumCrew)
        return false;
    auto thread = kivsync::Thread::Start([this, queue = state->queue] { Work(*queue); });
    const bool started = thread != nullptr;
    if (started)
        state->crew.push_back(std::move(thread));
    else
        KIV_LOG(Logging::Error, "Cannot start another thread for %s", serverName_.c_str());
    return started;
}

void IPCServer::CarryOut(const std::shared_ptr<IPC>& request) {
    const auto begin = duty_.clock();
    const auto command = static_cast<int>(request->Command());
    try {
        const auto reply = duty_.carryOut(request);
        if (reply && request->ExpectsReply())
            SendReply(reply);
        if (duty_.answered)
            duty_.answered(*request);
    } catch (const std::exception& error) {
        KIV_LOG_AS(duty_.function, Logging::Error, "%s command %d failed: %s", duty_.title, command, error.what());
        if (const auto client = request->Connection().lock())
            client->End();  // so that the client does not wait for a reply
    }
    const auto elapsed = duty_.clock() - begin;
    if (elapsed >= duty_.longNanoseconds)
        KIV_LOG_AS(duty_.function, Logging::Error, "%s command %d process took long time - %lldms!", duty_.title,
                   command, static_cast<long long>(elapsed / kNanosecondsPerMs));
}

MessageSender::Begin IPCServer::BeginOfWrites() const {
    return servedHere == this ? MessageSender::Begin::Here : MessageSender::Begin::OnWritingThread;
}

std::int32_t IPCServer::SendReply(const std::shared_ptr<IPC>& reply) {
    reply->MarkReply();
    // Do not look for the connection by its number: another connection may have got that number meanwhile.
    const auto client = reply->Connection().lock();
    if (!client || !client->IsServing()) {
        KIV_LOG(Logging::Error, "Did not Send IPC id:%lld pid:%lld cmd:%lld", static_cast<long long>(reply->ClientId()),
                static_cast<long long>(reply->Pid()), static_cast<long long>(reply->Command()));
        return kIpcFailure;
    }
    const auto message = std::make_shared<const IPCPayload>(reply->Serialize());
    return client->Send(message, BeginOfWrites()) == MessageSender::Result::Sent ? kIpcSuccess : kIpcFailure;
}

void IPCServer::AwaitWritten(const IPC& request) {
    if (const auto client = request.Connection().lock())
        client->AwaitWritten();
}

std::int32_t IPCServer::Broadcast(const std::shared_ptr<IPC>& record) {
    const std::scoped_lock guard(broadcastMutex_);
    const auto clients = ServingClients();
    if (clients.empty())
        return kIpcSuccess;
    const auto begin = BeginOfWrites();
    const auto message = std::make_shared<const IPCPayload>(record->Serialize());
    std::int32_t results = kIpcSuccess;
    for (const auto& client : clients)
        results |= client->Send(message, begin) == MessageSender::Result::Refused ? kIpcFailure : kIpcSuccess;
    return results;
}

std::vector<ipc_client_info> IPCServer::Clients() {
    std::vector<ipc_client_info> clients;
    for (const auto& client : ServingClients())
        clients.push_back({client->ConnectionId(), client->ProcessId(), 0});
    return clients;
}

std::shared_ptr<IPC> IPCServer::AnswerBuiltIn(const IPC& request, std::uint32_t state) {
    const auto value = [&request](std::uint32_t answer) {
        const bool isComplete = wire::Decode<ipc_get_state_request>(request.Payload()).has_value();
        const auto reply = isComplete ? ipc_value_reply{kIpcSuccess, answer} : ipc_value_reply{kIpcFailure, 0};
        return IPC::Reply(request, wire::Encode(reply));
    };
    switch (request.Command()) {
        case kIpcGetState:
            return value(state);
        case kIpcGetClientCount:
            return value(ClientCount());
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
