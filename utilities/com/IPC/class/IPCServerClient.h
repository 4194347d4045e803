// IPCServerClient: one connection of a server, from its handshake to its end.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "IPC/class/IPC.h"
#include "IPC/class/MessageSender.h"
#include "IPC/class/Monitors.h"
#include "IPC/class/PipeReader.h"
#include "IPC/class/RequestGate.h"
#include "IPC/transport/ClientTransport.h"

/// The connection's threads are its reader's listener thread, which also does the handshake and answers the terminate
/// request, and, once a message has to wait, a writing thread. The server holds this object until they have ended, and
/// a sender holds it during the send, so none of them ever destroys it. Any thread may send, end and close.
class IPCServerClient : public RequestMonitor,
                        public DisconnectMonitor,
                        public std::enable_shared_from_this<IPCServerClient> {
  public:
    /// The result of the server's OnRequest when it has carried the request out already.
    static constexpr std::int32_t kCarriedOut = 2;

    /// The server is both monitors, and outlives this object. `disconnects` gets the connection id when End, and not
    /// Close, has ended the connection.
    IPCServerClient(std::string serverName, std::uint64_t connectionId, std::shared_ptr<ClientTransport> transport,
                    RequestMonitor& requests, DisconnectMonitor& disconnects);
    /// Closes the connection, and waits for its threads.
    ~IPCServerClient() override;

    /// Starts the listener thread: the handshake, then the reading. 0, or -1 when the thread cannot be started.
    [[nodiscard]] std::int32_t Start() {
        return reader_.StartListener([this] { return Handshake(); });
    }
    /// Ends the connection, and tells the server unless it had ended before. Returns the result of closing the pipe.
    std::int32_t End();
    /// Ends the connection without telling the server. Neither function waits for the connection's threads.
    std::int32_t Close();
    /// After End or Close: whether the connection's threads have ended.
    bool HasFinished() { return reader_.HasFinished() && sender_.HasFinished(); }
    /// After End or Close: waits for the connection's threads.
    void AwaitFinish() {
        reader_.StopListener();
        sender_.AwaitFinish();
    }

    /// Writes a serialized message, or queues it behind waiting ones. Ends the connection if the result is not Sent.
    MessageSender::Result Send(const MessageSender::Message& message, MessageSender::Begin begin);

    /// Returns when every message that was sent is written, or the connection has ended.
    void AwaitWritten() { sender_.AwaitEmpty(); }

    /// Tells that a request of this connection was taken out of the queue: there is room for another one.
    void RequestTaken(const IPC& request) { gate_.Leave(request); }

    /// Whether the handshake is complete, and the connection has not ended.
    bool IsServing() const { return handshakeDone_ && !ended_; }
    bool IsHandshakeDone() const { return handshakeDone_; }
    std::uint64_t ConnectionId() const { return peer_.connectionId; }
    std::uint64_t ProcessId() const { return peer_.processId; }

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t) override { End(); }

  private:
    bool Handshake();
    void AnswerTerminate(const IPC& request);

    IPCPeer peer_;
    const std::shared_ptr<ClientTransport> transport_;
    RequestMonitor& requestMonitor_;
    DisconnectMonitor& disconnectMonitor_;
    std::atomic<bool> handshakeDone_{false};
    std::atomic<bool> ended_{false};
    RequestGate gate_;
    MessageSender sender_;
    PipeReader reader_;  // the last member, so destroyed first: its thread uses the others
};
