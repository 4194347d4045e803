// The native build has neither a Windows console nor event tracing.
#include "utils/logging/SinkFactory.h"

namespace Logging {

std::shared_ptr<ISink> MakeConsoleSink() {
    return nullptr;
}

std::shared_ptr<ISink> MakeEventTracingSink() {
    return nullptr;
}

}  // namespace Logging
