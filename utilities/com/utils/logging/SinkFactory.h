// Creates the sinks that depend on the platform.
#pragma once

#include <memory>

#include "utils/logging/ISink.h"

namespace Logging {

/// A sink that writes to the process's console; empty when the platform has none.
std::shared_ptr<ISink> MakeConsoleSink();

/// A sink for the system's event tracing, already opened; empty when the provider library is not installed. If the
/// library lacks an entry point, the sink drops every entry.
std::shared_ptr<ISink> MakeEventTracingSink();

}  // namespace Logging
