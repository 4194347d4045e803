// The database as its users see it: sessions, batches, operations. Implemented by the server itself and by its IPC
// client in other processes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utils/VexaDB/class/VexaDBInterface.h"
#include "utils/VexaDB/class/VexaDBOperation.h"
#include "utils/VexaDB/class/VexaDBServerOpObserver.h"

namespace VexaDB {

/// Results: 0 success, -1 for a session that is not open or for a failure. Any thread may call any operation. A name or
/// text travels between processes as at most 49 characters.
class VexaDBServerInterface {
  public:
    virtual ~VexaDBServerInterface() = default;
    /// `session` is the new session's number; it lives until it is closed.
    [[nodiscard]] virtual std::int32_t OpenSession(SessionId& session) = 0;
    /// Drops what the session has recorded, and the session.
    virtual std::int32_t CloseSession(SessionId session) = 0;
    /// From here on the session's changes are recorded and seen by this session only, until Commit or Reset.
    [[nodiscard]] virtual std::int32_t Batch(SessionId session) = 0;
    /// Replays the batch, stopping at the first operation that fails; 0 for a valid session all the same.
    [[nodiscard]] virtual std::int32_t Commit(SessionId session) = 0;
    /// Ends the batch and drops what was recorded.
    virtual std::int32_t Reset(SessionId session) = 0;
    /// Makes one change for the session, recording it while a batch is open. The operations that follow are its short
    /// forms.
    [[nodiscard]] virtual std::int32_t Change(SessionId session,
                                              const std::shared_ptr<const Operation::VexaDBOperation>& operation) = 0;
    /// `type` is 0 to 7.
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
    /// The overloads without an instance address the database-wide settings. They are for other people's programs.
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
    virtual std::int32_t AddObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) = 0;
    virtual std::int32_t RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) = 0;
    virtual bool IsSessionValid(SessionId session) = 0;
};

}  // namespace VexaDB
