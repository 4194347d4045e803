#include "protocols/kivctl/Database.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Words.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

namespace kivctl {

std::shared_ptr<VexaDB::VexaDBIPCClient> ReachDatabase(const Options& options) {
    return std::make_shared<VexaDB::VexaDBIPCClient>(
        Reach(VexaDB::kDatabaseServerName, options.TimeoutOr(kConnectTimeout)));
}

void CheckDatabaseResult(std::int32_t result, const std::string& what) {
    if (result == 0)
        return;
    const bool noAnswer = result == kIpcCannotSend || result == kIpcNoReply;
    throw Failure(noAnswer ? kNotReachable : kRefused,
                  what + ": " + ResultMeaning(result) + " (" + std::to_string(result) + ").", result);
}

std::vector<std::string> InstanceNames(VexaDB::VexaDBSession& database) {
    std::vector<std::string> names;
    CheckDatabaseResult(database.GetInstances(names), "The instances cannot be read");
    std::erase(names, "");
    return names;
}

namespace {

SettingValue Read(VexaDB::VexaDBSession& database, const std::string& instance, const VexaDB::SettingEntry& entry) {
    if (entry.kind == VexaDB::SettingKind::Number) {
        if (const auto number = database.ReadNumber(instance, entry.name))
            return *number;
    } else if (const auto text = database.ReadText(instance, entry.name)) {
        return *text;
    }
    throw Failure(kRefused, "The setting \"" + entry.name + "\" cannot be read.", -1);
}

}  // namespace

std::vector<Setting> Settings(VexaDB::VexaDBSession& database, const std::string& instance) {
    if (!instance.empty() && !database.IsInstanceExist(instance))
        throw Failure(kRefused, "The database has no instance \"" + instance + "\".", -1);
    std::vector<VexaDB::SettingEntry> entries;
    CheckDatabaseResult(database.GetInstanceSettings(instance, entries), "The settings cannot be read");
    std::vector<Setting> settings;
    for (const auto& entry : entries)
        settings.push_back({entry.name, Read(database, instance, entry)});
    return settings;
}

std::optional<SettingValue> FindSetting(VexaDB::VexaDBSession& database, const std::string& instance,
                                        const std::string& setting) {
    for (auto& found : Settings(database, instance))
        if (VexaDB::IsSameSetting(found.name, setting))
            return std::move(found.value);
    return std::nullopt;
}

const char* KindName(const SettingValue& value) {
    return std::holds_alternative<std::uint32_t>(value) ? "number" : "string";
}

std::string ValueText(const SettingValue& value) {
    if (const auto* number = std::get_if<std::uint32_t>(&value))
        return std::to_string(*number);
    return std::get<std::string>(value);
}

Json ValueJson(const SettingValue& value) {
    if (const auto* number = std::get_if<std::uint32_t>(&value))
        return *number;
    return ToUtf8(std::get<std::string>(value));
}

void PrintSetting(const std::string& instance, const Setting& setting, const Options& options) {
    if (!options.json)
        return PrintLine(ValueText(setting.value));
    PrintJson({{"instance", ToUtf8(instance)},
               {"setting", ToUtf8(setting.name)},
               {"kind", KindName(setting.value)},
               {"value", ValueJson(setting.value)}});
}

SettingValue ParseValue(const std::string& text, const KindFlags& kind, const std::optional<SettingValue>& present) {
    if (!kind.string && !kind.number && !present)
        throw Failure(kWrongUsage, "This setting is new: choose its kind with --string or --number.");
    const bool number = kind.number || (!kind.string && std::holds_alternative<std::uint32_t>(*present));
    if (present && std::holds_alternative<std::uint32_t>(*present) != number)
        throw Failure(kWrongUsage, std::string("This setting is a ") + KindName(*present) + ", and keeps its kind.");
    return number ? SettingValue(ParseNumber(text)) : SettingValue(text);
}

}  // namespace kivctl
