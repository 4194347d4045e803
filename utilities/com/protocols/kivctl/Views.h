// How every instance is doing, as several commands show it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

struct InstanceView {
    std::string name;
    std::uint32_t type = 0;
    bool loaded = true;        // false: the database has it, the manager does not
    bool toCome = false;       // not loaded: its turn in the manager's start is still to come
    bool stored = true;        // false: the manager has it, the database does not
    bool busy = false;         // it gave no answer in time
    std::string trouble = {};  // why nothing is known of it
    ipc_mngctrl_status_reply status = {};
    std::optional<std::uint32_t> enabled = std::nullopt;
    std::optional<std::uint32_t> owner = std::nullopt;

    /// As the child wrote it; the manager hands out its negative.
    std::uint32_t LastError() const { return 0 - std::uint32_t{status.lastError}; }
    bool IsKnown() const { return trouble.empty() && !busy; }
    bool IsRunning() const { return IsKnown() && loaded && status.status == kRunning; }
    /// Enabled, and does not run, or does not answer.
    bool IsFailed() const { return enabled.value_or(1) != 0 && !IsRunning(); }
    /// One word or two: "running", "busy", "not loaded".
    std::string State() const;
    Colour StateColour() const;
    std::string Note() const;
};

/// The instance; throws Failure, with the nearest name, when the manager has none of that name.
InstanceView ViewOf(Manager& manager, const std::string& instance, std::uint32_t timeoutMs = kRequestTimeout);

/// Every instance of the manager and of the database, or those of one type, by name. Instances are asked side by side,
/// each for a second, so that one that hangs hides nobody.
std::vector<InstanceView> ViewAll(const Options& options, std::optional<std::uint32_t> type = std::nullopt);

/// "3 instances: 2 running, 1 not enabled"
std::string Summary(const std::vector<InstanceView>& views);

Json ViewJson(const InstanceView& view);

/// Throws the Failure of an instance that the manager does not have.
[[noreturn]] void RefuseUnknown(Manager& manager, const std::string& instance, std::int32_t result);

}  // namespace kivctl
