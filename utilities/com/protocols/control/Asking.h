// Sends one request to one server and returns the outcome. A failure is a value, not an exception: the caller decides
// how to report it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "IPC/class/IPCClient.h"

/// The outcome of a request, or of connecting for it.
enum class Delivery {
    Answered,   // the reply is there; after connecting: the client is connected
    NotThere,   // nothing listens under the server's name
    NotLetIn,   // the server did not take up the connection in time
    Lost,       // the connection ended during the request; the server may carry it out even so
    TimedOut,   // no reply in time; the server may carry the request out even so
    Malformed,  // the reply is too short for its fields
};

/// A client with `timeoutMs` as its IPC time-out, not connected yet. Never empty.
std::shared_ptr<IPCClient> MakeClient(std::uint32_t timeoutMs);

/// Connects the client within its own time-out: Answered (also when it was connected before), NotThere or NotLetIn. Any
/// thread may call it.
[[nodiscard]] Delivery ConnectTo(IPCClient& client, const std::string& serverName);

/// The outcome of one request.
struct [[nodiscard]] Asked {
    Delivery delivery = Delivery::NotThere;
    std::int32_t result = kIpcCannotSend;  // the result of IPCClient::Call
    std::shared_ptr<IPC> reply;            // empty unless Answered
};
/// Sends the request and waits at most `timeoutMs` for its reply. Any thread may call it; calls on one client wait for
/// each other.
Asked AskServer(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs);
