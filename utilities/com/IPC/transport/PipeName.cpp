#include "IPC/transport/PipeName.h"

#include <ios>
#include <sstream>

std::string PipeName(const std::string& serverName) {
    std::ostringstream name;
    name << R"(\\.\pipe\vexa-)" << serverName << std::hex;
    for (const char character : serverName)
        name << static_cast<int>(static_cast<signed char>(character));
    return name.str();
}
