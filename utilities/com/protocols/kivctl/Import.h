// Bringing a settings file into the database: what differs, and applying it as one batch.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocols/kivctl/SettingsFile.h"

namespace kivctl {

struct ImportChange {
    std::string instance;
    std::string setting;               // empty: the instance itself is added
    std::optional<SettingValue> from;  // empty: it is not there yet
    SettingValue to;                   // of an added instance: its type number
};

/// What has to change for the database to hold all that the file holds, in an order in which it can be done. Instances
/// and settings that the file does not mention stay. Throws Failure, which names the line, when the file asks for what
/// the database cannot do.
std::vector<ImportChange> PlanImport(VexaDB::VexaDBSession& database, const std::vector<FileInstance>& file);

/// Applies the changes as one batch with one commit. Throws Failure when one is refused; nothing has changed then.
void ApplyImport(std::shared_ptr<VexaDB::VexaDBServerInterface> database, const std::vector<ImportChange>& changes);

}  // namespace kivctl
