// The command side of CProtocolManager: what its control server does with each command, and in which turn.

#include <algorithm>
#include <iterator>

#include "protocols/KivProtocolManager/class/ControlMessages.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/logging/Logger.h"

namespace {

constexpr std::int64_t kLongCommandNanoseconds = 50'000'000'000;

IPCPayload ResultReply(std::int32_t result) {
    return wire::Encode(ipc_mngctrl_result_reply{result});
}

/// The instance that a request names, or nothing when the payload is too short to name one.
std::optional<std::string> NamedInstance(const IPC& request) {
    const auto fields = wire::Decode<ipc_mngctrl_instance_request>(request.Payload());
    return fields ? std::optional(fields->instance.Text()) : std::nullopt;
}

}  // namespace

std::int32_t CProtocolManager::ProcessIPC() {
    const IPCServer::Duty duty{
        .title = "Manager IPC",
        .function = "CProtocolManager::ProcessIPC",
        .longNanoseconds = kLongCommandNanoseconds,
        .clock = clock_,
        .turnOf = [this](const IPC& request) { return TurnOf(request); },
        .carryOut = [this](const auto& request) { return HandleRequest(*request); },
        .answered =
            [this](const IPC& request) {
                if (request.Command() == kIpcStop)
                    stopRequestEvent_->Set();  // not before the answer: the stop closes the connection it goes over
            },
    };
    if (ipcServer_.Start(kManagerServerName, duty) != 0) {
        KIV_LOG(Logging::Error, "Cannot start the control server %s", kManagerServerName);
        return kManagerFailure;
    }
    if (StopRequested())
        ipcServer_.Stop();  // whoever stopped the manager may have come before the start
    ipcServer_.Serve();
    return 0;
}

const CProtocolManager::Command* CProtocolManager::FindCommand(std::uint32_t number) {
    using Turn = IPCServer::Turn;
    static constexpr Command kCommands[] = {
        {kIpcAliveCheck, Turn::AtOnce, &CProtocolManager::HandleEmpty},
        {kIpcStop, Turn::AtOnce, &CProtocolManager::HandleEmpty},
        {kManagerAdd, Turn::Change, &CProtocolManager::HandleAdd},
        {kManagerRemove, Turn::Change, &CProtocolManager::HandleRemove},
        {kManagerStart, Turn::Change, &CProtocolManager::HandleStart},
        {kManagerStop, Turn::Change, &CProtocolManager::HandleStop},
        {kManagerRestart, Turn::Change, &CProtocolManager::HandleRestart},
        {kManagerGetString, Turn::AtOnce, &CProtocolManager::HandleGetString},
        {kManagerSetString, Turn::Question, &CProtocolManager::HandleSetString},
        {kManagerGetNumber, Turn::AtOnce, &CProtocolManager::HandleGetNumber},
        {kManagerSetNumber, Turn::Question, &CProtocolManager::HandleSetNumber},
        {kManagerList, Turn::AtOnce, &CProtocolManager::HandleList},
        {kManagerStatus, Turn::Question, &CProtocolManager::HandleStatus},
        {kManagerRename, Turn::Change, &CProtocolManager::HandleRename},
        {kManagerGetClients, Turn::Question, &CProtocolManager::HandleGetClients},
    };
    const auto* const found =
        std::find_if(std::begin(kCommands), std::end(kCommands), [=](const auto& one) { return one.number == number; });
    return found != std::end(kCommands) ? found : nullptr;
}

IPCServer::Turn CProtocolManager::TurnOf(const IPC& request) {
    const auto* const command = FindCommand(request.Command());
    if (command == nullptr)
        return IPCServer::Turn::AtOnce;
    // These two ask the instance's child, if there is anything to ask it.
    if (command->number == kManagerStatus || command->number == kManagerGetClients) {
        const auto name = NamedInstance(request);
        const auto instance = name ? GetProtocol(*name) : nullptr;
        if (!instance || instance->IsAnsweredAtOnce())
            return IPCServer::Turn::AtOnce;
    }
    return command->turn;
}

