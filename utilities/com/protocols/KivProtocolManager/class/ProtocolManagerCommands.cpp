// The command side of CProtocolManager: the loop that serves the control server, and the handler of every command.

#include <algorithm>
#include <exception>

#include "protocols/KivProtocolManager/class/ControlMessages.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/logging/Logger.h"

namespace {

constexpr std::int64_t kLongCommandNanoseconds = 50'000'000'000;
constexpr std::int64_t kNanosecondsPerMs = 1'000'000;

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
    if (ipcServer_.Start(kManagerServerName) != 0) {
        KIV_LOG(Logging::Error, "Cannot start the control server %s", kManagerServerName);
        return kManagerFailure;
    }
    while (!StopRequested()) {
        const auto request = ipcServer_.GetRequest();
        if (!request)
            break;  // the server was stopped
        const auto begin = clock_();
        try {
            HandleRequest(request);
        } catch (const std::exception& error) {
            KIV_LOG(Logging::Error, "Manager IPC command %d failed: %s", static_cast<int>(request->Command()),
                    error.what());
            ipcServer_.RemoveClient(request->ClientId());  // so that it does not wait for an answer
        }
        const auto elapsed = clock_() - begin;
        if (elapsed >= kLongCommandNanoseconds)
            KIV_LOG(Logging::Error, "Manager IPC command %d process took long time - %lldms!",
                    static_cast<int>(request->Command()), static_cast<long long>(elapsed / kNanosecondsPerMs));
    }
    return 0;
}

void CProtocolManager::HandleRequest(const std::shared_ptr<IPC>& request) {
    using Handler = IPCPayload (CProtocolManager::*)(const IPC&);
    struct Entry {
        std::uint32_t command;
        Handler handler;
    };
    static constexpr Entry kHandlers[] = {
        {kIpcAliveCheck, &CProtocolManager::HandleEmpty},
        {kIpcStop, &CProtocolManager::HandleEmpty},
        {kManagerAdd, &CProtocolManager::HandleAdd},
        {kManagerRemove, &CProtocolManager::HandleRemove},
        {kManagerStart, &CProtocolManager::HandleStart},
        {kManagerStop, &CProtocolManager::HandleStop},
        {kManagerRestart, &CProtocolManager::HandleRestart},
        {kManagerGetString, &CProtocolManager::HandleGetString},
        {kManagerSetString, &CProtocolManager::HandleSetString},
        {kManagerGetNumber, &CProtocolManager::HandleGetNumber},
        {kManagerSetNumber, &CProtocolManager::HandleSetNumber},
        {kManagerList, &CProtocolManager::HandleList},
        {kManagerStatus, &CProtocolManager::HandleStatus},
        {kManagerRename, &CProtocolManager::HandleRename},
        {kManagerGetClients, &CProtocolManager::HandleGetClients},
    };

    const auto command = request->Command();
    const auto* entry = std::find_if(std::begin(kHandlers), std::end(kHandlers),
                                     [command](const Entry& candidate) { return candidate.command == command; });
    // A command that nobody handles gets no answer: none is agreed for it.
    if (entry != std::end(kHandlers)) {
        auto payload = (this->*entry->handler)(*request);
        if (request->ExpectsReply())
            ipcServer_.SendReply(IPC::Reply(*request, std::move(payload)));
    }
    if (command == kIpcStop)
        stopRequestEvent_->Set();  // not before the answer: the stop closes the connection that it goes over
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
        for (const auto& instance : Instances()) {
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
    const auto condition = instance->GetCondition();
    reply.status = condition.status;
    reply.protocolType = instance->Type();
    reply.upTime = instance->GetUptime();
    reply.lastError = instance->GetLastErrorCode();
    reply.state = condition.state;
    reply.processId = instance->ProcessId();
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
    const auto room = instance->GetClientCount();
    return EncodeClientsReply(room, instance->GetClients());
}

std::int32_t CProtocolManager::AddProtocol(const std::string& name, std::uint32_t type) {
    if (GetProtocol(name))
        return kManagerFailure;
    {
        const std::lock_guard hold(lock_);
        if (db_->AddInstance(name, type) != 0) {
            KIV_LOG(Logging::Error, "Cannot add instance %s", name.c_str());
            return kManagerFailure;
        }
        protocols_.push_back(std::make_shared<CProtocol>(name));
    }
    AddProtocolNotify(name);
    KIV_LOG(Logging::Warning, "Add instance %s", name.c_str());
    return 0;
}

std::int32_t CProtocolManager::ProcessRemoveProtocol(const std::string& name) {
    const auto instance = GetProtocol(name);
    if (!instance)
        return kManagerUnknownInstance;
    KIV_LOG(Logging::Warning, "Remove instance %s client:%d", name.c_str(),
            static_cast<int>(instance->GetClientCount()));
    auto result = kManagerInUse;
    // The instance leaves the table when the database reports its removal.
    if (instance->IsInUseByOthers())
        KIV_LOG(Logging::Error, "Cannot remove %s because it is still in use!", name.c_str());
    else
        result = db_->RemoveInstance(name);
    KIV_LOG(Logging::Warning, "Removed instance %s", name.c_str());
    return result;
}

std::int32_t CProtocolManager::SetStrPropertyProtocol(const std::string& instance, const std::string& property,
                                                      const std::string& value) {
    if (!GetProtocol(instance))
        return kManagerFailure;
    const auto oldValue = db_->Text(instance, property);
    if (db_->SetString(instance, property, value) != 0) {
        KIV_LOG(Logging::Error, "Cannot set property");
        return kManagerFailure;
    }
    return ChangeStrPropertyNotify(instance, property, oldValue, value);
}

std::int32_t CProtocolManager::RenameProtocol(const std::string& oldName, const std::string& newName) {
    const auto instance = GetProtocol(oldName);
    if (!instance)
        return kManagerFailure;
    KIV_LOG(Logging::Warning, "Rename instance %s to %s", oldName.c_str(), newName.c_str());

    bool wasRunning = false;
    {
        const std::lock_guard hold(lock_);
        wasRunning = std::erase(awaitingName_, instance) != 0 || instance->IsRunning();
        if (instance->IsInUseByOthers())
            return kManagerInUse;
        if (instance->IsRunning() && instance->Stop() != 0) {
            KIV_LOG(Logging::Error, "Cannot stop protocol %s", oldName.c_str());
            return kManagerFailure;
        }
        instance->SetName(newName);
    }
    RenameProtocolNotify(oldName, newName);
    if (wasRunning) {
        const std::lock_guard hold(lock_);
        if (!MayStart(instance) || instance->Start(CProtocol::kDefaultStartTimeout) != 0) {
            KIV_LOG(Logging::Error, "Cannot start protocol %s", newName.c_str());
            // One of several renames, as a swap of two names needs: the last one brings a name that the database has.
            if (!db_->IsInstanceExist(instance->Name()))
                awaitingName_.push_back(instance);
        }
    }
    KIV_LOG(Logging::Warning, "Renamed instance %s to %s", oldName.c_str(), newName.c_str());
    return 0;
}
