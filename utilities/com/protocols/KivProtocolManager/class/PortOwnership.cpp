// Who may own a port. Two instances of one type must not listen on one port: the first to start becomes its owner, a
// later one is disabled. Modbus instances (type 2) compete only within one mode, and there one that listens on any port
// stands in the way of all.

#include <algorithm>
#include <iterator>

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace {

using Names = std::vector<std::string>;

/// The names in both lists, sorted.
Names Intersection(Names first, Names second) {
    std::sort(first.begin(), first.end());
    std::sort(second.begin(), second.end());
    Names both;
    std::set_intersection(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(both));
    return both;
}

}  // namespace

void CProtocolManager::SetPortOwner(CProtocol& instance) {
    const auto name = instance.Name();
    const auto port = db_->Text(name, "port");
    if (db_->Number(name, "owner") != 0)
        return;
    auto owners = PortOwnersInTheWay(instance, port);
    std::erase(owners, name);  // it owns the port after all, and reading that failed a moment ago
    if (owners.empty()) {
        KIV_LOG(Logging::Info, "Become owner %s", name.c_str());
        db_->SetUint32(name, "owner", 1);
        return;
    }
    if (instance.IsFullEmulation())
        return;
    KIV_LOG(Logging::Error, "There is already an owner %s", owners.front().c_str());
    db_->SetUint32(name, "enabled", 0);
}

std::vector<std::string> CProtocolManager::PortOwnersInTheWay(CProtocol& instance, const std::string& port) {
    const auto type = instance.Type();
    const auto portList = FindProtocol(type, "port", port);
    const auto ownerList = FindProtocol(type, "owner", 1);
    if (type != VexaDB::kModbus)
        return Intersection(portList, ownerList);

    const auto mode = db_->Text(instance.Name(), "mode");
    const auto anyList = FindProtocol(type, "port", std::string("any"));
    const auto ownerModeList = Intersection(ownerList, FindProtocol(type, "mode", mode));
    return anyList.empty() ? Intersection(portList, ownerModeList) : ownerModeList;
}

/// Names of the database's instances of the type whose number setting has the value.
std::vector<std::string> CProtocolManager::FindProtocol(std::uint32_t type, const std::string& key,
                                                        std::uint32_t value) {
    Names all;
    Names found;
    db_->GetInstances(all);
    for (const auto& name : all) {
        const auto number = db_->Number(name, key);
        KIV_LOG(Logging::Info, "Find inst:%s req:%d val:%d", name.c_str(), static_cast<int>(value),
                static_cast<int>(number));
        if (number == value && db_->Number(name, "type") == type)
            found.push_back(name);
    }
    return found;
}

/// The same for a string setting; a missing one counts as the empty text.
std::vector<std::string> CProtocolManager::FindProtocol(std::uint32_t type, const std::string& key,
                                                        const std::string& value) {
    Names all;
    Names found;
    db_->GetInstances(all);
    for (const auto& name : all) {
        if (db_->Number(name, "type") == type && db_->Text(name, key) == value)
            found.push_back(name);
    }
    return found;
}
