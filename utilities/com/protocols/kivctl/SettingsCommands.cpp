// settings, get, set: reads and changes the settings of an instance. get and set ask the manager, settings the
// database.

#include <memory>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Results.h"

namespace kivctl {

namespace {

/// The value of a setting; empty when the instance has no setting of that name.
std::optional<SettingValue> ValueOf(Manager& manager, const std::string& instance, const std::string& setting) {
    const auto status = manager.Status(instance);
    CheckResult(manager, instance, status.result);
    if (auto text = manager.GetString(instance, setting))
        return text;
    return manager.GetNumber(instance, setting);
}

void AddGet(Command app, const Options& options) {
    auto command = app.AddCommand("get", "Prints a setting of an instance");
    const auto name = NameArgument(command, "NAME", "The instance");
    const auto setting = NameArgument(command, "SETTING", "The setting");
    command.OnRun([=, &options] {
        Manager manager(options);
        const auto value = ValueOf(manager, *name, *setting);
        if (!value)
            Refuse("\"" + *name + "\" has no setting \"" + *setting + "\"", kManagerFailure);
        PrintSetting(*name, {*setting, *value}, options);
    });
}

void AddSet(Command app, const Options& options) {
    auto command = app.AddCommand("set", "Sets a setting of an instance");
    const auto name = NameArgument(command, "NAME", "The instance");
    const auto setting = NameArgument(command, "SETTING", "The setting");
    const auto text = TextArgument(command, "VALUE", "Its new value");
    const auto flags = AddValueFlags(command);
    command.OnRun([=, &options] {
        Manager manager(options);
        const auto value = ValueFor(Scope::Instance, *setting, *text, *flags, ValueOf(manager, *name, *setting));
        const auto* number = std::get_if<std::uint32_t>(&value);
        CheckResult(manager, *name,
                    number ? manager.SetNumber(*name, *setting, *number) : manager.SetString(*name, *setting, *text));
        const bool isRunning = manager.Status(*name).processId != 0;
        Say(options,
            "Set " + *setting + " of " + *name + " to " + *text + "." +
                RestartHint(Scope::Instance, *setting, *name, isRunning),
            {{"instance", ToUtf8(*name)}, {"setting", ToUtf8(*setting)}, {"value", ValueJson(value)}});
    });
}

}  // namespace

void AddSettingsCommand(Command app, const Options& options) {
    auto command = app.AddCommand("settings", "Lists the settings of an instance, or the database-wide ones");
    auto name = std::make_shared<std::string>();
    auto global = std::make_shared<bool>(false);
    auto all = std::make_shared<bool>(false);
    command.Add("NAME", *name, "The instance").Checked(FitsRequest);
    command.AddFlag("-g,--global", *global, "The database-wide settings, also those that are not set");
    command.AddFlag("--all", *all, "Also the known settings that the instance does not have");
    command.OnRun([=, &options] {
        if (*global != name->empty())
            throw Failure(kWrongUsage, "Name an instance, or give --global for the database-wide settings.");
        VexaDB::VexaDBSession database(ReachDatabase(options));
        PrintSettings(*global ? Scope::Global : Scope::Instance, Settings(database, *name), *global || *all, options);
    });
}

void AddSettingsCommands(Command app, const Options& options) {
    AddSettingsCommand(app, options);
    AddGet(app, options);
    AddSet(app, options);
}

}  // namespace kivctl
