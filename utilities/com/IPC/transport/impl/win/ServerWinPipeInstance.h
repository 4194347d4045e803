// ServerWinPipeInstance: one pipe instance that waits for a client. The pool owns it; the accepting thread uses it.
#pragma once

#include <windows.h>

#include <string>

#include "utils/platform/impl/win/Handle.h"

/// Used by one thread at a time. An instance whose pipe could not be created, or whose client went away at once, does
/// not wait for clients until MakeReady succeeds.
class ServerWinPipeInstance {
  public:
    /// Creates every pipe with `securityAttributes`, which must outlive the instance.
    ServerWinPipeInstance(std::string serverName, SECURITY_ATTRIBUTES* securityAttributes);
    /// Cancels the wait for a client.
    ~ServerWinPipeInstance();
    ServerWinPipeInstance(const ServerWinPipeInstance&) = delete;
    ServerWinPipeInstance& operator=(const ServerWinPipeInstance&) = delete;

    /// Makes a pipe wait for a client, unless one waits or has a client already. False on failure.
    bool MakeReady();
    /// Signalled when a client has connected; manual reset.
    HANDLE GetWaitEvent() const { return waitEvent_.Get(); }
    /// Call it when the event is signalled. Returns the connected pipe, which the caller then owns, and makes a new
    /// pipe wait in its place. Empty when the connect failed.
    UniqueHandle TakeConnection();

  private:
    enum class Wait { None, Pending, Connected };

    void CreatePipe();
    [[nodiscard]] std::int32_t Start();
    [[nodiscard]] std::int32_t StartFailed(const char* step);

    const std::string serverName_;
    SECURITY_ATTRIBUTES* const securityAttributes_;
    const UniqueHandle waitEvent_;
    OVERLAPPED overlapped_{};
    UniqueHandle pipe_;
    Wait wait_ = Wait::None;
};
