// The machine's PATH: the folders in which every user's new programs find other programs by name.
#pragma once

#include <string>

namespace kivctl {

enum class [[nodiscard]] PathChange{Made, NotNeeded, Failed};

/// Adds the folder (a full path without a backslash at its end, in the narrow code page) as the last entry, or takes
/// every entry that names it out; letter case, quotes and a backslash at the end make no difference. The other entries
/// and the kind of the value stay as they are, and programs that run are told. Failed: no such value, the registry
/// refused (it needs an administrator), the folder's name holds a semicolon, or PATH would get longer than a process
/// can have it.
PathChange AddToMachinePath(const std::string& folder);
PathChange RemoveFromMachinePath(const std::string& folder);

}  // namespace kivctl
