// ServerTransport: the listening end of a named server.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/transport/ClientTransport.h"

/// Accept is called by one thread at a time; Interrupt by any.
class ServerTransport {
  public:
    /// These two do nothing: a server listens from Make to the destructor. They are there for callers and
    /// implementations of others, to whom the interface was promised with them.
    virtual std::int32_t Open() { return 0; }
    virtual std::int32_t Close() { return 0; }
    /// The next connection, or empty after `timeoutMs` (with a log line) or an Interrupt (without one). A connection
    /// that waits already comes before an Interrupt, which then ends the next Accept that finds none.
    virtual std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) = 0;
    virtual ~ServerTransport() = default;
    /// Makes the Accept in progress, or else the next one, return empty at once unless a connection waits.
    virtual void Interrupt() = 0;

    /// Listens under `serverName` from the moment it returns; empty when the system refuses.
    static std::shared_ptr<ServerTransport> Make(const std::string& serverName);
};
