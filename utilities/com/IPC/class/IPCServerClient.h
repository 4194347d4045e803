// IPCServerClient: one connection of a server, from its handshake to its end.
//
// A message is written by the thread that sends it as long as the client takes what it is sent. When one write does
// not complete within a few milliseconds, that write is left to a thread of the connection, and what is sent
// meanwhile queues behind it: a client that is slow or stuck costs the server's other clients next to nothing. It is
// ended when a message waits for longer than the general IPC time-out, or when too much is waiting.
//
// In the other direction a client that asks faster than the owner answers is not read further while too many of its
// requests wait for the owner: its pipe fills up and its writes wait, while other clients' requests find their turn.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "IPC/class/IPC.h"
#include "IPC/class/Monitors.h"
#include "IPC/class/PipeReader.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/sync/Thread.h"

/// Held by the server's table, and for the length of a send by whoever sends. Any thread may send and close; the
/// threads of the connection are its reader's listener, which also does the handshake, and at need one that writes
/// the backlog and one that answers the terminate request. They never hold the object, so none of them destroys it.
class IPCServerClient : public RequestMonitor, public DisconnectMonitor {
  public:
    /// The monitors are the server; `disconnects` is told the connection id when the connection ended by itself.
    IPCServerClient(std::string serverName, std::uint64_t connectionId, std::shared_ptr<ClientTransport> transport,
                    RequestMonitor& requests, DisconnectMonitor& disconnects);
    /// Closes, and waits for the connection's threads.
    ~IPCServerClient() override;
    IPCServerClient(const IPCServerClient&) = delete;
    IPCServerClient& operator=(const IPCServerClient&) = delete;

    /// Starts the handshake and then the reading; -1 when no thread is to be had.
    std::int32_t Start();
    /// Ends the connection and tells the server, unless it has ended before.
    void End();
    /// Ends the connection without telling the server or waiting for the connection's threads.
    void Close();

    /// Writes a serialized message, or queues it behind those that still wait. -1 when the connection has ended or
    /// cannot take it.
    std::int32_t Send(const std::shared_ptr<const IPCPayload>& message);

    /// The owner took this request of the connection: there is room for another one.
    void RequestTaken(const IPC& request);

    /// The handshake is complete, and the connection has not ended.
    bool IsServing() const { return handshakeDone_ && !ended_; }
    bool HasEnded() const { return ended_; }
    bool IsHandshakeDone() const { return handshakeDone_; }
    std::uint64_t ConnectionId() const { return connectionId_; }
    std::uint64_t ProcessId() const { return processId_; }

    std::int32_t OnRequest(const std::shared_ptr<IPC>& request) override;
    void OnDisconnect(std::uint64_t value) override;

  private:
    using Clock = std::chrono::steady_clock;
    struct QueuedMessage {
        std::shared_ptr<const IPCPayload> bytes;
        Clock::time_point deadline;
    };

    bool Handshake();
    bool SetEnded();
    void AnswerTerminate(const IPC& request);
    std::int32_t WriteOrQueue(const std::shared_ptr<const IPCPayload>& message);
    void Queue(const std::shared_ptr<const IPCPayload>& message);
    void DrainBacklog();
    bool FinishBacklogWrite(const QueuedMessage& message, bool underWay);

    const std::string serverName_;
    const std::uint64_t connectionId_;
    std::atomic<std::uint64_t> processId_{0};
    const std::shared_ptr<ClientTransport> transport_;
    RequestMonitor& requestMonitor_;
    DisconnectMonitor& disconnectMonitor_;
    std::atomic<bool> handshakeDone_{false};
    std::atomic<bool> ended_{false};  // set by SetEnded only

    std::mutex requestsLock_;          // guards what follows; nothing is called with it held
    std::size_t waitingRequests_ = 0;  // bytes of the requests that the owner has not taken yet
    std::condition_variable requestTaken_;

    std::atomic<bool> terminating_{false};
    std::unique_ptr<kivsync::Thread> terminateThread_;  // started by the listener thread, joined after it

    std::mutex writeLock_;               // keeps the messages in order; guards what follows; held for a few ms at most
    std::deque<QueuedMessage> backlog_;  // the first is being written by drainThread_; empty: no thread
    std::size_t backlogBytes_ = 0;
    std::condition_variable backlogDone_;
    std::unique_ptr<kivsync::Thread> drainThread_;

    PipeReader reader_;  // last, so that its thread ends before what that thread uses
};
