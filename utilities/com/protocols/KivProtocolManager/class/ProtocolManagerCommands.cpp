// The commands of CProtocolManager: how its control server carries out each command, and in which turn.

#include <optional>

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/control/ControlMessages.h"
#include "utils/logging/Logger.h"

namespace {

constexpr std::int64_t kLongCommandNanoseconds = 50'000'000'000;

/// The reply's payload. `carryOut(fields, reply)` fills in the reply and returns its result. When the request is
/// shorter than its fields, or one of its texts has no zero byte, `carryOut` is not called and the result is -1.
template <class Request, class Reply, class CarryOut>
IPCPayload Answer(const IPC& request, CarryOut carryOut) {
    Reply reply;
    const auto fields = wire::Decode<Request>(request.Payload());
    reply.result = fields ? carryOut(*fields, reply) : kManagerFailure;
    return wire::Encode(reply);
}

/// The instance that a request names, or nothing when the payload does not name one.
std::optional<std::string> NamedInstance(const IPC& request) {
    const auto fields = wire::Decode<ipc_mngctrl_instance_request>(request.Payload());
    return fields ? std::optional(fields->instance.Text()) : std::nullopt;
}

}  // namespace

void CProtocolManager::ProcessIPC() {
    const IPCServer::Duty duty{
        .title = "Manager IPC",
        .function = "CProtocolManager::ProcessIPC",
        .longNanoseconds = kLongCommandNanoseconds,
        .clock = clock_,
        .turnOf = [this](const IPC& request) { return TurnOf(request); },
        .carryOut =
            [this](const auto& request) {
                const auto payload = Handle(*request);
                return payload ? IPC::Reply(*request, *payload) : nullptr;
            },
        .answered =
            [this](const IPC& request) {
                if (request.Command() != kIpcStop)
                    return;
                IPCServer::AwaitWritten(request);  // the stop closes the connection, so the reply must be out first
                RequestStop();
            },
    };
    if (ipcServer_.Start(kManagerServerName, duty) != 0)
        KIV_LOG(Logging::Error, "Cannot start the control server %s", kManagerServerName);
}

IPCServer::Turn CProtocolManager::TurnOf(const IPC& request) {
    using Turn = IPCServer::Turn;
    switch (request.Command()) {
        case kManagerAdd:
        case kManagerRemove:
        case kManagerStart:
        case kManagerStop:
        case kManagerRestart:
        case kManagerRename:
            return Turn::Change;
        case kManagerSetString:
        case kManagerSetNumber:
            return Turn::Question;
        case kManagerStatus:
        case kManagerGetClients: {
            const auto name = NamedInstance(request);
            const auto instance = name ? GetProtocol(*name) : nullptr;
            return !instance || instance->IsAnsweredAtOnce() ? Turn::AtOnce : Turn::Question;
        }
        default:
            return Turn::AtOnce;
    }
}

/// The reply's payload; nothing for an unknown command, which gets no reply.
std::optional<IPCPayload> CProtocolManager::Handle(const IPC& request) {
    const auto onInstance = [&](std::int32_t (CProtocolManager::*change)(const std::string&)) {
        return Answer<ipc_mngctrl_instance_request, ipc_mngctrl_result_reply>(
            request, [&](const auto& fields, auto&) { return (this->*change)(fields.instance.Text()); });
    };
    switch (request.Command()) {
        case kIpcAliveCheck:
        case kIpcStop:
            return IPCPayload();
        case kManagerAdd:
            return Answer<ipc_mngctrl_add_request, ipc_mngctrl_add_reply>(request, [this](const auto& fields, auto&) {
                return AddProtocol(fields.instance.Text(), fields.protocolType);
            });
        case kManagerRemove:
            return onInstance(&CProtocolManager::ProcessRemoveProtocol);
        case kManagerStart:
            return onInstance(&CProtocolManager::StartProtocol);
        case kManagerStop:
            return onInstance(&CProtocolManager::StopProtocol);
        case kManagerRestart:
            return onInstance(&CProtocolManager::RestartProtocol);
        case kManagerRename:
            return Answer<ipc_mngctrl_rename_request, ipc_mngctrl_rename_reply>(
                request, [this](const auto& fields, auto&) {
                    return RenameProtocol(fields.oldName.Text(), fields.newName.Text());
                });
        case kManagerGetString:
            return Answer<ipc_mngctrl_get_str_property_request, ipc_mngctrl_get_str_property_reply>(
                request, [this](const auto& fields, auto& reply) {
                    std::string value;
                    const auto result = OnProperty(fields, &VexaDB::VexaDBSession::GetString, value);
                    reply.value = value;
                    return result;
                });
        case kManagerSetString:
            return Answer<ipc_mngctrl_set_str_property_request, ipc_mngctrl_set_str_property_reply>(
                request, [this](const auto& fields, auto&) {
                    return SetStrPropertyProtocol(fields.instance.Text(), fields.property.Text(), fields.value.Text());
                });
        case kManagerGetNumber:
            return Answer<ipc_mngctrl_get_num_property_request, ipc_mngctrl_get_num_property_reply>(
                request, [this](const auto& fields, auto& reply) {
                    std::uint32_t value = 0;
                    const auto result = OnProperty(fields, &VexaDB::VexaDBSession::GetUint32, value);
                    reply.value = value;
                    return result;
                });
        case kManagerSetNumber:
            return Answer<ipc_mngctrl_set_num_property_request, ipc_mngctrl_set_num_property_reply>(
                request, [this](const auto& fields, auto&) {
                    const std::uint32_t value = fields.value;
                    return OnProperty(fields, &VexaDB::VexaDBSession::SetUint32, value);
                });
        case kManagerList:
            return HandleList(request);
        case kManagerStatus:
            return HandleStatus(request);
        case kManagerGetClients:
            return HandleGetClients(request);
        default:
            return std::nullopt;
    }
}

IPCPayload CProtocolManager::HandleList(const IPC& request) {
    std::vector<std::string> names;
    if (const auto fields = wire::Decode<ipc_mngctrl_list_request>(request.Payload())) {
        for (const auto& instance : table_.All()) {
            if (instance->Type() == fields->protocolType)
                names.push_back(instance->Name());
        }
    }
    return EncodeListReply(names);
}

IPCPayload CProtocolManager::HandleStatus(const IPC& request) {
    ipc_mngctrl_status_reply reply;
    const auto name = NamedInstance(request);
    const auto instance = name ? GetProtocol(*name) : nullptr;
    if (!instance) {
        reply.result = name ? kManagerUnknownInstance : kManagerFailure;
        return wire::Encode(reply);
    }
    const auto condition = instance->Ask(CProtocol::Question::Status);
    reply.status = condition.status;
    reply.protocolType = instance->Type();
    reply.upTime = CProtocol::GetUptime(condition.startTime);
    reply.lastError = instance->GetLastErrorCode();
    reply.state = condition.state;
    reply.processId = condition.processId;
    reply.clientCount = condition.clientCount;
    return wire::Encode(reply);
}

IPCPayload CProtocolManager::HandleGetClients(const IPC& request) {
    const auto name = NamedInstance(request);
    const auto instance = name ? GetProtocol(*name) : nullptr;
    if (!instance)
        return EncodeUnknownClientsReply(name ? kManagerUnknownInstance : kManagerFailure);
    const auto condition = instance->Ask(CProtocol::Question::Clients);
    return EncodeClientsReply(condition.clientCount, condition.clients);
}
