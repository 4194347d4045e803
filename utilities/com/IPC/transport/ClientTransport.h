// ClientTransport: the byte stream of one connection, at the client's end or at the server's end.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Only one thread at a time may read, and only one may write; a read and a write may run at the same time. Any thread
/// may call Close at any time: it ends a read, write or connect in progress (which then returns -1) before it closes
/// the stream. A closed stream cannot be opened again.
class ClientTransport {
  public:
    /// Client end: connects to the server, and waits at most `timeoutMs` for a free pipe. 0 or -1. Server end: 0.
    [[nodiscard]] virtual std::int32_t Connect(std::uint32_t timeoutMs) = 0;
    virtual std::int32_t Close() = 0;
    /// Makes one transfer. Returns the number of bytes read (0 to `size`), or -1 on failure or after `timeoutMs`. A
    /// broken connection causes no log line, since it is normal that a peer goes away.
    [[nodiscard]] std::int32_t Read(void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
        return ReadAhead(buffer, size, size, timeoutMs);
    }
    /// Like Read, but reads up to `capacity` bytes if they are available. `size` is the number of bytes that the caller
    /// needs; the log line of a failure names it.
    [[nodiscard]] virtual std::int32_t ReadAhead(void* buffer, std::int32_t size, std::int32_t capacity,
                                                 std::uint32_t timeoutMs) = 0;
    /// Returns the number of bytes written, or -1 on failure or after `timeoutMs`.
    [[nodiscard]] virtual std::int32_t Write(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) = 0;
    /// Closes the stream.
    virtual ~ClientTransport() = default;

    /// The result of a write that is still in progress.
    static constexpr std::int32_t kWritePending = -2;
    /// Like Write, but a write that takes longer than `timeoutMs` continues: the result is kWritePending. Until
    /// FinishWrite or Close has returned, the buffer stays in use, no other write may begin, and the calling thread
    /// must not end, because the system cancels the unfinished writes of a thread that ends.
    [[nodiscard]] virtual std::int32_t BeginWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) = 0;
    /// Waits for the write in progress, at most another `timeoutMs`. Same results as Write.
    [[nodiscard]] virtual std::int32_t FinishWrite(std::uint32_t timeoutMs) = 0;

    /// Id of the process at the other end, as the system reports it; 0 when the system cannot tell it.
    virtual std::uint64_t PeerProcessId() = 0;

    /// Server end: whether the client has closed its end, even if bytes that it sent are still unread. Always false for
    /// a client end and after Close. Any thread, also while other threads read and write. Does not wait for the peer.
    virtual bool HasPeerClosed() = 0;

    /// The client end of a connection to the named server; not connected yet.
    static std::shared_ptr<ClientTransport> Make(const std::string& serverName);
};
