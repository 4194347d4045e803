#include "protocols/kivctl/Manager.h"

#include "utils/VexaDB/class/ProtocolTypes.h"

namespace kivctl {

Manager::Manager(const Options& options)
    : options_(options), client_(Reach(kManagerServerName, options.TimeoutOr(kConnectTimeout))) {}

std::int32_t Manager::AskAboutInstance(ManagerCommand command, const std::string& instance, std::uint32_t timeoutMs) {
    const auto reply =
        Ask(*client_, command, wire::Encode(ipc_mngctrl_instance_request{instance}), options_.TimeoutOr(timeoutMs));
    return DecodeReply<ipc_mngctrl_result_reply>(*reply).result;
}

std::int32_t Manager::Add(const std::string& instance, std::uint32_t type) {
    const auto reply = Ask(*client_, kManagerAdd, wire::Encode(ipc_mngctrl_add_request{type, instance}),
                           options_.TimeoutOr(kRequestTimeout));
    return DecodeReply<ipc_mngctrl_add_reply>(*reply).result;
}

std::int32_t Manager::Remove(const std::string& instance) {
    return AskAboutInstance(kManagerRemove, instance, kStopTimeout);
}

std::int32_t Manager::Start(const std::string& instance) {
    return AskAboutInstance(kManagerStart, instance, kStartTimeout);
}

std::int32_t Manager::Stop(const std::string& instance) {
    return AskAboutInstance(kManagerStop, instance, kStopTimeout);
}

std::int32_t Manager::Restart(const std::string& instance) {
    return AskAboutInstance(kManagerRestart, instance, kRestartTimeout);
}

std::int32_t Manager::RenameRunning(const std::string& oldName, const std::string& newName) {
    const auto reply = Ask(*client_, kManagerRename, wire::Encode(ipc_mngctrl_rename_request{oldName, newName}),
                           options_.TimeoutOr(kRestartTimeout));
    return DecodeReply<ipc_mngctrl_rename_reply>(*reply).result;
}

std::int32_t Manager::GetString(const std::string& instance, const std::string& property, std::string& value) {
    const auto reply =
        Ask(*client_, kManagerGetString, wire::Encode(ipc_mngctrl_get_str_property_request{instance, property}),
            options_.TimeoutOr(kRequestTimeout));
    const auto record = DecodeReply<ipc_mngctrl_get_str_property_reply>(*reply);
    if (record.result == 0)
        value = record.value.Text();
    return record.result;
}

std::int32_t Manager::SetString(const std::string& instance, const std::string& property, const std::string& value) {
    const auto reply =
        Ask(*client_, kManagerSetString, wire::Encode(ipc_mngctrl_set_str_property_request{instance, property, value}),
            options_.TimeoutOr(kRequestTimeout));
    return DecodeReply<ipc_mngctrl_set_str_property_reply>(*reply).result;
}

std::int32_t Manager::GetNumber(const std::string& instance, const std::string& property, std::uint32_t& value) {
    const auto reply =
        Ask(*client_, kManagerGetNumber, wire::Encode(ipc_mngctrl_get_num_property_request{instance, property}),
            options_.TimeoutOr(kRequestTimeout));
    const auto record = DecodeReply<ipc_mngctrl_get_num_property_reply>(*reply);
    if (record.result == 0)
        value = record.value;
    return record.result;
}

std::int32_t Manager::SetNumber(const std::string& instance, const std::string& property, std::uint32_t value) {
    const auto reply =
        Ask(*client_, kManagerSetNumber, wire::Encode(ipc_mngctrl_set_num_property_request{instance, property, value}),
            options_.TimeoutOr(kRequestTimeout));
    return DecodeReply<ipc_mngctrl_set_num_property_reply>(*reply).result;
}

std::vector<std::string> Manager::Instances(std::uint32_t type) {
    const auto reply =
        Ask(*client_, kManagerList, wire::Encode(ipc_mngctrl_list_request{type}), options_.TimeoutOr(kRequestTimeout));
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

ipc_mngctrl_status_reply Manager::Status(const std::string& instance, std::uint32_t timeoutMs) {
    const auto reply = Ask(*client_, kManagerStatus, wire::Encode(ipc_mngctrl_status_request{instance}),
                           options_.TimeoutOr(timeoutMs));
    return DecodeReply<ipc_mngctrl_status_reply>(*reply);
}

std::int32_t Manager::Clients(const std::string& instance, std::vector<ipc_client_info>& clients) {
    const auto reply = Ask(*client_, kManagerGetClients, wire::Encode(ipc_mngctrl_get_clients_request{instance}),
                           options_.TimeoutOr(kRequestTimeout));
    const auto head = DecodeReply<ipc_mngctrl_get_clients_reply>(*reply);
    for (std::uint32_t i = 0; head.result == 0 && i < head.count; ++i)
        clients.push_back(DecodeReply<ipc_client_info>(*reply, sizeof head + i * sizeof(ipc_client_info)));
    return head.result;
}

void Manager::RequestShutdown() {
    Ask(*client_, kIpcStop, {}, options_.TimeoutOr(kRequestTimeout));
}

}  // namespace kivctl
