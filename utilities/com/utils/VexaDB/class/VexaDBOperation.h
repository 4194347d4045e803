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

/// The settings that every instance has from its addition on, in the order in which they are written. `type` is an
/// index of kProtocolNames.
std::vector<SettingEntry> NewInstanceSettings(std::uint32_t type);

namespace Operation {

/// Does not change once made, so the batch and the store it runs against may share it.
class VexaDBOperation {
  public:
    virtual ~VexaDBOperation() = default;
    /// Applies the change to the store and logs it at level Notice; 0, or the store's result.
    [[nodiscard]] virtual std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const = 0;
    /// The request by which another process has the database make this change. Texts are cut to what a request carries.
    virtual std::shared_ptr<IPC> Request(SessionId session) const = 0;
};

/// What an operation is made of, in the order of its constructor's arguments, which is that of its request.
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

/// Type, an index of kProtocolNames, and instance. Creates the instance with the settings that every instance has. -1
/// for an empty name or an unknown type, before anything is written.
struct AddInstance : OperationOf<kDatabaseAddInstance, std::uint32_t, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance. -1 for an empty name.
struct RemoveInstance : OperationOf<kDatabaseRemoveInstance, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Old name and new name. -1 for an empty old name.
struct RenameInstance : OperationOf<kDatabaseRenameInstance, std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetString : OperationOf<kDatabaseSetString, std::string, std::string, std::string> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

/// Instance, setting and value. The empty instance name addresses the database-wide settings.
struct SetUint32 : OperationOf<kDatabaseSetUint32, std::string, std::string, std::uint32_t> {
    using OperationOf::OperationOf;
    std::int32_t Execute(const std::shared_ptr<VexaDBInterface>& store) const override;
};

}  // namespace Operation

}  // namespace VexaDB
