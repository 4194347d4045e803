// VexaDBSession: one session of the settings database, opened at construction and closed at the end.
//
//     VexaDB::VexaDBSession db(VexaDB::VexaDBServer::GetInstance());
//     std::uint32_t enabled = 0;
//     db.GetUint32("Line 1", "enabled", enabled);
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "IPC/class/IPC.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/sync/Guarded.h"

namespace VexaDB {

/// Works with the server itself or with its IPC client. When the session is no longer valid, for example because the
/// service was restarted, it opens a new session and repeats the operation once. It has no batches, since a batch is
/// lost with its session: see VexaDBBatch. Any thread may call it. Results as in VexaDBServerInterface; a failed read
/// leaves its output untouched.
class VexaDBSession {
  public:
    explicit VexaDBSession(std::shared_ptr<VexaDBServerInterface> database)
        : VexaDBSession(std::move(database), WhenLost::OpenAnew) {}
    ~VexaDBSession();

    [[nodiscard]] std::int32_t AddInstance(const std::string& instance, std::uint32_t type) {
        return Run([&](SessionId session) { return database_->AddInstance(session, instance, type); });
    }
    [[nodiscard]] std::int32_t RemoveInstance(const std::string& instance) {
        return Run([&](SessionId session) { return database_->RemoveInstance(session, instance); });
    }
    [[nodiscard]] std::int32_t RenameInstance(const std::string& oldName, const std::string& newName) {
        return Run([&](SessionId session) { return database_->RenameInstance(session, oldName, newName); });
    }
    [[nodiscard]] std::int32_t SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
        return Run([&](SessionId session) { return database_->SetUint32(session, instance, setting, value); });
    }
    [[nodiscard]] std::int32_t SetString(const std::string& instance, const std::string& setting,
                                         const std::string& value) {
        return Run([&](SessionId session) { return database_->SetString(session, instance, setting, value); });
    }
    std::int32_t GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
        return Run([&](SessionId session) { return database_->GetUint32(session, instance, setting, value); });
    }
    std::int32_t GetString(const std::string& instance, const std::string& setting, std::string& value) {
        return Run([&](SessionId session) { return database_->GetString(session, instance, setting, value); });
    }
    [[nodiscard]] std::int32_t GetInstances(std::vector<std::string>& instances) {
        return Run([&](SessionId session) { return database_->GetInstances(session, instances); });
    }
    [[nodiscard]] std::int32_t GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) {
        return Run([&](SessionId session) { return database_->GetInstanceSettings(session, instance, settings); });
    }
    bool IsInstanceExist(const std::string& instance) {
        return Run([&](SessionId session) { return database_->IsInstanceExist(session, instance) ? 0 : -1; }) == 0;
    }

    /// The value of the setting; 0 or the empty text when it is missing or cannot be read. The empty instance name
    /// addresses the database-wide settings.
    std::uint32_t Number(const std::string& instance, const std::string& setting) {
        std::uint32_t value = 0;
        GetUint32(instance, setting, value);
        return value;
    }
    std::string Text(const std::string& instance, const std::string& setting) {
        std::string value;
        GetString(instance, setting, value);
        return value;
    }
    /// The same for decisions that depend on the value: 0 or the empty text only when the setting is missing, nothing
    /// when it could not be read.
    [[nodiscard]] std::optional<std::uint32_t> ReadNumber(const std::string& instance, const std::string& setting) {
        std::uint32_t value = 0;
        if (GetUint32(instance, setting, value) == 0 || IsMissing(instance, setting, SettingKind::Number))
            return value;
        return std::nullopt;
    }
    [[nodiscard]] std::optional<std::string> ReadText(const std::string& instance, const std::string& setting) {
        std::string value;
        if (GetString(instance, setting, value) == 0 || IsMissing(instance, setting, SettingKind::String))
            return value;
        return std::nullopt;
    }

    /// Whether the instance exists; nothing when the database could not be read.
    [[nodiscard]] std::optional<bool> ReadExists(const std::string& instance);

  protected:
    enum class WhenLost { OpenAnew, Fail };
    VexaDBSession(std::shared_ptr<VexaDBServerInterface> database, WhenLost whenLost)
        : database_(std::move(database)), whenLost_(whenLost) {
        Renew(kInvalidSession);
    }

    /// Calls `call(session)` and returns its result. With WhenLost::OpenAnew, calls it once more with a new session
    /// when the first one is no longer valid.
    template <class Call>
    std::int32_t Run(Call call) {
        const SessionId session = *session_.Lock();
        const auto result = call(session);
        if (whenLost_ == WhenLost::Fail)
            return result;
        // An operation in a lost session results in -1. An operation without a reply may have been done, so it is not
        // repeated. When the request cannot be sent, the server is gone, and the next one will not know the session.
        if (result == kIpcCannotSend)
            Forget(session);
        if (result != -1 || database_->IsSessionValid(session))
            return result;
        return call(Renew(session));
    }

    const std::shared_ptr<VexaDBServerInterface> database_;

  private:
    /// True when the database could be read and has no setting of that name and kind.
    bool IsMissing(const std::string& instance, const std::string& setting, SettingKind kind);
    /// Opens a session in place of the lost one, unless another thread has done so already. Returns the new session,
    /// kInvalidSession on failure.
    SessionId Renew(SessionId lost) {
        auto session = session_.Lock();
        if (*session == lost && database_->OpenSession(*session) != 0)
            *session = kInvalidSession;
        return *session;
    }
    void Forget(SessionId lost) {
        auto session = session_.Lock();
        if (*session == lost)
            *session = kInvalidSession;
    }

    const WhenLost whenLost_;
    kivsync::Guarded<SessionId> session_{kInvalidSession};  // its lock is taken before the database's own locks
};

/// A session that records changes and commits them together. It never opens a new session, because a batch is lost with
/// its session: when that happens, every operation fails.
class VexaDBBatch : public VexaDBSession {
  public:
    explicit VexaDBBatch(std::shared_ptr<VexaDBServerInterface> database)
        : VexaDBSession(std::move(database), WhenLost::Fail) {}

    /// Drops the open batch, if any, and begins a new one.
    [[nodiscard]] std::int32_t Begin() {
        return Run([&](SessionId session) { return database_->Batch(session); });
    }
    [[nodiscard]] std::int32_t Commit() {
        return Run([&](SessionId session) { return database_->Commit(session); });
    }
    std::int32_t Reset() {
        return Run([&](SessionId session) { return database_->Reset(session); });
    }
    /// Whether the database still knows the session.
    bool IsValid() {
        return Run([&](SessionId session) { return database_->IsSessionValid(session) ? 0 : -1; }) == 0;
    }
};

}  // namespace VexaDB
