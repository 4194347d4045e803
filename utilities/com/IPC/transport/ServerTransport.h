// ServerTransport: the listening end of a named server.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/transport/ClientTransport.h"

/// Only one thread at a time may call Accept; any thread may call Interrupt.
class ServerTransport {
  public:
    /// These two do nothing: a server listens from Make to the destructor. They belong to the published interface,
    /// which other programs call and implement.
    virtual std::int32_t Open() { return 0; }
    virtual std::int32_t Close() { return 0; }
    /// Waits for the next connection. Empty after `timeoutMs` (with a log line) or after Interrupt (without one). If a
    /// client is already waiting, Accept returns its connection; the Interrupt then ends the next Accept without one.
    virtual std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) = 0;
    virtual ~ServerTransport() = default;
    /// Makes the Accept in progress, or else the next one, return empty at once, unless a client is waiting.
    virtual void Interrupt() = 0;

    /// Listens under `serverName` from the moment it returns; empty when the system refuses.
    static std::shared_ptr<ServerTransport> Make(const std::string& serverName);
};
