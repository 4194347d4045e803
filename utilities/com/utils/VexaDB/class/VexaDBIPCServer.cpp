#include "utils/VexaDB/class/VexaDBIPCServer.h"

#include <utility>

#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/logging/Logger.h"

namespace VexaDB {

VexaDBIPCServer::Handlers VexaDBIPCServer::MakeHandlers(VexaDBServerInterface& database) {
    Handlers handlers;
    // `call` fills the reply and returns its status. For a request that cannot be decoded, only the status is filled.
    const auto add = [&](auto command, Turn turn, auto call) {
        handlers[command] = {turn, [call](const IPCPayload& payload) {
                                 typename decltype(command)::RequestType request;
                                 typename decltype(command)::ReplyType reply;
                                 reply.status = DecodePayload(payload, request) ? call(request, reply) : -1;
                                 return Encode(reply);
                             }};
    };
    // `read` is for short requests of which no observer is told: the thread that receives one answers it at once.
    const auto change = [&](auto command, auto call) { add(command, Turn::Question, call); };
    const auto read = [&](auto command, auto call) { add(command, Turn::AtOnce, call); };

    change(kDatabaseAddInstance, [&database](const auto& request, auto&) {
        return database.AddInstance(request.session, request.instance.Text(), request.type);
    });
    change(kDatabaseRemoveInstance, [&database](const auto& request, auto&) {
        return database.RemoveInstance(request.session, request.instance.Text());
    });
    change(kDatabaseRenameInstance, [&database](const auto& request, auto&) {
        return database.RenameInstance(request.session, request.oldName.Text(), request.newName.Text());
    });
    read(kDatabaseGetUint32, [&database](const auto& request, auto& reply) {
        std::uint32_t value = 0;
        const auto status = database.GetUint32(request.session, request.instance.Text(), request.setting.Text(), value);
        reply.value = value;
        return status;
    });
    read(kDatabaseGetString, [&database](const auto& request, auto& reply) {
        std::string value;
        const auto status = database.GetString(request.session, request.instance.Text(), request.setting.Text(), value);
        reply.value = value;
        return status;
    });
    change(kDatabaseSetUint32, [&database](const auto& request, auto& reply) {
        reply.value = request.value;
        return database.SetUint32(request.session, request.instance.Text(), request.setting.Text(), request.value);
    });
    change(kDatabaseSetString, [&database](const auto& request, auto& reply) {
        const auto value = request.value.Text();
        reply.value = value;
        return database.SetString(request.session, request.instance.Text(), request.setting.Text(), value);
    });
    read(kDatabaseGetInstances, [&database](const auto& request, auto& reply) {
        std::vector<std::string> instances;
        const auto status = database.GetInstances(request.session, instances);
        reply.entries.assign(instances.begin(), instances.end());
        return status;
    });
    read(kDatabaseGetInstanceSettings, [&database](const auto& request, auto& reply) {
        std::vector<SettingEntry> settings;
        const auto status = database.GetInstanceSettings(request.session, request.instance.Text(), settings);
        for (const auto& setting : settings)
            reply.entries.push_back({setting.name, static_cast<std::uint32_t>(setting.kind)});
        return status;
    });
    read(kDatabaseIsInstanceExist, [&database](const auto& request, auto& reply) {
        reply.value = database.IsInstanceExist(request.session, request.instance.Text()) ? 1 : 0;
        return database.IsSessionValid(request.session) ? 0 : -1;
    });
    read(kDatabaseOpenSession, [&database](const auto&, auto& reply) {
        SessionId session = 0;
        const auto status = database.OpenSession(session);
        reply.value = session;
        return status;
    });
    read(kDatabaseCloseSession,
         [&database](const auto& request, auto&) { return database.CloseSession(request.session); });
    change(kDatabaseBatch, [&database](const auto& request, auto&) { return database.Batch(request.session); });
    change(kDatabaseCommit, [&database](const auto& request, auto&) { return database.Commit(request.session); });
    change(kDatabaseReset, [&database](const auto& request, auto&) { return database.Reset(request.session); });
    read(kDatabaseIsSessionValid, [&database](const auto& request, auto& reply) {
        reply.value = database.IsSessionValid(request.session) ? 1 : 0;
        return 0;
    });
    return handlers;
}

VexaDBIPCServer::VexaDBIPCServer(VexaDBServerInterface& database, Clock clock)
    : clock_(std::move(clock)), handlers_(MakeHandlers(database)) {}

std::int32_t VexaDBIPCServer::Start() {
    if (started_)
        return 0;
    constexpr std::int64_t kLongNanoseconds = 500'000'000;
    const IPCServer::Duty duty{
        .title = "VexaDB IPC",
        .function = "VexaDBIPCServer::ProcessIPC",
        .longNanoseconds = kLongNanoseconds,
        .clock = clock_,
        .turnOf =
            [this](const IPC& request) {
                const auto handler = handlers_.find(request.Command());
                return handler == handlers_.end() ? Turn::Question : handler->second.turn;
            },
        .carryOut = [this](const auto& request) { return Handle(request); },
        .answered = {},
    };
    started_ = server_.Start(kDatabaseServerName, duty) == 0;
    if (started_)
        return 0;
    KIV_LOG(Logging::Error, "Cannot start IPC server %s", kDatabaseServerName);
    return -1;
}

void VexaDBIPCServer::Stop() {
    server_.Stop();
    started_ = false;
}

std::shared_ptr<IPC> VexaDBIPCServer::Handle(const std::shared_ptr<IPC>& request) {
    const auto handler = handlers_.find(request->Command());
    return handler == handlers_.end() ? request : IPC::Reply(*request, handler->second.answer(request->Payload()));
}

}  // namespace VexaDB
