// IPCServer: listens under a name, gathers the requests of all its clients in one queue, sends the replies back.
//
//     IPCServer server;
//     server.Start("protocolmanager");
//     while (auto request = server.GetRequest())
//         server.SendReply(IPC::Reply(*request, Handle(*request)));
//     server.Stop();  // from another thread: GetRequest returns empty
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/IPCRequestInfo.h"
#include "IPC/class/Monitors.h"
#include "IPC/transport/ServerTransport.h"
#include "utils/sync/Event.h"
#include "utils/sync/Thread.h"

class IPCServerClient;

/// Owned by whoever serves; GetRequest is called by one thread, everything else by any. Replies may be sent from any
/// thread. Stop before destruction is allowed, not required.
class IPCServer : public RequestMonitor, public DisconnectMonitor {
  public:
    IPCServer();
    ~IPCServer() override;
    IPCServer(const IPCServer&) = delete;
    IPCServer& operator=(const IPCServer&) = delete;

    /// Listens under `serverName`: the pipes exist when it returns 0. -1 when they cannot be made or no thread is to be
    /// had, or when it is started already.
    std::int32_t Start(const std::string& serverName);
    /// Ends the accepting thread, every connection and the wait in GetRequest. Safe to call twice and without Start;
    /// not on a thread of a connection. The server can be started again.
    void Stop();

    /// The oldest request, waiting for one without limit; empty once the server is stopped.
    std::shared_ptr<IPC> GetRequest();
    /// Sends the reply on the connection its request came from. 0; -1 when that connection is gone or fails.
    std::int32_t SendReply(const std::shared_ptr<IPC>& reply);
    /// Sends the record to every connected client: the bitwise OR of the per-client results, 0 when all succeeded. A
    /// client that fails does not keep it from the others.
    std::int32_t Broadcast(const std::shared_ptr<IPC>& record);

    /// The reply to one of the framework's own commands 3 (with `state`), 4 and 5; empty for any other command.
    std::shared_ptr<IPC> AnswerBuiltIn(const IPC& request, std::uint32_t state);

    /// -1 when there is no such client.
    std::int32_t RemoveClient(std::uint64_t connectionId);
    /// Connections whose handshake is complete and which have not ended.
    std::uint32_t ClientCount();
    std::vector<ipc_client_info> Clients();

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t connectionId) override;

  private:
    using ClientList = std::vector<std::shared_ptr<IPCServerClient>>;

    void AcceptClients(const std::shared_ptr<ServerTransport>& transport);
    void WakeAcceptThread();
    std::uint64_t NextClientId();
    std::int32_t AddCLient(std::uint64_t connectionId, const std::shared_ptr<ClientTransport>& connection);
    std::size_t RemoveEndedClients();
    ClientList ServingClients();
    std::shared_ptr<IPCServerClient> FindServingClient(std::uint64_t connectionId);

    std::mutex stopMutex_;  // serializes Start and Stop; taken before every other lock
    std::string serverName_;
    const std::shared_ptr<kivsync::Event> stopEvent_;
    std::atomic<bool> stopping_{false};  // the state of stopEvent_, without a call into the system
    std::unique_ptr<kivsync::Thread> acceptThread_;
    const std::shared_ptr<IPCRequestInfo> requests_;

    std::mutex clientsLock_;  // guards what follows; never held while a pipe or an event is waited for
    std::shared_ptr<ServerTransport> transport_;  // empty: not started
    ClientList clients_;                          // from the accept on, until their threads are to be joined
    std::uint64_t lastClientId_ = 0;
};
