// The native build has neither a Windows console nor event tracing.
#include "utils/logging/SinkFactory.h"

std::shared_ptr<Logging::ISink> Logging::MakeConsoleSink() {
    return nullptr;
}

std::shared_ptr<Logging::ISink> Logging::MakeEventTracingSink() {
    return nullptr;
}
