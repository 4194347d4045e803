// ClientWinPipe: one end of a named-pipe connection. A client opens it by the server's name; a server wraps each
// accepted pipe in one. A client, or a server's connection, shares it with its reader.
#pragma once

#include <windows.h>

#include <atomic>
#include <mutex>
#include <string>

#include "IPC/transport/ClientTransport.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/impl/win/Handle.h"

/// All transfers are overlapped. A transfer that a timeout or Close ends is cancelled, and its end is awaited: the
/// system no longer uses its buffer and OVERLAPPED when the call returns.
class ClientWinPipe : public ClientTransport {
  public:
    /// Without `pipe`: the client end of a connection to the named server. With a connected `pipe`, which this object
    /// then owns: the server end.
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
    /// One direction of the pipe. A thread holds the lock during a transfer, so its holder knows that no other thread
    /// is in one. The lock of read_ is taken before that of write_.
    struct Direction {
        Direction(const char* logFunction, const char* logOperation, const char* logProgress);

        std::mutex lock;
        const UniqueHandle event;  // manual reset; every transfer resets it when it starts
        OVERLAPPED overlapped{};
        std::int32_t size = 0;
        bool pending = false;
        // For the log: the function, the operation, and the title of the number of bytes that were moved.
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
    /// Keeps the handle open while a thread queries the pipe, which may happen during transfers. Held for moments only;
    /// taken after the directions' locks.
    std::mutex pipeLock_;
    UniqueHandle pipe_;  // changed with all three locks held, so one of them is enough to use it
    std::atomic<bool> closing_{false};
    const UniqueHandle closeEvent_;  // set together with closing_, for the waits
    Direction read_{"ClientWinPipe::Read", "Read", "read"};
    Direction write_{"ClientWinPipe::Write", "write", "write"};
};
