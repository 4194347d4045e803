// CProtocolManager's events to its clients, and its operations as observer of the settings database.

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/control/ControlMessages.h"
#include "utils/logging/Logger.h"

namespace {

/// Gets the result of announcing the string that the calling thread is about to write; null when it writes none.
thread_local std::int32_t* ownStringChange = nullptr;

}  // namespace

void CProtocolManager::InstanceRenamed(std::string oldName, std::string newName) {
    if (table_.NoteRenamed(oldName, newName))
        RenameProtocolNotify(oldName, newName);
}

void CProtocolManager::StringChanged(std::string instance, std::string setting, std::string oldValue,
                                     std::string newValue) {
    const ipc_mngctrl_change_str_property_event event{instance, setting, oldValue, newValue};
    const auto announce = [&] { return ipcServer_.Broadcast(IPC::Notice(kEventStringChanged, wire::Encode(event))); };
    announce();
    // A client's own change is announced twice, and no other change is announced between the two.
    if (ownStringChange != nullptr)
        *ownStringChange = announce();
}

std::int32_t CProtocolManager::SetStrPropertyProtocol(const std::string& instance, const std::string& property,
                                                      const std::string& value) {
    if (!GetProtocol(instance))
        return kManagerFailure;
    std::int32_t announced = kManagerFailure;
    ownStringChange = &announced;
    const auto result = db_->SetString(instance, property, value);
    ownStringChange = nullptr;
    if (result != 0) {
        KIV_LOG(Logging::Error, "Cannot set property");
        return kManagerFailure;
    }
    return announced;
}

void CProtocolManager::AddProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Add Protocol notify %s", name.c_str());
    ipcServer_.Broadcast(IPC::Notice(kEventAdded, wire::Encode(ipc_mngctrl_add_event{name})));
}

std::int32_t CProtocolManager::RemoveProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Remove Protocol notify %s", name.c_str());
    return ipcServer_.Broadcast(IPC::Notice(kEventRemoved, wire::Encode(ipc_mngctrl_remove_event{name})));
}

void CProtocolManager::RenameProtocolNotify(const std::string& oldName, const std::string& newName) {
    ipcServer_.Broadcast(IPC::Notice(kEventRenamed, wire::Encode(ipc_mngctrl_rename_event{oldName, newName})));
}

std::int32_t CProtocolManager::StartProtocolNotify(const std::string& name) {
    KIV_LOG(Logging::Info, "Start Protocol notify %s", name.c_str());
    return ipcServer_.Broadcast(IPC::Notice(kEventStarted, wire::Encode(ipc_mngctrl_start_event{name})));
}

void CProtocolManager::StopProtocolNotify(const std::string& name) {
    ipcServer_.Broadcast(IPC::Notice(kEventStopped, wire::Encode(ipc_mngctrl_stop_event{name})));
}
