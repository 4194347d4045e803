// watch, wait: prints events as they happen, and waits for a state.

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Interrupt.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/ProcessInfo.h"
#include "protocols/kivctl/Progress.h"
#include "protocols/kivctl/Selection.h"
#include "protocols/kivctl/Views.h"
#include "utils/platform/Deadline.h"

namespace kivctl {

namespace {

struct Event {
    std::string kind;
    std::string instance;
    std::string detail;  // the rest of the line for a person
    Json fields;         // with --json, in addition to kind and instance
};

/// Empty for a notice that is not an event, or is too short for its fields.
std::optional<Event> Describe(const IPC& notice) {
    const auto ofInstance = [&](const char* kind) -> std::optional<Event> {
        const auto event = wire::Decode<ipc_mngctrl_instance_event>(notice.Payload());
        return event ? std::optional(Event{kind, event->instance.Text(), "", {}}) : std::nullopt;
    };
    switch (notice.Command()) {
        case kEventAdded:
            return ofInstance("added");
        case kEventRemoved:
            return ofInstance("removed");
        case kEventStarted:
            return ofInstance("started");
        case kEventStopped:
            return ofInstance("stopped");
        case kEventRenamed: {
            const auto event = wire::Decode<ipc_mngctrl_rename_event>(notice.Payload());
            if (!event)
                return std::nullopt;
            const auto newName = event->newName.Text();
            return Event{"renamed", event->oldName.Text(), "to " + newName, {{"newName", ToUtf8(newName)}}};
        }
        case kEventStringChanged: {
            const auto event = wire::Decode<ipc_mngctrl_change_str_property_event>(notice.Payload());
            if (!event)
                return std::nullopt;
            const auto property = event->property.Text();
            const auto oldValue = event->oldValue.Text();
            const auto newValue = event->newValue.Text();
            return Event{"changed",
                         event->instance.Text(),
                         property + ": \"" + oldValue + "\" -> \"" + newValue + "\"",
                         {{"property", ToUtf8(property)}, {"old", ToUtf8(oldValue)}, {"new", ToUtf8(newValue)}}};
        }
        default:
            return std::nullopt;
    }
}

/// Prints one line for each event, also in JSON, and flushes it: another program may be reading the events.
void Report(const Event& event, const Options& options) {
    if (options.json) {
        Json line = {{"time", LocalTime()}, {"event", event.kind}};
        if (!event.instance.empty())
            line["instance"] = ToUtf8(event.instance);
        if (!event.fields.is_null())
            line.update(event.fields);
        PrintLine(line.dump());
    } else {
        constexpr std::size_t kindWidth = 10;
        auto kind = event.kind;
        kind.resize(std::max(kind.size(), kindWidth), ' ');
        const auto text =
            LocalTime() + "  " + kind + event.instance + (event.detail.empty() ? "" : "  " + event.detail);
        PrintLine(text, event.kind == "gone" || event.kind == "died" ? Colour::Bad : Colour::Plain);
    }
    Flush();
}

/// Watches the processes of the instances, because the manager sends no event when a process dies or when it restarts
/// one.
class Processes {
  public:
    explicit Processes(const Options& options) : options_(options) {}

    /// Asks for the state of every instance, and reports processes that died or were restarted. The first time reports
    /// the state of each instance instead.
    void Look(bool isFirst) {
        for (const auto& view : ViewAll(options_)) {
            auto& known = instances_[view.name];
            const std::uint64_t processId = view.status.processId;
            if (isFirst) {
                Report({view.State(), view.name, processId != 0 ? Pid(processId) : view.Note(), Fields(processId)},
                       options_);
            } else if (view.IsKnown()) {
                const bool isOther = processId != known.processId;
                const bool isDead = known.process && known.process->ExitCode();
                if (known.processId != 0 && !known.stopped &&
                    (isOther || (isDead && view.status.status == kStoppedWorking)))
                    ReportDeath(view.name, known);
                if (known.died && processId != 0 && isOther) {
                    Report({"restarted", view.name, Pid(processId), Fields(processId)}, options_);
                    known.died = false;
                }
            }
            if (!view.IsKnown() || (known.processId == processId && !known.stopped))
                continue;
            known.stopped = false;
            known.processId = processId;
            known.process = processId != 0 ? OpenedProcess::Open(processId) : nullptr;
        }
    }

