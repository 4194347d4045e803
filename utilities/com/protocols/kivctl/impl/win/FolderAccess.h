// Finds out who may change the programs of a folder. A user who can replace a service's program gets the service's
// rights.
#pragma once

#include <string>
#include <vector>

namespace kivctl {

/// A file or folder, and the groups of ordinary users that may change it.
struct OpenToUsers {
    std::string path;
    std::vector<std::string> groups;
};

/// Returns those of the files and folders (full paths, in the narrow code page) that the group Everyone, Authenticated
/// Users, Users or INTERACTIVE may write to, add to, delete, or give other permissions or another owner. Ignores the
/// entries that deny access. Throws Failure when the permissions of a path cannot be read. Any thread.
std::vector<OpenToUsers> FindOpenToUsers(const std::vector<std::string>& paths);

}  // namespace kivctl
