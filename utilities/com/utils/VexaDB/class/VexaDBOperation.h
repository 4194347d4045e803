// VexaDB::Operation: one change of the database as an object, so that a session's batch can be recorded and replayed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
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

/// What an operation is made of, in the order of its constructor's arguments.
template <class... Fields>
class OperationOf : public VexaDBOperation {
  public:
    explicit OperationOf(Fields... fields) : fields_(std::move(fields)...) {}

  protected:
    const std::tuple<Fields...> fields_;
};

/// Instance and type, an index of kProtocolNames. Creates the instance with the settings that every instance has. -1
/// for an empty name or an unknown type, before anything is written.
struct AddInstance : OperationOf<std::string, std::uint32_t> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance. -1 for an empty name.
struct RemoveInstance : OperationOf<std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Old name and new name. -1 for an empty old name.
struct RenameInstance : OperationOf<std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetString : OperationOf<std::string, std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetUint32 : OperationOf<std::string, std::string, std::uint32_t> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

}  // namespace VexaDB::Operation
