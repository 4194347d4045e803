#include <algorithm>
#include <chrono>
#include <cstdio>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Manager.h"
#include "utils/VexaDB/class/ProtocolTypes.h"

namespace kivctl {

namespace {

/// All that the status table shows of one instance.
struct InstanceView {
    std::string name;
    bool loaded = true;        // false: the database has it, the manager does not
    bool stored = true;        // false: the manager has it, the database does not
    std::string trouble = {};  // why nothing is known of it
    std::uint32_t type = 0;
    ipc_mngctrl_status_reply status;
    std::optional<std::uint32_t> enabled = std::nullopt;
    std::optional<std::uint32_t> owner = std::nullopt;

    // As the child wrote it; the manager hands out its negative.
    std::uint32_t LastError() const { return 0 - std::uint32_t{status.lastError}; }
    std::string State() const {
        if (!trouble.empty())
            return "unknown";
        return loaded ? StatusName(status.status) : "not loaded";
    }

    Colour StateColour() const {
        if (!loaded || !trouble.empty())
            return Colour::Warning;
        switch (status.status) {
            case kRunning:
                return Colour::Good;
            case kStoppedWorking:
                return Colour::Bad;
            default:
                return Colour::Plain;
        }
    }

    std::string Note() const {
        if (!trouble.empty())
            return trouble;
        if (!loaded)
            return "in the database only; the manager takes it up at its next start";
        std::string note;
        if (!stored)
            note = "only in the manager";
        else if (status.status == kStoppedWorking && enabled.value_or(1) == 0)
            note = "not enabled; it has no process";
        else if (status.status == kStoppedWorking)
            note = "meant to run; the monitor retries";
        else if (status.status == kStopped && enabled.value_or(0) == 0)
            note = "not enabled";
        if (LastError() != 0)
            note += (note.empty() ? "" : "; ") + ("last error of its child " + std::to_string(LastError()));
        return note;
    }
};

InstanceView View(Manager& manager, const std::string& instance) {
    InstanceView view{.name = instance, .status = manager.Status(instance)};
    if (view.status.result != 0)
        throw Failure(kRefused,
                      "The manager knows no instance \"" + instance + "\" (" + std::to_string(view.status.result) +
                          "); kivctl list shows those it knows.",
                      view.status.result);
    view.type = view.status.protocolType;
    view.enabled = manager.GetNumber(instance, "enabled");
    view.owner = manager.GetNumber(instance, "owner");
    return view;
}

// What only the database knows is shown too: an instance that was added there while the manager ran.
std::vector<InstanceView> ViewAll(Manager& manager, const Options& options) {
    std::vector<InstanceView> views;
    const auto loaded = manager.Instances();
    for (const auto& name : loaded) {
        try {
            views.push_back(View(manager, name));
        } catch (const Failure& failure) {
            // An instance that was removed meanwhile, or whose name is too long for a request, must not hide the
            // others.
            if (failure.Code() != kRefused)
                throw;
            views.push_back({.name = name, .trouble = failure.what(), .status = {}});
        }
    }
    VexaDB::VexaDBSession database(ReachDatabase(options));
    const auto stored = InstanceNames(database);
    for (auto& view : views)
        view.stored = std::find(stored.begin(), stored.end(), view.name) != stored.end();
    for (const auto& name : stored)
        if (std::find(loaded.begin(), loaded.end(), name) == loaded.end())
            views.push_back({.name = name,
                             .loaded = false,
                             .type = database.Number(name, "type"),
                             .status = {},
                             .enabled = database.Number(name, "enabled"),
                             .owner = database.Number(name, "owner")});
    return views;
}

std::string OptionalText(const std::optional<std::uint32_t>& number) {
    return number ? std::to_string(*number) : "";
}

Json OptionalJson(const std::optional<std::uint32_t>& number) {
    return number ? Json(*number) : Json();
}

void PrintStatus(const std::vector<InstanceView>& views) {
    constexpr std::size_t stateColumn = 2;
    Table table({"NAME", "TYPE", "STATE", "PID", "UPTIME", "CLIENTS", "LAST ERROR", "ENABLED", "OWNER", "NOTE"});
    for (const auto& view : views) {
        const bool running = view.status.processId != 0;
        table.AddRow(
            {view.name, TypeName(view.type), view.State(), running ? std::to_string(view.status.processId) : "",
             running ? Duration(view.status.upTime) : "", running ? std::to_string(view.status.clientCount) : "",
             view.LastError() != 0 ? std::to_string(view.LastError()) : "", OptionalText(view.enabled),
             OptionalText(view.owner), view.Note()},
            view.StateColour(), stateColumn);
    }
    table.Print();
}

Json StatusJson(const std::vector<InstanceView>& views) {
    auto list = Json::array();
    for (const auto& view : views)
        list.push_back({{"name", ToUtf8(view.name)},
                        {"type", TypeName(view.type)},
                        {"typeNumber", view.type},
                        {"state", view.State()},
                        {"pid", std::uint64_t{view.status.processId}},
                        {"uptimeSeconds", std::uint64_t{view.status.upTime}},
                        {"clients", std::uint32_t{view.status.clientCount}},
                        {"lastError", view.LastError()},
                        {"childState", std::uint32_t{view.status.state}},
                        {"enabled", OptionalJson(view.enabled)},
                        {"owner", OptionalJson(view.owner)},
                        {"note", view.Note()}});
    return list;
}

void AddList(CLI::App& app, const Options& options) {
    auto* command =
        app.add_subcommand("list", "Lists the manager's instances with their types; fails when there is none");
    auto type = std::make_shared<std::string>();
    command->add_option("TYPE", *type, "Only those of this type, by name or number");
    command->callback([=, &options] {
        std::vector<std::uint32_t> types;
        if (!type->empty())
            types.push_back(ParseType(*type));
        else
            for (std::uint32_t number = 0; number < VexaDB::kProtocolNames.size(); ++number)
                types.push_back(number);
        Manager manager(options);
        Table table({"NAME", "TYPE"});
        auto list = Json::array();
        for (const auto number : types)
            for (const auto& name : manager.Instances(number)) {
                table.AddRow({name, TypeName(number)});
                list.push_back({{"name", ToUtf8(name)}, {"type", TypeName(number)}, {"typeNumber", number}});
            }
        if (options.json || !list.empty())
            Print(table, list, options);
        if (list.empty())
            throw Failure(
                kRefused,
                type->empty() ? "The manager has no instance (-1)." : "The manager has no instance of this type (-1).",
                kManagerFailure);
    });
}

void AddStatus(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("status", "Shows how one instance, or every one, is doing");
    auto name = std::make_shared<std::string>();
    command->add_option("NAME", *name, "Only this instance")->check(FitsRequest());
    command->callback([=, &options] {
        Manager manager(options);
        const auto views = name->empty() ? ViewAll(manager, options) : std::vector{View(manager, *name)};
        if (options.json)
            PrintJson(StatusJson(views));
        else if (views.empty())
            PrintLine("The manager runs and has no instance.");
        else
            PrintStatus(views);
    });
}

void AddClients(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("clients", "Lists the processes connected to an instance");
    const auto name = NameArgument(*command, "NAME", "The instance");
    command->callback([=, &options] {
        Manager manager(options);
        Table table({"CONNECTION", "PID", "WHO"});
        auto list = Json::array();
        for (const auto& client : manager.Clients(*name)) {
            const bool isManager = client.processId == manager.Client().ServerPid();
            table.AddRow({std::to_string(client.connectionId), std::to_string(client.processId),
                          isManager ? "the manager" : ""});
            list.push_back({{"connection", std::uint64_t{client.connectionId}},
                            {"pid", std::uint64_t{client.processId}},
                            {"isManager", isManager}});
        }
        Print(table, list, options);
    });
}

void AddPing(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("ping", "Measures round trips to the manager, or to an instance's own process");
    auto name = std::make_shared<std::string>(kManagerServerName);
    auto count = std::make_shared<std::uint32_t>(10);
    constexpr std::uint32_t maximum = 100'000;
    command->add_option("NAME", *name, "The instance; without it the manager answers")->check(FitsRequest());
    command->add_option("--count", *count, "How many round trips")
        ->check(CLI::Range(1u, maximum))
        ->capture_default_str();
    command->callback([=, &options] {
        using Milliseconds = std::chrono::duration<double, std::milli>;
        const auto timeout = options.TimeoutOr(kConnectTimeout);
        const auto client = *name == kManagerServerName ? Reach(*name, timeout) : TryReach(*name, timeout);
        if (!client)
            throw Failure(kNotReachable, "Nothing serves \"" + *name + "\" on this machine.");
        std::vector<double> times;
        double sum = 0;
        for (std::uint32_t i = 0; i < *count; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            Ask(*client, kIpcAliveCheck, {}, timeout);
            times.push_back(Milliseconds(std::chrono::steady_clock::now() - begin).count());
            sum += times.back();
        }
        const auto [least, most] = std::minmax_element(times.begin(), times.end());
        const auto mean = sum / *count;
        if (options.json) {
            PrintJson({{"server", ToUtf8(*name)},
                       {"pid", client->ServerPid()},
                       {"count", *count},
                       {"minMs", *least},
                       {"meanMs", mean},
                       {"maxMs", *most}});
            return;
        }
        char line[160];
        std::snprintf(line, sizeof line, "%u round trips to process %llu: min %.3f ms, mean %.3f ms, max %.3f ms",
                      *count, static_cast<unsigned long long>(client->ServerPid()), *least, mean, *most);
        PrintLine(line);
    });
}

}  // namespace

void AddStatusCommands(CLI::App& app, const Options& options) {
    AddList(app, options);
    AddStatus(app, options);
    AddClients(app, options);
    AddPing(app, options);
}

}  // namespace kivctl
