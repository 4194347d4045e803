// IPCServer: listens under a name, collects the requests of all its clients, sends the replies back.
//
// The owner either takes the requests one by one on a thread of its own:
//
//     IPCServer server;
//     server.Start("Line 1");
//     while (auto request = server.GetRequest())
//         server.SendReply(IPC::Reply(*request, Handle(*request)));
//
// or leaves them to the server's crew, which starts with one thread and grows when requests wait for a thread:
//
//     server.Start("protocolmanager", {.turnOf = ..., .carryOut = ..., ...});
//
// In both cases another thread ends the work with Stop.
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

/// Only one thread may call GetRequest, and it must live as long as the server, since the system cancels the unfinished
/// writes of a thread that ends. Any thread may call everything else. The destructor stops the server.
class IPCServer : public RequestMonitor, public DisconnectMonitor {
  public:
    /// The requests that must be finished before a request is carried out.
    enum class Turn {
        /// None: the connection's listener thread carries the request out, which must take no time. While earlier
        /// requests of the connection are unfinished, it is a Question.
        AtOnce,
        Question,  // the earlier requests of its connection
        Change,    // these, and the earlier changes of all connections
    };
    /// How the crew carries out requests for the server's owner.
    struct Duty {
        const char* title = "";               // name of the requests in the log
        const char* function = "";            // function that the crew's log lines name
        std::int64_t longNanoseconds = 0;     // a request that takes at least this long is logged
        std::function<std::int64_t()> clock;  // monotonic, in nanoseconds
        /// Called on the connection's listener thread; must not wait. Without it, every request is a Question.
        std::function<Turn(const IPC&)> turnOf;
        /// Returns the reply, or empty to send none. An exception ends the request's connection.
        std::function<std::shared_ptr<IPC>(const std::shared_ptr<IPC>&)> carryOut;
        /// Called after the request was carried out and any reply was sent; may be empty.
        std::function<void(const IPC&)> answered;
    };

    IPCServer() = default;
    ~IPCServer() override { Stop(); }

    /// Listens under `serverName`. 0: clients can connect. -1: the server is started already, or cannot create its
    /// pipes or a thread.
    [[nodiscard]] std::int32_t Start(const std::string& serverName) { return Start(serverName, {}); }
    /// The same, with a crew that carries the requests out. The crew's threads live until Stop, since their writes to a
    /// slow client may be unfinished when a request is done.
    [[nodiscard]] std::int32_t Start(const std::string& serverName, Duty duty);
    /// Ends the accepting thread, every connection, the crew and the wait in GetRequest. Drops the requests that wait,
    /// and waits for those that are being carried out. May be called twice and without Start, but not on a thread of a
    /// connection or of the crew. The server can be started again.
    void Stop();

    /// Takes the oldest request; waits for one without limit. Empty once the server is stopped.
    std::shared_ptr<IPC> GetRequest();
    /// Sends the reply on the connection of its request. 0, or -1 when that connection has ended or fails.
    std::int32_t SendReply(const std::shared_ptr<IPC>& reply);
    /// Waits until everything that was sent on the request's connection is written, or the connection has ended. The
    /// general IPC timeout limits the wait, since a connection ends when a message waits for longer.
    static void AwaitWritten(const IPC& request);
    /// Sends the record to every connected client. Returns the bitwise OR of the clients' results: -1 for a client
    /// whose message is refused (MessageSender::Result), otherwise 0, also for a client that has gone. All clients get
    /// the records in the same order.
    std::int32_t Broadcast(const std::shared_ptr<IPC>& record);

    /// The reply to one of the framework's own commands 3 (with `state`), 4 and 5; empty for any other command.
    std::shared_ptr<IPC> AnswerBuiltIn(const IPC& request, std::uint32_t state);

    /// Ends the connection. 0, or -1 when there is no client with this number.
    std::int32_t RemoveClient(std::uint64_t connectionId);
    /// The number of connections whose handshake is complete and that have not ended.
    std::uint32_t ClientCount() { return static_cast<std::uint32_t>(ServingClients().size()); }
    /// These connections, in the order in which they were accepted.
    std::vector<ipc_client_info> Clients();

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t connectionId) override;

  private:
    using ClientList = std::vector<std::shared_ptr<IPCServerClient>>;
    struct State {
        std::shared_ptr<ServerTransport> transport;  // empty: not started
        std::shared_ptr<RequestQueue> queue;         // a new one for each Start
        ClientList clients;                          // accepted, and not ended
        ClientList ended;                            // ended, but their threads may still run
        std::uint64_t lastClientId = 0;
        std::vector<std::unique_ptr<kivsync::Thread>> crew;

        std::uint64_t NextClientId();
    };

    void AcceptClients(const std::shared_ptr<ServerTransport>& transport);
    void WakeAcceptThread();
    void AddCLient(const std::shared_ptr<ClientTransport>& connection);  // spelt as in the log
    /// Releases the ended connections whose threads have ended, without waiting. Returns how many it has released, and
    /// how many are left.
    std::pair<std::size_t, std::size_t> ReleaseEndedClients();
    ClientList ServingClients();
    std::shared_ptr<RequestQueue> Queue() { return state_.Lock()->queue; }

    void Work(RequestQueue& queue);
    void CarryOut(const std::shared_ptr<IPC>& request);
    /// Which thread begins the calling thread's writes to clients.
    MessageSender::Begin BeginOfWrites() const;
    /// Adds a thread to the crew. False when the crew is complete, or the server is being stopped, or on failure.
    bool AddThread();
    /// Does what Stop does. The caller holds stopMutex_.
    void TakeDown();

    std::mutex stopMutex_;       // serializes Start and Stop; taken before every other lock
    std::mutex broadcastMutex_;  // gives all clients the same order of records; held for at most 5 ms per slow client
    std::string serverName_;
    Duty duty_{};  // changed only by Start, while no thread of the server runs
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kivsync::Thread> acceptThread_;
    kivsync::Guarded<State> state_;  // its lock is never held during a wait for a pipe or an event
};
