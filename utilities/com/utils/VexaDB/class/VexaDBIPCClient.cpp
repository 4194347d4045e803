#include "utils/VexaDB/class/VexaDBIPCClient.h"

#include <utility>

#include "utils/VexaDB/class/VexaDBMessages.h"

namespace VexaDB {

namespace {

// ms
constexpr std::uint32_t kReplyTimeout = 5000;
constexpr std::uint32_t kCloseSessionTimeout = 500;

constexpr bool kWithListener = true;

ipc_vexadb_instance_request InstanceRequest(SessionId session, const std::string& instance) {
    ipc_vexadb_instance_request request;
    request.session = session;
    request.instance = instance;
    return request;
}

ipc_vexadb_get_setting_request SettingRequest(SessionId session, const std::string& instance,
                                              const std::string& setting) {
    ipc_vexadb_get_setting_request request;
    request.session = session;
    request.instance = instance;
    request.setting = setting;
    return request;
}

}  // namespace

bool VexaDBIPCClient::Connect() {
    std::lock_guard guard(lock_);
    if (!client_ || !client_->IsConnected())
        client_ = IPCClient::GetClient(kDatabaseServerName, kWithListener);
    return client_->IsConnected();
}

std::int32_t VexaDBIPCClient::Call(std::uint32_t command, IPCPayload payload, std::shared_ptr<IPC>& reply) {
    std::shared_ptr<IPCClient> client;
    {
        std::lock_guard guard(lock_);
        client = client_;
    }
    if (!client)
        return -1;
    const auto timeout = command == kDatabaseCloseSession ? kCloseSessionTimeout : kReplyTimeout;
    return client->Call(IPC::Request(command, std::move(payload)), timeout, reply);
}

template <class Reply>
std::int32_t VexaDBIPCClient::Call(std::uint32_t command, IPCPayload payload, Reply& reply) {
    std::shared_ptr<IPC> received;
    if (const auto result = Call(command, std::move(payload), received); result != 0)
        return result;
    const auto decoded = wire::Decode<Reply>(received->Payload());
    if (!decoded)
        return -1;
    reply = *decoded;
    return reply.status;
}

template <class Request>
std::int32_t VexaDBIPCClient::CallForStatus(std::uint32_t command, const Request& request) {
    ipc_vexadb_status_reply reply;
    return Call(command, wire::Encode(request), reply);
}

std::int32_t VexaDBIPCClient::OpenSession(SessionId& session) {
    ipc_vexadb_open_session_reply reply;
    const auto result = Call(kDatabaseOpenSession, {}, reply);
    if (result == 0)
        session = reply.session;
    return result;
}

std::int32_t VexaDBIPCClient::CloseSession(SessionId session) {
    return CallForStatus(kDatabaseCloseSession, ipc_vexadb_close_session_request{session});
}

std::int32_t VexaDBIPCClient::Batch(SessionId session) {
    return CallForStatus(kDatabaseBatch, ipc_vexadb_batch_request{session});
}

std::int32_t VexaDBIPCClient::Commit(SessionId session) {
    return CallForStatus(kDatabaseCommit, ipc_vexadb_commit_request{session});
}

std::int32_t VexaDBIPCClient::Reset(SessionId session) {
    return CallForStatus(kDatabaseReset, ipc_vexadb_reset_request{session});
}

std::int32_t VexaDBIPCClient::AddInstance(SessionId session, const std::string& instance, std::uint32_t type) {
    ipc_vexadb_add_instance_request request;
    request.session = session;
    request.type = type;
    request.instance = instance;
    return CallForStatus(kDatabaseAddInstance, request);
}

std::int32_t VexaDBIPCClient::RemoveInstance(SessionId session, const std::string& instance) {
    return CallForStatus(kDatabaseRemoveInstance, InstanceRequest(session, instance));
}

std::int32_t VexaDBIPCClient::RenameInstance(SessionId session, const std::string& oldName,
                                             const std::string& newName) {
    ipc_vexadb_rename_instance_request request;
    request.session = session;
    request.oldName = oldName;
    request.newName = newName;
    return CallForStatus(kDatabaseRenameInstance, request);
}

std::int32_t VexaDBIPCClient::SetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                        std::uint32_t value) {
    ipc_vexadb_set_setting_num32_request request;
    request.session = session;
    request.instance = instance;
    request.setting = setting;
    request.value = value;
    ipc_vexadb_set_setting_num32_reply reply;
    return Call(kDatabaseSetUint32, wire::Encode(request), reply);
}

std::int32_t VexaDBIPCClient::SetString(SessionId session, const std::string& instance, const std::string& setting,
                                        const std::string& value) {
    ipc_vexadb_set_setting_str_request request;
    request.session = session;
    request.instance = instance;
    request.setting = setting;
    request.value = value;
    ipc_vexadb_set_setting_str_reply reply;
    return Call(kDatabaseSetString, wire::Encode(request), reply);
}

std::int32_t VexaDBIPCClient::GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                        std::uint32_t& value) {
    ipc_vexadb_get_setting_num32_reply reply;
    const auto result = Call(kDatabaseGetUint32, wire::Encode(SettingRequest(session, instance, setting)), reply);
    if (result == 0)
        value = reply.value;
    return result;
}

std::int32_t VexaDBIPCClient::GetString(SessionId session, const std::string& instance, const std::string& setting,
                                        std::string& value) {
    ipc_vexadb_get_setting_str_reply reply;
    const auto result = Call(kDatabaseGetString, wire::Encode(SettingRequest(session, instance, setting)), reply);
    if (result == 0)
        value = reply.value.Text();
    return result;
}

std::int32_t VexaDBIPCClient::GetInstances(SessionId session, std::vector<std::string>& instances) {
    std::shared_ptr<IPC> reply;
    const auto result = Call(kDatabaseGetInstances, wire::Encode(ipc_vexadb_get_instances_request{session}), reply);
    return result != 0 ? result : DecodeInstances(reply->Payload(), instances);
}

std::int32_t VexaDBIPCClient::GetInstanceSettings(SessionId session, const std::string& instance,
                                                  std::vector<SettingEntry>& settings) {
    std::shared_ptr<IPC> reply;
    const auto result = Call(kDatabaseGetInstanceSettings, wire::Encode(InstanceRequest(session, instance)), reply);
    return result != 0 ? result : DecodeSettings(reply->Payload(), settings);
}

bool VexaDBIPCClient::IsInstanceExist(SessionId session, const std::string& instance) {
    ipc_vexadb_is_instance_exist_reply reply;
    return Call(kDatabaseIsInstanceExist, wire::Encode(InstanceRequest(session, instance)), reply) == 0 &&
           reply.truth != 0;
}

bool VexaDBIPCClient::IsSessionValid(SessionId session) {
    ipc_vexadb_is_session_valid_reply reply;
    return Call(kDatabaseIsSessionValid, wire::Encode(ipc_vexadb_is_session_valid_request{session}), reply) == 0 &&
           reply.truth != 0;
}

std::int32_t VexaDBIPCClient::AddObserver(const std::shared_ptr<VexaDBServerOpObserver>&) {
    return -1;
}

std::int32_t VexaDBIPCClient::RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>&) {
    return -1;
}

}  // namespace VexaDB
