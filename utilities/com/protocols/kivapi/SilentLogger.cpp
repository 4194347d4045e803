// The logger of the DLL, in place of the one that a program has: it is loaded into other people's programs, whose lines
// have no business in the machine's log.
#include "utils/logging/Logger.h"

std::shared_ptr<Logging::Logger> Logging::Logger::GetInstance() {
    // Never destroyed: static objects may log while the process ends.
    static const auto& instance = *new std::shared_ptr<Logger>(std::make_shared<Logger>(std::shared_ptr<ISink>()));
    return instance;
}
