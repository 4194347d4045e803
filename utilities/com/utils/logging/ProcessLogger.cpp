// The logger of a program. GetInstance has a file of its own, so that a library that other programs load can define
// another one.
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

/// Creates the logger while the process starts, so that no log call has to.
[[maybe_unused]] const bool madeAtStartUp = Logger::GetInstance() != nullptr;

}  // namespace

}  // namespace Logging
