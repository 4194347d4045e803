// VexaDB::VexaRegistryDB: the persistent store. The database is one registry key: its values are the database-wide
// settings, each of its subkeys is the table of one instance. A table is named by a decimal id and holds the instance's
// name in the value "_kiv_name"; every other number or text value of it is a setting.
//
// Every change is in the registry when the operation returns, as one registry write, so a process killed at any point
// leaves every instance either as it was or as it became.
//
// Finding the table of an instance goes through an index in memory, since reading every table's name for each setting
// would cost more with every instance. The index follows what other processes change (see IndexState). The key of each
// table is opened once and kept, so that reading a setting costs two calls into the system: has anything changed, and
// the setting itself.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaStore.h"
#include "utils/registry/RegistryKey.h"

namespace VexaDB {

/// Owned by the database server, which serializes the calls. When the registry refuses, an operation returns -1 and
/// nothing is retried.
class VexaRegistryDB : public VexaStore {
  public:
    /// Opens the database, making it when it is missing, and brings tables of the older layout into today's.
    VexaRegistryDB();

    std::int32_t AddInstance(const std::string& instance) override;
    std::int32_t RemoveInstance(const std::string& instance) override;
    std::int32_t RenameInstance(const std::string& oldName, const std::string& newName) override;
    /// The empty name (home of the database-wide settings) first, then the tables in the registry's order. A table
    /// without a name counts under its key name, which is what the older layout named its tables by.
    std::int32_t GetInstances(std::vector<std::string>& instances) override;
    std::int32_t GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) override;
    bool IsInstanceExist(const std::string& instance) override { return OpenTable(instance) != nullptr; }

  private:
    std::optional<SettingEntry> Read(const std::string& instance, const std::string& setting) override;
    std::optional<SettingEntry> Write(const std::string& instance, const SettingEntry& setting) override;

    /// How far the index can be trusted, the least first.
    enum class IndexState {
        Unread,   // something was changed from outside: read the tables before the index is used
        Suspect,  // a change from outside may have gone unnoticed while the store itself wrote, or a table cannot be
                  // read: a name that is not found is no proof that it is missing
        Exact,
    };
    struct Table {
        std::string id;
        std::string name = {};  // as last read; empty when it never could be
        bool named = false;     // by a value of its own, else by its id
        std::shared_ptr<VexaUtils::RegistryKey> key = {};
        bool current = false;  // the name was read since the last change that the store knows of
    };

    void RepairOldTables();
    /// Reads the table's name anew; false when that is not possible just now.
    bool Refresh(Table& table);
    /// Makes the index anew; false when the tables cannot be listed.
    [[nodiscard]] bool ReadTables();
    /// Reads the tables unless the index can be trusted that far; false when they cannot be listed.
    [[nodiscard]] bool FollowOutsideChanges(IndexState needed);
    /// Takes the system's notice of a write of our own, so that it does not pass for a change from outside.
    void AbsorbOwnChange();

    /// The instance's table, checked against the table's own name; null when none is found. It stays valid until the
    /// tables are read again.
    Table* Find(const std::string& instance);
    /// The instance's table (of the empty name: the database key), open; empty when none is found.
    std::shared_ptr<VexaUtils::RegistryKey> OpenTable(const std::string& instance);
    /// The instance's table as last read; of two with one name the first one counts.
    std::vector<Table>::iterator Known(const std::string& instance);
    /// True also when the registry cannot tell just now.
    bool IsTaken(const std::string& name);
    /// The first of "0", "1", "2", ... that no table has.
    std::string FreeId();
    /// Logs that the registry did not take a change, as a line of the operation ("Class::Method"); -1.
    static std::int32_t Refused(const char* operation, const std::string& instance);

    std::shared_ptr<VexaUtils::RegistryKey> key_;  // empty when the registry refused it
    IndexState state_ = IndexState::Unread;
    std::vector<Table> tables_;  // the index; while it is Exact, in the registry's order
};

}  // namespace VexaDB
