// MessageSender: sends whole messages to one client, in their order.
//
// A message is written by the thread that sends it as long as the client takes what it is sent. When a write does not
// complete within a few milliseconds, it is left to a writing thread of the connection, and what is sent meanwhile
// queues behind it: a client that is slow or stuck costs the others next to nothing. A message that waits for longer
// than the general IPC time-out, or too much that waits, ends the connection.
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

/// Who is at the other end, as the log names it.
struct IPCPeer {
    const std::string server;
    const std::uint64_t connectionId;
    std::atomic<std::uint64_t> processId{0};  // from the handshake on
};

/// Member of a connection, which closes it before it goes. Any thread may send.
class MessageSender {
  public:
    using Message = std::shared_ptr<const IPCPayload>;
    enum class [[nodiscard]] Result{
        Sent,     // or queued
        Gone,     // the client has ended the connection
        Refused,  // the client cannot take it; the log says why
    };
    /// Where a write may begin. The system cancels what a thread has begun and not completed when that thread ends, so
    /// only a thread that lives as long as the connection may begin one itself.
    enum class Begin { Here, OnWritingThread };

    /// `transport` and `peer` outlive the sender. `failed` is called on the writing thread when a message that was
    /// queued could not be written; the connection must then end.
    MessageSender(ClientTransport& transport, const IPCPeer& peer, std::function<void()> failed);

    /// Takes 5 ms at most. After a result other than Sent the connection must end: nothing may follow a message that
    /// was cut short.
    Result Send(const Message& message, Begin begin);
    /// Returns when nothing waits for the client, or the connection has ended.
    void AwaitEmpty();
    /// Sends nothing more, and ends the writing thread. The transport must be closed before.
    void Close();
    /// After Close: no thread of this object runs any more.
    bool HasFinished();
    /// After Close: waits for the writing thread, which may still be calling `failed`.
    void AwaitFinish();

  private:
    struct Queued {
        Message bytes;
        platform::Deadline deadline;
    };
    struct State {
        std::deque<Queued> backlog;  // the writing thread is at the first one
        std::size_t bytes = 0;
        bool underWay = false;  // the write of the first one was begun by its sender
        bool closed = false;
        std::unique_ptr<kivsync::Thread> writer;  // from its first need to the connection's end
    };

    void WriteBacklog();
    bool Write(const Queued& message, bool underWay);

    ClientTransport& transport_;
    const IPCPeer& peer_;
    const std::function<void()> failed_;
    kivsync::Guarded<State> state_;  // held for a direct write, 5 ms at most
};
