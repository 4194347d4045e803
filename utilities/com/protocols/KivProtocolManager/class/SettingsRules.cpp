#include "protocols/KivProtocolManager/class/SettingsRules.h"

#include <optional>

#include "protocols/control/PortRule.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/Logger.h"

namespace {

// The operations of the manager that the log names for these rules.
constexpr const char* kSetPortOwner = "CProtocolManager::SetPortOwner";
constexpr const char* kCleanupEip = "CProtocolManager::CleanupEipInstance";
constexpr const char* kCleanupProfinet = "CProtocolManager::CleanupSoftwareProfinetInstance";

using Names = std::vector<std::string>;

/// Thrown when the port rule cannot decide, because something it needs cannot be read.
struct CannotRead {
    std::string what;
};

/// The value that was read, 0 or the empty text for a missing setting. Throws CannotRead when the read failed.
template <class Value>
Value Known(std::optional<Value> read, const std::string& instance) {
    if (!read)
        throw CannotRead{"a setting of instance " + instance};
    return *std::move(read);
}

bool Holds(VexaDB::VexaDBSession& db, const std::string& name, const std::string& key, const std::string& value) {
    return Known(db.ReadText(name, key), name) == value;
}

bool Holds(VexaDB::VexaDBSession& db, const std::string& name, const std::string& key, std::uint32_t value) {
    const auto number = Known(db.ReadNumber(name, key), name);
    KIV_LOG_AS("CProtocolManager::FindProtocol", Logging::Info, "Find inst:%s req:%d val:%d", name.c_str(),
               static_cast<int>(value), static_cast<int>(number));
    return number == value;
}

/// The database's instances of the type whose setting has the value.
template <class Value>
Names FindProtocol(VexaDB::VexaDBSession& db, std::uint32_t type, const std::string& key, const Value& value) {
    Names names;
    if (db.GetInstances(names) != 0)
        throw CannotRead{"the list of instances"};
    std::erase_if(names, [&](const auto& name) {
        return !Holds(db, name, key, value) || Known(db.ReadNumber(name, "type"), name) != type;
    });
    return names;
}

/// PortOwnersInTheWay among the database's instances. The instance itself is one of them when somebody has made it the
/// owner meanwhile.
Names OwnersInTheWay(VexaDB::VexaDBSession& db, CProtocol& instance, const std::string& port) {
    const auto name = instance.Name();
    // The type is 0 when it could not be read at the construction of the instance: read it again.
    const auto type = instance.Type() != 0 ? instance.Type() : Known(db.ReadNumber(name, "type"), name);
    const auto mode = type == VexaDB::kModbus ? Known(db.ReadText(name, "mode"), name) : "";
    return PortOwnersInTheWay(type, port, mode,
                              [&](const char* key, const auto& value) { return FindProtocol(db, type, key, value); });
}

}  // namespace

void SetPortOwner(VexaDB::VexaDBSession& db, CProtocol& instance) try {
    const auto name = instance.Name();
    const auto port = Known(db.ReadText(name, "port"), name);
    if (Known(db.ReadNumber(name, "owner"), name) != 0)
        return;
    auto owners = OwnersInTheWay(db, instance, port);
    std::erase(owners, name);
    if (owners.empty()) {
        KIV_LOG_AS(kSetPortOwner, Logging::Info, "Become owner %s", name.c_str());
        if (db.SetUint32(name, "owner", 1) != 0)
            KIV_LOG_AS(kSetPortOwner, Logging::Error, "Cannot make %s the owner of its port", name.c_str());
        return;
    }
    if (Known(db.ReadText(name, "emultype"), name) == "full")
        return;
    KIV_LOG_AS(kSetPortOwner, Logging::Error, "There is already an owner %s", owners.front().c_str());
    if (db.SetUint32(name, "enabled", 0) != 0)
        KIV_LOG_AS(kSetPortOwner, Logging::Error, "Cannot disable %s", name.c_str());
} catch (const CannotRead& missing) {
    KIV_LOG_AS(kSetPortOwner, Logging::Error, "Cannot tell whether %s may own its port, %s cannot be read",
               instance.Name().c_str(), missing.what.c_str());
}

bool CleanupSoftwareProfinetInstance(VexaDB::VexaDBSession& db, CProtocol& instance) {
    const auto name = instance.Name();
    if (instance.Type() != VexaDB::kProfinet || db.ReadNumber(name, "hardware").value_or(1) != 0)
        return false;
    KIV_LOG_AS(kCleanupProfinet, Logging::Warning, "Profinet software not supported anymore! Removing %s",
               name.c_str());
    if (db.RemoveInstance(name) == 0)
        return true;
    KIV_LOG_AS(kCleanupProfinet, Logging::Error, "Cannot remove instance %s", name.c_str());
    return false;
}

void CleanupEipInstance(VexaDB::VexaDBSession& db, CProtocol& instance) {
    if (instance.Type() != VexaDB::kEthernetIp)
        return;
    const auto name = instance.Name();
    for (const char* setting : {"producersize", "consumersize", "configsize"}) {
        const auto stored = db.ReadText(name, setting);
        if (!stored || !stored->empty())
            continue;
        KIV_LOG_AS(kCleanupEip, Logging::Warning, "Cleaning Ethernet/IP instance %s.%s", name.c_str(), setting);
        if (db.SetString(name, setting, "64") != 0)
            KIV_LOG_AS(kCleanupEip, Logging::Error, "Cannot repair %s.%s", name.c_str(), setting);
    }
}
