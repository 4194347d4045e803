// Connects to a server and sends it requests, each with a timeout. A failure ends the command with a message.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "protocols/control/Asking.h"
#include "protocols/kivctl/Failure.h"

namespace kivctl {

/// Throws the Failure for a server that could not be reached or did not answer: `delivery` says which. `command` and
/// `timeoutMs` appear in its message; `result` is the framework's result code.
[[noreturn]] void FailToReach(Delivery delivery, const std::string& serverName, std::uint32_t command,
                              std::uint32_t timeoutMs, std::int32_t result = 0);

/// A client connected to that server; null when no server has the name. Throws Failure when the server does not accept
/// the connection within `timeoutMs`.
std::shared_ptr<IPCClient> TryReach(const std::string& serverName, std::uint32_t timeoutMs);
/// The same, but throws Failure, with what to do about it, when no server has the name.
std::shared_ptr<IPCClient> Reach(const std::string& serverName, std::uint32_t timeoutMs);

/// Sends the request and returns its reply; throws Failure when there is no reply within `timeoutMs`.
std::shared_ptr<IPC> Ask(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs);

}  // namespace kivctl
