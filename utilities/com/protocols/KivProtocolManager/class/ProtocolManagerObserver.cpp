// The events of CProtocolManager to its clients, and its side as the settings database's observer.

#include <algorithm>
#include <utility>

#include "protocols/KivProtocolManager/class/ControlMessages.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/logging/Logger.h"

void CProtocolManager::InstanceTypeChanged(std::string /*instance*/, std::uint32_t /*type*/) {}

void CProtocolManager::InstanceRemoved(std::string instance) {
    RemoveProtocol(instance);
}

void CProtocolManager::InstanceRenamed(std::string oldName, std::string newName) {
    {
        const std::lock_guard hold(lock_);
        if (starting_ && !GetProtocol(oldName)) {  // its turn to start has not come, or it was not found just now
            std::erase(toTakeUp_, oldName);
            toTakeUp_.push_back(newName);
            return;
        }
    }
    RenameProtocol(oldName, newName);
}

void CProtocolManager::Uint32Changed(std::string /*instance*/, std::string /*setting*/, std::uint32_t /*oldValue*/,
                                     std::uint32_t /*newValue*/) {}

void CProtocolManager::StringChanged(std::string instance, std::string setting, std::string oldValue,
                                     std::string newValue) {
    ChangeStrPropertyNotify(instance, setting, oldValue, newValue);
}

/// Stops and drops an instance that the database no longer holds. One that others use stays, running, in the table.
std::int32_t CProtocolManager::RemoveProtocol(const std::string& name) {
    {
        const std::lock_guard hold(lock_);
        const auto instance = GetProtocol(name);
        if (!instance)
            return kManagerFailure;
        if (instance->IsInUseByOthers())
            return kManagerInUse;
        if (instance->Stop() != 0) {
            KIV_LOG(Logging::Error, "Cannot stop protocol %s", name.c_str());
            return kManagerFailure;
        }
        std::erase(protocols_, instance);
        std::erase(awaitingName_, instance);
    }
    return RemoveProtocolNotify(name);
}

std::int32_t CProtocolManager::AddProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Add Protocol notify %s", name.c_str());
    return ipcServer_.Broadcast(IPC::Notice(kEventAdded, wire::Encode(ipc_mngctrl_add_event{name})));
}

std::int32_t CProtocolManager::RemoveProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Remove Protocol notify %s", name.c_str());
    return ipcServer_.Broadcast(IPC::Notice(kEventRemoved, wire::Encode(ipc_mngctrl_remove_event{name})));
}

std::int32_t CProtocolManager::RenameProtocolNotify(const std::string& oldName, const std::string& newName) {
    return ipcServer_.Broadcast(IPC::Notice(kEventRenamed, wire::Encode(ipc_mngctrl_rename_event{oldName, newName})));
}

std::int32_t CProtocolManager::StartProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Start Protocol notify %s", name.c_str());
    return ipcServer_.Broadcast(IPC::Notice(kEventStarted, wire::Encode(ipc_mngctrl_start_event{name})));
}

std::int32_t CProtocolManager::StopProtocolNotify(const std::string& name) {
    return ipcServer_.Broadcast(IPC::Notice(kEventStopped, wire::Encode(ipc_mngctrl_stop_event{name})));
}

std::int32_t CProtocolManager::ChangeStrPropertyNotify(const std::string& instance, const std::string& property,
                                                       const std::string& oldValue, const std::string& newValue) {
    const ipc_mngctrl_change_str_property_event event{instance, property, oldValue, newValue};
    return ipcServer_.Broadcast(IPC::Notice(kEventStringChanged, wire::Encode(event)));
}
