// The settings database, as kivctl's commands reach it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Options.h"
#include "utils/VexaDB/class/VexaDBIPCClient.h"
#include "utils/VexaDB/class/VexaDBSession.h"

namespace kivctl {

/// Connected; throws Failure when the database is not served. Its requests end after their own 5 s each.
std::shared_ptr<VexaDB::VexaDBIPCClient> ReachDatabase(const Options& options);

/// Throws Failure when the result is not 0; `what` is the sentence's beginning: "Setting X cannot be written".
void CheckDatabaseResult(std::int32_t result, const std::string& what);

/// The instances, without the empty name of the database-wide settings.
std::vector<std::string> InstanceNames(VexaDB::VexaDBSession& database);

using SettingValue = std::variant<std::uint32_t, std::string>;

struct Setting {
    std::string name;
    SettingValue value;
    int line = 0;  // in a settings file
};

/// The settings of an instance, or with the empty name the database-wide ones, in the database's order. Throws Failure
/// when there is no such instance.
std::vector<Setting> Settings(VexaDB::VexaDBSession& database, const std::string& instance);

/// The setting's value; empty when the instance, or the database, has none of that name.
std::optional<SettingValue> FindSetting(VexaDB::VexaDBSession& database, const std::string& instance,
                                        const std::string& setting);

const char* KindName(const SettingValue& value);
/// The value alone, as an operator types it.
std::string ValueText(const SettingValue& value);
Json ValueJson(const SettingValue& value);

/// Prints the value alone, or as JSON with what it belongs to.
void PrintSetting(const std::string& instance, const Setting& setting, const Options& options);

/// Of which kind the operator wants a setting to be; neither: of the kind it has.
struct KindFlags {
    bool string = false;
    bool number = false;
};

/// The value that `text` stands for: of the kind asked for, else of the kind that `present` has. Throws Failure when
/// neither says, and when they differ, since a setting keeps its kind.
SettingValue ParseValue(const std::string& text, const KindFlags& kind, const std::optional<SettingValue>& present);

}  // namespace kivctl
