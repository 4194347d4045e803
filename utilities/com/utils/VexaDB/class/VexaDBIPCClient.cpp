#include "utils/VexaDB/class/VexaDBIPCClient.h"

namespace VexaDB {

namespace {

// ms
constexpr std::uint32_t kReplyTimeout = 5000;
constexpr std::uint32_t kCloseSessionTimeout = 500;

constexpr bool kWithListener = true;

ipc_vexadb_get_setting_request Setting(SessionId session, const std::string& instance, const std::string& setting) {
    return {{{session}, instance}, setting};
}

/// For a call that has its status as its whole answer.
constexpr auto kStatusOnly = [](const auto&) {};

}  // namespace

bool VexaDBIPCClient::Connect() {
    auto client = client_.Lock();
    if (!*client || !(*client)->IsConnected())
        *client = IPCClient::GetClient(kDatabaseServerName, kWithListener);
    return (*client)->IsConnected();
}

template <class Request, class Reply, class Take>
std::int32_t VexaDBIPCClient::Call(DatabaseCommand<Request, Reply> command,
                                   const std::type_identity_t<Request>& request, Take take) {
    const auto client = *client_.Lock();
    if (!client)
        return -1;
    const auto timeout = command == kDatabaseCloseSession ? kCloseSessionTimeout : kReplyTimeout;
    std::shared_ptr<IPC> received;
    if (const auto result = client->Call(IPC::Request(command, EncodePayload(request)), timeout, received); result != 0)
        return result;
    Reply reply;
    if (!DecodePayload(received->Payload(), reply))
        return -1;
    if (reply.status == 0)
        take(reply);
    return reply.status;
}

std::int32_t VexaDBIPCClient::OpenSession(SessionId& session) {
    return Call(kDatabaseOpenSession, {}, [&](const auto& reply) { session = reply.value; });
}

std::int32_t VexaDBIPCClient::CloseSession(SessionId session) {
    return Call(kDatabaseCloseSession, {session}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::Batch(SessionId session) {
    return Call(kDatabaseBatch, {session}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::Commit(SessionId session) {
    return Call(kDatabaseCommit, {session}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::Reset(SessionId session) {
    return Call(kDatabaseReset, {session}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::AddInstance(SessionId session, const std::string& instance, std::uint32_t type) {
    return Call(kDatabaseAddInstance, {{session}, type, instance}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::RemoveInstance(SessionId session, const std::string& instance) {
    return Call(kDatabaseRemoveInstance, {{session}, instance}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::RenameInstance(SessionId session, const std::string& oldName,
                                             const std::string& newName) {
    return Call(kDatabaseRenameInstance, {{session}, oldName, newName}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::SetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                        std::uint32_t value) {
    return Call(kDatabaseSetUint32, {Setting(session, instance, setting), value}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::SetString(SessionId session, const std::string& instance, const std::string& setting,
                                        const std::string& value) {
    return Call(kDatabaseSetString, {Setting(session, instance, setting), value}, kStatusOnly);
}

std::int32_t VexaDBIPCClient::GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                        std::uint32_t& value) {
    return Call(kDatabaseGetUint32, Setting(session, instance, setting),
                [&](const auto& reply) { value = reply.value; });
}

std::int32_t VexaDBIPCClient::GetString(SessionId session, const std::string& instance, const std::string& setting,
                                        std::string& value) {
    return Call(kDatabaseGetString, Setting(session, instance, setting),
                [&](const auto& reply) { value = reply.value.Text(); });
}

std::int32_t VexaDBIPCClient::GetInstances(SessionId session, std::vector<std::string>& instances) {
    return Call(kDatabaseGetInstances, {session}, [&](const auto& reply) {
        instances.clear();
        for (const auto& name : reply.entries)
            instances.push_back(name.Text());
    });
}

std::int32_t VexaDBIPCClient::GetInstanceSettings(SessionId session, const std::string& instance,
                                                  std::vector<SettingEntry>& settings) {
    return Call(kDatabaseGetInstanceSettings, {{session}, instance}, [&](const auto& reply) {
        settings.clear();
        for (const auto& entry : reply.entries)
            settings.push_back({entry.setting.Text(), static_cast<SettingKind>(std::uint32_t{entry.kind}), 0, {}});
    });
}

bool VexaDBIPCClient::IsInstanceExist(SessionId session, const std::string& instance) {
    bool exists = false;
    Call(kDatabaseIsInstanceExist, {{session}, instance}, [&](const auto& reply) { exists = reply.value != 0; });
    return exists;
}

bool VexaDBIPCClient::IsSessionValid(SessionId session) {
    bool valid = false;
    Call(kDatabaseIsSessionValid, {session}, [&](const auto& reply) { valid = reply.value != 0; });
    return valid;
}

std::int32_t VexaDBIPCClient::AddObserver(const std::shared_ptr<VexaDBServerOpObserver>&) {
    return -1;
}

std::int32_t VexaDBIPCClient::RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>&) {
    return -1;
}

}  // namespace VexaDB
