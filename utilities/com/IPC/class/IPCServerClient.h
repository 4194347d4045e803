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

/// Held by the server until the connection's threads have ended, and for the length of a send by whoever sends; so none
/// of those threads ever destroys it. They are its reader's listener, which also does the handshake and answers the
/// terminate request, and at need one that writes what waits. Any thread may send, end and close.
class IPCServerClient : public RequestMonitor,
                        public DisconnectMonitor,
                        public std::enable_shared_from_this<IPCServerClient> {
  public:
    /// What the server's OnRequest results in when it has carried the request out already.
    static constexpr std::int32_t kCarriedOut = 2;

    /// The monitors are the server; `disconnects` is told the connection id when the connection has ended by itself.
    IPCServerClient(std::string serverName, std::uint64_t connectionId, std::shared_ptr<ClientTransport> transport,
                    RequestMonitor& requests, DisconnectMonitor& disconnects);
    /// Closes, and waits for the connection's threads.
    ~IPCServerClient() override;

    /// Starts the handshake and then the reading; -1 when no thread is to be had.
    [[nodiscard]] std::int32_t Start() {
        return reader_.StartListener([this] { return Handshake(); });
    }
    /// Ends the connection and tells the server, unless it has ended before. The result of closing the pipe.
    std::int32_t End();
    /// Ends the connection without telling the server or waiting for the connection's threads.
    std::int32_t Close();
    /// After End or Close: none of the connection's threads runs any more.
    bool HasFinished() { return reader_.HasFinished() && sender_.HasFinished(); }
    /// After End or Close: waits for the connection's threads.
    void AwaitFinish() {
        reader_.StopListener();
        sender_.AwaitFinish();
    }

    /// Writes a serialized message, or queues it behind those that still wait. A connection that cannot take it is
    /// ended.
    MessageSender::Result Send(const MessageSender::Message& message, MessageSender::Begin begin);

    /// Returns when nothing that was sent waits any more, or the connection has ended.
    void AwaitWritten() { sender_.AwaitEmpty(); }

    /// A request of the connection was taken out of the queue: there is room for another one.
    void RequestTaken(const IPC& request) { gate_.Leave(request); }

    /// The handshake is complete, and the connection has not ended.
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
    PipeReader reader_;  // last, so that its thread ends before what that thread uses
};
