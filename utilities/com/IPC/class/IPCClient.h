// IPCClient: one connection to a named server.
//
//     auto client = IPCClient::GetClient("protocolmanager", 1);
//     if (client->IsConnected() && client->CheckAlive() == 0) { ... }
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/Monitors.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/class/GlobalSettings.h"
#include "utils/sync/Guarded.h"

class PipeReader;

/// Any thread may call any operation. Operations of one client are serialized by its lock, which WaitReply keeps for
/// its whole wait: one caller waits at a time, several requests may be in flight. A connection that breaks ends the
/// waits on it at once. Results: the reply's status, or kIpcCannotSend, kIpcNoReply, kIpcFailure.
class IPCClient : public RequestMonitor, public DisconnectMonitor {
  public:
    /// Notices kept for an owner that does not take them; beyond that the oldest go.
    static constexpr std::size_t kMaximumNotices = 4096;

    /// The process's one client of that server, connected if that was possible; reconnected when it is found not
    /// connected. Never empty. The table keeps no client alive: the last release closes the pipe. A server that is
    /// slow to connect holds up only those who ask for the same name. `useListener` changes nothing, since every client
    /// has a listener; it is there for callers that the interface was promised to.
    static std::shared_ptr<IPCClient> GetClient(const std::string& serverName, bool useListener);

    /// The settings of the process are those of this moment. `useListener` as above.
    explicit IPCClient(bool /*useListener*/ = true) {}
    /// With settings of the caller's instead.
    explicit IPCClient(const GlobalSettings& settings) : settings_(settings) {}
    ~IPCClient() override { Disconnect(); }

    /// 0 when connected (also when it was before), -1 otherwise. A server that does not take the connection up within
    /// the client's time-out counts as not there.
    [[nodiscard]] std::int32_t Connect(const std::string& serverName);
    /// Ends the connection and whatever waits on it, a Connect included. 0.
    std::int32_t Disconnect();
    bool IsConnected() const { return connected_; }

    /// Writes the request; 0 or kIpcCannotSend. With a reply expected, WaitReply must follow. A server that does not
    /// take the request within the client's time-out ends the connection, since what follows could not be told apart.
    [[nodiscard]] std::int32_t Send(const std::shared_ptr<IPC>& request) { return SendTogether({request}); }
    /// The reply to that request, or empty after `timeoutMs` or when the connection ended.
    std::shared_ptr<IPC> WaitReply(std::uint64_t requestId, std::uint32_t timeoutMs);
    /// Send and WaitReply in one; `reply` is empty unless the result is 0.
    [[nodiscard]] std::int32_t Call(const std::shared_ptr<IPC>& request, std::uint32_t timeoutMs,
                                    std::shared_ptr<IPC>& reply);

    /// The framework's own requests, with this client's time-out. Outputs are written only when the result is 0.
    [[nodiscard]] std::int32_t CheckAlive();
    std::int32_t Stop();
    [[nodiscard]] std::int32_t GetState(std::uint32_t& state) { return AskValue(kIpcGetState, Timeout(), state); }
    [[nodiscard]] std::int32_t GetClientCount(std::uint32_t& count) {
        return AskValue(kIpcGetClientCount, Timeout(), count);
    }
    /// Appends the server's clients to the list; `count` is what the server answered just before it sent them. Both
    /// questions together take `timeoutMs` at most.
    [[nodiscard]] std::int32_t GetClientsInfo(std::vector<ipc_client_info>& clients, std::uint32_t& count,
                                              std::uint32_t timeoutMs);
    [[nodiscard]] std::int32_t GetClientsInfo(std::vector<ipc_client_info>& clients);
    std::int32_t Terminate();

    /// What the server answers to the alive check and to the requests for its state and its client count. A value that
    /// is not answered stays 0.
    struct Condition {
        bool alive = false;
        std::uint32_t state = 0;
        std::uint32_t clientCount = 0;
    };
    /// The three requests go in one write, before the wait for the first reply: that takes little longer than one of
    /// them. They take `timeoutMs` together.
    Condition GetCondition(std::uint32_t timeoutMs);

    /// The oldest notice that the server sent and nobody took yet, waiting for one at most `timeoutMs`; empty when
    /// there is none, or when the connection ended and all were taken.
    std::shared_ptr<IPC> TakeNotice(std::uint32_t timeoutMs);

    /// From the connection handshake.
    std::uint64_t ServerPid() const { return serverPid_; }
    std::uint64_t ClientId() const { return clientId_; }
    /// ms to wait for each reply of the framework's own requests.
    std::uint32_t Timeout() const { return settings_.ipcTimeout; }

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t value) override;

  private:
    struct Connection {
        std::shared_ptr<PipeReader> reader;
        std::shared_ptr<ClientTransport> transport;
    };
    struct Inbox {
        std::deque<std::shared_ptr<IPC>> notices;
        std::size_t bytes = 0;
        bool lost = false;  // some were dropped since it was empty last

        std::shared_ptr<IPC> RemoveOldest();
    };

    bool Handshake(ClientTransport& transport);
    bool StartReader(const std::shared_ptr<ClientTransport>& transport);
    void DropConnection();
    /// Asks for the value of command 3 or 4.
    [[nodiscard]] std::int32_t AskValue(std::uint32_t command, std::uint32_t timeoutMs, std::uint32_t& value);
    /// Send for several requests in one write: all of them, or none.
    [[nodiscard]] std::int32_t SendTogether(std::initializer_list<std::shared_ptr<IPC>> requests);
    void SetConnected(bool connected);

    // Serializes the operations, through their waits; taken before the other locks.
    std::mutex lock_;
    // Disconnect and the listener thread reach the connection while an operation waits on it. Changed under lock_, too.
    kivsync::Guarded<Connection> connection_;
    std::atomic<int> disconnecting_{0};  // calls of Disconnect under way: a Connect meanwhile gives up

    const GlobalSettings settings_ = GlobalSettings::Get();
    std::atomic<bool> connected_{false};  // changed under the inbox's lock, for those who wait there
    std::atomic<std::uint64_t> serverPid_{0};
    std::atomic<std::uint64_t> clientId_{0};

    kivsync::Guarded<Inbox> inbox_;  // its lock is taken last
};
