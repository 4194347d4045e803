#include <algorithm>
#include <optional>
#include <type_traits>

#include "protocols/control/PortRule.h"
#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Manager.h"
#include "utils/platform/Deadline.h"

namespace kivctl {

namespace {

/// What a command did, for a person; scripts have the exit code.
void Say(const Options& options, const std::string& sentence) {
    if (!options.json)
        PrintLine(sentence);
}

std::string AlreadyThere(const std::string& instance) {
    return "there is an instance \"" + instance + "\" already";
}

/// Throws the Failure of a request that the manager refused, with the reason as far as it can be found.
void CheckResult(Manager& manager, const std::string& instance, std::int32_t result) {
    if (result == 0)
        return;
    if (manager.Status(instance).result == kManagerUnknownInstance)
        Refuse("the manager knows no instance \"" + instance + "\"", result);
    std::string processes;  // other than the manager
    if (result == kManagerInUse)
        for (const auto& client : manager.Clients(instance))
            if (client.processId != manager.Client().ServerPid())
                processes += (processes.empty() ? ", pid " : ", ") + std::to_string(client.processId);
    Refuse(ResultMeaning(result), result, processes + ".");
}

/// The instance of the same type that the manager finds in the way of this one's port; empty when there is none.
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

/// The same for a start, which most often fails because of the instance's settings or in the child.
void CheckStart(Manager& manager, const std::string& instance, std::int32_t result) {
    if (result == 0)
        return;
    const auto status = manager.Status(instance);
    const std::uint32_t lastError = 0 - std::uint32_t{status.lastError};  // as the child wrote it
    if (status.result == 0 && manager.GetNumber(instance, "enabled") == 0u) {
        const auto enable = "kivctl set \"" + instance + "\" enabled 1";
        const auto owner = PortOwner(manager, instance, status.protocolType);
        if (!owner.empty())
            Refuse("\"" + instance + "\" has the same port as \"" + owner +
                       "\" of its type, which owns it, and is disabled for that",
                   result, ". Give it its own: kivctl set \"" + instance + "\" port PORT --string, then " + enable);
        Refuse("\"" + instance + "\" is not enabled", result, ". Allow it with: " + enable);
    }
    if (status.result == 0 && lastError != 0)
        Refuse(ResultMeaning(result), result,
               ". The last error that the child of \"" + instance + "\" reported is " + std::to_string(lastError) +
                   "; the log tells about this start.");
    CheckResult(manager, instance, result);
}

/// A command whose only argument is an instance; `act` is given the manager and the name.
template <class Act>
void AddInstanceCommand(CLI::App& app, const Options& options, const std::string& word, const std::string& description,
                        Act act) {
    auto* command = app.add_subcommand(word, description);
    const auto name = NameArgument(*command, "NAME", "The instance");
    command->callback([=, &options] {
        Manager manager(options);
        act(manager, *name);
    });
}

void AddAdd(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("add", "Adds an instance; it is enabled, but not started yet");
    const auto name = NewNameArgument(*command, "NAME", "The new instance");
    const auto type = TextArgument(*command, "TYPE", "Its protocol type, by name or number");
    command->callback([=, &options] {
        const auto number = ParseType(*type);
        Manager manager(options);
        const auto result = manager.Add(*name, number);
        if (result != 0)
            Refuse(manager.Status(*name).result == 0 ? AlreadyThere(*name) : ResultMeaning(result), result);
        Say(options, "Added " + *name + ", type " + TypeName(number) + ".");
    });
}

void AddRemove(CLI::App& app, const Options& options) {
    AddInstanceCommand(app, options, "remove", "Stops an instance and removes it with all its settings",
                       [&options](Manager& manager, const std::string& name) {
                           auto result = manager.Remove(name);
                           if (result == kManagerUnknownInstance)  // one that only the database has
                               result = VexaDB::VexaDBSession(ReachDatabase(options)).RemoveInstance(name);
                           CheckResult(manager, name, result);
                           Say(options, "Removed " + name + ".");
                       });
}

/// A running instance is stopped before and started after: the database would have the manager do both before it
/// answers, which may take longer than a database request waits.
void RenameEverywhere(const std::string& oldName, const std::string& newName, const Options& options) {
    Manager manager(options);
    VexaDB::VexaDBSession database(ReachDatabase(options));
    if (!database.IsInstanceExist(oldName))
        Refuse("the database has no instance \"" + oldName + "\"", kManagerFailure);
    if (database.IsInstanceExist(newName))
        Refuse(AlreadyThere(newName), kManagerFailure);

    const auto status = manager.Status(oldName);
    const bool known = status.result == 0;
    const bool running = known && status.processId != 0;
    if (running)
        CheckResult(manager, oldName, manager.Stop(oldName));
    const auto renamed = database.RenameInstance(oldName, newName);
    const auto& name = renamed == 0 ? newName : oldName;
    const auto started = running ? manager.Start(name) : 0;
    CheckDatabaseResult(renamed, "The instance cannot be renamed");
    if (known && manager.Status(newName).result != 0)
        throw Failure(kRefused,
                      "The database has the new name, but the manager did not follow: it takes the name up at "
                      "its next start.",
                      kManagerFailure);
    CheckStart(manager, newName, started);
    Say(options, "Renamed " + oldName + " to " + newName + ".");
}

void AddRename(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("rename", "Renames an instance in the database and in the running manager");
    command->footer(
        "The instance keeps its settings. Its process, if it runs, is stopped and started under the new name.\n"
        "With --running-only the manager takes the new name, the database does not: the settings stay under the old\n"
        "name, where the renamed instance no longer finds them. It is then not enabled, so that its process is\n"
        "stopped and not started again. At its next start the manager has the old name again.");
    const auto oldName = NameArgument(*command, "OLD", "The instance");
    const auto newName = NewNameArgument(*command, "NEW", "Its new name");
    auto runningOnly = std::make_shared<bool>(false);
    command->add_flag("--running-only", *runningOnly, "Leave the database as it is");
    command->callback([=, &options] {
        if (!*runningOnly)
            return RenameEverywhere(*oldName, *newName, options);
        Manager manager(options);
        if (manager.Status(*newName).result == 0)
            Refuse(AlreadyThere(*newName), kManagerFailure);
        CheckResult(manager, *oldName, manager.RenameRunning(*oldName, *newName));
        Say(options, "Renamed " + *oldName + " to " + *newName + " in the running manager; the database is as it was.");
    });
}

std::string PidOf(Manager& manager, const std::string& instance) {
    return ", pid " + std::to_string(manager.Status(instance).processId) + ".";
}

void AddStart(CLI::App& app, const Options& options) {
    AddInstanceCommand(app, options, "start", "Starts an instance",
                       [&options](Manager& manager, const std::string& name) {
                           CheckStart(manager, name, manager.Start(name));
                           Say(options, "Started " + name + PidOf(manager, name));
                       });
}

void AddStop(CLI::App& app, const Options& options) {
    AddInstanceCommand(app, options, "stop", "Stops an instance that no other process uses",
                       [&options](Manager& manager, const std::string& name) {
                           CheckResult(manager, name, manager.Stop(name));
                           Say(options, "Stopped " + name + ".");
                       });
}

void AddRestart(CLI::App& app, const Options& options) {
    AddInstanceCommand(app, options, "restart", "Stops an instance that no other process uses, and starts it",
                       [&options](Manager& manager, const std::string& name) {
                           const auto result = manager.Restart(name);
                           if (result == kManagerInUse)
                               CheckResult(manager, name, result);
                           CheckStart(manager, name, result);
                           Say(options, "Restarted " + name + PidOf(manager, name));
                       });
}

/// The property with its kind; empty when the instance has none of that name.
std::optional<SettingValue> Property(Manager& manager, const std::string& instance, const std::string& property) {
    const auto status = manager.Status(instance);
    CheckResult(manager, instance, status.result);
    if (auto text = manager.GetString(instance, property))
        return text;
    return manager.GetNumber(instance, property);
}

void AddGet(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("get", "Prints a property of an instance");
    const auto name = NameArgument(*command, "NAME", "The instance");
    const auto property = NameArgument(*command, "PROPERTY", "The property");
    command->callback([=, &options] {
        Manager manager(options);
        const auto value = Property(manager, *name, *property);
        if (!value)
            Refuse("\"" + *name + "\" has no property \"" + *property + "\"", kManagerFailure);
        PrintSetting(*name, {*property, *value}, options);
    });
}

void AddSet(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("set", "Sets a property of an instance; it keeps its kind");
    const auto name = NameArgument(*command, "NAME", "The instance");
    const auto property = NameArgument(*command, "PROPERTY", "The property");
    const auto text = TextArgument(*command, "VALUE", "Its new value");
    const auto kind = AddKindFlags(*command);
    command->callback([=, &options] {
        Manager manager(options);
        const auto value = ParseValue(*text, *kind, Property(manager, *name, *property));
        const auto* number = std::get_if<std::uint32_t>(&value);
        CheckResult(manager, *name,
                    number ? manager.SetNumber(*name, *property, *number) : manager.SetString(*name, *property, *text));
        Say(options, "Set " + *property + " of " + *name + " to " + *text + ".");
    });
}

void AddShutdown(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("shutdown", "Stops every instance and the manager");
    auto noWait = std::make_shared<bool>(false);
    command->add_flag("--no-wait", *noWait, "Return when the manager has taken the request, not when it has stopped");
    command->callback([=, &options] {
        Manager manager(options);
        manager.RequestShutdown();
        if (*noWait)
            return Say(options, "The manager is stopping.");
        // It closes its connections when its instances have stopped.
        constexpr std::uint32_t interval = 500;
        const auto timeout = options.TimeoutOr(kShutdownTimeout);
        const platform::Deadline deadline(timeout);
        while (manager.Client().IsConnected() && deadline.LeftMs() != 0)
            manager.Client().TakeNotice(std::min(interval, deadline.LeftMs()));
        if (manager.Client().IsConnected())
            throw Failure(kNotReachable, "The manager took the request, but has not stopped within " +
                                             std::to_string(timeout) + " ms.");
        Say(options, "The manager has stopped.");
    });
}

}  // namespace

void AddControlCommands(CLI::App& app, const Options& options) {
    AddAdd(app, options);
    AddRemove(app, options);
    AddRename(app, options);
    AddStart(app, options);
    AddStop(app, options);
    AddRestart(app, options);
    AddGet(app, options);
    AddSet(app, options);
    AddShutdown(app, options);
}

}  // namespace kivctl
