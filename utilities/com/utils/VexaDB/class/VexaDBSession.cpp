#include "utils/VexaDB/class/VexaDBSession.h"

#include <algorithm>
#include <utility>

namespace VexaDB {

VexaDBSession::VexaDBSession(std::shared_ptr<VexaDBServerInterface> database) : database_(std::move(database)) {
    Open(*session_.Lock());
}

VexaDBSession::~VexaDBSession() {
    if (const auto session = *session_.Lock(); session != kInvalidSession)
        database_->CloseSession(session);
}

void VexaDBSession::Open(SessionId& session) {
    if (database_->OpenSession(session) != 0)
        session = kInvalidSession;
}

SessionId VexaDBSession::Renew(SessionId lost) {
    auto session = session_.Lock();
    if (*session == lost)  // else another thread renewed it already
        Open(*session);
    return *session;
}

void VexaDBSession::Forget(SessionId lost) {
    auto session = session_.Lock();
    if (*session == lost)
        *session = kInvalidSession;
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
