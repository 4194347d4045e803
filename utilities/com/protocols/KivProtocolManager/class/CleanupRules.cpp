// What becomes of instances whose stored settings are no longer acceptable, looked at once when the service starts.

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

/// An EtherNet/IP instance without its assembly sizes gets the default ones.
void CProtocolManager::CleanupEipInstance(CProtocol& instance) {
    if (instance.Type() != VexaDB::kEthernetIp)
        return;
    const auto name = instance.Name();
    for (const char* setting : {"producersize", "consumersize", "configsize"}) {
        if (!db_->Text(name, setting).empty())
            continue;
        KIV_LOG(Logging::Warning, "Cleaning Ethernet/IP instance %s.%s", name.c_str(), setting);
        db_->SetString(name, setting, "64");
    }
}

/// Profinet runs on its hardware only. True when the instance was a software one and is removed.
bool CProtocolManager::CleanupSoftwareProfinetInstance(CProtocol& instance) {
    if (instance.Type() != VexaDB::kProfinet)
        return false;
    const auto name = instance.Name();
    if (db_->Number(name, "hardware") != 0)
        return false;
    KIV_LOG(Logging::Warning, "Profinet software not supported anymore! Removing %s", name.c_str());
    db_->RemoveInstance(name);
    return true;
}
