// ClientTransport: the byte stream of one connection, whichever end holds it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// One thread reads at a time and one writes at a time; a read and a write may be in flight together. Close may be
/// called by any thread at any time: it ends a read, write or connect in flight (which then returns -1) before the
/// stream goes. A stream that was closed stays closed.
class ClientTransport {
  public:
    /// Client end: opens the connection by name, waiting at most `timeoutMs` for a free pipe. 0 or -1. Server end: 0.
    [[nodiscard]] virtual std::int32_t Connect(std::uint32_t timeoutMs) = 0;
    virtual std::int32_t Close() = 0;
    /// One transfer of what the system delivers: the bytes moved (at most `size`), or -1. A broken connection is
    /// reported without a log line, since a peer that goes away is normal.
    [[nodiscard]] std::int32_t Read(void* buffer, std::int32_t size, std::uint32_t timeoutMs) {
        return ReadAhead(buffer, size, size, timeoutMs);
    }
    /// A Read that takes up to `capacity` bytes, if they are there, where `size` are needed; a failure is logged with
    /// the needed ones.
    [[nodiscard]] virtual std::int32_t ReadAhead(void* buffer, std::int32_t size, std::int32_t capacity,
                                                 std::uint32_t timeoutMs) = 0;
    [[nodiscard]] virtual std::int32_t Write(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) = 0;
    /// Closes.
    virtual ~ClientTransport() = default;

    /// The result of a write that is still under way.
    static constexpr std::int32_t kWritePending = -2;
    /// A Write that is not given up when the time is over: kWritePending, and the buffer then stays in use until
    /// FinishWrite or Close has returned. No other write until then.
    [[nodiscard]] virtual std::int32_t BeginWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) = 0;
    /// The result of the write under way, as Write gives it after at most another `timeoutMs`.
    [[nodiscard]] virtual std::int32_t FinishWrite(std::uint32_t timeoutMs) = 0;

    /// The process at the other end, as the system knows it; 0 when it cannot tell.
    virtual std::uint64_t PeerProcessId() = 0;

    /// Server end: whether the client has closed its end, also while bytes that it sent wait to be read. False when
    /// this end cannot tell: a client end, or one that was closed. Any thread, also while others read and write; waits
    /// for nothing that the peer decides.
    virtual bool HasPeerClosed() = 0;

    /// The client end of a connection to the named server; not connected yet.
    static std::shared_ptr<ClientTransport> Make(const std::string& serverName);
};
