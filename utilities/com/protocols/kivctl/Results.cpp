#include "protocols/kivctl/Results.h"

#include <algorithm>
#include <sstream>
#include <thread>
#include <type_traits>

#include "protocols/control/PortRule.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/LogHistory.h"
#include "protocols/kivctl/ProcessInfo.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

namespace {

bool IsTypeDisabled(Manager& manager, std::uint32_t type) {
    std::istringstream list(VexaDB::VexaDBSession(ReachDatabase(manager.GetOptions())).Text("", "disabledprotocols"));
    for (std::string piece; std::getline(list, piece, ';');)
        if (piece == std::to_string(type))
            return true;
    return false;
}

}  // namespace

std::string PortOwner(Manager& manager, const std::string& instance, std::uint32_t type) {
    const auto text = [&](const std::string& of, const char* property) {
        return manager.GetString(of, property).value_or("");
    };
    const auto names = manager.Instances(type);
    auto owners = PortOwnersInTheWay(type, text(instance, "port"), text(instance, "mode"),
                                     [&](const char* property, const auto& value) {
                                         auto found = names;
                                         std::erase_if(found, [&](const auto& name) {
                                             if constexpr (std::is_same_v<decltype(value), const std::uint32_t&>)
                                                 return manager.GetNumber(name, property) != value;
                                             else
                                                 return text(name, property) != value;
                                         });
                                         return found;
                                     });
    std::erase(owners, instance);
    return owners.empty() ? "" : owners.front();
}

void CheckResult(Manager& manager, const std::string& instance, std::int32_t result) {
    if (result == 0)
        return;
    if (manager.Status(instance).result == kManagerUnknownInstance)
        RefuseUnknown(manager, instance, result);
    std::string processes;  // the clients other than the manager
    if (result == kManagerInUse)
        for (const auto& client : manager.Clients(instance))
            if (client.processId != manager.Client().ServerPid())
                processes += (processes.empty() ? ", pid " : ", ") + std::to_string(client.processId);
    Refuse(ResultMeaning(result), result, processes + ".");
}

Disabled WhyDisabled(Manager& manager, const std::string& instance) {
    const auto status = manager.Status(instance);
    if (status.result == 0 && IsTypeDisabled(manager, status.protocolType))
        return {"the type of \"" + instance + "\" is in the database-wide setting disabledprotocols",
                "Remove it from there, then run kivctl service restart"};
    if (status.result != 0 || manager.GetNumber(instance, "enabled") != 0u)
        return {};
    const auto enable = "kivctl enable \"" + instance + "\"";
    const auto owner = PortOwner(manager, instance, status.protocolType);
    if (!owner.empty())
        return {"\"" + instance + "\" is disabled: \"" + owner + "\", of the same type, owns the same port",
                "Give \"" + instance + "\" its own port: kivctl set \"" + instance + "\" port PORT, then " + enable};
    return {"\"" + instance + "\" is not enabled", "Enable it: " + enable};
}

Trouble TroubleOf(Manager& manager, const std::string& instance) {
    return FindTrouble(ReadLog().entries, InstanceLines(instance, manager.Instances()), instance,
                       ProgramPathOf(manager.Client().ServerPid()));
}

void CheckStart(Manager& manager, const std::string& instance, std::int32_t result) {
    if (result == 0)
        return;
    if (result == kManagerInUse || manager.Status(instance).result != 0)
        CheckResult(manager, instance, result);
    if (const auto disabled = WhyDisabled(manager, instance); !disabled.reason.empty())
        Refuse(disabled.reason, result, ". " + disabled.remedy);
    // The manager's reply may arrive shortly before the log line about the end of the process.
    constexpr std::chrono::milliseconds moment(100);
    constexpr int attempts = 5;
    auto trouble = TroubleOf(manager, instance);
    for (int i = 1; i < attempts && trouble.reason.empty(); ++i) {
        std::this_thread::sleep_for(moment);
        trouble = TroubleOf(manager, instance);
    }
    // The reply has the negative of the child's code.
    const std::uint32_t lastError = 0 - std::uint32_t{manager.Status(instance).lastError};
    std::string rest = ".";
    if (trouble.reason.empty() && lastError != 0)
        trouble.reason = "its protocol reported error " + std::to_string(lastError);
    if (trouble.reason.empty())
        trouble.reason = ResultMeaning(result);
    if (trouble.lines.empty())
        rest += " The log has no line about it; kivctl log show tells where the log is.";
    for (const auto& line : trouble.lines)
        if (!IsOfFramework(line))
            rest += "\n  " + LogText(line);
    Refuse("\"" + instance + "\" does not run: " + trouble.reason, result, rest);
}

}  // namespace kivctl
