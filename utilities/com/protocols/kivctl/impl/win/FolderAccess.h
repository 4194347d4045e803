// Who may change the programs of a folder: whoever replaces the program of a service runs with the service's rights.
#pragma once

#include <string>
#include <vector>

namespace kivctl {

/// A file or folder, and those of the large groups of ordinary users that may write to it.
struct OpenToUsers {
    std::string path;
    std::vector<std::string> groups;
};

/// Of these files and folders (full paths, in the narrow code page) those that Everyone, Authenticated Users, Users or
/// INTERACTIVE may write to, add to, delete, or give other permissions or another owner. What the permissions deny is
/// not looked at. Throws Failure when a path's permissions cannot be read. Any thread.
std::vector<OpenToUsers> FindOpenToUsers(const std::vector<std::string>& paths);

}  // namespace kivctl
