// Explains a refusal of the manager to the operator: the reason, and what to do about it.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Views.h"

namespace kivctl {

/// Returns when `result` is 0. Otherwise throws Failure with the reason for the refusal, as far as it can be found.
void CheckResult(Manager& manager, const std::string& instance, std::int32_t result);
/// The same for the result of a start or restart. The Failure also says why the instance does not run, with the lines
/// of the log about it; finding them may take 0.4 s.
void CheckStart(Manager& manager, const std::string& instance, std::int32_t result);

/// Why an instance may not be started and what to do about it. Both texts are empty when it may be started, or the
/// manager does not know it.
struct Disabled {
    std::string reason;
    std::string remedy;
};
Disabled WhyDisabled(Manager& manager, const std::string& instance);

/// The name of an instance of the same type that owns the port this one needs, by the manager's rule; empty when there
/// is none.
std::string PortOwner(Manager& manager, const std::string& instance, std::uint32_t type);

/// What the recent log tells about the instance; see FindTrouble.
struct Trouble;
Trouble TroubleOf(Manager& manager, const std::string& instance);

}  // namespace kivctl
