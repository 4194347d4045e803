#include "protocols/kivctl/Connection.h"

#include <utility>

#include "utils/class/GlobalSettings.h"
#include "utils/platform/Deadline.h"

namespace kivctl {

std::shared_ptr<IPCClient> TryReach(const std::string& serverName, std::uint32_t timeoutMs) {
    GlobalSettings settings;
    settings.ipcTimeout = timeoutMs;
    const platform::Deadline deadline(timeoutMs);
    auto client = std::make_shared<IPCClient>(settings);
    if (client->Connect(serverName) == kIpcSuccess)
        return client;
    // A pipe that does not exist is known at once.
    if (deadline.LeftMs() == 0)
        throw Failure(kNotReachable, "The server \"" + serverName + "\" is there but did not let kivctl in within " +
                                         std::to_string(timeoutMs) + " ms.");
    return nullptr;
}

std::shared_ptr<IPCClient> Reach(const std::string& serverName, std::uint32_t timeoutMs) {
    auto client = TryReach(serverName, timeoutMs);
    if (!client)
        throw Failure(kNotReachable, "The manager is not running: nothing serves \"" + serverName +
                                         "\" on this machine. Start the service KivProtocolManager.");
    return client;
}

std::shared_ptr<IPC> Ask(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs) {
    std::shared_ptr<IPC> reply;
    const auto result = client.Call(IPC::Request(command, std::move(payload)), timeoutMs, reply);
    if (result == kIpcSuccess && reply)
        return reply;
    if (!client.IsConnected())
        throw Failure(kNotReachable, "The manager ended the connection.", result);
    throw Failure(kNotReachable,
                  "No answer within " + std::to_string(timeoutMs) +
                      " ms. The request may still be carried out; --timeout MS waits longer.",
                  result);
}

}  // namespace kivctl
