// Who may open the pipes of this machine's servers: a tuning value decides.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "utils/sync/impl/win/SecurityAttributes.h"

/// The tuning value. Its text is the name of a local group or an account, or an identifier (S-1-...).
inline constexpr const char* kAccessGroupValue = "accessgroup";

/// The text of the tuning value. Nothing when the value is not set: everyone may connect. The empty name, which no
/// group has, when the value is not a text or is longer than 255 characters. Any thread.
std::optional<std::string> AccessGroup();

/// Who may open the pipes of the server `serverName` (a name for the log only). Without the tuning value: everyone.
/// With it: the group that it names, the system, administrators and this process's own account. When the system does
/// not know the group, an Error line says so, and the group is left out. Reads the value at each call. Any thread.
std::vector<AccessGrant> PipeAccess(const std::string& serverName);
