#include "protocols/kivctl/Views.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/LogHistory.h"
#include "protocols/kivctl/Words.h"
#include "utils/VexaDB/class/ProtocolTypes.h"

namespace kivctl {

namespace {

constexpr std::uint32_t kRowTimeout = 1'000;  // ms
constexpr std::size_t kAskers = 8;            // threads that ask at the same time, each with its own connection
constexpr const char* kBusy = "busy";
constexpr const char* kUnknown = "unknown";
constexpr const char* kToCome = "to come";
constexpr const char* kNotLoaded = "not loaded";
constexpr const char* kNotEnabled = "not enabled";

Json OptionalJson(const std::optional<std::uint32_t>& number) {
    return number ? Json(*number) : Json();
}

/// Fills in the view at `next`, then the one after it, to the end; several threads share `next`. After a request
/// without a reply in time, connects anew: on the old connection the next request would have to wait for that reply.
void Ask(std::vector<InstanceView>& views, std::atomic<std::size_t>& next, const Options& options) {
    std::unique_ptr<Manager> manager;
    for (auto at = next++; at < views.size(); at = next++) {
        auto& view = views[at];
        try {
            if (!manager)
                manager = std::make_unique<Manager>(options);
            view.enabled = manager->GetNumber(view.name, "enabled");
            view.owner = manager->GetNumber(view.name, "owner");
            view.status = manager->Status(view.name, kRowTimeout);
            if (view.status.result != 0)
                view.trouble = "the manager no longer has it, or its name is too long for a request";
        } catch (const Failure& failure) {
            view.busy = manager && manager->Client().IsConnected();
            if (!view.busy)
                view.trouble = failure.what();
            manager.reset();
        }
    }
}

/// Whether the log says that the manager is still starting the instances after its own start.
bool IsStarting(std::uint64_t managerPid) {
    bool starting = false;
    const auto log = ReadLog();
    for (const auto& entry : log.entries)
        if (entry.processId == managerPid)
            starting =
                (starting || entry.text == "Starting Protocols services") && entry.text != "Monitor Protocols services";
    return starting;
}

}  // namespace

std::string InstanceView::State() const {
    if (busy)
        return kBusy;
    if (!trouble.empty())
        return kUnknown;
    if (toCome)
        return kToCome;
    return loaded ? StatusName(status.status) : kNotLoaded;
}

Colour InstanceView::StateColour() const {
    if (!loaded || !IsKnown())
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

std::string InstanceView::Note() const {
    if (busy)
        return "no answer within a second: its process is busy or hangs";
    if (!trouble.empty())
        return trouble;
    if (toCome)
        return "the manager starts other instances first";
    if (!loaded)
        return "only in the database; kivctl load loads it";
    std::string note;
    if (!stored)
        note = "only in the manager";
    else if (status.status == kStoppedWorking && enabled.value_or(1) == 0)
        note = "not enabled; it has no process";
    else if (status.status == kStoppedWorking)
        note = "meant to run; will be started again";
    else if (status.status == kStopped && enabled.value_or(0) == 0)
        note = kNotEnabled;
    if (LastError() != 0)
        note += (note.empty() ? "" : "; ") + ("last error of its process: " + std::to_string(LastError()));
    return note;
}

void RefuseUnknown(Manager& manager, const std::string& instance, std::int32_t result) {
    const auto hint = DidYouMean(instance, manager.Instances());
    Refuse("the manager knows no instance \"" + instance + "\"", result, hint.empty() ? "." : hint);
}

InstanceView ViewOf(Manager& manager, const std::string& instance, std::uint32_t timeoutMs) {
    InstanceView view{.name = instance};
    view.status = manager.Status(instance, timeoutMs);
    if (view.status.result != 0)
        RefuseUnknown(manager, instance, view.status.result);
    view.type = view.status.protocolType;
    view.enabled = manager.GetNumber(instance, "enabled");
    view.owner = manager.GetNumber(instance, "owner");
    return view;
}

std::vector<InstanceView> ViewAll(const Options& options, std::optional<std::uint32_t> type) {
    std::vector<InstanceView> views;
    std::uint64_t managerPid = 0;
    {
        Manager manager(options);
        managerPid = manager.Client().ServerPid();
        for (std::uint32_t each = 0; each < VexaDB::kProtocolNames.size(); ++each)
            if (!type || *type == each)
                for (const auto& name : manager.Instances(each))
                    views.push_back({.name = name, .type = each});
    }
    std::atomic<std::size_t> next{0};
    {
        std::vector<std::jthread> askers;
        for (std::size_t i = 1; i < std::min(kAskers, views.size()); ++i)
            askers.emplace_back([&] { Ask(views, next, options); });
        Ask(views, next, options);
    }

    VexaDB::VexaDBSession database(ReachDatabase(options));
    const auto stored = InstanceNames(database);
    for (auto& view : views)
        view.stored = std::ranges::find(stored, view.name) != stored.end();
    std::optional<bool> starting;
    for (const auto& name : stored) {
        if (std::ranges::find(views, name, &InstanceView::name) != views.end())
            continue;
        const auto itsType = database.Number(name, "type");
        if (type && *type != itsType)
            continue;
        if (!starting)
            starting = IsStarting(managerPid);
        views.push_back({.name = name,
                         .type = itsType,
                         .loaded = false,
                         .toCome = *starting,
                         .enabled = database.Number(name, "enabled"),
                         .owner = database.Number(name, "owner")});
    }
    std::ranges::sort(views, {}, &InstanceView::name);
    return views;
}

std::string Summary(const std::vector<InstanceView>& views) {
    std::string text = Count(views.size(), "instance");
    const char* separator = ": ";
    const std::string running = StatusName(kRunning);
    const std::string notWorking = StatusName(kStoppedWorking);
    const std::string stopped = StatusName(kStopped);
    for (const std::string& word : {running, notWorking, std::string(kBusy), stopped, std::string(kNotEnabled),
                                    std::string(kToCome), std::string(kNotLoaded), std::string(kUnknown)}) {
        const auto number = std::ranges::count_if(views, [&](const InstanceView& view) {
            const auto state = view.State();
            const bool isOff = state == stopped && view.enabled.value_or(0) == 0;
            return (isOff ? kNotEnabled : state) == word;
        });
        if (number == 0)
            continue;
        text += separator + std::to_string(number) + " " + word;
        separator = ", ";
    }
    return text;
}

Json ViewJson(const InstanceView& view) {
    return {{"name", ToUtf8(view.name)},
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
            {"note", ToUtf8(view.Note())}};
}

}  // namespace kivctl
