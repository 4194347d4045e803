// What kivctl knows of the settings that the manager, the sample protocol and the log read: kind, default, range, and
// when a change counts. Protocols have settings of their own beside these.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "protocols/kivctl/Database.h"

namespace kivctl {

/// Whose setting it is: an instance's, or the whole machine's. Those of the machine are database-wide settings and
/// tuning values, which stand in one place.
enum class Scope { Instance, Global };

struct KnownSetting {
    Scope scope;
    const char* name;
    bool isNumber;
    const char* byDefault;  // what counts when it is absent; "" for nothing
    std::uint32_t most;     // of a number
    const char* read;       // when it is read: "at every start"
    /// What makes a change count: nothing, a restart of the instance, or one of the service.
    enum class Counts { Soon, Restart, ServiceRestart } counts;
};

/// In the order in which an operator meets them.
std::span<const KnownSetting> KnownSettings();
/// Null for a setting that kivctl does not know. Letter case does not count.
const KnownSetting* FindKnown(Scope scope, const std::string& name);
std::vector<std::string> KnownNames(Scope scope);

/// The flags that say what a new value is to be.
struct ValueFlags {
    KindFlags kind;
    bool isNew = false;  // also a setting that neither kivctl nor the database knows
};

/// The value that `text` stands for, of the kind that the setting has or is known to have. Throws Failure for an
/// unknown setting, with the nearest known one, and for a value of another kind or out of the known range.
SettingValue ValueFor(Scope scope, const std::string& setting, const std::string& text, const ValueFlags& flags,
                      const std::optional<SettingValue>& present);

/// What has to happen for a new value to count, as a sentence behind the command's own; empty when nothing has to.
std::string RestartHint(Scope scope, const std::string& setting, const std::string& instance, bool isRunning);

/// Shows settings with kind, value, default and when they are read: all that are there, and the known ones that are
/// not.
void PrintSettings(Scope scope, const std::vector<Setting>& present, bool withAbsent, const Options& options);

}  // namespace kivctl
