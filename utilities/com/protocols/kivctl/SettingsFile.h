// The file of kivctl db export and import: the whole settings database as JSON.
//
//     {
//       "format": "kiv-settings-1",
//       "settings": { "monitorwaittime": 60000 },
//       "instances": { "Line 1": { "type": 7, "enabled": 1, "port": "502" } }
//     }
//
// A number is a number setting, a text a string setting; the order is kept. The file is UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocols/kivctl/Database.h"

namespace kivctl {

struct FileInstance {
    std::string name;  // empty: the database-wide settings
    int line = 0;
    std::vector<Setting> settings;
};

/// The database-wide settings, if the file has any, then the instances in the file's order. Throws Failure, which names
/// the line, for a text that is no such file or holds what the database cannot.
std::vector<FileInstance> ReadSettings(const std::string& text);

std::string WriteSettings(const std::vector<FileInstance>& instances);

}  // namespace kivctl
