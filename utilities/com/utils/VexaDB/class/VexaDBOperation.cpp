#include "utils/VexaDB/class/VexaDBOperation.h"

#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace VexaDB::Operation {

std::int32_t AddInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    if (instance_.empty() || type_ >= kProtocolNames.size())
        return -1;
    if (const auto result = store->AddInstance(instance_); result != 0)
        return result;
    if (const auto result = store->SetUint32(instance_, "enabled", 1); result != 0)
        return result;
    if (const auto result = store->SetUint32(instance_, "hardware", 0); result != 0)
        return result;
    if (const auto result = store->SetUint32(instance_, "owner", 0); result != 0)
        return result;
    if (const auto result = store->SetString(instance_, "emultype", "none"); result != 0)
        return result;
    if (const auto result = store->SetUint32(instance_, "type", type_); result != 0)
        return result;
    if (const auto result = store->SetString(instance_, "protocol", std::string(kProtocolNames[type_])); result != 0)
        return result;
    KIV_LOG(Logging::Notice, "VexaDB Add instance %s", instance_.c_str());
    return 0;
}

std::int32_t RemoveInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    if (instance_.empty())
        return -1;
    KIV_LOG(Logging::Notice, "VexaDB Remove instance %s", instance_.c_str());
    return store->RemoveInstance(instance_);
}

std::int32_t RenameInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    if (oldName_.empty())
        return -1;
    KIV_LOG(Logging::Notice, "VexaDB Rename instance %s to %s", oldName_.c_str(), newName_.c_str());
    return store->RenameInstance(oldName_, newName_);
}

std::int32_t SetString::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    KIV_LOG(Logging::Notice, "VexaDB SetString instance %s setting:%s value:%s", instance_.c_str(), setting_.c_str(),
            value_.c_str());
    return store->SetString(instance_, setting_, value_);
}

std::int32_t SetUint32::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    // "SetUin32" is how the line has always read; its readers search for it.
    KIV_LOG(Logging::Notice, "VexaDB SetUin32 instance %s setting:%s value:%d", instance_.c_str(), setting_.c_str(),
            static_cast<std::int32_t>(value_));
    return store->SetUint32(instance_, setting_, value_);
}

}  // namespace VexaDB::Operation
