// The pipe name by which clients find a server.
#pragma once

#include <string>

/// "\\.\pipe\vexa-", the server name, then each of its characters as a signed value in lower-case hexadecimal without
/// padding (a character above 127 gives eight digits).
std::string PipeName(const std::string& serverName);
