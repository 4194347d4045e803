#include "utils/VexaDB/class/VexaMemoryDB.h"

#include <utility>

namespace VexaDB {

VexaMemoryDB::VexaMemoryDB(const std::shared_ptr<VexaDBInterface>& source) {
    std::vector<std::string> instances;
    if (!source || source->GetInstances(instances) != 0)
        return;
    for (const auto& instance : instances) {
        auto& copies = instances_[instance];
        std::vector<SettingEntry> settings;
        source->GetInstanceSettings(instance, settings);
        for (auto& setting : settings)
            copies[setting.name] = {setting.kind, setting.number, std::move(setting.text)};
    }
}

std::int32_t VexaMemoryDB::AddInstance(const std::string& instance) {
    if (!IsUsableName(instance) || IsInstanceExist(instance))
        return -1;
    instances_[instance];
    Notify(&VexaDBOpObserver::InstanceAdded, instance);
    return 0;
}

std::int32_t VexaMemoryDB::RemoveInstance(const std::string& instance) {
    if (!IsInstanceExist(instance))
        return -1;
    instances_.erase(instance);
    Notify(&VexaDBOpObserver::InstanceRemoved, instance);
    return 0;
}

std::int32_t VexaMemoryDB::RenameInstance(const std::string& oldName, const std::string& newName) {
    const auto* settings = Find(oldName);
    if (settings == nullptr || !IsUsableName(newName) || IsInstanceExist(newName))
        return -1;
    instances_[newName] = *settings;
    instances_.erase(oldName);
    Notify(&VexaDBOpObserver::InstanceRenamed, oldName, newName);
    return 0;
}

std::int32_t VexaMemoryDB::SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
    auto* target = FindForWriting(instance, setting, SettingKind::Number);
    if (target == nullptr)
        return -1;
    const auto old = std::exchange(target->number, value);
    Notify(&VexaDBOpObserver::Uint32Changed, instance, setting, old, value);
    return 0;
}

std::int32_t VexaMemoryDB::SetString(const std::string& instance, const std::string& setting,
                                     const std::string& value) {
    auto* target = FindForWriting(instance, setting, SettingKind::String);
    if (target == nullptr)
        return -1;
    const auto old = std::exchange(target->text, value);
    Notify(&VexaDBOpObserver::StringChanged, instance, setting, old, value);
    return 0;
}

std::int32_t VexaMemoryDB::GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
    const auto* found = Find(instance, setting, SettingKind::Number);
    if (found == nullptr)
        return -1;
    value = found->number;
    return 0;
}

std::int32_t VexaMemoryDB::GetString(const std::string& instance, const std::string& setting, std::string& value) {
    if (IsNameOf(instance, setting) && IsInstanceExist(instance)) {
        value = instance;
        return 0;
    }
    const auto* found = Find(instance, setting, SettingKind::String);
    if (found == nullptr)
        return -1;
    value = found->text;
    return 0;
}

std::int32_t VexaMemoryDB::GetInstances(std::vector<std::string>& instances) {
    instances.clear();
    for (const auto& [name, settings] : instances_)
        instances.push_back(name);
    return 0;
}

std::int32_t VexaMemoryDB::GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) {
    const auto* table = Find(instance);
    if (table == nullptr)
        return -1;
    settings.clear();
    for (const auto& [name, setting] : *table)
        settings.push_back({name, setting.kind, setting.number, setting.text});
    return 0;
}

bool VexaMemoryDB::IsInstanceExist(const std::string& instance) {
    return instances_.contains(instance);
}

std::int32_t VexaMemoryDB::Clear() {
    instances_.clear();
    return 0;
}

VexaMemoryDB::Settings* VexaMemoryDB::Find(const std::string& instance) {
    const auto found = instances_.find(instance);
    return found == instances_.end() ? nullptr : &found->second;
}

const VexaMemoryDB::Setting* VexaMemoryDB::Find(const std::string& instance, const std::string& setting,
                                                SettingKind kind) {
    const auto* table = Find(instance);
    if (table == nullptr)
        return nullptr;
    const auto found = table->find(setting);
    return found == table->end() || found->second.kind != kind ? nullptr : &found->second;
}

VexaMemoryDB::Setting* VexaMemoryDB::FindForWriting(const std::string& instance, const std::string& setting,
                                                    SettingKind kind) {
    auto* table = Find(instance);
    if (table == nullptr || IsNameOf(instance, setting))
        return nullptr;
    auto& target = table->try_emplace(setting, Setting{kind, 0, {}}).first->second;
    return target.kind == kind ? &target : nullptr;
}

}  // namespace VexaDB
