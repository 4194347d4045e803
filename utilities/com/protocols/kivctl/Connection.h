// Reaching a server within a time, and asking it one thing at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "protocols/control/Asking.h"
#include "protocols/kivctl/Failure.h"

namespace kivctl {

/// Throws the Failure of a server that was not reached or gave no answer to the command within `timeoutMs`. `result` is
/// what the framework said.
[[noreturn]] void FailToReach(Delivery delivery, const std::string& serverName, std::uint32_t command,
                              std::uint32_t timeoutMs, std::int32_t result = 0);

/// The client of that server; empty when nothing listens under the name. Throws Failure when a server listens but does
/// not let the client in within `timeoutMs`.
std::shared_ptr<IPCClient> TryReach(const std::string& serverName, std::uint32_t timeoutMs);
/// The same, with a Failure that says what to do when nothing listens.
std::shared_ptr<IPCClient> Reach(const std::string& serverName, std::uint32_t timeoutMs);

/// Sends the request and returns its reply; throws Failure when none comes within `timeoutMs`.
std::shared_ptr<IPC> Ask(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs);

}  // namespace kivctl
