// The sinks that belong to a platform.
#pragma once

#include <memory>

#include "utils/logging/ISink.h"

namespace Logging {

/// A sink that writes to the process's console; empty when the platform has none.
std::shared_ptr<ISink> MakeConsoleSink();

/// An opened sink for the system's event tracing; empty when the provider library is not installed.
std::shared_ptr<ISink> MakeEventTracingSink();

}  // namespace Logging
