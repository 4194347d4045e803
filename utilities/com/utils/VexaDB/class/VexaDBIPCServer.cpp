#include "utils/VexaDB/class/VexaDBIPCServer.h"

#include <utility>

#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Platform.h"

namespace VexaDB {

namespace {

using Turn = IPCServer::Turn;

constexpr std::int64_t kLongNanoseconds = 500'000'000;

/// What is answered by the thread that reads it: no observer hears of it.
bool IsRead(std::uint32_t command) {
    switch (command) {
        case kDatabaseGetUint32:
        case kDatabaseGetString:
        case kDatabaseGetInstances:
        case kDatabaseGetInstanceSettings:
        case kDatabaseIsInstanceExist:
        case kDatabaseOpenSession:
        case kDatabaseCloseSession:
        case kDatabaseIsSessionValid:
            return true;
        default:
            return false;
    }
}

/// A handler that decodes the request, has `call` fill the reply and encodes that. Too short a request leaves the
/// reply empty but for its status.
template <class Request, class Reply, class Call>
auto Handling(Call call) {
    return [call](const IPCPayload& payload) {
        Reply reply;
        reply.status = -1;
        if (const auto request = wire::Decode<Request>(payload))
            call(*request, reply);
        return wire::Encode(reply);
    };
}

/// A handler of a command that has a session, and a status as its whole answer.
auto HandlingSession(VexaDBServerInterface& database, std::int32_t (VexaDBServerInterface::*operation)(SessionId)) {
    return Handling<ipc_vexadb_session_request, ipc_vexadb_status_reply>(
        [&database, operation](const auto& request, auto& reply) {
            reply.status = (database.*operation)(request.session);
        });
}

std::map<std::uint32_t, std::function<IPCPayload(const IPCPayload&)>> MakeHandlers(VexaDBServerInterface& database) {
    std::map<std::uint32_t, std::function<IPCPayload(const IPCPayload&)>> handlers;
    handlers[kDatabaseAddInstance] = Handling<ipc_vexadb_add_instance_request, ipc_vexadb_add_instance_reply>(
        [&database](const auto& request, auto& reply) {
            reply.status = database.AddInstance(request.session, request.instance.Text(), request.type);
        });
    handlers[kDatabaseRemoveInstance] = Handling<ipc_vexadb_remove_instance_request, ipc_vexadb_remove_instance_reply>(
        [&database](const auto& request, auto& reply) {
            reply.status = database.RemoveInstance(request.session, request.instance.Text());
        });
    handlers[kDatabaseRenameInstance] = Handling<ipc_vexadb_rename_instance_request, ipc_vexadb_rename_instance_reply>(
        [&database](const auto& request, auto& reply) {
            reply.status = database.RenameInstance(request.session, request.oldName.Text(), request.newName.Text());
        });
    handlers[kDatabaseGetUint32] = Handling<ipc_vexadb_get_setting_num32_request, ipc_vexadb_get_setting_num32_reply>(
        [&database](const auto& request, auto& reply) {
            std::uint32_t value = 0;
            reply.status = database.GetUint32(request.session, request.instance.Text(), request.setting.Text(), value);
            reply.value = value;
        });
    handlers[kDatabaseGetString] = Handling<ipc_vexadb_get_setting_str_request, ipc_vexadb_get_setting_str_reply>(
        [&database](const auto& request, auto& reply) {
            std::string value;
            reply.status = database.GetString(request.session, request.instance.Text(), request.setting.Text(), value);
            reply.value = value;
        });
    handlers[kDatabaseSetUint32] = Handling<ipc_vexadb_set_setting_num32_request, ipc_vexadb_set_setting_num32_reply>(
        [&database](const auto& request, auto& reply) {
            reply.value = request.value;
            reply.status =
                database.SetUint32(request.session, request.instance.Text(), request.setting.Text(), request.value);
        });
    handlers[kDatabaseSetString] = Handling<ipc_vexadb_set_setting_str_request, ipc_vexadb_set_setting_str_reply>(
        [&database](const auto& request, auto& reply) {
            const auto value = request.value.Text();
            reply.value = value;
            reply.status = database.SetString(request.session, request.instance.Text(), request.setting.Text(), value);
        });
    handlers[kDatabaseGetInstances] = [&database](const IPCPayload& payload) {
        std::vector<std::string> instances;
        const auto request = wire::Decode<ipc_vexadb_get_instances_request>(payload);
        const auto status = request ? database.GetInstances(request->session, instances) : -1;
        return EncodeInstances(status, instances);
    };
    handlers[kDatabaseGetInstanceSettings] = [&database](const IPCPayload& payload) {
        std::vector<SettingEntry> settings;
        const auto request = wire::Decode<ipc_vexadb_get_instance_settings_request>(payload);
        const auto status =
            request ? database.GetInstanceSettings(request->session, request->instance.Text(), settings) : -1;
        return EncodeSettings(status, settings);
    };
    handlers[kDatabaseIsInstanceExist] =
        Handling<ipc_vexadb_is_instance_exist_request, ipc_vexadb_is_instance_exist_reply>(
            [&database](const auto& request, auto& reply) {
                reply.status = database.IsSessionValid(request.session) ? 0 : -1;
                reply.truth = database.IsInstanceExist(request.session, request.instance.Text()) ? 1 : 0;
            });
    handlers[kDatabaseOpenSession] = [&database](const IPCPayload&) {
        ipc_vexadb_open_session_reply reply;
        SessionId session = 0;
        reply.status = database.OpenSession(session);
        reply.session = session;
        return wire::Encode(reply);
    };
    handlers[kDatabaseCloseSession] = HandlingSession(database, &VexaDBServerInterface::CloseSession);
    handlers[kDatabaseBatch] = HandlingSession(database, &VexaDBServerInterface::Batch);
    handlers[kDatabaseCommit] = HandlingSession(database, &VexaDBServerInterface::Commit);
    handlers[kDatabaseReset] = HandlingSession(database, &VexaDBServerInterface::Reset);
    handlers[kDatabaseIsSessionValid] =
        Handling<ipc_vexadb_is_session_valid_request, ipc_vexadb_is_session_valid_reply>(
            [&database](const auto& request, auto& reply) {
                reply.status = 0;
                reply.truth = database.IsSessionValid(request.session) ? 1 : 0;
            });
    return handlers;
}

}  // namespace

VexaDBIPCServer::VexaDBIPCServer(VexaDBServerInterface& database)
    : VexaDBIPCServer(database, &platform::MonotonicNanoseconds) {}

VexaDBIPCServer::VexaDBIPCServer(VexaDBServerInterface& database, Clock clock)
    : clock_(std::move(clock)), handlers_(MakeHandlers(database)) {}

VexaDBIPCServer::~VexaDBIPCServer() {
    Stop();
}

std::int32_t VexaDBIPCServer::Start() {
    if (server_)
        return 0;
    server_ = std::make_unique<IPCServer>();
    const IPCServer::Duty duty{
        .title = "VexaDB IPC",
        .function = "VexaDBIPCServer::ProcessIPC",
        .longNanoseconds = kLongNanoseconds,
        .clock = clock_,
        .turnOf = [](const IPC& request) { return IsRead(request.Command()) ? Turn::AtOnce : Turn::Question; },
        .carryOut = [this](const auto& request) { return Handle(request); },
        .answered = {},
    };
    if (server_->Start(kDatabaseServerName, duty) == 0)
        thread_ = kivsync::Thread::Start([this] { ProcessIPC(); });
    if (thread_)
        return 0;
    KIV_LOG(Logging::Error, "Cannot start IPC server %s", kDatabaseServerName);
    server_.reset();
    return -1;
}

void VexaDBIPCServer::Stop() {
    if (!server_)
        return;
    server_->Stop();
    thread_.reset();
    server_.reset();
}

void VexaDBIPCServer::ProcessIPC() {
    server_->Serve();
}

std::shared_ptr<IPC> VexaDBIPCServer::Handle(const std::shared_ptr<IPC>& request) {
    const auto handler = handlers_.find(request->Command());
    if (handler == handlers_.end())
        return request;
    return IPC::Reply(*request, handler->second(request->Payload()));
}

}  // namespace VexaDB
