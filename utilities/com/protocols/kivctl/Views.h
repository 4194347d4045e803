// The state of instances, as several commands show it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

/// What the manager and the database know about one instance.
struct InstanceView {
    std::string name;
    std::uint32_t type = 0;
    bool loaded = true;        // false: only the database has it
    bool toCome = false;       // not loaded yet: the starting manager has not reached it
    bool stored = true;        // false: only the manager has it
    bool busy = false;         // no status reply in time
    std::string trouble = {};  // why its state is unknown; empty when it is known
    ipc_mngctrl_status_reply status = {};
    std::optional<std::uint32_t> enabled = std::nullopt;
    std::optional<std::uint32_t> owner = std::nullopt;

    /// The error code as the child reported it; the status reply has its negative.
    std::uint32_t LastError() const { return 0 - std::uint32_t{status.lastError}; }
    bool IsKnown() const { return trouble.empty() && !busy; }
    bool IsRunning() const { return IsKnown() && loaded && status.status == kRunning; }
    /// Enabled (or that is unknown), but not running or not answering.
    bool IsFailed() const { return enabled.value_or(1) != 0 && !IsRunning(); }
    /// The state in one or two words: "running", "busy", "not loaded".
    std::string State() const;
    Colour StateColour() const;
    /// An explanation of the state for a person; may be empty.
    std::string Note() const;
};

/// Asks the manager for one instance. Throws Failure, with the nearest name, when it has none of that name.
InstanceView ViewOf(Manager& manager, const std::string& instance, std::uint32_t timeoutMs = kRequestTimeout);

/// All instances of the manager and the database, or those of one type, sorted by name. Up to eight status requests run
/// at the same time, each for at most a second, so that an instance that hangs does not delay the others.
std::vector<InstanceView> ViewAll(const Options& options, std::optional<std::uint32_t> type = std::nullopt);

/// "3 instances: 2 running, 1 not enabled"
std::string Summary(const std::vector<InstanceView>& views);

Json ViewJson(const InstanceView& view);

/// Throws the Failure for an instance that the manager does not have, with the nearest name.
[[noreturn]] void RefuseUnknown(Manager& manager, const std::string& instance, std::int32_t result);

}  // namespace kivctl
