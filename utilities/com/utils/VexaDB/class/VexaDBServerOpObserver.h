// VexaDB::VexaDBServerOpObserver: the interface through which the database server reports committed changes to the
// rest of the service.
#pragma once

#include <cstdint>
#include <string>

namespace VexaDB {

/// Called on the thread that committed the change, after the database's locks were released. Commits are reported one
/// at a time, in their order, so an operation must be short: long work belongs in Follow. An operation may read the
/// database; its attempt to change the database fails with -1. Changes of the database-wide settings are not reported.
class VexaDBServerOpObserver {
  public:
    virtual void InstanceTypeChanged(std::string instance, std::uint32_t type) = 0;
    virtual void InstanceRemoved(std::string instance) = 0;
    virtual void InstanceRenamed(std::string oldName, std::string newName) = 0;
    virtual void Uint32Changed(std::string instance, std::string setting, std::uint32_t oldValue,
                               std::uint32_t newValue) = 0;
    virtual void StringChanged(std::string instance, std::string setting, std::string oldValue,
                               std::string newValue) = 0;
    virtual ~VexaDBServerOpObserver() = default;
    /// Called on the same thread after the last notice of a commit that removed or renamed an instance. Meanwhile other
    /// commits may be reported. The caller who made the change waits for its return. It may read and change the
    /// database.
    virtual void Follow() {}
};

}  // namespace VexaDB
