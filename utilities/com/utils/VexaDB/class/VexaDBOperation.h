// VexaDB::Operation: one change of the database as an object, so that a session's batch can be recorded and replayed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "utils/VexaDB/class/VexaDBInterface.h"

namespace VexaDB::Operation {

/// Does not change once made, so the batch and the store it runs against may share it.
class VexaDBOperation {
  public:
    virtual ~VexaDBOperation() = default;
    /// Applies the change to the store and logs it at level Notice; 0, or the store's result.
    virtual std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const = 0;
};

/// Creates the instance with the settings that every instance has. -1 for an empty name or an unknown type, before
/// anything is written.
class AddInstance : public VexaDBOperation {
  public:
    AddInstance(std::string instance, std::uint32_t type) : instance_(std::move(instance)), type_(type) {}
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;

  private:
    std::string instance_;
    std::uint32_t type_;  // index of kProtocolNames
};

/// -1 for an empty name.
class RemoveInstance : public VexaDBOperation {
  public:
    explicit RemoveInstance(std::string instance) : instance_(std::move(instance)) {}
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;

  private:
    std::string instance_;
};

/// -1 for an empty old name.
class RenameInstance : public VexaDBOperation {
  public:
    RenameInstance(std::string oldName, std::string newName)
        : oldName_(std::move(oldName)), newName_(std::move(newName)) {}
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;

  private:
    std::string oldName_;
    std::string newName_;
};

/// The empty instance name addresses the database-wide settings.
class SetString : public VexaDBOperation {
  public:
    SetString(std::string instance, std::string setting, std::string value)
        : instance_(std::move(instance)), setting_(std::move(setting)), value_(std::move(value)) {}
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;

  private:
    std::string instance_;
    std::string setting_;
    std::string value_;
};

/// The empty instance name addresses the database-wide settings.
class SetUint32 : public VexaDBOperation {
  public:
    SetUint32(std::string instance, std::string setting, std::uint32_t value)
        : instance_(std::move(instance)), setting_(std::move(setting)), value_(value) {}
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;

  private:
    std::string instance_;
    std::string setting_;
    std::uint32_t value_;
};

}  // namespace VexaDB::Operation
