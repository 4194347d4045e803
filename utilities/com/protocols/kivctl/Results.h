// What the manager's refusals mean to an operator, and what to do about them.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Views.h"

namespace kivctl {

/// Throws the Failure of a request that the manager refused, with the reason as far as it can be found.
void CheckResult(Manager& manager, const std::string& instance, std::int32_t result);
/// The same for a start: what it says of an instance that was to start, and what the log tells.
void CheckStart(Manager& manager, const std::string& instance, std::int32_t result);

/// Why an instance is not enabled and what to do; empty when it is, or the manager does not know it.
struct Disabled {
    std::string reason;
    std::string remedy;
};
Disabled WhyDisabled(Manager& manager, const std::string& instance);

/// The instance of the same type that stands in the way of this one's port, by the manager's rule; empty when none
/// does.
std::string PortOwner(Manager& manager, const std::string& instance, std::uint32_t type);

/// What the log tells of the instance.
struct Trouble;
Trouble TroubleOf(Manager& manager, const std::string& instance);

}  // namespace kivctl
