// IPCServer: listens under a name, gathers the requests of all its clients, sends the replies back.
//
// Its owner either takes the requests one by one on a thread of its own:
//
//     IPCServer server;
//     server.Start("Line 1");
//     while (auto request = server.GetRequest())
//         server.SendReply(IPC::Reply(*request, Handle(*request)));
//
// or leaves them to the server's crew, a thread at first, and others beside it as requests need them:
//
//     server.Start("protocolmanager", {.turnOf = ..., .carryOut = ..., ...});
//
// In both cases Stop, from another thread, ends it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/MessageSender.h"
#include "IPC/class/Monitors.h"
#include "IPC/class/RequestQueue.h"
#include "IPC/transport/ServerTransport.h"
#include "utils/sync/Guarded.h"
#include "utils/sync/Thread.h"

class IPCServerClient;

/// Owned by whoever serves. GetRequest is called by one thread that lives as long as the server, everything else by
/// any. Stop before destruction is allowed, not required.
class IPCServer : public RequestMonitor, public DisconnectMonitor {
  public:
    /// What a request waits for before it is carried out.
    enum class Turn {
        AtOnce,  // nothing, and it takes no time: by the thread that read it, when its connection has nothing before it
        Question,  // the requests of its connection before it
        Change,    // these, and the changes of all connections that were read before it
    };
    /// What the crew does for the server's owner.
    struct Duty {
        const char* title = "";               // of the requests, in the log
        const char* function = "";            // that the log names as the one that carries requests out
        std::int64_t longNanoseconds = 0;     // a request that takes so long is logged
        std::function<std::int64_t()> clock;  // monotonic, in nanoseconds
        /// On the connection's listener thread; waits for nothing.
        std::function<Turn(const IPC&)> turnOf;
        /// The reply, or empty: the request is not answered. An exception ends the request's connection.
        std::function<std::shared_ptr<IPC>(const std::shared_ptr<IPC>&)> carryOut;
        /// After the reply was sent; may be empty.
        std::function<void(const IPC&)> answered;
    };

    IPCServer() = default;
    ~IPCServer() override { Stop(); }

    /// Listens under `serverName`: the pipes exist when it returns 0. -1 when they cannot be made or no thread is to be
    /// had, or when it is started already.
    [[nodiscard]] std::int32_t Start(const std::string& serverName) { return Start(serverName, {}); }
    /// The same, with a crew that carries the requests out. Its threads live until the server is stopped: what they
    /// send to a slow client is still under way after they sent it.
    [[nodiscard]] std::int32_t Start(const std::string& serverName, Duty duty);
    /// Ends the accepting thread, every connection, the crew and the wait in GetRequest. Requests that wait are
    /// dropped; those that are being carried out are waited for. Safe to call twice and without Start; not on a thread
    /// of a connection or of the crew. The server can be started again.
    void Stop();

    /// The oldest request, waiting for one without limit; empty once the server is stopped.
    std::shared_ptr<IPC> GetRequest();
    /// Sends the reply on the connection its request came from. 0; -1 when that connection is gone or fails.
    std::int32_t SendReply(const std::shared_ptr<IPC>& reply);
    /// Returns when everything that was sent on the request's connection is written, or the connection has ended;
    /// within the general IPC time-out.
    static void AwaitWritten(const IPC& request);
    /// Sends the record to every connected client: the bitwise OR of the per-client results, 0 when all succeeded. A
    /// client whose connection ends before it or by it counts as 0. Every client gets the records in the same order.
    std::int32_t Broadcast(const std::shared_ptr<IPC>& record);

    /// The reply to one of the framework's own commands 3 (with `state`), 4 and 5; empty for any other command.
    std::shared_ptr<IPC> AnswerBuiltIn(const IPC& request, std::uint32_t state);

    /// -1 when there is no such client.
    std::int32_t RemoveClient(std::uint64_t connectionId);
    /// Connections whose handshake is complete and which have not ended.
    std::uint32_t ClientCount() { return static_cast<std::uint32_t>(ServingClients().size()); }
    std::vector<ipc_client_info> Clients();

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t connectionId) override;

  private:
    using ClientList = std::vector<std::shared_ptr<IPCServerClient>>;
    struct State {
        std::shared_ptr<ServerTransport> transport;  // empty: not started
        std::shared_ptr<RequestQueue> queue;         // of this life of the server
        ClientList clients;                          // from the accept to the end of the connection
        ClientList ended;                            // until their threads have ended
        std::uint64_t lastClientId = 0;
        std::vector<std::unique_ptr<kivsync::Thread>> crew;

        std::uint64_t NextClientId();
    };

    void AcceptClients(const std::shared_ptr<ServerTransport>& transport);
    void WakeAcceptThread();
    void AddCLient(const std::shared_ptr<ClientTransport>& connection);  // spelt as the log names it
    /// Lets go of the ended connections whose threads have ended, and waits for none: how many went, and how many stay.
    std::pair<std::size_t, std::size_t> ReleaseEndedClients();
    ClientList ServingClients();
    std::shared_ptr<RequestQueue> Queue() { return state_.Lock()->queue; }

    void Work(RequestQueue& queue);
    void CarryOut(const std::shared_ptr<IPC>& request);
    /// Where the calling thread may begin to write to a client.
    MessageSender::Begin BeginOfWrites() const;
    /// Adds a thread to the crew; false when none is to be had.
    bool AddThread();
    /// Stop, with its mutex held.
    void TakeDown();

    std::mutex stopMutex_;       // serializes Start and Stop; taken before every other lock
    std::mutex broadcastMutex_;  // one order of the records for all clients; held for 5 ms a slow client at most
    std::string serverName_;
    Duty duty_{};  // changed by Start only, while no thread of the server runs
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kivsync::Thread> acceptThread_;
    kivsync::Guarded<State> state_;  // never held while a pipe or an event is waited for
};
