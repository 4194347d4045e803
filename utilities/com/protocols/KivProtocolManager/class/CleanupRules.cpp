// What becomes of instances whose stored settings are no longer acceptable, looked at once when the service starts.
// Only what was read decides: settings that cannot be read just now are no reason to change or to remove anything.

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

/// An EtherNet/IP instance without its assembly sizes gets the default ones.
void CProtocolManager::CleanupEipInstance(CProtocol& instance) {
    const auto name = instance.Name();
    std::vector<VexaDB::SettingEntry> settings;
    if (instance.Type() != VexaDB::kEthernetIp || db_->GetInstanceSettings(name, settings) != 0)
        return;
    for (const char* setting : {"producersize", "consumersize", "configsize"}) {
        const auto* const stored = VexaDB::FindSetting(settings, setting);
        if (stored != nullptr && !stored->text.empty())
            continue;
        KIV_LOG(Logging::Warning, "Cleaning Ethernet/IP instance %s.%s", name.c_str(), setting);
        if (db_->SetString(name, setting, "64") != 0)
            KIV_LOG(Logging::Error, "Cannot repair %s.%s", name.c_str(), setting);
    }
}

/// Profinet runs on its hardware only. True when the instance was a software one and was removed.
bool CProtocolManager::CleanupSoftwareProfinetInstance(CProtocol& instance) {
    const auto name = instance.Name();
    std::vector<VexaDB::SettingEntry> settings;
    if (instance.Type() != VexaDB::kProfinet || db_->GetInstanceSettings(name, settings) != 0)
        return false;
    const auto* const hardware = VexaDB::FindSetting(settings, "hardware");
    if (hardware != nullptr && hardware->number != 0)
        return false;
    KIV_LOG(Logging::Warning, "Profinet software not supported anymore! Removing %s", name.c_str());
    if (db_->RemoveInstance(name) == 0)
        return true;
    KIV_LOG(Logging::Error, "Cannot remove instance %s", name.c_str());
    return false;
}
