// How the database server reports committed changes to the rest of the service.
#pragma once

#include <cstdint>
#include <string>

namespace VexaDB {

/// Called on the thread that committed the change, after the database's locks were released. The changes of all threads
/// are told in the order of their commits, one commit at a time: an operation here only takes note, and may read the
/// database but not change it. What takes long is done in Follow. Changes of database-wide settings are not reported.
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
    /// Called after a commit that removed or renamed an instance, on the same thread, when all of it has been told and
    /// the next commit's turn has come. Whoever made the change waits for it. May call and change the database.
    virtual void Follow() {}
};

}  // namespace VexaDB
