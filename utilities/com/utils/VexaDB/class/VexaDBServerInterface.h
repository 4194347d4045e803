// VexaDB::VexaDBServerInterface: the database as its users see it, with sessions, batches and operations. The server
// itself implements it, and so does its IPC client in other processes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaDBInterface.h"
#include "utils/VexaDB/class/VexaDBOperation.h"
#include "utils/VexaDB/class/VexaDBServerOpObserver.h"

namespace VexaDB {

/// Results: 0 success, -1 failure, also for a session that is not open. A failed read leaves its output untouched. Any
/// thread may call any operation. Between processes a name or text is cut to 49 characters.
class VexaDBServerInterface {
  public:
    virtual ~VexaDBServerInterface() = default;
    /// Opens a session, which lives until it is closed, and writes its number to `session`.
    [[nodiscard]] virtual std::int32_t OpenSession(SessionId& session) = 0;
    /// Closes the session and drops the changes that its batch recorded.
    virtual std::int32_t CloseSession(SessionId session) = 0;
    /// Begins a batch: until Commit or Reset, the session's changes are recorded, and only this session sees them.
    [[nodiscard]] virtual std::int32_t Batch(SessionId session) = 0;
    /// Ends the batch and makes its changes in their order. A change that fails drops the rest; the result is 0 even
    /// so.
    [[nodiscard]] virtual std::int32_t Commit(SessionId session) = 0;
    /// Ends the batch and drops the changes that it recorded.
    virtual std::int32_t Reset(SessionId session) = 0;
    /// Makes one change, or records it while a batch is open. AddInstance to SetString below are short forms of this.
    [[nodiscard]] virtual std::int32_t Change(SessionId session,
                                              const std::shared_ptr<const Operation::VexaDBOperation>& operation) = 0;
    /// `type` is a ProtocolType, 0 to 7.
    [[nodiscard]] virtual std::int32_t AddInstance(SessionId session, const std::string& instance, std::uint32_t type) {
        return Change(session, std::make_shared<Operation::AddInstance>(type, instance));
    }
    [[nodiscard]] virtual std::int32_t RemoveInstance(SessionId session, const std::string& instance) {
        return Change(session, std::make_shared<Operation::RemoveInstance>(instance));
    }
    [[nodiscard]] virtual std::int32_t RenameInstance(SessionId session, const std::string& oldName,
                                                      const std::string& newName) {
        return Change(session, std::make_shared<Operation::RenameInstance>(oldName, newName));
    }
    [[nodiscard]] virtual std::int32_t SetUint32(SessionId session, const std::string& instance,
                                                 const std::string& setting, std::uint32_t value) {
        return Change(session, std::make_shared<Operation::SetUint32>(instance, setting, value));
    }
    [[nodiscard]] virtual std::int32_t SetString(SessionId session, const std::string& instance,
                                                 const std::string& setting, const std::string& value) {
        return Change(session, std::make_shared<Operation::SetString>(instance, setting, value));
    }
    /// The overloads without an instance address the database-wide settings. They are for programs outside the product.
    [[nodiscard]] virtual std::int32_t SetUint32(SessionId session, const std::string& setting, std::uint32_t value) {
        return SetUint32(session, "", setting, value);
    }
    [[nodiscard]] virtual std::int32_t SetString(SessionId session, const std::string& setting,
                                                 const std::string& value) {
        return SetString(session, "", setting, value);
    }
    virtual std::int32_t GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                                   std::uint32_t& value) = 0;
    virtual std::int32_t GetString(SessionId session, const std::string& instance, const std::string& setting,
                                   std::string& value) = 0;
    virtual std::int32_t GetUint32(SessionId session, const std::string& setting, std::uint32_t& value) {
        return GetUint32(session, "", setting, value);
    }
    virtual std::int32_t GetString(SessionId session, const std::string& setting, std::string& value) {
        return GetString(session, "", setting, value);
    }
    [[nodiscard]] virtual std::int32_t GetInstances(SessionId session, std::vector<std::string>& instances) = 0;
    [[nodiscard]] virtual std::int32_t GetInstanceSettings(SessionId session, const std::string& instance,
                                                           std::vector<SettingEntry>& settings) = 0;
    virtual bool IsInstanceExist(SessionId session, const std::string& instance) = 0;
    /// Observers are told of every committed change, in the order of their registration.
    virtual std::int32_t AddObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) = 0;
    virtual std::int32_t RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) = 0;
    virtual bool IsSessionValid(SessionId session) = 0;
};

}  // namespace VexaDB
