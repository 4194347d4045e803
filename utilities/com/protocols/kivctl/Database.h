// The settings database for the commands of kivctl.
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

/// A connected client; throws Failure when nothing serves the database. Each of its requests waits at most 5 s.
std::shared_ptr<VexaDB::VexaDBIPCClient> ReachDatabase(const Options& options);

/// Throws Failure when the result is not 0. `what` begins the message: "The setting cannot be written".
void CheckDatabaseResult(std::int32_t result, const std::string& what);

/// The names of the instances, without the empty name of the database-wide settings. Throws Failure when they cannot be
/// read.
std::vector<std::string> InstanceNames(VexaDB::VexaDBSession& database);

using SettingValue = std::variant<std::uint32_t, std::string>;

struct Setting {
    std::string name;
    SettingValue value;
    int line = 0;  // where a settings file has it, from 1; 0: not from a file
};

/// The settings of an instance in the database's order; an empty name means the database-wide settings. Throws Failure
/// when there is no such instance or a setting cannot be read.
std::vector<Setting> Settings(VexaDB::VexaDBSession& database, const std::string& instance);

/// The value of one setting; empty when there is none of that name. Otherwise like Settings.
std::optional<SettingValue> FindSetting(VexaDB::VexaDBSession& database, const std::string& instance,
                                        const std::string& setting);

/// "number" or "string".
const char* KindName(const SettingValue& value);
/// The value as an operator types it.
std::string ValueText(const SettingValue& value);
Json ValueJson(const SettingValue& value);

/// Prints the value; with --json also the instance, the name and the kind.
void PrintSetting(const std::string& instance, const Setting& setting, const Options& options);

/// The kind that the operator asks for with --string or --number; neither: the kind that the setting has.
struct KindFlags {
    bool string = false;
    bool number = false;
};

/// Makes a value of `text`: of the kind asked for, else of the kind of `present`. Throws Failure when there is neither,
/// when the two differ, since a setting keeps its kind, and when a number is wanted and `text` is none.
SettingValue ParseValue(const std::string& text, const KindFlags& kind, const std::optional<SettingValue>& present);

}  // namespace kivctl
