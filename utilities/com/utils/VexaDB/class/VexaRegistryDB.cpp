#include "utils/VexaDB/class/VexaRegistryDB.h"

#include <algorithm>

#include "utils/logging/Logger.h"
#include "utils/registry/Registry.h"

namespace VexaDB {

using VexaUtils::Reading;
using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;
using VexaUtils::ValueKind;

namespace {

/// The value as a setting; nothing when it is neither a number nor a text.
std::optional<SettingEntry> AsSetting(const std::string& name, const RegistryValue& value) {
    if (value.kind == ValueKind::Other)
        return std::nullopt;
    const auto kind = value.kind == ValueKind::Number ? SettingKind::Number : SettingKind::String;
    return SettingEntry{name, kind, value.number, value.text};
}

}  // namespace

VexaRegistryDB::VexaRegistryDB() : key_(RegistryKey::OpenOrCreate(VexaUtils::TuningKeyPath())) {
    if (key_)
        RepairOldTables();
    else
        KIV_LOG(Logging::Error, "Cannot open the settings database %s", VexaUtils::TuningKeyPath().c_str());
}

void VexaRegistryDB::RepairOldTables() {
    if (!FollowOutsideChanges(IndexState::Exact))
        return;
    for (auto& table : tables_) {
        if (!table.key)
            continue;
        if (!table.named) {
            KIV_LOG(Logging::Warning, "Fixing old table %s without name field", table.id.c_str());
            if (table.key->SetText(kNameValue, table.id) != 0)
                continue;  // its id must stay, being its only name
        }
        if (table.id.find_first_not_of("0123456789") != std::string::npos) {
            KIV_LOG(Logging::Warning, "Fixing old table %s using name as id", table.id.c_str());
            const auto newId = FreeId();
            if (key_->RenameSubkey(table.id, newId) == 0)
                table.id = newId;
        }
    }
}

bool VexaRegistryDB::Refresh(Table& table) {
    RegistryValue name;
    auto reading = table.key ? table.key->Query(kNameValue, name) : Reading::Failed;
    if (reading == Reading::Failed && (table.key = key_->OpenSubkey(table.id)))
        reading = table.key->Query(kNameValue, name);  // another process deleted the table and created it again
    table.current = reading != Reading::Failed;
    if (!table.current) {
        table.key.reset();
        return false;
    }
    table.named = reading == Reading::Found && name.kind == ValueKind::Text;
    table.name = table.named ? std::move(name.text) : table.id;
    return true;
}

bool VexaRegistryDB::ReadTables() {
    // Try again for a table that was deleted meanwhile or could not be read at that moment. A table that can never be
    // read must not hide the others.
    for (int attempt = 0; attempt < 2; ++attempt) {
        state_ = IndexState::Unread;
        std::vector<std::string> ids;
        if (key_->Subkeys(ids) != 0)
            continue;
        std::vector<Table> tables;
        state_ = IndexState::Exact;
        for (const auto& id : ids) {
            const auto known = std::ranges::find(tables_, id, &Table::id);
            if (!Refresh(tables.emplace_back(known == tables_.end() ? Table{id} : *known)))
                state_ = IndexState::Suspect;
        }
        tables_ = std::move(tables);
        if (state_ == IndexState::Exact)
            return true;
    }
    if (state_ == IndexState::Unread)
        return false;
    for (const auto& table : tables_) {
        if (!table.key)
            KIV_LOG(Logging::Error, "Cannot read table %s of the settings database", table.id.c_str());
    }
    return true;
}

bool VexaRegistryDB::FollowOutsideChanges(IndexState needed) {
    if (!key_)
        return false;
    if (key_->ChangedSinceLastAsked())
        state_ = IndexState::Unread;
    return state_ >= needed || ReadTables();
}

void VexaRegistryDB::AbsorbOwnChange() {
    key_->ChangedSinceLastAsked();
    state_ = std::min(state_, IndexState::Suspect);
    for (auto& table : tables_)
        table.current = false;
}

VexaRegistryDB::Table* VexaRegistryDB::Find(const std::string& instance) {
    for (const auto needed : {IndexState::Suspect, IndexState::Exact}) {
        if (!FollowOutsideChanges(needed))
            return nullptr;
        const auto found = Known(instance);
        if (found == tables_.end())
            continue;
        if ((found->current || Refresh(*found)) && found->name == instance)
            return &*found;
        state_ = IndexState::Suspect;  // another process has just renamed or deleted it
    }
    return nullptr;
}

std::vector<VexaRegistryDB::Table>::iterator VexaRegistryDB::Known(const std::string& instance) {
    return std::ranges::find(tables_, instance, &Table::name);
}

std::shared_ptr<RegistryKey> VexaRegistryDB::OpenTable(const std::string& instance) {
    if (instance.empty())
        return key_;
    const auto* const table = Find(instance);
    return table == nullptr ? nullptr : table->key;
}

bool VexaRegistryDB::IsTaken(const std::string& name) {
    // Find passes over a table that can no longer be read; Known still finds its name.
    return name.empty() || Find(name) != nullptr || state_ == IndexState::Unread || Known(name) != tables_.end();
}

std::int32_t VexaRegistryDB::Refused(const char* operation, const std::string& instance) {
    KIV_LOG_AS(operation, Logging::Error, "The registry refuses a change of the settings database, instance %s",
               instance.c_str());
    return -1;
}

std::string VexaRegistryDB::FreeId() {
    for (std::uint32_t number = 0;; ++number) {
        auto id = std::to_string(number);
        const bool used = std::ranges::find(tables_, id, &Table::id) != tables_.end();
        if (!used && !key_->OpenSubkey(id))  // another process may have just created it
            return id;
    }
}

std::int32_t VexaRegistryDB::AddInstance(const std::string& instance) {
    if (!IsUsableName(KIV_FUNCTION_NAME, instance) || IsTaken(instance))
        return -1;
    const auto id = FreeId();
    const auto table = key_->CreateSubkey(id);
    if (!table)
        return Refused(KIV_FUNCTION_NAME, instance);
    table->Flush();
    if (table->SetText(kNameValue, instance) != 0) {
        if (key_->DeleteSubkey(id) != 0)
            KIV_LOG(Logging::Error, "Table %s of the settings database stays without a name", id.c_str());
        AbsorbOwnChange();
        return Refused(KIV_FUNCTION_NAME, instance);
    }
    tables_.push_back({id, instance, true, table, false});
    AbsorbOwnChange();
    return Notify(&VexaDBOpObserver::InstanceAdded, instance);
}

std::int32_t VexaRegistryDB::RemoveInstance(const std::string& instance) {
    // The empty name stands for the database key itself.
    if (instance.empty())
        return -1;
    // An open key follows its table even to another id, but the table is deleted by its id. So open the key again.
    if (const auto known = Known(instance); known != tables_.end()) {
        known->key.reset();
        known->current = false;
    }
    const auto* const table = Find(instance);
    if (table == nullptr)
        return -1;
    if (key_->DeleteSubkey(table->id) != 0)
        return Refused(KIV_FUNCTION_NAME, instance);
    key_->Flush();
    std::erase_if(tables_, [id = table->id](const auto& entry) { return entry.id == id; });
    AbsorbOwnChange();
    return Notify(&VexaDBOpObserver::InstanceRemoved, instance);
}

std::int32_t VexaRegistryDB::RenameInstance(const std::string& oldName, const std::string& newName) {
    if (oldName.empty() || !IsUsableName(KIV_FUNCTION_NAME, newName) || IsTaken(newName))
        return -1;
    auto* const table = Find(oldName);
    if (table == nullptr)
        return -1;
    if (table->key->SetText(kNameValue, newName) != 0)
        return Refused(KIV_FUNCTION_NAME, oldName);
    table->name = newName;
    table->named = true;
    AbsorbOwnChange();
    return Notify(&VexaDBOpObserver::InstanceRenamed, oldName, newName);
}

std::optional<SettingEntry> VexaRegistryDB::Write(const std::string& instance, const SettingEntry& setting) {
    const auto table = OpenTable(instance);
    if (!table)
        return std::nullopt;
    const bool isNumber = setting.kind == SettingKind::Number;
    RegistryValue old;
    const auto reading = table->Query(setting.name, old);
    if (reading == Reading::Found && old.kind != (isNumber ? ValueKind::Number : ValueKind::Text))
        return std::nullopt;
    // Do not overwrite a value that could not be read.
    if (reading == Reading::Failed ||
        (isNumber ? table->SetNumber(setting.name, setting.number) : table->SetText(setting.name, setting.text)) != 0) {
        Refused(isNumber ? "VexaRegistryDB::SetUint32" : "VexaRegistryDB::SetString", instance);
        return std::nullopt;
    }
    AbsorbOwnChange();
    return SettingEntry{setting.name, setting.kind, old.number, std::move(old.text)};
}

std::optional<SettingEntry> VexaRegistryDB::Read(const std::string& instance, const std::string& setting) {
    const auto table = OpenTable(instance);
    RegistryValue value;
    const bool found = table && table->Query(setting, value) == Reading::Found;
    return found ? AsSetting(setting, value) : std::nullopt;
}

std::int32_t VexaRegistryDB::GetInstances(std::vector<std::string>& instances) {
    if (!FollowOutsideChanges(IndexState::Exact))
        return -1;
    instances.assign(1, "");
    for (const auto& table : tables_) {
        if (table.name.empty())
            continue;  // the table could never be read
        if (!table.named)
            KIV_LOG_AS("VexaRegistryDB::GetTables", Logging::Info, "Old table????");
        instances.push_back(table.name);
    }
    return 0;
}

std::int32_t VexaRegistryDB::GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) {
    const auto table = OpenTable(instance);
    std::vector<VexaUtils::NamedRegistryValue> values;
    if (!table || table->Values(values) != 0)
        return -1;
    settings.clear();
    for (const auto& [name, value] : values) {
        if (const auto setting = AsSetting(name, value); setting && !IsNameOf(instance, name))
            settings.push_back(*setting);
    }
    return 0;
}

}  // namespace VexaDB
