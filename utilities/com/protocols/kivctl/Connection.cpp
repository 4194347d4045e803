#include "protocols/kivctl/Connection.h"

#include <utility>

namespace kivctl {

void FailToReach(Delivery delivery, const std::string& serverName, std::uint32_t command, std::uint32_t timeoutMs,
                 std::int32_t result) {
    const auto within = "within " + std::to_string(timeoutMs) + " ms.";
    switch (delivery) {
        case Delivery::Answered:
        case Delivery::NotThere:
            break;
        case Delivery::NotLetIn:
            throw Failure(kNotReachable,
                          "The server \"" + serverName + "\" exists, but did not accept the connection " + within);
        case Delivery::Lost:
            throw Failure(kNotReachable, "The manager ended the connection.", result);
        case Delivery::TimedOut:
            throw Failure(kNotReachable,
                          "No answer " + within +
                              " The manager may still carry out the request; --timeout MS sets a longer time.",
                          result);
        case Delivery::Malformed:
            throw Failure(kNotReachable, "The answer to command " + std::to_string(command) + " is too short.");
    }
    throw Failure(kNotReachable, "The manager is not running: nothing serves \"" + serverName +
                                     "\" on this machine. Start the service KivProtocolManager.");
}

std::shared_ptr<IPCClient> TryReach(const std::string& serverName, std::uint32_t timeoutMs) {
    auto client = MakeClient(timeoutMs);
    const auto delivery = ConnectTo(*client, serverName);
    if (delivery == Delivery::NotLetIn)
        FailToReach(delivery, serverName, 0, timeoutMs);
    return delivery == Delivery::Answered ? client : nullptr;
}

std::shared_ptr<IPCClient> Reach(const std::string& serverName, std::uint32_t timeoutMs) {
    auto client = TryReach(serverName, timeoutMs);
    if (!client)
        FailToReach(Delivery::NotThere, serverName, 0, timeoutMs);
    return client;
}

std::shared_ptr<IPC> Ask(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs) {
    auto asked = AskServer(client, command, std::move(payload), timeoutMs);
    if (asked.delivery != Delivery::Answered)
        FailToReach(asked.delivery, "", command, timeoutMs, asked.result);
    return std::move(asked.reply);
}

}  // namespace kivctl
