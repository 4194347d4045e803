// One request to one server, and what became of it. No exceptions: how a request without an answer is told is up to
// whoever asked.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/class/IPCClient.h"

/// What became of a request, or of connecting for it.
enum class Delivery {
    Answered,   // connected; of a request: here is the answer
    NotThere,   // nothing listens under the server's name
    NotLetIn,   // somebody listens, and did not take the connection up in time
    Lost,       // the connection ended during the request, which may be carried out all the same
    TimedOut,   // no answer in time; the request may be carried out all the same
    Malformed,  // an answer that is too short for its fields
};

/// A client whose time-out of the framework is `timeoutMs`; not connected yet. Never empty.
std::shared_ptr<IPCClient> MakeClient(std::uint32_t timeoutMs);

/// Connects the client within its own time-out: Answered (also when it was connected before), NotThere or NotLetIn. Any
/// thread.
[[nodiscard]] Delivery ConnectTo(IPCClient& client, const std::string& serverName);

struct [[nodiscard]] Asked {
    Delivery delivery = Delivery::NotThere;
    std::int32_t result = kIpcCannotSend;  // the framework's, when there is no answer
    std::shared_ptr<IPC> reply;            // when there is one
};
/// Sends the request and waits at most `timeoutMs` for its reply. Any thread; those who ask on one connection wait for
/// each other.
Asked AskServer(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs);
