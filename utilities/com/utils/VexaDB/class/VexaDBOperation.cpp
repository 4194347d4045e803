#include "utils/VexaDB/class/VexaDBOperation.h"

#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace VexaDB {

std::vector<SettingEntry> NewInstanceSettings(std::uint32_t type) {
    constexpr auto number = SettingKind::Number;
    constexpr auto text = SettingKind::String;
    return {{"enabled", number, 1, {}},       {"hardware", number, 0, {}},
            {"owner", number, 0, {}},         {"emultype", text, 0, "none"},
            {kTypeSetting, number, type, {}}, {"protocol", text, 0, std::string(kProtocolNames[type])}};
}

namespace Operation {

std::int32_t AddInstance::Execute(const std::shared_ptr<VexaDBInterface>& store) const {
    const auto& [type, instance] = fields_;
    if (instance.empty() || type >= kProtocolNames.size())
        return -1;
    if (const auto result = store->AddInstance(instance); result != 0)
        return result;
    for (const auto& [name, kind, number, text] : NewInstanceSettings(type)) {
        const auto result = kind == SettingKind::Number ? store->SetUint32(instance, name, number)
                                                        : store->SetString(instance, name, text);
        if (result != 0)
            return result;
    }
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
    // The line has always said "SetUin32", and people search their logs for it.
    KIV_LOG(Logging::Notice, "VexaDB SetUin32 instance %s setting:%s value:%d", instance.c_str(), setting.c_str(),
            static_cast<std::int32_t>(value));
    return store->SetUint32(instance, setting, value);
}

}  // namespace Operation

}  // namespace VexaDB
