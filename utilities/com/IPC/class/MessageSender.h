// MessageSender: sends whole messages to one client, in order.
//
// As long as the client reads fast enough, the sending thread writes each message itself. When a write takes longer
// than a few milliseconds, a writing thread of the connection finishes it, and later messages queue behind it: a client
// that is slow or stuck hardly delays the others. The connection ends when a message waits for longer than the general
// IPC timeout, or when too many bytes wait.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "IPC/class/IPC.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/platform/Deadline.h"
#include "utils/sync/Guarded.h"
#include "utils/sync/Thread.h"

/// The other end of a connection, as the log names it.
struct IPCPeer {
    const std::string server;
    const std::uint64_t connectionId;
    std::atomic<std::uint64_t> processId{0};  // known from the handshake on
};

/// Member of a connection, which calls Close and AwaitFinish before it destroys the sender. Any thread may send.
class MessageSender {
  public:
    using Message = std::shared_ptr<const IPCPayload>;
    enum class [[nodiscard]] Result{
        Sent,     // written or queued
        Gone,     // the connection has ended
        Refused,  // too many bytes wait, or no writing thread can be started; the log tells which
    };
    /// Which thread may begin a write. When a thread ends, the system cancels the unfinished writes that it has begun,
    /// so only a thread that lives as long as the connection may pass Here.
    enum class Begin { Here, OnWritingThread };

    /// `transport` and `peer` must outlive the sender. `failed` is called on the writing thread when a queued message
    /// could not be written; the connection must then end.
    MessageSender(ClientTransport& transport, const IPCPeer& peer, std::function<void()> failed);

    /// Waits at most 5 ms for the client. After any other result than Sent, the connection must end: no message may
    /// follow a truncated one.
    Result Send(const Message& message, Begin begin);
    /// Returns when no message waits for the client, or the connection has ended.
    void AwaitEmpty();
    /// Ends sending, and tells the writing thread to end. Close the transport first.
    void Close();
    /// After Close: whether the writing thread has ended.
    bool HasFinished();
    /// After Close: waits for the writing thread, which may still be calling `failed`.
    void AwaitFinish();

  private:
    struct Queued {
        Message bytes;
        platform::Deadline deadline;
    };
    struct State {
        std::deque<Queued> backlog;  // the writing thread writes the first one
        std::size_t bytes = 0;
        bool underWay = false;  // the sending thread has begun the write of the first one
        bool closed = false;
        std::unique_ptr<kivsync::Thread> writer;  // started for the first message that waits
    };

    void WriteBacklog();
    bool Write(const Queued& message, bool underWay);

    ClientTransport& transport_;
    const IPCPeer& peer_;
    const std::function<void()> failed_;
    kivsync::Guarded<State> state_;  // its lock is also held during a direct write, for at most 5 ms
};
