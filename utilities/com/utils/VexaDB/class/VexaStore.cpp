#include "utils/VexaDB/class/VexaStore.h"

#include <algorithm>

#include "utils/logging/Logger.h"
#include "utils/registry/RegistryKey.h"

namespace VexaDB {

std::int32_t VexaStore::SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
    const auto old = Replace(instance, {setting, SettingKind::Number, value, {}});
    return old ? Notify(&VexaDBOpObserver::Uint32Changed, instance, setting, old->number, value) : -1;
}

std::int32_t VexaStore::SetString(const std::string& instance, const std::string& setting, const std::string& value) {
    const auto old = Replace(instance, {setting, SettingKind::String, 0, value});
    return old ? Notify(&VexaDBOpObserver::StringChanged, instance, setting, old->text, value) : -1;
}

std::int32_t VexaStore::GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
    const auto found = Find(instance, setting, SettingKind::Number);
    value = found ? found->number : value;
    return found ? 0 : -1;
}

std::int32_t VexaStore::GetString(const std::string& instance, const std::string& setting, std::string& value) {
    const auto found = Find(instance, setting, SettingKind::String);
    value = found ? found->text : value;
    return found ? 0 : -1;
}

std::optional<SettingEntry> VexaStore::Replace(const std::string& instance, const SettingEntry& setting) {
    return IsNameOf(instance, setting.name) ? std::nullopt : Write(instance, setting);
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
