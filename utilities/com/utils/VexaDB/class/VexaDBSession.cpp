#include "utils/VexaDB/class/VexaDBSession.h"

#include <algorithm>

namespace VexaDB {

VexaDBSession::~VexaDBSession() {
    if (const auto session = *session_.Lock(); session != kInvalidSession)
        database_->CloseSession(session);
}

std::optional<bool> VexaDBSession::ReadExists(const std::string& instance) {
    std::vector<std::string> instances;
    if (GetInstances(instances) != 0)
        return std::nullopt;
    return std::ranges::find(instances, instance) != instances.end();
}

bool VexaDBSession::IsMissing(const std::string& instance, const std::string& setting, SettingKind kind) {
    std::vector<SettingEntry> settings;
    if (GetInstanceSettings(instance, settings) == 0) {
        const auto* const found = FindSetting(settings, setting);
        return found == nullptr || found->kind != kind;
    }
    // The settings cannot be listed: the instance itself may be missing. The database-wide settings always exist.
    return !instance.empty() && ReadExists(instance) == false;
}

}  // namespace VexaDB
