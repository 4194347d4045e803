// VexaDB::Operation: one change of the database as an object. A session's batch records it, the database applies it to
// a store, and the database's client sends it to the process that owns the database.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "utils/VexaDB/class/VexaDBInterface.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace VexaDB {

/// The settings that a new instance of `type` (an index of kProtocolNames) gets, in the order in which they are
/// written.
std::vector<SettingEntry> NewInstanceSettings(std::uint32_t type);

namespace Operation {

/// Immutable, so that a batch and its caller may share it.
class VexaDBOperation {
  public:
    virtual ~VexaDBOperation() = default;
    /// Applies the change to the store and logs it at level Notice. 0, the store's result, or -1 for fields that the
    /// operation refuses.
    [[nodiscard]] virtual std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const = 0;
    /// The request that makes this change in the database of another process. Texts are cut to 49 characters.
    virtual std::shared_ptr<IPC> Request(SessionId session) const = 0;
};

/// Holds the fields of an operation. The constructor's arguments have the order of the fields in the request.
template <auto kCommand, class... Fields>
class OperationOf : public VexaDBOperation {
  public:
    explicit OperationOf(Fields... fields) : fields_(std::move(fields)...) {}
    std::shared_ptr<IPC> Request(SessionId session) const override {
        auto payload = wire::Encode(wire::i64(session));
        std::apply([&](const auto&... fields) { (wire::Append(payload, OnTheWire(fields)), ...); }, fields_);
        return IPC::Request(kCommand, std::move(payload));
    }

  protected:
    const std::tuple<Fields...> fields_;

  private:
    static wire::Name OnTheWire(const std::string& text) { return text; }
    static wire::u32 OnTheWire(std::uint32_t number) { return number; }
    static_assert(sizeof(typename decltype(kCommand)::RequestType) ==
                  (sizeof(wire::i64) + ... + sizeof(OnTheWire(std::declval<Fields>()))));
};

/// Arguments: type, an index of kProtocolNames, and instance. Creates the instance with the settings of
/// NewInstanceSettings. With an empty name or an unknown type it writes nothing and results in -1.
struct AddInstance : OperationOf<kDatabaseAddInstance, std::uint32_t, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Argument: instance. An empty name results in -1.
struct RemoveInstance : OperationOf<kDatabaseRemoveInstance, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Arguments: old name and new name. An empty old name results in -1.
struct RenameInstance : OperationOf<kDatabaseRenameInstance, std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Arguments: instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetString : OperationOf<kDatabaseSetString, std::string, std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Arguments: instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetUint32 : OperationOf<kDatabaseSetUint32, std::string, std::string, std::uint32_t> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

}  // namespace Operation

}  // namespace VexaDB
