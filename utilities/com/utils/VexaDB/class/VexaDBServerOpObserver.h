// How the database server reports committed changes to the rest of the service.
#pragma once

#include <cstdint>
#include <string>

namespace VexaDB {

/// Called on the thread that committed the change, after the database's locks were released: an observer may call the
/// database. Changes of database-wide settings are not reported.
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
};

}  // namespace VexaDB