    /// Takes note of an event, so that a requested stop is not reported as a death, nor a requested start as a restart.
    void Follow(const Event& event) {
        if (event.kind == "stopped" || event.kind == "removed" || event.kind == "renamed")
            instances_[event.instance] = {.stopped = true};
        else if (event.kind == "started")
            instances_[event.instance].died = false;
    }

    /// Describes which processes ended with the manager and which still run; then forgets them all.
    std::string AfterTheManager() {
        constexpr std::uint32_t patience = 2'000;  // ms for processes that are still ending
        const auto runs = [](const auto& entry) { return entry.second.process && !entry.second.process->ExitCode(); };
        for (const platform::Deadline deadline(patience);
             deadline.LeftMs() != 0 && std::ranges::any_of(instances_, runs);)
            PauseUnlessInterrupted(100);
        std::string ended;
        std::string running;
        for (const auto& entry : instances_) {
            if (!entry.second.process)
                continue;
            auto& list = runs(entry) ? running : ended;
            list += (list.empty() ? "" : ", ") + entry.first;
        }
        instances_.clear();
        return (ended.empty() ? "" : "; stopped with it: " + ended) +
               (running.empty() ? "" : "; still running: " + running);
    }

  private:
    struct Known {
        std::uint64_t processId = 0;
        std::unique_ptr<OpenedProcess> process = nullptr;
        bool stopped = false;  // on request
        bool died = false;     // reported as dead, not restarted yet
    };

    static std::string Pid(std::uint64_t processId) { return "pid " + std::to_string(processId); }
    static Json Fields(std::uint64_t processId) { return {{"pid", processId}}; }

    void ReportDeath(const std::string& name, Known& known) {
        Json code;
        if (known.process)
            if (const auto ended = known.process->ExitCode())
                code = *ended;
        Report({"died",
                name,
                Pid(known.processId) + ", exit code " + (code.is_null() ? "unknown" : code.dump()),
                {{"pid", known.processId}, {"exitCode", code}}},
               options_);
        known = {.died = true};
    }

    const Options& options_;
    std::map<std::string, Known> instances_;
};

/// Recognizes the second of the two equal notices that the manager sends when a text is set through it.
class Repetitions {
  public:
    bool IsOne(const IPC& notice) {
        const bool same = notice.Command() == kEventStringChanged && notice.Payload() == last_;
        last_ = same ? IPCPayload() : notice.Payload();
        return same;
    }

  private:
    IPCPayload last_;
};

/// Reports events until the connection ends or the operator presses Ctrl-C.
void WatchConnected(IPCClient& client, Processes& processes, const Options& options) {
    constexpr std::uint32_t interval = 250;        // ms between checks for Ctrl-C
    constexpr std::uint32_t lookInterval = 1'000;  // ms between checks of the processes
    Repetitions repetitions;
    processes.Look(true);
    for (platform::Deadline nextLook(lookInterval); !IsInterrupted();) {
        if (const auto notice = client.TakeNotice(std::min(interval, nextLook.LeftMs()))) {
            const auto event = Describe(*notice);
            if (!event || repetitions.IsOne(*notice))
                continue;
            processes.Follow(*event);
            Report(*event, options);
            if (event->kind == "started")
                nextLook = platform::Deadline(0);  // its process may end soon, so open it now for its exit code
        } else if (!client.IsConnected()) {
            return;
        } else if (nextLook.LeftMs() == 0) {
            processes.Look(false);
            nextLook = platform::Deadline(lookInterval);
        }
    }
}

void Watch(const Options& options) {
    constexpr std::uint32_t retryInterval = 1'000;  // ms
    CatchInterrupt();
    Processes processes(options);
    for (bool isFirst = true; !IsInterrupted(); isFirst = false) {
        auto client = TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout));
        const bool isBack = !client || !isFirst;
        if (!client && isFirst)
            Report({"waiting", "", "the manager is not running", {}}, options);
        while (!client && !IsInterrupted()) {
            PauseUnlessInterrupted(retryInterval);
            client = TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout));
        }
        if (!client)
            return;
        if (isBack)
            Report({"back", "", "the manager is running", {}}, options);
        try {
            WatchConnected(*client, processes, options);
        } catch (const Failure&) {
            // The manager ended during a request.
        }
        if (!IsInterrupted())
            Report({"gone", "", "the manager went away" + processes.AfterTheManager(), {}}, options);
    }
}

