// ServerWinPipeInstance: one pipe instance that waits for a client. The pool owns it; the accepting thread uses it.
#pragma once

#include <windows.h>

#include <string>

#include "utils/platform/impl/win/Handle.h"

/// Not for two threads at once. An instance whose pipe could not be made, or whose client was gone at once, waits for
/// nobody until MakeReady succeeds.
class ServerWinPipeInstance {
  public:
    /// Every pipe is made with the attributes, which outlive the instance.
    ServerWinPipeInstance(std::string serverName, SECURITY_ATTRIBUTES* securityAttributes);
    /// Cancels the wait.
    ~ServerWinPipeInstance();
    ServerWinPipeInstance(const ServerWinPipeInstance&) = delete;
    ServerWinPipeInstance& operator=(const ServerWinPipeInstance&) = delete;

    /// True when a pipe waits for a client, or has one.
    bool MakeReady();
    /// Signalled when a client has connected; manual reset.
    HANDLE GetWaitEvent() const { return waitEvent_.Get(); }
    /// The connected pipe, now the caller's, with a fresh one waiting in its place. Empty when the connect failed.
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
