#include "utils/VexaDB/class/VexaRegistryDB.h"

#include <algorithm>

#include "utils/logging/Logger.h"

namespace VexaDB {

using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;
using VexaUtils::ValueKind;

namespace {

constexpr const char* kDatabaseKey = "Software\\Quenlar\\Torvik\\Runtime\\Settings\\vexa";

/// The table's own name; false when it has none.
bool ReadName(RegistryKey& table, std::string& name) {
    RegistryValue value;
    if (table.Query(kNameValue, value) != 0 || value.kind != ValueKind::Text)
        return false;
    name = std::move(value.text);
    return true;
}

/// Whether the table was read and has no name; not when it cannot be read just now.
bool IsNameless(RegistryKey& table) {
    std::vector<VexaUtils::NamedRegistryValue> values;
    return table.Values(values) == 0 && std::none_of(values.begin(), values.end(), [](const auto& entry) {
               return entry.value.kind == ValueKind::Text && IsSameSetting(entry.name, kNameValue);
           });
}

bool IsDecimal(const std::string& id) {
    return !id.empty() && std::all_of(id.begin(), id.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

VexaRegistryDB::VexaRegistryDB() : key_(RegistryKey::OpenOrCreate(kDatabaseKey)) {
    if (!key_) {
        KIV_LOG(Logging::Error, "Cannot open the settings database %s", kDatabaseKey);
        return;
    }
    RepairOldTables();
}

void VexaRegistryDB::RepairOldTables() {
    FollowOutsideChanges();
    for (const auto& table : tables_) {
        if (!table.named) {
            KIV_LOG(Logging::Warning, "Fixing old table %s without name field", table.id.c_str());
            const auto key = key_->OpenSubkey(table.id);
            if (!key || key->SetText(kNameValue, table.id) != 0)
                continue;  // its key name is all the name it has
        }
        if (!IsDecimal(table.id)) {
            KIV_LOG(Logging::Warning, "Fixing old table %s using name as id", table.id.c_str());
            const auto newId = FreeId();
            if (key_->RenameSubkey(table.id, newId) == 0)
                usedIds_.insert(newId);
        }
    }
}

std::shared_ptr<RegistryKey> VexaRegistryDB::OpenById(const std::string& id, std::string& name) {
    if (const auto kept = keys_.find(id); kept != keys_.end()) {
        if (ReadName(*kept->second, name))
            return kept->second;
        keys_.erase(kept);  // deleted from outside, and perhaps made anew
    }
    auto table = key_->OpenSubkey(id);
    if (!table)
        return nullptr;
    name.clear();
    if (ReadName(*table, name))
        keys_[id] = table;
    return table;
}

std::int32_t VexaRegistryDB::ReadTables() {
    // A second time for a table that went away, or could not be read just then. One that never can be is left out.
    return TryReadTables(true) == 0 ? 0 : TryReadTables(false);
}

std::int32_t VexaRegistryDB::TryReadTables(bool allOfThem) {
    state_ = IndexState::Unread;
    tables_.clear();
    ids_.clear();
    usedIds_.clear();
    ambiguous_ = false;
    std::vector<std::string> ids;
    if (!key_ || key_->Subkeys(ids) != 0)
        return -1;
    usedIds_ = {ids.begin(), ids.end()};
    std::erase_if(keys_, [this](const auto& kept) { return !usedIds_.contains(kept.first); });
    for (const auto& id : ids) {
        Table entry{id, {}, false};
        const auto table = OpenById(id, entry.name);
        entry.named = keys_.contains(id);
        if (!table || (!entry.named && !IsNameless(*table))) {
            if (allOfThem)
                return -1;
            KIV_LOG(Logging::Error, "Cannot read table %s of the settings database", id.c_str());
            continue;
        }
        if (!entry.named)
            entry.name = id;
        ambiguous_ |= !ids_.emplace(entry.name, id).second;  // of two tables with one name the first one counts
        tables_.push_back(std::move(entry));
    }
    state_ = IndexState::Exact;
    return 0;
}

std::int32_t VexaRegistryDB::FollowOutsideChanges() {
    if (!key_)
        return -1;
    if (key_->ChangedSinceLastAsked())
        state_ = IndexState::Unread;
    return state_ == IndexState::Unread ? ReadTables() : 0;
}

void VexaRegistryDB::AbsorbOwnChange() {
    key_->ChangedSinceLastAsked();
    // The index knows one table for each name: when that one goes, another may be left that has the name.
    state_ = ambiguous_ ? IndexState::Unread : IndexState::Suspect;
}

std::shared_ptr<RegistryKey> VexaRegistryDB::OpenTable(const std::string& instance) {
    if (instance.empty())
        return key_;
    if (FollowOutsideChanges() != 0)
        return nullptr;
    if (auto table = OpenIndexedTable(instance))
        return table;
    if (state_ == IndexState::Exact || ReadTables() != 0)
        return nullptr;
    return OpenIndexedTable(instance);
}

std::shared_ptr<RegistryKey> VexaRegistryDB::OpenIndexedTable(const std::string& instance) {
    const auto found = ids_.find(instance);
    if (found == ids_.end())
        return nullptr;
    std::string name;
    auto table = OpenById(found->second, name);
    if (table && (keys_.contains(found->second) ? name : found->second) == instance)
        return table;
    state_ = IndexState::Suspect;  // renamed or deleted from outside just now
    return nullptr;
}

bool VexaRegistryDB::IsTaken(const std::string& name) {
    return name.empty() || OpenIndexedTable(name) != nullptr;
}

std::int32_t VexaRegistryDB::Refused(const std::string& instance) {
    KIV_LOG(Logging::Error, "The registry refuses a change of the settings database, instance %s", instance.c_str());
    return -1;
}

std::string VexaRegistryDB::FreeId() {
    for (std::uint32_t number = 0;; ++number) {
        auto id = std::to_string(number);
        if (usedIds_.contains(id))
            continue;
        if (!key_->OpenSubkey(id))
            return id;
        usedIds_.insert(std::move(id));  // made from outside just now
    }
}

std::int32_t VexaRegistryDB::AddInstance(const std::string& instance) {
    if (FollowOutsideChanges() != 0 || IsTaken(instance))
        return -1;
    const auto id = FreeId();
    const auto table = key_->CreateSubkey(id);
    if (!table)
        return Refused(instance);
    table->Flush();
    if (table->SetText(kNameValue, instance) != 0) {
        key_->DeleteSubkey(id);
        AbsorbOwnChange();
        return Refused(instance);
    }
    ids_[instance] = id;
    keys_[id] = table;
    usedIds_.insert(id);
    AbsorbOwnChange();
    Notify(&VexaDBOpObserver::InstanceAdded, instance);
    return 0;
}

std::int32_t VexaRegistryDB::RemoveInstance(const std::string& instance) {
    // A kept key follows its table even to another id, but what is deleted goes by its id: it is opened anew.
    if (const auto known = ids_.find(instance); known != ids_.end())
        keys_.erase(known->second);
    // The database key itself is no table.
    if (instance.empty() || !OpenTable(instance))
        return -1;
    const auto found = ids_.find(instance);
    keys_.erase(found->second);
    if (key_->DeleteSubkey(found->second) != 0)
        return Refused(instance);
    key_->Flush();
    usedIds_.erase(found->second);
    ids_.erase(found);
    AbsorbOwnChange();
    Notify(&VexaDBOpObserver::InstanceRemoved, instance);
    return 0;
}

std::int32_t VexaRegistryDB::RenameInstance(const std::string& oldName, const std::string& newName) {
    if (oldName.empty())
        return -1;
    const auto table = OpenTable(oldName);
    if (!table || IsTaken(newName))
        return -1;
    if (table->SetText(kNameValue, newName) != 0)
        return Refused(oldName);
    auto entry = ids_.extract(oldName);
    ids_[newName] = std::move(entry.mapped());
    AbsorbOwnChange();
    Notify(&VexaDBOpObserver::InstanceRenamed, oldName, newName);
    return 0;
}

std::int32_t VexaRegistryDB::SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
    RegistryValue old;
    const auto table = OpenForWriting(instance, setting, ValueKind::Number, old);
    if (!table)
        return -1;
    if (table->SetNumber(setting, value) != 0)
        return Refused(instance);
    AbsorbOwnChange();
    Notify(&VexaDBOpObserver::Uint32Changed, instance, setting, old.number, value);
    return 0;
}

std::int32_t VexaRegistryDB::SetString(const std::string& instance, const std::string& setting,
                                       const std::string& value) {
    RegistryValue old;
    const auto table = OpenForWriting(instance, setting, ValueKind::Text, old);
    if (!table)
        return -1;
    if (table->SetText(setting, value) != 0)
        return Refused(instance);
    AbsorbOwnChange();
    Notify(&VexaDBOpObserver::StringChanged, instance, setting, old.text, value);
    return 0;
}

std::shared_ptr<RegistryKey> VexaRegistryDB::OpenForWriting(const std::string& instance, const std::string& setting,
                                                            ValueKind kind, RegistryValue& old) {
    auto table = OpenTable(instance);
    if (!table || IsNameOf(instance, setting))
        return nullptr;
    if (table->Query(setting, old) == 0 && old.kind != kind)
        return nullptr;
    return table;
}

std::int32_t VexaRegistryDB::GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
    RegistryValue found;
    if (Query(instance, setting, ValueKind::Number, found) != 0)
        return -1;
    value = found.number;
    return 0;
}

std::int32_t VexaRegistryDB::GetString(const std::string& instance, const std::string& setting, std::string& value) {
    RegistryValue found;
    if (Query(instance, setting, ValueKind::Text, found) != 0)
        return -1;
    value = std::move(found.text);
    return 0;
}

std::int32_t VexaRegistryDB::Query(const std::string& instance, const std::string& setting, ValueKind kind,
                                   RegistryValue& value) {
    const auto table = OpenTable(instance);
    return table && table->Query(setting, value) == 0 && value.kind == kind ? 0 : -1;
}

std::int32_t VexaRegistryDB::GetInstances(std::vector<std::string>& instances) {
    return GetTables(instances);
}

std::int32_t VexaRegistryDB::GetTables(std::vector<std::string>& instances) {
    if (FollowOutsideChanges() != 0 || (state_ != IndexState::Exact && ReadTables() != 0))
        return -1;
    instances.assign(1, "");
    for (const auto& table : tables_) {
        if (!table.named)
            KIV_LOG(Logging::Info, "Old table????");
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
    for (auto& [name, value] : values) {
        if (value.kind == ValueKind::Other || IsNameOf(instance, name))
            continue;
        const auto kind = value.kind == ValueKind::Number ? SettingKind::Number : SettingKind::String;
        settings.push_back({name, kind, value.number, std::move(value.text)});
    }
    return 0;
}

bool VexaRegistryDB::IsInstanceExist(const std::string& instance) {
    return OpenTable(instance) != nullptr;
}

}  // namespace VexaDB
