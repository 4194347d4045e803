#include "protocols/kivctl/KnownSettings.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/Words.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBOperation.h"

namespace kivctl {

namespace {

using Counts = KnownSetting::Counts;

constexpr std::uint32_t kAny = std::numeric_limits<std::uint32_t>::max();
constexpr auto kLastType = static_cast<std::uint32_t>(VexaDB::kProtocolNames.size() - 1);
constexpr bool kNumber = true;
constexpr bool kText = false;

constexpr const char* kEveryStart = "at every start";
constexpr const char* kBeforeStart = "before every start";
constexpr const char* kTakenUp = "when the manager loads the instance";
constexpr const char* kServiceStart = "when the service starts";
constexpr const char* kProcessStart = "by the process, at its start";
constexpr const char* kProgramStart = "by every program, at its start";

constexpr KnownSetting kKnown[] = {
    {Scope::Instance, "enabled", kNumber, "0", 1, kEveryStart, Counts::Soon},
    {Scope::Instance, "type", kNumber, "0", kLastType, kTakenUp, Counts::ServiceRestart},
    {Scope::Instance, "protocol", kText, "", 0, kTakenUp, Counts::ServiceRestart},
    {Scope::Instance, "port", kText, "", 0, kBeforeStart, Counts::Restart},
    {Scope::Instance, "owner", kNumber, "0", kAny, kBeforeStart, Counts::Soon},
    {Scope::Instance, "mode", kText, "", 0, kBeforeStart, Counts::Restart},
    {Scope::Instance, "emultype", kText, "", 0, kBeforeStart, Counts::Restart},
    {Scope::Instance, "hardware", kNumber, "0", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Instance, "producersize", kText, "", 0, kServiceStart, Counts::ServiceRestart},
    {Scope::Instance, "consumersize", kText, "", 0, kServiceStart, Counts::ServiceRestart},
    {Scope::Instance, "configsize", kText, "", 0, kServiceStart, Counts::ServiceRestart},
    {Scope::Instance, "lasterror", kNumber, "0", kAny, "when the status is asked for", Counts::Soon},
    {Scope::Instance, "samplemode", kText, "", 0, kProcessStart, Counts::Restart},
    {Scope::Instance, "startfail", kNumber, "0", kAny, kProcessStart, Counts::Restart},

    {Scope::Global, "ipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "starttimeout", kNumber, "10000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "stoptimeout", kNumber, "50000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "monitorwaittime", kNumber, "300000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "restartdelay", kNumber, "0", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "disabledprotocols", kText, "", 0, kTakenUp, Counts::ServiceRestart},
    {Scope::Global, "fpgadelayedstart", kNumber, "7000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "accessgroup", kText, "", 0, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "logtype", kText, "", 0, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "logfile", kText, "", 0, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "logcolor", kNumber, "1", kAny, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "loglevel", kText, "info", 0, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "logmaxsize", kNumber, "0", kAny, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "logkeep", kNumber, "0", kAny, kProgramStart, Counts::ServiceRestart},
    {Scope::Global, "ipcstatenabled", kNumber, "0", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "ipcmeasurelog", kNumber, "0", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "vexadbipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "cclinkipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "eipipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "modbusipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "profinetipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
    {Scope::Global, "managerclientipctimeout", kNumber, "5000", kAny, kServiceStart, Counts::ServiceRestart},
};

}  // namespace

const KnownSetting* FindKnown(Scope scope, const std::string& name) {
    const auto* const found = std::ranges::find_if(kKnown, [&](const KnownSetting& known) {
        return known.scope == scope && VexaDB::IsSameSetting(known.name, name);
    });
    return found == std::end(kKnown) ? nullptr : found;
}

std::vector<std::string> KnownNames(Scope scope) {
    std::vector<std::string> names;
    for (const auto& known : kKnown)
        if (known.scope == scope)
            names.emplace_back(known.name);
    return names;
}

SettingValue ValueFor(Scope scope, const std::string& setting, const std::string& text, const ValueFlags& flags,
                      const std::optional<SettingValue>& present) {
    const auto* known = FindKnown(scope, setting);
    if (!known && !present && !flags.isNew) {
        const auto hint = DidYouMean(setting, KnownNames(scope));
        throw Failure(kWrongUsage, "kivctl knows no setting \"" + setting + "\", and it does not exist yet" +
                                       (hint.empty() ? "." : hint) + " --new sets it anyway.");
    }
    const auto knownKind = known && known->isNumber ? SettingValue(0u) : SettingValue(std::string());
    auto value = ParseValue(text, flags.kind, present || !known ? present : std::optional(knownKind));
    const auto* number = std::get_if<std::uint32_t>(&value);
    if (known && number && *number > known->most)
        throw Failure(kWrongUsage, "\"" + setting + "\" is a number from 0 to " + std::to_string(known->most) +
                                       ", not " + text + ".");
    return value;
}

std::string RestartHint(Scope scope, const std::string& setting, const std::string& instance, bool isRunning) {
    const auto* known = FindKnown(scope, setting);
    // An unknown setting belongs to the protocol, which reads its settings when its process starts.
    const auto counts = known ? known->counts : Counts::Restart;
    if (counts == Counts::ServiceRestart || (scope == Scope::Global && counts == Counts::Restart))
        return " It takes effect at the manager's next start: kivctl service restart";
    if (counts == Counts::Restart && isRunning)
        return " It takes effect at the instance's next start: kivctl restart \"" + instance + "\"";
    return "";
}

void PrintSettings(Scope scope, const std::vector<Setting>& present, bool withAbsent, const Options& options) {
    Table table({"SETTING", "KIND", "VALUE", "DEFAULT", "READ"});
    auto list = Json::array();
    const auto add = [&](const std::string& name, const char* kind, const std::optional<SettingValue>& value,
                         const KnownSetting* known) {
        table.AddRow({name, kind, value ? ValueText(*value) : "", known ? known->byDefault : "",
                      known ? known->read : "by the protocol"});
        list.push_back({{"setting", ToUtf8(name)},
                        {"kind", kind},
                        {"value", value ? ValueJson(*value) : Json()},
                        {"default", known ? Json(known->byDefault) : Json()},
                        {"read", known ? Json(known->read) : Json()}});
    };
    for (const auto& setting : present)
        add(setting.name, KindName(setting.value), setting.value, FindKnown(scope, setting.name));
    for (const auto& known : kKnown) {
        const bool isThere = std::ranges::any_of(
            present, [&](const Setting& setting) { return VexaDB::IsSameSetting(setting.name, known.name); });
        if (withAbsent && known.scope == scope && !isThere)
            add(known.name, known.isNumber ? "number" : "string", std::nullopt, &known);
    }
    Print(table, list, options);
}

}  // namespace kivctl
