#include "protocols/kivctl/Import.h"

#include <algorithm>
#include <utility>

#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/Failure.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBOperation.h"

namespace kivctl {

namespace {

[[noreturn]] void FailAtLine(int line, const std::string& reason) {
    throw Failure(kWrongUsage, "Line " + std::to_string(line) + ": " + reason + ".");
}

std::uint32_t TypeOf(const FileInstance& instance) {
    for (const auto& setting : instance.settings) {
        const auto* type = std::get_if<std::uint32_t>(&setting.value);
        const bool isType = VexaDB::IsSameSetting(setting.name, VexaDB::kTypeSetting);
        if (isType && type && *type < VexaDB::kProtocolNames.size())
            return *type;
        if (isType)
            FailAtLine(setting.line, "a type is a number from 0 to 7");
    }
    FailAtLine(instance.line, "the new instance \"" + instance.name + "\" needs a \"type\"");
}

/// The settings that the database gives a new instance of the type.
std::vector<Setting> DefaultSettings(std::uint32_t type) {
    std::vector<Setting> settings;
    for (const auto& [name, kind, number, text] : VexaDB::NewInstanceSettings(type))
        settings.push_back({name, kind == VexaDB::SettingKind::Number ? SettingValue(number) : SettingValue(text)});
    return settings;
}

void PlanSettings(const FileInstance& instance, const std::vector<Setting>& present, std::vector<ImportChange>& plan) {
    for (const auto& wanted : instance.settings) {
        const auto found = std::find_if(present.begin(), present.end(), [&](const Setting& setting) {
            return VexaDB::IsSameSetting(setting.name, wanted.name);
        });
        if (found == present.end()) {
            plan.push_back({instance.name, wanted.name, std::nullopt, wanted.value});
            continue;
        }
        if (found->value.index() != wanted.value.index())
            FailAtLine(wanted.line, "\"" + wanted.name + "\" is a " + KindName(found->value) +
                                        " in the database and keeps its kind");
        if (found->value != wanted.value)
            plan.push_back({instance.name, wanted.name, found->value, wanted.value});
    }
}

std::int32_t Apply(VexaDB::VexaDBBatch& batch, const ImportChange& change) {
    if (change.setting.empty())
        return batch.AddInstance(change.instance, std::get<std::uint32_t>(change.to));
    if (const auto* number = std::get_if<std::uint32_t>(&change.to))
        return batch.SetUint32(change.instance, change.setting, *number);
    return batch.SetString(change.instance, change.setting, std::get<std::string>(change.to));
}

}  // namespace

std::vector<ImportChange> PlanImport(VexaDB::VexaDBSession& database, const std::vector<FileInstance>& file) {
    std::vector<ImportChange> plan;
    for (const auto& instance : file) {
        if (instance.name.empty() || database.IsInstanceExist(instance.name)) {
            PlanSettings(instance, Settings(database, instance.name), plan);
            continue;
        }
        if (IsReservedName(instance.name))
            FailAtLine(instance.line, "the manager itself serves as \"" + instance.name + "\"; choose another name");
        const auto type = TypeOf(instance);
        plan.push_back({instance.name, "", std::nullopt, type});
        PlanSettings(instance, DefaultSettings(type), plan);
    }
    return plan;
}

void ApplyImport(std::shared_ptr<VexaDB::VexaDBServerInterface> database, const std::vector<ImportChange>& changes) {
    VexaDB::VexaDBBatch batch(std::move(database));
    CheckDatabaseResult(batch.Begin(), "The settings database does not accept a batch");
    for (const auto& change : changes)
        if (const auto result = Apply(batch, change); result != 0) {
            batch.Reset();
            CheckDatabaseResult(result, "Nothing was changed: " + change.instance +
                                            (change.setting.empty() ? "" : "." + change.setting) + " was refused");
        }
    CheckDatabaseResult(batch.Commit(), "The commit failed");
}

}  // namespace kivctl
