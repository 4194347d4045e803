// Who may own a port. Two instances of one type must not listen on one port: the first to start becomes its owner, a
// later one is disabled. Modbus instances (type 2) compete only within one mode, and there one that listens on any port
// stands in the way of all. Only what was read decides: when something cannot be read just now, nobody becomes an owner
// and nobody is disabled.

#include <algorithm>
#include <iterator>
#include <optional>

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

/// Thrown within the rule, which has no answer without it.
struct CannotRead {
    std::string what;
};

/// What was read; a missing setting counts as 0 or the empty text.
template <class Value>
Value Known(std::optional<Value> read, const std::string& instance) {
    if (!read)
        throw CannotRead{"a setting of instance " + instance};
    return *std::move(read);
}

/// The names of the database's instances of the type for which `matches` (name to truth) holds.
template <class Matches>
Names Find(VexaDB::VexaDBSession& database, std::uint32_t type, Matches matches) {
    Names all;
    Names found;
    if (database.GetInstances(all) != 0)
        throw CannotRead{"the list of instances"};
    for (const auto& name : all) {
        if (matches(name) && Known(database.ReadNumber(name, "type"), name) == type)
            found.push_back(name);
    }
    return found;
}

}  // namespace

void CProtocolManager::SetPortOwner(CProtocol& instance) try {
    const auto name = instance.Name();
    const auto port = Known(db_->ReadText(name, "port"), name);
    if (Known(db_->ReadNumber(name, "owner"), name) != 0)
        return;
    auto owners = PortOwnersInTheWay(instance, port);
    std::erase(owners, name);  // somebody made it the owner meanwhile
    if (owners.empty()) {
        KIV_LOG(Logging::Info, "Become owner %s", name.c_str());
        db_->SetUint32(name, "owner", 1);
        return;
    }
    if (Known(db_->ReadText(name, "emultype"), name) == "full")
        return;
    KIV_LOG(Logging::Error, "There is already an owner %s", owners.front().c_str());
    db_->SetUint32(name, "enabled", 0);
} catch (const CannotRead& missing) {
    KIV_LOG(Logging::Error, "Cannot tell whether %s may own its port, %s cannot be read", instance.Name().c_str(),
            missing.what.c_str());
}

std::vector<std::string> CProtocolManager::PortOwnersInTheWay(CProtocol& instance, const std::string& port) {
    const auto name = instance.Name();
    // An instance without a type is one whose type could not be read when it was made.
    const auto type = instance.Type() != 0 ? instance.Type() : Known(db_->ReadNumber(name, "type"), name);
    const auto portList = FindProtocol(type, "port", port);
    const auto ownerList = FindProtocol(type, "owner", 1);
    if (type != VexaDB::kModbus)
        return Intersection(portList, ownerList);

    const auto mode = Known(db_->ReadText(name, "mode"), name);
    const auto anyList = FindProtocol(type, "port", std::string("any"));
    const auto ownerModeList = Intersection(ownerList, FindProtocol(type, "mode", mode));
    return anyList.empty() ? Intersection(portList, ownerModeList) : ownerModeList;
}

std::vector<std::string> CProtocolManager::FindProtocol(std::uint32_t type, const std::string& key,
                                                        std::uint32_t value) {
    return Find(*db_, type, [&](const std::string& name) {
        const auto number = Known(db_->ReadNumber(name, key), name);
        KIV_LOG(Logging::Info, "Find inst:%s req:%d val:%d", name.c_str(), static_cast<int>(value),
                static_cast<int>(number));
        return number == value;
    });
}

std::vector<std::string> CProtocolManager::FindProtocol(std::uint32_t type, const std::string& key,
                                                        const std::string& value) {
    return Find(*db_, type, [&](const std::string& name) { return Known(db_->ReadText(name, key), name) == value; });
}
