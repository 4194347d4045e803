// The file that kivctl db export writes and db import reads: the whole settings database as JSON.
//
//     {
//       "format": "kiv-settings-1",
//       "settings": { "monitorwaittime": 60000 },
//       "instances": { "Line 1": { "type": 7, "enabled": 1, "port": "502" } }
//     }
//
// A JSON number is a number setting, a JSON string is a string setting. The order of the file is kept. The file is
// UTF-8.
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

/// Parses the file's text: the database-wide settings first, if there are any, then the instances in the file's order.
/// Throws Failure, which names the line, when the text is not such a file or contains a value the database cannot
/// store.
std::vector<FileInstance> ReadSettings(const std::string& text);

/// The text of the file for these settings, in UTF-8.
std::string WriteSettings(const std::vector<FileInstance>& instances);

}  // namespace kivctl
