#include "utils/VexaDB/class/VexaDBSession.h"

#include <algorithm>
#include <utility>

namespace VexaDB {

VexaDBSession::VexaDBSession(std::shared_ptr<VexaDBServerInterface> database, WhenLost whenLost)
    : database_(std::move(database)), whenLost_(whenLost) {
    Open(*session_.Lock());
}

VexaDBSession::~VexaDBSession() {
    if (const auto session = *session_.Lock(); session != kInvalidSession)
        database_->CloseSession(session);
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
