// The settings that kivctl service install writes.
#pragma once

#include <string>
#include <vector>

#include "utils/registry/RegistryKey.h"

namespace kivctl {

/// Writes the settings that the machine does not have yet, and returns those that it wrote: where the programs log, how
/// much of the log is kept, and how long the manager waits before it restarts a child. A value that exists stays, of
/// whatever kind it is. Throws Failure when the registry cannot be read or written.
std::vector<VexaUtils::NamedRegistryValue> WriteInitialSettings();

}  // namespace kivctl
