#include "utils/VexaDB/class/VexaDBOperation.h"

#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace VexaDB::Operation {

std::int32_t AddInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [instance, type] = fields_;
    if (instance.empty() || type >= kProtocolNames.size())
        return -1;
    std::int32_t result = 0;
    const auto fails = [&result](std::int32_t status) { return (result = status) != 0; };
    if (fails(store->AddInstance(instance)) || fails(store->SetUint32(instance, "enabled", 1)) ||
        fails(store->SetUint32(instance, "hardware", 0)) || fails(store->SetUint32(instance, "owner", 0)) ||
        fails(store->SetString(instance, "emultype", "none")) || fails(store->SetUint32(instance, "type", type)) ||
        fails(store->SetString(instance, "protocol", std::string(kProtocolNames[type]))))
        return result;
    KIV_LOG(Logging::Notice, "VexaDB Add instance %s", instance.c_str());
    return 0;
}

std::int32_t RemoveInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [instance] = fields_;
    if (instance.empty())
        return -1;
    KIV_LOG(Logging::Notice, "VexaDB Remove instance %s", instance.c_str());
    return store->RemoveInstance(instance);
}

std::int32_t RenameInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [oldName, newName] = fields_;
    if (oldName.empty())
        return -1;
    KIV_LOG(Logging::Notice, "VexaDB Rename instance %s to %s", oldName.c_str(), newName.c_str());
    return store->RenameInstance(oldName, newName);
}

std::int32_t SetString::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [instance, setting, value] = fields_;
    KIV_LOG(Logging::Notice, "VexaDB SetString instance %s setting:%s value:%s", instance.c_str(), setting.c_str(),
            value.c_str());
    return store->SetString(instance, setting, value);
}

std::int32_t SetUint32::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [instance, setting, value] = fields_;
    // "SetUin32" is how the line has always read; its readers search for it.
    KIV_LOG(Logging::Notice, "VexaDB SetUin32 instance %s setting:%s value:%d", instance.c_str(), setting.c_str(),
            static_cast<std::int32_t>(value));
    return store->SetUint32(instance, setting, value);
}

}  // namespace VexaDB::Operation
