// Who may own a port. Two instances of one type must not listen on one port: the first to start becomes its owner, a
// later one is disabled. Only what was read decides: when something cannot be read just now, nobody becomes an owner
// and nobody is disabled.

#include <optional>

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/control/PortRule.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace {

using Names = std::vector<std::string>;

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
        if (db_->SetUint32(name, "owner", 1) != 0)
            KIV_LOG(Logging::Error, "Cannot make %s the owner of its port", name.c_str());
        return;
    }
    if (Known(db_->ReadText(name, "emultype"), name) == "full")
        return;
    KIV_LOG(Logging::Error, "There is already an owner %s", owners.front().c_str());
    if (db_->SetUint32(name, "enabled", 0) != 0)
        KIV_LOG(Logging::Error, "Cannot disable %s", name.c_str());
} catch (const CannotRead& missing) {
    KIV_LOG(Logging::Error, "Cannot tell whether %s may own its port, %s cannot be read", instance.Name().c_str(),
            missing.what.c_str());
}

std::vector<std::string> CProtocolManager::PortOwnersInTheWay(CProtocol& instance, const std::string& port) {
    const auto name = instance.Name();
    // An instance without a type is one whose type could not be read when it was made.
    const auto type = instance.Type() != 0 ? instance.Type() : Known(db_->ReadNumber(name, "type"), name);
    const auto mode = type == VexaDB::kModbus ? Known(db_->ReadText(name, "mode"), name) : "";
    return ::PortOwnersInTheWay(type, port, mode,
                                [&](const char* key, const auto& value) { return FindProtocol(type, key, value); });
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
