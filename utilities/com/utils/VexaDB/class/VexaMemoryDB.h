// VexaDB::VexaMemoryDB: a store that lives in memory only. The database server makes one as a copy of the persistent
// store when a session opens a batch, and drops it when the batch ends.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaStore.h"

namespace VexaDB {

/// Compares names byte by byte. Not thread-safe: the database server serializes the calls.
class VexaMemoryDB : public VexaStore {
  public:
    /// Copies every instance and setting of the source, but not its observers. A null source gives an empty store.
    explicit VexaMemoryDB(const std::shared_ptr<VexaDBInterface>& source);

    std::int32_t AddInstance(const std::string& instance) override;
    std::int32_t RemoveInstance(const std::string& instance) override;
    std::int32_t RenameInstance(const std::string& oldName, const std::string& newName) override;
    std::int32_t GetInstances(std::vector<std::string>& instances) override;
    std::int32_t GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) override;
    bool IsInstanceExist(const std::string& instance) override { return instances_.contains(instance); }

    /// Removes every instance without telling the observers. Always 0. For programs outside the product.
    virtual std::int32_t Clear() {
        instances_.clear();
        return 0;
    }

  private:
    std::optional<SettingEntry> Read(const std::string& instance, const std::string& setting) override;
    std::optional<SettingEntry> Write(const std::string& instance, const SettingEntry& setting) override;

    std::map<std::string, std::map<std::string, SettingEntry>> instances_;
};

}  // namespace VexaDB
