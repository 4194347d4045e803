#include "protocols/control/ControlMessages.h"

#include <algorithm>

IPCPayload EncodeListReply(const std::vector<std::string>& names) {
    const ipc_mngctrl_list_reply head{names.empty() ? kManagerFailure : 0, static_cast<std::uint32_t>(names.size())};
    auto payload = wire::Encode(head);
    for (const auto& name : names)
        wire::Append(payload, wire::Name(name));
    payload.resize(std::max(payload.size(), sizeof head + sizeof(wire::Name)));
    return payload;
}

IPCPayload EncodeClientsReply(std::uint32_t room, const std::vector<ipc_client_info>& clients) {
    const ipc_mngctrl_get_clients_reply head{0, static_cast<std::uint32_t>(clients.size())};
    auto payload = wire::Encode(head);
    for (const auto& client : clients)
        wire::Append(payload, client);
    // `room` is the count that the child reported before its list, and may be any number. We assume that at most this
    // many clients left in between.
    constexpr std::size_t kMostVacant = 64;
    const auto entries = std::max(clients.size(), std::min<std::size_t>(room, clients.size() + kMostVacant));
    payload.resize(sizeof head + entries * sizeof(ipc_client_info));
    return payload;
}

IPCPayload EncodeUnknownClientsReply(std::int32_t result) {
    auto payload = wire::Encode(ipc_mngctrl_get_clients_reply{result, 0});
    payload.resize(kUnknownClientsReplySize);
    return payload;
}
