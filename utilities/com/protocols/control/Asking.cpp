#include "protocols/control/Asking.h"

#include <utility>

#include "utils/class/GlobalSettings.h"
#include "utils/platform/Deadline.h"

std::shared_ptr<IPCClient> MakeClient(std::uint32_t timeoutMs) {
    GlobalSettings settings;
    settings.ipcTimeout = timeoutMs;
    return std::make_shared<IPCClient>(settings);
}

Delivery ConnectTo(IPCClient& client, const std::string& serverName) {
    const platform::Deadline deadline(client.Timeout());
    if (client.Connect(serverName) == kIpcSuccess)
        return Delivery::Answered;
    // Connect fails at once when the pipe does not exist.
    return deadline.LeftMs() == 0 ? Delivery::NotLetIn : Delivery::NotThere;
}

Asked AskServer(IPCClient& client, std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs) {
    Asked asked;
    const platform::Deadline deadline(timeoutMs);
    asked.result = client.Call(IPC::Request(command, std::move(payload)), timeoutMs, asked.reply);
    if (asked.reply)
        asked.delivery = Delivery::Answered;
    else  // a wait that ends early means that the connection has ended, even if IsConnected does not say so yet
        asked.delivery = client.IsConnected() && deadline.LeftMs() == 0 ? Delivery::TimedOut : Delivery::Lost;
    return asked;
}
