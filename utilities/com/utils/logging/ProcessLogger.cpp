// The logger of a program. It stands alone in its file, so that a library which is loaded into other people's programs
// can have one of its own instead.
#include "utils/logging/Logger.h"
#include "utils/platform/LastErrorKeeper.h"

namespace Logging {

std::shared_ptr<Logger> Logger::GetInstance() {
    // Never destroyed: static objects may log while the process ends.
    static const auto& instance = *[] {
        const platform::LastErrorKeeper lastError;
        return new std::shared_ptr<Logger>(std::make_shared<Logger>());
    }();
    return instance;
}

namespace {

/// Makes the logger while the process starts, not within somebody's first log call.
[[maybe_unused]] const bool madeAtStartUp = Logger::GetInstance() != nullptr;

}  // namespace

}  // namespace Logging
