#include "protocols/kivctl/Manager.h"

#include <utility>

#include "protocols/kivctl/Words.h"
#include "utils/VexaDB/class/ProtocolTypes.h"

namespace kivctl {

Manager::Manager(const Options& options)
    : options_(options), client_(Reach(kManagerServerName, options.TimeoutOr(kConnectTimeout))) {}

std::shared_ptr<IPC> Manager::Send(std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs) {
    return kivctl::Ask(*client_, command, std::move(payload), options_.TimeoutOr(timeoutMs));
}

std::optional<std::string> Manager::GetString(const std::string& instance, const std::string& property) {
    const auto reply = Ask<ipc_mngctrl_get_str_property_reply>(
        kManagerGetString, ipc_mngctrl_get_str_property_request{instance, property});
    return reply.result == 0 ? std::optional(reply.value.Text()) : std::nullopt;
}

std::optional<std::uint32_t> Manager::GetNumber(const std::string& instance, const std::string& property) {
    const auto reply = Ask<ipc_mngctrl_get_num_property_reply>(
        kManagerGetNumber, ipc_mngctrl_get_num_property_request{instance, property});
    return reply.result == 0 ? std::optional<std::uint32_t>(reply.value) : std::nullopt;
}

std::vector<std::string> Manager::Instances(std::uint32_t type) {
    const auto reply = Send(kManagerList, wire::Encode(ipc_mngctrl_list_request{type}));
    const auto head = DecodeReply<ipc_mngctrl_list_reply>(*reply);
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < head.count; ++i)
        names.push_back(DecodeReply<wire::Name>(*reply, sizeof head + i * sizeof(wire::Name)).Text());
    return names;
}

std::vector<std::string> Manager::Instances() {
    std::vector<std::string> names;
    for (std::uint32_t type = 0; type < VexaDB::kProtocolNames.size(); ++type) {
        const auto ofType = Instances(type);
        names.insert(names.end(), ofType.begin(), ofType.end());
    }
    return names;
}

std::vector<ipc_client_info> Manager::Clients(const std::string& instance) {
    const auto reply = Send(kManagerGetClients, wire::Encode(ipc_mngctrl_get_clients_request{instance}));
    const auto head = DecodeReply<ipc_mngctrl_get_clients_reply>(*reply);
    if (head.result != 0)
        Refuse(ResultMeaning(head.result), head.result);
    std::vector<ipc_client_info> clients;
    for (std::uint32_t i = 0; i < head.count; ++i)
        clients.push_back(DecodeReply<ipc_client_info>(*reply, sizeof head + i * sizeof(ipc_client_info)));
    return clients;
}

}  // namespace kivctl
