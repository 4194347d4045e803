// Who may open the pipes of this machine's servers, as its tuning values say.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "utils/sync/impl/win/SecurityAttributes.h"

/// The tuning value that names a local group, an account or an identifier (S-1-...).
inline constexpr const char* kAccessGroupValue = "accessgroup";

/// What it says; nothing when everyone may connect, and the empty name, which is nobody's, when the value is no text or
/// too long. Any thread.
std::optional<std::string> AccessGroup();

/// For the pipes of the server `serverName`, which is told in the log: everyone, or, once the tuning value is there,
/// the system, administrators, this process's own account and the group that it names. A group that the system does not
/// know gets a line at Error, and nobody is let in for it. Read anew at each call. Any thread.
std::vector<AccessGrant> PipeAccess(const std::string& serverName);
