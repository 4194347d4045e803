// access: shows and sets who may connect to the servers of this machine.

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "IPC/transport/impl/win/PipeAccess.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/registry/Registry.h"
#include "utils/registry/RegistryKey.h"

namespace kivctl {

namespace {

constexpr const char* kEveryone = "everyone";
constexpr std::size_t kGroupMaximum = 255;  // characters; a server reads no more

bool IsKnown(const std::optional<std::string>& group) {
    return !group || !FindSid(*group).empty();
}

/// Says who may connect. An unknown group gives nobody access.
std::string WhoMayConnect(const std::optional<std::string>& group, bool isKnown) {
    if (!group)
        return "every process of this machine may connect";
    const std::string always = "only SYSTEM, administrators";
    return isKnown ? always + ", the service's account and \"" + *group + "\" may connect"
                   : always + " and the service's account may connect: this machine does not know \"" + *group + "\"";
}

void Tell(const Options& options, const std::string& sentence, const std::optional<std::string>& group, bool isKnown) {
    if (options.json)
        PrintJson({{kAccessGroupValue, group ? Json(ToUtf8(*group)) : Json()},
                   {"known", isKnown},
                   {"message", ToUtf8(sentence)}});
    else
        PrintLine(sentence, isKnown ? Colour::Plain : Colour::Warning);
}

void Set(const Options& options, const std::optional<std::string>& group) {
    if (group && group->size() > kGroupMaximum)
        throw Failure(kWrongUsage, "A name has at most " + std::to_string(kGroupMaximum) + " characters.");
    if (!IsKnown(group))
        throw Failure(kRefused, "Nothing was set: this machine knows no group, account or SID \"" + *group + "\".");
    const auto key = VexaUtils::RegistryKey::OpenOrCreate(VexaUtils::TuningKeyPath());
    const bool isDone =
        key && (group ? key->SetText(kAccessGroupValue, *group) : key->DeleteValue(kAccessGroupValue)) == 0;
    if (!isDone)
        Refuse("the registry cannot be written", -1, ". Run this as an administrator.");
    Tell(options, "From the next start of the service on, " + WhoMayConnect(group, true) + ".", group, true);
}

}  // namespace

void AddAccessCommands(Command app, const Options& options) {
    auto access = app.AddCommand("access", "Chooses who may connect to the manager and its instances");
    access.NeedCommand();
    access.AddCommand("show", "Shows who may connect").OnRun([&options] {
        const auto group = AccessGroup();
        const bool isKnown = IsKnown(group);
        Tell(options, "By its settings, " + WhoMayConnect(group, isKnown) + ".", group, isKnown);
    });
    auto set = access.AddCommand("set", "Chooses who may connect, from the next start of the service on");
    auto group = std::make_shared<std::string>();
    set.Add("GROUP", *group, "The local group, account or SID that may connect besides administrators, or \"everyone\"")
        .Required();
    set.OnRun([group, &options] { Set(options, *group == kEveryone ? std::nullopt : std::optional(*group)); });
}

}  // namespace kivctl
