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

/// Any thread may call any operation. A lock of the client serializes requests, and WaitReply holds it during its whole
/// wait: several requests may be in flight, but only one caller waits at a time. When the connection breaks, every wait
/// on it ends at once. Results: the reply's status, or kIpcCannotSend, kIpcNoReply, kIpcFailure.
class IPCClient : public RequestMonitor, public DisconnectMonitor {
  public:
    /// The most notices that wait for TakeNotice, with kIpcMaximumSize bytes at most; the oldest are dropped.
    static constexpr std::size_t kMaximumNotices = 4096;

    /// The client of that server that the whole process shares. Connects it, or connects it again, when it is not
    /// connected; IsConnected tells the outcome. Never empty. Its callers own the client: when the last one releases
    /// it, its pipe closes. A server that is slow to connect delays only calls for the same name. `useListener` has no
    /// effect, since every client has a listener; it belongs to the published interface.
    static std::shared_ptr<IPCClient> GetClient(const std::string& serverName, bool useListener);

    /// Takes a copy of the process's current settings. `useListener` has no effect.
    explicit IPCClient(bool /*useListener*/ = true) {}
    /// Uses the caller's settings instead.
    explicit IPCClient(const GlobalSettings& settings) : settings_(settings) {}
    ~IPCClient() override { Disconnect(); }

    /// 0 when the client is connected, also when it was connected before; otherwise -1. Waits at most Timeout() for a
    /// free pipe, and again for the handshake.
    [[nodiscard]] std::int32_t Connect(const std::string& serverName);
    /// Ends the connection and every wait on it, also that of a Connect in progress. Always 0.
    std::int32_t Disconnect();
    bool IsConnected() const { return connected_; }

    /// Writes the request; 0 or kIpcCannotSend. If the request expects a reply, WaitReply must follow. If the server
    /// does not accept the whole request within Timeout(), the client ends the connection: the server could not find
    /// the beginning of the next request.
    [[nodiscard]] std::int32_t Send(const std::shared_ptr<IPC>& request) { return SendTogether({request}); }
    /// Waits for the reply to that request. Empty after `timeoutMs`, or when the connection ended before.
    std::shared_ptr<IPC> WaitReply(std::uint64_t requestId, std::uint32_t timeoutMs);
    /// Calls Send and WaitReply. `reply` is empty unless the result is 0.
    [[nodiscard]] std::int32_t Call(const std::shared_ptr<IPC>& request, std::uint32_t timeoutMs,
                                    std::shared_ptr<IPC>& reply);

    /// The framework's own requests. They wait at most Timeout() for a reply, and set an output only on success (0).
    [[nodiscard]] std::int32_t CheckAlive();
    std::int32_t Stop();
    [[nodiscard]] std::int32_t GetState(std::uint32_t& state) { return AskValue(kIpcGetState, Timeout(), state); }
    [[nodiscard]] std::int32_t GetClientCount(std::uint32_t& count) {
        return AskValue(kIpcGetClientCount, Timeout(), count);
    }
    /// Asks the server for the number of its clients, `count`, and then for the clients, and appends at most `count` of
    /// them to the list. Waits at most `timeoutMs` for both replies together. `count` is set even if the second fails.
    [[nodiscard]] std::int32_t GetClientsInfo(std::vector<ipc_client_info>& clients, std::uint32_t& count,
                                              std::uint32_t timeoutMs);
    [[nodiscard]] std::int32_t GetClientsInfo(std::vector<ipc_client_info>& clients);
    /// Asks the server to end this connection.
    std::int32_t Terminate();

    /// The server's answers to the alive check and to the requests for its state and its client count. A value whose
    /// request fails stays 0.
    struct Condition {
        bool alive = false;
        std::uint32_t state = 0;
        std::uint32_t clientCount = 0;
    };
    /// Sends the three requests in one write, and then waits for the replies, at most `timeoutMs` for all of them. This
    /// takes little longer than one request.
    Condition GetCondition(std::uint32_t timeoutMs);

    /// Takes the oldest notice of the server; waits for one at most `timeoutMs`. Empty when none came, or at once when
    /// the connection has ended and all notices are taken.
    std::shared_ptr<IPC> TakeNotice(std::uint32_t timeoutMs);

    /// From the handshake: the server's process id, and the number that the server gave this connection.
    std::uint64_t ServerPid() const { return serverPid_; }
    std::uint64_t ClientId() const { return clientId_; }
    /// The client's timeout in ms: for connecting, for each write, and for replies to the framework's own requests.
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
        bool lost = false;  // notices were dropped since the inbox was last empty

        std::shared_ptr<IPC> RemoveOldest();
    };

    bool Handshake(ClientTransport& transport);
    bool StartReader(const std::shared_ptr<ClientTransport>& transport);
    void DropConnection();
    /// Sends command 3 or 4 and waits for the value in its reply.
    [[nodiscard]] std::int32_t AskValue(std::uint32_t command, std::uint32_t timeoutMs, std::uint32_t& value);
    /// Like Send, but sends several requests in one write: all of them or none.
    [[nodiscard]] std::int32_t SendTogether(std::initializer_list<std::shared_ptr<IPC>> requests);
    void SetConnected(bool connected);

    // Serializes the operations, their waits included; taken before the other locks.
    std::mutex lock_;
    // Disconnect and the listener thread use the connection while an operation waits with lock_ held. To change it, a
    // thread needs lock_ as well.
    kivsync::Guarded<Connection> connection_;
    std::atomic<int> disconnecting_{0};  // calls of Disconnect in progress; a Connect gives up when there are any

    const GlobalSettings settings_ = GlobalSettings::Get();
    std::atomic<bool> connected_{false};  // changed with the inbox's lock held, since TakeNotice waits for a change
    std::atomic<std::uint64_t> serverPid_{0};
    std::atomic<std::uint64_t> clientId_{0};

    kivsync::Guarded<Inbox> inbox_;  // its lock is taken last
};
