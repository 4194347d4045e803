// VexaDB::VexaRegistryDB: the persistent store. The database is one registry key. Its values are the database-wide
// settings; each of its subkeys is the table of one instance. The name of that subkey is a decimal id. The table's
// value "_kiv_name" holds the instance's name; its other number and text values are the instance's settings.
//
// A change is in the registry when its operation returns. Each change of an existing instance is one registry write, so
// a process killed at any point leaves the instance either as it was or as it became. An addition is two writes: a
// process killed between them leaves a table without a name, which then counts as an instance named by its id.
//
// An index in memory finds the table of an instance: reading every table's name for each setting would cost more with
// every instance. The index follows the changes of other processes (see IndexState). The key of each table stays open,
// so reading a setting takes two system calls: one asks whether anything has changed, the other reads the setting.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaStore.h"
#include "utils/registry/RegistryKey.h"

namespace VexaDB {

/// Owned by the database server, which serializes the calls. When the registry refuses a write, the operation returns
/// -1 without another attempt.
class VexaRegistryDB : public VexaStore {
  public:
    /// Opens the database, or creates it when it is missing, and converts tables of the older layout. When it cannot be
    /// opened, the log says so and every operation fails.
    VexaRegistryDB();

    std::int32_t AddInstance(const std::string& instance) override;
    std::int32_t RemoveInstance(const std::string& instance) override;
    std::int32_t RenameInstance(const std::string& oldName, const std::string& newName) override;
    /// First the empty name (for the database-wide settings), then the instances in the registry's order. A table
    /// without a name value counts under its key name, as in the older layout.
    std::int32_t GetInstances(std::vector<std::string>& instances) override;
    std::int32_t GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) override;
    bool IsInstanceExist(const std::string& instance) override { return OpenTable(instance) != nullptr; }

  private:
    std::optional<SettingEntry> Read(const std::string& instance, const std::string& setting) override;
    std::optional<SettingEntry> Write(const std::string& instance, const SettingEntry& setting) override;

    /// How far the index can be trusted, the least first.
    enum class IndexState {
        Unread,   // another process has changed something: the tables must be read before the index is used
        Suspect,  // another process's change may have gone unnoticed during a write of this store, or a table cannot
                  // be read: a name that is missing here may still exist
        Exact,
    };
    struct Table {
        std::string id;
        std::string name = {};  // as last read; empty when it could never be read
        bool named = false;     // true: `name` is from the name value; false: it is the id
        std::shared_ptr<VexaUtils::RegistryKey> key = {};
        bool current = false;  // the name was read since the last change that the store knows of
    };

    void RepairOldTables();
    /// Reads the table's name again; false when that fails.
    bool Refresh(Table& table);
    /// Rebuilds the index; false when the tables cannot be listed.
    [[nodiscard]] bool ReadTables();
    /// Rebuilds the index unless its state is at least `needed`; false when the tables cannot be listed.
    [[nodiscard]] bool FollowOutsideChanges(IndexState needed);
    /// Consumes the system's notice of our own write, so that it does not look like another process's change.
    void AbsorbOwnChange();

    /// The instance's table, after a check that the table still has this name; null when none is found. The pointer is
    /// valid until the index changes.
    Table* Find(const std::string& instance);
    /// The open key of the instance's table, or the database key for the empty name; empty when there is no table.
    std::shared_ptr<VexaUtils::RegistryKey> OpenTable(const std::string& instance);
    /// The first table of that name in the index, without a check; end() when there is none.
    std::vector<Table>::iterator Known(const std::string& instance);
    /// Whether no instance may be given that name; true also when the registry cannot be read.
    bool IsTaken(const std::string& name);
    /// The first of "0", "1", "2", ... that is no table's id.
    std::string FreeId();
    /// Logs under the operation's name ("Class::Method") that the registry refused a change. Always -1.
    static std::int32_t Refused(const char* operation, const std::string& instance);

    std::shared_ptr<VexaUtils::RegistryKey> key_;  // empty when it could not be opened
    IndexState state_ = IndexState::Unread;
    std::vector<Table> tables_;  // the index; while it is Exact, in the registry's order
};

}  // namespace VexaDB
