// The logger of the DLL in place of the programs' logger. It writes nothing: other people's programs load the DLL, and
// their lines do not belong in the machine's log.
#include "utils/logging/Logger.h"

std::shared_ptr<Logging::Logger> Logging::Logger::GetInstance() {
    // Never destroyed: static objects may log while the process ends.
    static const auto& instance = *new std::shared_ptr<Logger>(std::make_shared<Logger>(std::shared_ptr<ISink>()));
    return instance;
}