void AddWatch(Command app, const Options& options) {
    auto command = app.AddCommand("watch", "Prints events as they happen, until Ctrl-C");
    command.SetFooter(
        "Begins with the state of every instance. Waits for the manager when it does not run. With --json\n"
        "each event is one line.");
    command.OnRun([&options] { Watch(options); });
}

[[noreturn]] void FailWaiting(const std::string& name, const std::string& limit, const std::string& found,
                              const std::string& wanted) {
    throw Failure(kRefused, "After " + limit + " " + name + " is " + found + ", not " + wanted + ".");
}

void AwaitState(Manager& manager, const std::string& name, const std::string& state, const platform::Deadline& deadline,
                const std::string& limit) {
    // Ask for the state between events too: neither a child's death nor its restart by the manager causes an event.
    constexpr std::uint32_t interval = 1'000;  // ms
    const std::uint32_t wanted = state == StatusName(kRunning) ? kRunning : kStopped;
    while (true) {
        const auto status = manager.Status(name, std::max(deadline.LeftMs(), kRequestTimeout));
        const bool isLoaded = status.result == 0;
        // Keep waiting when only the database has the instance: a starting manager has yet to load it.
        if (!isLoaded && !VexaDB::VexaDBSession(ReachDatabase(manager.GetOptions())).IsInstanceExist(name))
            RefuseUnknown(manager, name, status.result);
        if (isLoaded && status.status == wanted)
            return;
        if (deadline.LeftMs() == 0)
            FailWaiting(name, limit, isLoaded ? StatusName(status.status) : "not loaded", state);
        manager.Client().TakeNotice(std::min(interval, deadline.LeftMs()));
    }
}

void AddWait(Command app, const Options& options) {
    auto command = app.AddCommand("wait", "Waits until instances are running or stopped");
    const auto selection =
        AddSelection(command, "NAME", "The instances, or patterns with * and ?; then the state, running or stopped");
    auto timeout = std::make_shared<std::uint32_t>(60'000);
    AddTime(command, "--timeout", *timeout, kOneSecond,
            "How long to wait, in seconds or as 500ms, 5s, 2m, before the command fails")
        .ShowDefault("60s");
    command.OnRun([=, &options] {
        const auto state = selection->words.empty() ? std::string() : selection->words.back();
        if (state != StatusName(kRunning) && state != StatusName(kStopped))
            throw Failure(kWrongUsage, "The last word is the state to wait for, running or stopped.");
        selection->words.pop_back();
        Manager manager(options);
        const auto names = selection->Names(manager);
        const platform::Deadline deadline(*timeout);  // for all of them
        const bool isWhole = *timeout % kOneSecond == 0;
        const auto limit = isWhole ? std::to_string(*timeout / kOneSecond) + " s" : std::to_string(*timeout) + " ms";
        ForEach(names, options, [&](const std::string& name) -> Done {
            const Progress progress(options, "Waiting for " + name + " to be " + state, *timeout);
            AwaitState(manager, name, state, deadline, limit);
            return {"", {{"state", state}}};
        });
    });
}

}  // namespace

void AddWatchCommands(Command app, const Options& options) {
    AddWatch(app, options);
    AddWait(app, options);
}

}  // namespace kivctl
