// start, stop, restart, enable, disable, load: commands for one or several instances.

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/LogHistory.h"
#include "protocols/kivctl/Progress.h"
#include "protocols/kivctl/Results.h"
#include "protocols/kivctl/Selection.h"

namespace kivctl {

namespace {

/// A database-wide setting in ms; `byDefault` when it is not set or cannot be read.
std::uint32_t GlobalMs(const Options& options, const char* setting, std::uint32_t byDefault) {
    VexaDB::VexaDBSession(ReachDatabase(options)).GetUint32("", setting, byDefault);
    return byDefault;
}

/// How long a start and a stop may take, for the progress display; read only when somebody watches.
struct Limits {
    explicit Limits(const Options& options) {
        if (options.json || !HasWatcher())
            return;
        startMs = GlobalMs(options, "starttimeout", startMs);
        stopMs = GlobalMs(options, "stoptimeout", stopMs);
    }
    std::uint32_t startMs = 10'000;
    std::uint32_t stopMs = 50'000;
};

using Act = std::function<Done(Manager&, const Limits&, const std::string&)>;

void AddCommand(Command app, const Options& options, const std::string& word, const std::string& description, Act act) {
    auto command = app.AddCommand(word, description);
    const auto selection = AddSelection(command);
    command.OnRun([=, &options] {
        Manager manager(options);
        const auto names = selection->Names(manager);
        const Limits limits(options);
        ForEach(names, options, [&](const std::string& name) { return act(manager, limits, name); });
    });
}

Done Running(Manager& manager, const std::string& instance, const std::string& what) {
    const std::uint64_t processId = manager.Status(instance).processId;
    return {what + ", pid " + std::to_string(processId) + ".", {{"pid", processId}}};
}

void AddStart(Command app, const Options& options) {
    AddCommand(app, options, "start", "Starts instances",
               [&options](Manager& manager, const Limits& limits, const std::string& name) {
                   const auto before = manager.Status(name);
                   {
                       const Progress progress(options, name + " starting", limits.startMs);
                       CheckStart(manager, name, manager.Start(name));
                   }
                   const bool ranAlready = before.result == 0 && before.status == kRunning &&
                                           before.processId == manager.Status(name).processId;
                   return Running(manager, name, ranAlready ? name + " runs already" : "Started " + name);
               });
}

void AddStop(Command app, const Options& options) {
    AddCommand(app, options, "stop", "Stops instances that no other process uses",
               [&options](Manager& manager, const Limits& limits, const std::string& name) -> Done {
                   auto begin = LocalTime();
                   begin[begin.find(' ')] = 'T';
                   {
                       const Progress progress(options, name + " stopping", limits.stopMs);
                       CheckResult(manager, name, manager.Stop(name));
                   }
                   const bool forced = WasEndedByForce(ReadLog().entries, name, begin);
                   return {
                       "Stopped " + name + (forced ? "; its process did not end in time and was ended by force." : "."),
                       {{"forced", forced}}};
               });
}

void AddRestart(Command app, const Options& options) {
    AddCommand(app, options, "restart", "Stops instances that no other process uses, and starts them",
               [&options](Manager& manager, const Limits& limits, const std::string& name) {
                   // The manager would stop the instance first and then refuse to start it.
                   if (const auto disabled = WhyDisabled(manager, name); !disabled.reason.empty())
                       Refuse(disabled.reason, kManagerFailure, "; nothing was stopped. " + disabled.remedy);
                   const Progress progress(options, name + " restarting", limits.stopMs + limits.startMs);
                   CheckStart(manager, name, manager.Restart(name));
                   return Running(manager, name, "Restarted " + name);
               });
}

Done SetEnabled(Manager& manager, const std::string& instance, bool enabled) {
    const auto status = manager.Status(instance);
    CheckResult(manager, instance, status.result);
    CheckResult(manager, instance, manager.SetNumber(instance, "enabled", enabled ? 1 : 0));
    std::string hint;
    if (!enabled && status.processId != 0)
        hint = " It still runs; kivctl stop stops it.";
    if (enabled && status.processId == 0)
        hint = " It is not started yet; kivctl start starts it.";
    return {(enabled ? "Enabled " : "Disabled ") + instance + "." + hint, {{"enabled", enabled}}};
}

void AddEnable(Command app, const Options& options) {
    AddCommand(
        app, options, "enable", "Allows instances to be started",
        [](Manager& manager, const Limits&, const std::string& name) { return SetEnabled(manager, name, true); });
    AddCommand(
        app, options, "disable", "Forbids instances to be started; running instances continue",
        [](Manager& manager, const Limits&, const std::string& name) { return SetEnabled(manager, name, false); });
}

void AddLoad(Command app, const Options& options) {
    auto command = app.AddCommand("load", "Makes the manager load instances that only the database has");
    const auto selection = AddSelection(command);
    command.OnRun([=, &options] {
        Manager manager(options);
        VexaDB::VexaDBSession database(ReachDatabase(options));
        const auto loaded = manager.Instances();
        const auto names = selection->Names([&](std::optional<std::uint32_t> type) {
            auto candidates = InstanceNames(database);
            std::erase_if(candidates, [&](const auto& name) {
                return std::ranges::find(loaded, name) != loaded.end() ||
                       (type && database.Number(name, "type") != *type);
            });
            return candidates;
        });
        ForEach(names, options, [&](const std::string& name) { return Load(manager, database, name); });
    });
}

}  // namespace

Done Load(Manager& manager, VexaDB::VexaDBSession& database, const std::string& instance) {
    if (manager.Status(instance).result == 0)
        return {instance + " is loaded already."};
    if (!database.IsInstanceExist(instance)) {
        const auto hint = DidYouMean(instance, InstanceNames(database));
        Refuse("the database has no instance \"" + instance + "\"", kManagerFailure, hint.empty() ? "." : hint);
    }
    // Adding a name that the database has makes the manager load that instance with its settings.
    CheckResult(manager, instance, manager.Add(instance, database.Number(instance, "type")));
    return {"Loaded " + instance + "."};
}

void AddRunCommands(Command app, const Options& options) {
    AddStart(app, options);
    AddStop(app, options);
    AddRestart(app, options);
    AddEnable(app, options);
    AddLoad(app, options);
}

}  // namespace kivctl
