// The settings that the manager, the sample protocol and the log read: kind, default, range, and when a change takes
// effect. Protocols may have other settings, which kivctl does not know.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/kivctl/Database.h"

namespace kivctl {

/// A setting belongs to one instance or to the whole machine. Global covers the database-wide settings and the tuning
/// values, which have the same registry key.
enum class Scope { Instance, Global };

struct KnownSetting {
    Scope scope;
    const char* name;
    bool isNumber;
    const char* byDefault;  // the value used when the setting is absent; "" for none
    std::uint32_t most;     // the largest valid number; 0 for a text
    const char* read;       // when it is read: "at every start"
    /// When a change takes effect: soon, at the instance's next start, or at the service's next start.
    enum class Counts { Soon, Restart, ServiceRestart } counts;
};

/// Finds a known setting, in any letter case; null when kivctl does not know it.
const KnownSetting* FindKnown(Scope scope, const std::string& name);
/// The instances' settings or the global ones, in the order in which kivctl lists them.
std::vector<std::string> KnownNames(Scope scope);

/// The flags --string, --number and --new of a command that sets a setting.
struct ValueFlags {
    KindFlags kind;
    bool isNew = false;  // allow a setting that neither kivctl nor the database knows
};

/// Makes a value of `text`, of the kind that the setting has (`present`) or is known to have. Throws Failure for an
/// unknown setting, with the nearest known name, and for a value of another kind or out of the known range.
SettingValue ValueFor(Scope scope, const std::string& setting, const std::string& text, const ValueFlags& flags,
                      const std::optional<SettingValue>& present);

/// A sentence, with a space before it, that says which restart makes the new value take effect; empty when none is
/// needed.
std::string RestartHint(Scope scope, const std::string& setting, const std::string& instance, bool isRunning);

/// Prints settings with kind, value, default and when they are read. With `withAbsent`, adds the known settings that
/// are not in `present`.
void PrintSettings(Scope scope, const std::vector<Setting>& present, bool withAbsent, const Options& options);

}  // namespace kivctl
