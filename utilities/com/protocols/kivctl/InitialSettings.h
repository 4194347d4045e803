// The settings that a machine gets when the service is installed on it.
#pragma once

#include <string>
#include <vector>

#include "utils/registry/RegistryKey.h"

namespace kivctl {

/// Writes those of them that the machine lacks, and returns what it wrote: where to log and how much of it is kept, and
/// after which time a child that ended by itself is started again. A value that is there stays, of whatever kind it is.
/// Throws Failure when the registry refuses.
std::vector<VexaUtils::NamedRegistryValue> WriteInitialSettings();

}  // namespace kivctl
