#include <atomic>
#include <csignal>
#include <thread>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Manager.h"
#include "utils/platform/Deadline.h"

namespace kivctl {

namespace {

std::atomic<bool> interrupted{false};

void Interrupt(int) {
    interrupted = true;
}

struct Event {
    std::string kind;
    std::string instance;
    std::string detail;  // for a person
    Json fields;         // beyond kind and instance
};

/// Empty for a notice that is no event, or is too short for one.
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

/// One line an event, also in JSON, and at once: another program may read them as they come.
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
        PrintLine(text, event.kind == "gone" ? Colour::Bad : Colour::Plain);
    }
    Flush();
}

void Watch(const Options& options) {
    constexpr std::uint32_t interval = 250;  // ms until Ctrl-C is seen
    constexpr std::chrono::seconds retryInterval(1);
    std::signal(SIGINT, Interrupt);
    auto client = Reach(kManagerServerName, options.TimeoutOr(kConnectTimeout));
    while (!interrupted) {
        if (const auto notice = client->TakeNotice(interval)) {
            if (const auto event = Describe(*notice))
                Report(*event, options);
            continue;
        }
        if (client->IsConnected())
            continue;
        Report({"gone", "", "the manager went away", {}}, options);
        while (!interrupted && !client->IsConnected()) {
            std::this_thread::sleep_for(retryInterval);
            if (auto again = TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout)))
                client = std::move(again);
        }
        if (!interrupted)
            Report({"back", "", "the manager is there again", {}}, options);
    }
}

void AddWatch(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("watch", "Prints the manager's events as they come, until Ctrl-C");
    command->footer("A manager that goes away is waited for. With --json each event is one line.");
    command->callback([&options] { Watch(options); });
}

void AddWait(CLI::App& app, const Options& options) {
    auto* command = app.add_subcommand("wait", "Waits until an instance is running or stopped");
    const auto name = NameArgument(*command, "NAME", "The instance");
    auto state = std::make_shared<std::string>();
    auto timeout = std::make_shared<std::uint32_t>(60);
    command->add_option("STATE", *state, "running or stopped")
        ->required()
        ->check(CLI::IsMember({"running", "stopped"}));
    command->add_option("--timeout", *timeout, "How long to wait, in seconds; after that the command fails")
        ->capture_default_str();
    command->callback([=, &options] {
        // A child that dies, and one that the monitor starts again, cause no event: between events the state is asked
        // for.
        constexpr std::uint32_t interval = 1'000;
        constexpr std::uint64_t msPerSecond = 1'000;
        const std::uint32_t wanted = *state == "running" ? kRunning : kStopped;
        Manager manager(options);
        const platform::Deadline deadline(
            static_cast<std::uint32_t>(std::min<std::uint64_t>(*timeout * msPerSecond, platform::kInfinite)));
        while (true) {
            const auto status = manager.Status(*name, std::max(deadline.LeftMs(), kRequestTimeout));
            if (status.result != 0)
                throw Failure(kRefused, "The manager knows no instance \"" + *name + "\" (-9).", status.result);
            if (status.status == wanted)
                return;
            if (deadline.LeftMs() == 0)
                throw Failure(kRefused, "After " + std::to_string(*timeout) + " s " + *name + " is " +
                                            StatusName(status.status) + ", not " + *state + ".");
            manager.Client().TakeNotice(std::min(interval, deadline.LeftMs()));
        }
    });
}

}  // namespace

void AddWatchCommands(CLI::App& app, const Options& options) {
    AddWatch(app, options);
    AddWait(app, options);
}

}  // namespace kivctl
