// ClientWinPipe: one end of a named-pipe connection. A client opens it by the server's name; the server wraps each
// handle it accepts in one. Held by a client or by a server's connection and by that one's reader.
#pragma once

#include <windows.h>

#include <atomic>
#include <mutex>
#include <string>

#include "IPC/transport/ClientTransport.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/impl/win/Handle.h"

/// All transfers are overlapped. A transfer that is given up, for its time-out or for Close, is cancelled and waited
/// for, so that the system no longer writes to its buffer and OVERLAPPED when the call returns.
class ClientWinPipe : public ClientTransport {
  public:
    /// The client end of a connection to the named server; the server end takes over a connected pipe.
    explicit ClientWinPipe(std::string serverName, UniqueHandle pipe = {});
    ~ClientWinPipe() override { ClientWinPipe::Close(); }

    std::int32_t Connect(std::uint32_t timeoutMs) override;
    std::int32_t Close() override;
    std::int32_t ReadAhead(void* buffer, std::int32_t size, std::int32_t capacity, std::uint32_t timeoutMs) override;
    std::int32_t Write(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) override;
    std::int32_t BeginWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) override;
    std::int32_t FinishWrite(std::uint32_t timeoutMs) override;
    std::uint64_t PeerProcessId() override;
    bool HasPeerClosed() override;

  private:
    /// One direction of the pipe. A thread holds the lock while it is in a transfer, so that whoever has it knows that
    /// none is; the read's is taken before the write's.
    struct Direction {
        Direction(const char* logFunction, const char* logOperation, const char* logProgress);

        std::mutex lock;
        const UniqueHandle event;  // manual reset; every transfer resets it
        OVERLAPPED overlapped{};
        std::int32_t size = 0;
        bool pending = false;
        // What the log calls the operation, the transfer, and the bytes it has moved.
        const char* const function;
        const char* const operation;
        const char* const progress;
    };

    bool WaitForFreePipe(const std::string& name, const platform::Deadline& deadline) const;
    [[nodiscard]] std::int32_t StartWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs);
    OVERLAPPED* Prepare(Direction& direction, std::int32_t size) const;
    [[nodiscard]] std::int32_t Started(Direction& direction, BOOL completed, DWORD bytes,
                                       std::uint32_t timeoutMs) const;
    [[nodiscard]] std::int32_t Await(Direction& direction, std::uint32_t timeoutMs) const;
    [[nodiscard]] std::int32_t GiveUp(Direction& direction, std::uint32_t timeoutMs) const;
    [[nodiscard]] std::int32_t Collect(Direction& direction, BOOL wait, const char* failure,
                                       std::uint32_t timeoutMs) const;
    [[nodiscard]] std::int32_t Failed(const Direction& direction, const char* failure, DWORD bytes,
                                      std::uint32_t timeoutMs) const;

    const std::string serverName_;
    const bool isClient_;
    /// Keeps the handle open during a question about the pipe, which may come while transfers are under way. Held for
    /// moments only; taken after the directions' locks.
    std::mutex pipeLock_;
    UniqueHandle pipe_;  // changed under all three locks: to use it, one of them is enough
    std::atomic<bool> closing_{false};
    const UniqueHandle closeEvent_;  // the state of closing_, for the waits
    Direction read_{"ClientWinPipe::Read", "Read", "read"};
    Direction write_{"ClientWinPipe::Write", "write", "write"};
};
