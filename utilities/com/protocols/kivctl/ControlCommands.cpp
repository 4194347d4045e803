// add, remove, rename, shutdown

#include <algorithm>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Progress.h"
#include "protocols/kivctl/Results.h"
#include "utils/platform/Deadline.h"

namespace kivctl {

namespace {

std::string AlreadyThere(const std::string& instance) {
    return "there is an instance \"" + instance + "\" already";
}

void AddAdd(Command app, const Options& options) {
    auto command = app.AddCommand("add", "Adds an instance; it is enabled, but not started yet");
    const auto name = NewNameArgument(command, "NAME", "The new instance");
    const auto type = TextArgument(command, "TYPE", "Its protocol type, by name or number");
    command.OnRun([=, &options] {
        const auto number = ParseType(*type);
        Manager manager(options);
        const auto result = manager.Add(*name, number);
        if (result != 0)
            Refuse(manager.Status(*name).result == 0 ? AlreadyThere(*name) : ResultMeaning(result), result);
        Say(options, "Added " + *name + ", type " + TypeName(number) + ".",
            {{"instance", ToUtf8(*name)}, {"type", TypeName(number)}, {"typeNumber", number}});
    });
}

void AddRemove(Command app, const Options& options) {
    auto command = app.AddCommand("remove", "Stops an instance and removes it with all its settings");
    const auto name = NameArgument(command, "NAME", "The instance");
    command.OnRun([=, &options] {
        Manager manager(options);
        const Progress progress(options, *name + " stopping", 0);
        auto result = manager.Remove(*name);
        if (result == kManagerUnknownInstance)  // it may be in the database only
            result = VexaDB::VexaDBSession(ReachDatabase(options)).RemoveInstance(*name);
        CheckResult(manager, *name, result);
        Say(options, "Removed " + *name + ".", {{"instance", ToUtf8(*name)}});
    });
}

/// Renames in the database, which makes the manager follow. A running instance is stopped before and started after:
/// otherwise the manager would do both before the database replies, which may take longer than a database request
/// waits.
void RenameEverywhere(const std::string& oldName, const std::string& newName, const Options& options) {
    Manager manager(options);
    VexaDB::VexaDBSession database(ReachDatabase(options));
    if (!database.IsInstanceExist(oldName))
        Refuse("the database has no instance \"" + oldName + "\"", kManagerFailure);
    if (database.IsInstanceExist(newName))
        Refuse(AlreadyThere(newName), kManagerFailure);

    const Progress progress(options, oldName + " gets its new name", 0);
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
                      "The database has the new name, but the manager still has the old one: it reads the new name at "
                      "its next start.",
                      kManagerFailure);
    CheckStart(manager, newName, started);
    Say(options, "Renamed " + oldName + " to " + newName + ".",
        {{"instance", ToUtf8(newName)}, {"oldName", ToUtf8(oldName)}});
}

void AddRename(Command app, const Options& options) {
    auto command = app.AddCommand("rename", "Renames an instance in the database and in the running manager");
    command.SetFooter(
        "The instance keeps its settings. If its process runs, it is stopped, and started under the new name.\n"
        "With --running-only only the manager has the new name. The settings stay in the database under the old\n"
        "name, where the renamed instance does not find them; it then counts as not enabled, so its process is\n"
        "stopped and not started again. After its next start the manager has the old name again.");
    const auto oldName = NameArgument(command, "OLD", "The instance");
    const auto newName = NewNameArgument(command, "NEW", "Its new name");
    auto runningOnly = std::make_shared<bool>(false);
    command.AddFlag("--running-only", *runningOnly, "Leave the database as it is");
    command.OnRun([=, &options] {
        if (!*runningOnly)
            return RenameEverywhere(*oldName, *newName, options);
        Manager manager(options);
        if (manager.Status(*newName).result == 0)
            Refuse(AlreadyThere(*newName), kManagerFailure);
        CheckResult(manager, *oldName, manager.RenameRunning(*oldName, *newName));
        Say(options, "Renamed " + *oldName + " to " + *newName + " in the running manager, not in the database.",
            {{"instance", ToUtf8(*newName)}, {"oldName", ToUtf8(*oldName)}});
    });
}

void AddShutdown(Command app, const Options& options) {
    auto command = app.AddCommand("shutdown", "Stops every instance and the manager");
    auto noWait = std::make_shared<bool>(false);
    command.AddFlag("--no-wait", *noWait, "Do not wait until the manager has stopped");
    command.OnRun([=, &options] {
        Manager manager(options);
        manager.RequestShutdown();
        if (*noWait)
            return Say(options, "The manager is stopping.");
        // The manager closes its connections when its instances have stopped.
        constexpr std::uint32_t interval = 500;  // ms
        const auto timeout = options.TimeoutOr(kShutdownTimeout);
        const platform::Deadline deadline(timeout);
        const Progress progress(options, "The manager stops its instances", timeout);
        while (manager.Client().IsConnected() && deadline.LeftMs() != 0)
            manager.Client().TakeNotice(std::min(interval, deadline.LeftMs()));
        if (manager.Client().IsConnected())
            throw Failure(kNotReachable, "The manager accepted the request, but did not stop within " +
                                             std::to_string(timeout) + " ms.");
        Say(options, "The manager has stopped.");
    });
}

}  // namespace

void AddControlCommands(Command app, const Options& options) {
    AddAdd(app, options);
    AddRemove(app, options);
    AddRename(app, options);
    AddShutdown(app, options);
}

}  // namespace kivctl
