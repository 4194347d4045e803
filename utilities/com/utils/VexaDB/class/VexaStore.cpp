#include "utils/VexaDB/class/VexaStore.h"

#include <algorithm>

#include "utils/logging/Logger.h"
#include "utils/registry/RegistryKey.h"

namespace VexaDB {

std::int32_t VexaStore::SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
    if (IsNameOf(instance, setting))
        return -1;
    const auto old = Write(instance, {setting, SettingKind::Number, value, {}});
    if (!old)
        return -1;
    return Notify(&VexaDBOpObserver::Uint32Changed, instance, setting, old->number, value);
}

std::int32_t VexaStore::SetString(const std::string& instance, const std::string& setting, const std::string& value) {
    if (IsNameOf(instance, setting))
        return -1;
    const auto old = Write(instance, {setting, SettingKind::String, 0, value});
    if (!old)
        return -1;
    return Notify(&VexaDBOpObserver::StringChanged, instance, setting, old->text, value);
}

std::int32_t VexaStore::GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
    const auto found = Find(instance, setting, SettingKind::Number);
    if (!found)
        return -1;
    value = found->number;
    return 0;
}

std::int32_t VexaStore::GetString(const std::string& instance, const std::string& setting, std::string& value) {
    const auto found = Find(instance, setting, SettingKind::String);
    if (!found)
        return -1;
    value = found->text;
    return 0;
}

std::optional<SettingEntry> VexaStore::Find(const std::string& instance, const std::string& setting, SettingKind kind) {
    auto found = IsNameOf(instance, setting) && IsInstanceExist(instance)
                     ? SettingEntry{setting, SettingKind::String, 0, instance}
                     : Read(instance, setting);
    return found && found->kind == kind ? found : std::nullopt;
}

std::int32_t VexaStore::RemoveObserver(const std::shared_ptr<VexaDBOpObserver>& observer) {
    if (const auto found = std::ranges::find(observers_, observer); found != observers_.end())
        observers_.erase(found);
    return 0;
}

bool VexaStore::IsUsableName(const char* operation, const std::string& name) {
    if (VexaUtils::RegistryKey::Preserves(name))
        return true;
    KIV_LOG_AS(operation, Logging::Error, "Instance name %s is refused: the code page of this machine cannot carry it",
               name.c_str());
    return false;
}

bool VexaStore::IsNameOf(const std::string& instance, const std::string& setting) {
    return !instance.empty() && IsSameSetting(setting, kNameValue);
}

}  // namespace VexaDB
