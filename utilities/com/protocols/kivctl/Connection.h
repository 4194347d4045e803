// Reaching a server within a time, and asking it one thing at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/class/IPCClient.h"
#include "protocols/kivctl/Failure.h"

namespace kivctl {

/// The client of that server; empty when nothing listens under the name. Throws Failure when a server listens but does
/// not let the client in within `timeoutMs`.
std::shared_ptr<IPCClient> TryReach(const std::string& serverName, std::uint32_t timeoutMs);
/// The same, with a Failure that says what to do when nothing listens.
std::shared_ptr<IPCClient> Reach(const std::string& serverName, std::uint32_t timeoutMs);

/// Sends the request and returns its reply; throws Failure when none comes within `timeoutMs`.
std::shared_ptr<IPC> Ask(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs);

/// The record of a reply's payload; throws Failure when the payload is too short for it.
template <wire::WireRecord Record>
Record DecodeReply(const IPC& reply, std::size_t offset = 0) {
    const auto record = wire::Decode<Record>(reply.Payload(), offset);
    if (!record)
        throw Failure(kNotReachable, "The answer to command " + std::to_string(reply.Command()) + " is too short.");
    return *record;
}

}  // namespace kivctl
