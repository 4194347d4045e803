// Imports a settings file into the database: finds the differences and applies them as one batch.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocols/kivctl/SettingsFile.h"

namespace kivctl {

struct ImportChange {
    std::string instance;
    std::string setting;               // empty: the change adds the instance
    std::optional<SettingValue> from;  // empty: the setting does not exist yet
    SettingValue to;                   // for an added instance its type number
};

/// The changes after which the database has all that the file has, in the order in which they must be made. Instances
/// and settings that the file does not mention stay. Throws Failure, which names the line, for a change that the
/// database would refuse.
std::vector<ImportChange> PlanImport(VexaDB::VexaDBSession& database, const std::vector<FileInstance>& file);

/// Applies the changes as one batch with one commit. Throws Failure when one is refused, before anything was changed,
/// or when the commit fails. A commit that succeeds may still have made only some of the changes.
void ApplyImport(std::shared_ptr<VexaDB::VexaDBServerInterface> database, const std::vector<ImportChange>& changes);

}  // namespace kivctl
