#include "utils/VexaDB/class/VexaMemoryDB.h"

#include <utility>

#include "utils/logging/FunctionName.h"

namespace VexaDB {

VexaMemoryDB::VexaMemoryDB(const std::shared_ptr<VexaDBInterface>& source) {
    std::vector<std::string> instances;
    if (!source || source->GetInstances(instances) != 0)
        return;
    for (const auto& instance : instances) {
        std::vector<SettingEntry> settings;
        if (source->GetInstanceSettings(instance, settings) != 0)
            continue;  // another process has just removed it
        auto& copies = instances_[instance];
        for (const auto& setting : settings)
            copies[setting.name] = setting;
    }
}

std::int32_t VexaMemoryDB::AddInstance(const std::string& instance) {
    if (!IsUsableName(KIV_FUNCTION_NAME, instance) || IsInstanceExist(instance))
        return -1;
    instances_[instance];
    return Notify(&VexaDBOpObserver::InstanceAdded, instance);
}

std::int32_t VexaMemoryDB::RemoveInstance(const std::string& instance) {
    if (!IsInstanceExist(instance))
        return -1;
    instances_.erase(instance);
    return Notify(&VexaDBOpObserver::InstanceRemoved, instance);
}

std::int32_t VexaMemoryDB::RenameInstance(const std::string& oldName, const std::string& newName) {
    if (!IsInstanceExist(oldName) || !IsUsableName(KIV_FUNCTION_NAME, newName) || IsInstanceExist(newName))
        return -1;
    instances_[newName] = instances_[oldName];
    instances_.erase(oldName);
    return Notify(&VexaDBOpObserver::InstanceRenamed, oldName, newName);
}

std::optional<SettingEntry> VexaMemoryDB::Read(const std::string& instance, const std::string& setting) {
    const auto table = instances_.find(instance);
    if (table == instances_.end())
        return std::nullopt;
    const auto found = table->second.find(setting);
    return found == table->second.end() ? std::nullopt : std::optional(found->second);
}

std::optional<SettingEntry> VexaMemoryDB::Write(const std::string& instance, const SettingEntry& setting) {
    const auto table = instances_.find(instance);
    if (table == instances_.end())
        return std::nullopt;
    auto& target =
        table->second.try_emplace(setting.name, SettingEntry{setting.name, setting.kind, 0, {}}).first->second;
    return target.kind == setting.kind ? std::optional(std::exchange(target, setting)) : std::nullopt;
}

std::int32_t VexaMemoryDB::GetInstances(std::vector<std::string>& instances) {
    instances.clear();
    for (const auto& [name, settings] : instances_)
        instances.push_back(name);
    return 0;
}

std::int32_t VexaMemoryDB::GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) {
    const auto table = instances_.find(instance);
    if (table == instances_.end())
        return -1;
    settings.clear();
    for (const auto& [name, setting] : table->second)
        settings.push_back(setting);
    return 0;
}

}  // namespace VexaDB