std::shared_ptr<IPC> CProtocolManager::HandleRequest(const IPC& request) {
    const auto* const command = FindCommand(request.Command());
    if (command == nullptr)
        return {};  // nobody handles it: no answer is agreed for it
    return IPC::Reply(request, (this->*command->handler)(request));
}

IPCPayload CProtocolManager::HandleEmpty(const IPC& /*request*/) {
    return {};
}

IPCPayload CProtocolManager::HandleAdd(const IPC& request) {
    const auto fields = wire::Decode<ipc_mngctrl_add_request>(request.Payload());
    return ResultReply(fields ? AddProtocol(fields->instance.Text(), fields->protocolType) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleRemove(const IPC& request) {
    const auto name = NamedInstance(request);
    return ResultReply(name ? ProcessRemoveProtocol(*name) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleStart(const IPC& request) {
    const auto name = NamedInstance(request);
    return ResultReply(name ? StartProtocol(*name) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleStop(const IPC& request) {
    const auto name = NamedInstance(request);
    return ResultReply(name ? StopProtocol(*name) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleRestart(const IPC& request) {
    const auto name = NamedInstance(request);
    return ResultReply(name ? RestartProtocol(*name) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleGetString(const IPC& request) {
    ipc_mngctrl_get_str_property_reply reply;
    reply.result = kManagerFailure;
    const auto fields = wire::Decode<ipc_mngctrl_get_str_property_request>(request.Payload());
    if (fields && GetProtocol(fields->instance.Text())) {
        std::string value;
        reply.result = db_->GetString(fields->instance.Text(), fields->property.Text(), value);
        reply.value = value;
    }
    return wire::Encode(reply);
}

IPCPayload CProtocolManager::HandleSetString(const IPC& request) {
    ipc_mngctrl_set_str_property_reply reply;
    reply.result = kManagerFailure;
    if (const auto fields = wire::Decode<ipc_mngctrl_set_str_property_request>(request.Payload()))
        reply.result = SetStrPropertyProtocol(fields->instance.Text(), fields->property.Text(), fields->value.Text());
    return wire::Encode(reply);
}

IPCPayload CProtocolManager::HandleGetNumber(const IPC& request) {
    ipc_mngctrl_get_num_property_reply reply;
    reply.result = kManagerFailure;
    const auto fields = wire::Decode<ipc_mngctrl_get_num_property_request>(request.Payload());
    if (fields && GetProtocol(fields->instance.Text())) {
        std::uint32_t value = 0;
        reply.result = db_->GetUint32(fields->instance.Text(), fields->property.Text(), value);
        reply.value = value;
    }
    return wire::Encode(reply);
}

IPCPayload CProtocolManager::HandleSetNumber(const IPC& request) {
    ipc_mngctrl_set_num_property_reply reply;
    reply.result = kManagerFailure;
    const auto fields = wire::Decode<ipc_mngctrl_set_num_property_request>(request.Payload());
    if (fields && GetProtocol(fields->instance.Text()))
        reply.result = db_->SetUint32(fields->instance.Text(), fields->property.Text(), fields->value);
    return wire::Encode(reply);
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

IPCPayload CProtocolManager::HandleRename(const IPC& request) {
    const auto fields = wire::Decode<ipc_mngctrl_rename_request>(request.Payload());
    return ResultReply(fields ? RenameProtocol(fields->oldName.Text(), fields->newName.Text()) : kManagerFailure);
}

IPCPayload CProtocolManager::HandleGetClients(const IPC& request) {
    const auto name = NamedInstance(request);
    if (!name)
        return EncodeUnknownClientsReply(kManagerFailure);
    const auto instance = GetProtocol(*name);
    if (!instance)
        return EncodeUnknownClientsReply(kManagerUnknownInstance);
    const auto condition = instance->Ask(CProtocol::Question::Clients);
    return EncodeClientsReply(condition.clientCount, condition.clients);
}
