// The machine's PATH: the folders in which a console of any user looks for programs.
#pragma once

#include <string>

namespace kivctl {

enum class [[nodiscard]] PathChange{Made, NotNeeded, Failed};

/// Add the folder as the last entry, or remove every entry that names it. `folder` is a full path in the narrow code
/// page, without a backslash at its end; letter case, and quotes or a backslash in the entry, make no difference. The
/// other entries and the kind of the value stay as they are, and running programs are notified. Failed: there is no
/// PATH, the registry refused (only an administrator may write), the folder's name has a semicolon, or PATH would
/// become longer than the environment of a process allows.
PathChange AddToMachinePath(const std::string& folder);
PathChange RemoveFromMachinePath(const std::string& folder);

}  // namespace kivctl
