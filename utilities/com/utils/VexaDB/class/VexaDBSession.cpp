#include "utils/VexaDB/class/VexaDBSession.h"

#include <algorithm>
#include <utility>

#include "IPC/class/IPC.h"

namespace VexaDB {

VexaDBSession::VexaDBSession(std::shared_ptr<VexaDBServerInterface> database) : database_(std::move(database)) {
    Open();
}

VexaDBSession::~VexaDBSession() {
    if (session_ != kInvalidSession)
        database_->CloseSession(session_);
}

SessionId VexaDBSession::Open() {
    SessionId session = kInvalidSession;
    if (database_->OpenSession(session) != 0)
        session = kInvalidSession;
    session_ = session;
    return session;
}

SessionId VexaDBSession::Current() {
    std::lock_guard guard(lock_);
    return session_;
}

SessionId VexaDBSession::Renew(SessionId lost) {
    std::lock_guard guard(lock_);
    return session_ == lost ? Open() : session_;  // else another thread renewed it already
}

void VexaDBSession::Forget(SessionId lost) {
    std::lock_guard guard(lock_);
    if (session_ == lost)
        session_ = kInvalidSession;
}

template <class Call>
std::int32_t VexaDBSession::Run(Call call) {
    const auto session = Current();
    const auto result = call(session);
    // A lost session answers -1. What was not answered may have been done, and is not done again; but when nothing can
    // be sent, whoever serves next does not know the session.
    if (result == kIpcCannotSend)
        Forget(session);
    if (result != -1 || database_->IsSessionValid(session))
        return result;
    return call(Renew(session));
}

std::int32_t VexaDBSession::AddInstance(const std::string& instance, std::uint32_t type) {
    return Run([&](SessionId session) { return database_->AddInstance(session, instance, type); });
}

std::int32_t VexaDBSession::RemoveInstance(const std::string& instance) {
    return Run([&](SessionId session) { return database_->RemoveInstance(session, instance); });
}

std::int32_t VexaDBSession::RenameInstance(const std::string& oldName, const std::string& newName) {
    return Run([&](SessionId session) { return database_->RenameInstance(session, oldName, newName); });
}

std::int32_t VexaDBSession::SetUint32(const std::string& instance, const std::string& setting, std::uint32_t value) {
    return Run([&](SessionId session) { return database_->SetUint32(session, instance, setting, value); });
}

std::int32_t VexaDBSession::SetString(const std::string& instance, const std::string& setting,
                                      const std::string& value) {
    return Run([&](SessionId session) { return database_->SetString(session, instance, setting, value); });
}

std::int32_t VexaDBSession::GetUint32(const std::string& instance, const std::string& setting, std::uint32_t& value) {
    return Run([&](SessionId session) { return database_->GetUint32(session, instance, setting, value); });
}

std::int32_t VexaDBSession::GetString(const std::string& instance, const std::string& setting, std::string& value) {
    return Run([&](SessionId session) { return database_->GetString(session, instance, setting, value); });
}

std::int32_t VexaDBSession::GetInstances(std::vector<std::string>& instances) {
    return Run([&](SessionId session) { return database_->GetInstances(session, instances); });
}

std::int32_t VexaDBSession::GetInstanceSettings(const std::string& instance, std::vector<SettingEntry>& settings) {
    return Run([&](SessionId session) { return database_->GetInstanceSettings(session, instance, settings); });
}

bool VexaDBSession::IsInstanceExist(const std::string& instance) {
    return Run([&](SessionId session) { return database_->IsInstanceExist(session, instance) ? 0 : -1; }) == 0;
}

std::uint32_t VexaDBSession::Number(const std::string& instance, const std::string& setting) {
    std::uint32_t value = 0;
    GetUint32(instance, setting, value);
    return value;
}

std::string VexaDBSession::Text(const std::string& instance, const std::string& setting) {
    std::string value;
    GetString(instance, setting, value);
    return value;
}

std::optional<std::uint32_t> VexaDBSession::ReadNumber(const std::string& instance, const std::string& setting) {
    std::uint32_t value = 0;
    if (GetUint32(instance, setting, value) == 0 || IsMissing(instance, setting, SettingKind::Number))
        return value;
    return std::nullopt;
}

std::optional<std::string> VexaDBSession::ReadText(const std::string& instance, const std::string& setting) {
    std::string value;
    if (GetString(instance, setting, value) == 0 || IsMissing(instance, setting, SettingKind::String))
        return value;
    return std::nullopt;
}

bool VexaDBSession::IsMissing(const std::string& instance, const std::string& setting, SettingKind kind) {
    std::vector<SettingEntry> settings;
    if (GetInstanceSettings(instance, settings) == 0) {
        const auto* const found = FindSetting(settings, setting);
        return found == nullptr || found->kind != kind;
    }
    // The instance itself may be missing. The database-wide settings always have their place.
    std::vector<std::string> instances;
    return !instance.empty() && GetInstances(instances) == 0 &&
           std::ranges::find(instances, instance) == instances.end();
}

}  // namespace VexaDB
