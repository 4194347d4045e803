// VexaDB::VexaDBOpObserver: the interface through which a store reports its changes.
#pragma once

#include <cstdint>
#include <string>

namespace VexaDB {

/// The store calls its observers in the order of their registration, on the thread that made the change, before the
/// operation returns.
class VexaDBOpObserver {
  public:
    virtual void InstanceAdded(std::string instance) = 0;
    virtual void InstanceRemoved(std::string instance) = 0;
    virtual void InstanceRenamed(std::string oldName, std::string newName) = 0;
    virtual void Uint32Changed(std::string instance, std::string setting, std::uint32_t oldValue,
                               std::uint32_t newValue) = 0;
    virtual void StringChanged(std::string instance, std::string setting, std::string oldValue,
                               std::string newValue) = 0;

  protected:
    ~VexaDBOpObserver() = default;  // never deleted through this interface
};

}  // namespace VexaDB
