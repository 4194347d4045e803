#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/Import.h"
#include "protocols/kivctl/KnownSettings.h"
#include "protocols/kivctl/Manager.h"
#include "protocols/kivctl/Paths.h"
#include "protocols/kivctl/Selection.h"
#include "protocols/kivctl/SettingsFile.h"
#include "utils/logging/LogSettings.h"

namespace kivctl {

namespace {

constexpr const char* kStandardStream = "-";

/// The words of a command that addresses a setting: "NAME SETTING ..." for one of an instance, or with --global
/// "SETTING ..." for a database-wide one.
struct Address {
    std::vector<std::string> words;
    bool global = false;

    /// `count` is the number of words for an instance's setting; a database-wide one takes one less. Throws Failure
    /// when the number is wrong or a name is empty.
    void Check(std::size_t count) const {
        if (words.size() + (global ? 1 : 0) != count)
            throw Failure(kWrongUsage, "Wrong number of words; --help after the command lists them.");
        if ((!global && words[0].empty()) || Setting().empty())
            throw Failure(kWrongUsage, "A name is empty; --global is for database-wide settings.");
    }
    std::string Instance() const { return global ? "" : words[0]; }
    const std::string& Setting() const { return words[global ? 0 : 1]; }
    const std::string& Value() const { return words[global ? 1 : 2]; }
};

std::shared_ptr<Address> AddAddress(Command command, const std::string& words, int count) {
    auto address = std::make_shared<Address>();
    command.Add("WORDS", address->words, "NAME " + words + ", or with --global " + words)
        .Required()
        .Takes(1, count)
        .Checked(FitsRequest);
    command.AddFlag("-g,--global", address->global, "The setting is database-wide; no instance is named");
    return address;
}

void AddInstances(Command db, const Options& options) {
    auto command = db.AddCommand("instances", "Lists the instances of the database with their types");
    command.OnRun([&options] {
        VexaDB::VexaDBSession database(ReachDatabase(options));
        Table table({"NAME", "TYPE", "PROTOCOL", "ENABLED"});
        auto list = Json::array();
        for (const auto& name : InstanceNames(database)) {
            const auto type = database.Number(name, "type");
            const auto protocol = database.Text(name, "protocol");
            const auto enabled = database.Number(name, "enabled");
            table.AddRow({name, TypeName(type), protocol, std::to_string(enabled)});
            list.push_back({{"name", ToUtf8(name)},
                            {"type", TypeName(type)},
                            {"typeNumber", type},
                            {"protocol", ToUtf8(protocol)},
                            {"enabled", enabled}});
        }
        Print(table, list, options);
    });
}

void AddDatabaseGet(Command db, const Options& options) {
    constexpr int words = 2;
    auto command = db.AddCommand("get", "Prints a setting of an instance, or a database-wide one");
    const auto address = AddAddress(command, "SETTING", words);
    command.OnRun([=, &options] {
        address->Check(words);
        VexaDB::VexaDBSession database(ReachDatabase(options));
        const auto value = FindSetting(database, address->Instance(), address->Setting());
        const auto* known = FindKnown(address->global ? Scope::Global : Scope::Instance, address->Setting());
        if (!value)
            Refuse("there is no setting \"" + address->Setting() + "\"", -1,
                   known && *known->byDefault ? std::string("; its default is ") + known->byDefault + "." : ".");
        PrintSetting(address->Instance(), {address->Setting(), *value}, options);
    });
}

void AddDatabaseSet(Command db, const Options& options) {
    constexpr int words = 3;
    auto command = db.AddCommand("set", "Sets a setting of an instance, or a database-wide one");
    const auto address = AddAddress(command, "SETTING VALUE", words);
    const auto flags = AddValueFlags(command);
    command.OnRun([=, &options] {
        address->Check(words);
        const auto instance = address->Instance();
        const auto& name = address->Setting();
        const auto& text = address->Value();
        VexaDB::VexaDBSession database(ReachDatabase(options));
        const auto scope = address->global ? Scope::Global : Scope::Instance;
        const auto value = ValueFor(scope, name, text, *flags, FindSetting(database, instance, name));
        const auto* number = std::get_if<std::uint32_t>(&value);
        CheckDatabaseResult(
            number ? database.SetUint32(instance, name, *number) : database.SetString(instance, name, text),
            "The setting cannot be written");
        Say(options, "Set " + name + " to " + text + "." + RestartHint(scope, name, instance, true),
            {{"instance", ToUtf8(instance)}, {"setting", ToUtf8(name)}, {"value", ValueJson(value)}});
    });
}

/// Reads the whole database. Warns on the standard error output of settings that are left out or may have been cut.
std::vector<FileInstance> ReadDatabase(VexaDB::VexaDBSession& database) {
    auto names = InstanceNames(database);
    names.insert(names.begin(), "");
    std::vector<FileInstance> instances;
    for (const auto& name : names) {
        FileInstance instance{.name = name, .settings = {}};
        for (auto& setting : Settings(database, name)) {
            if (setting.name.empty()) {
                PrintError("A setting of \"" + name + "\" has no name and is left out.\n");
                continue;
            }
            if (ValueText(setting.value).size() == kNameMaximum)
                PrintError(name + "." + setting.name + " has " + std::to_string(kNameMaximum) +
                           " characters, the most that a request carries; the rest may be missing.\n");
            instance.settings.push_back(std::move(setting));
        }
        instances.push_back(std::move(instance));
    }
    return instances;
}

void AddExport(Command db, const Options& options) {
    auto command = db.AddCommand("export", "Writes the whole database to a JSON file");
    auto path = std::make_shared<std::string>();
    command.Add("FILE", *path, "The file; - is the standard output").Required();
    command.OnRun([=, &options] {
        VexaDB::VexaDBSession database(ReachDatabase(options));
        const auto instances = ReadDatabase(database);
        const auto text = WriteSettings(instances);
        if (*path == kStandardStream)
            return Print(text);
        std::ofstream file(*path, std::ios::binary);
        file << text << std::flush;
        if (!file)
            throw Failure(kRefused, "The file \"" + *path + "\" cannot be written: " + SystemReason() + ".");
        Say(options, "Instances written to " + *path + ": " + std::to_string(instances.size() - 1) + ".",
            {{"file", ToUtf8(*path)}, {"instances", instances.size() - 1}});
    });
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad())
        throw Failure(kWrongUsage, "The file \"" + path + "\" cannot be read: " + SystemReason() + ".");
    return text;
}

void PrintChanges(const std::vector<ImportChange>& changes) {
    Table table({"INSTANCE", "SETTING", "NOW", "IN THE FILE"});
    for (const auto& change : changes) {
        const bool added = change.setting.empty();
        table.AddRow({change.instance.empty() ? "(database-wide)" : change.instance,
                      added ? "(new instance)" : change.setting, change.from ? ValueText(*change.from) : "",
                      added ? "type " + ValueText(change.to) : ValueText(change.to)});
    }
    table.Print();
}

Json ChangesJson(const std::vector<ImportChange>& changes) {
    auto list = Json::array();
    for (const auto& change : changes)
        list.push_back({{"instance", ToUtf8(change.instance)},
                        {"setting", change.setting.empty() ? Json() : Json(ToUtf8(change.setting))},
                        {"from", change.from ? ValueJson(*change.from) : Json()},
                        {"to", ValueJson(change.to)}});
    return list;
}

/// Makes the folder of a new log file: without it the programs would log nothing after their next start.
void MakeLogFolder(const std::vector<ImportChange>& changes) {
    for (const auto& change : changes)
        if (change.instance.empty() && VexaDB::IsSameSetting(change.setting, Logging::kLogFileValue))
            RequireFolderOf(ValueText(change.to));
}

/// What became of the instances that the import added.
struct Loaded {
    std::size_t count = 0;
    std::string refused;  // why others stay "not loaded", a sentence each
};

/// Makes the manager load the instances that the import added.
Loaded LoadAdded(const std::vector<ImportChange>& changes, VexaDB::VexaDBSession& session, const Options& options) {
    Loaded loaded;
    Manager manager(options);
    for (const auto& change : changes) {
        if (!change.setting.empty())
            continue;
        try {
            Load(manager, session, change.instance);
            ++loaded.count;
        } catch (const Failure& failure) {
            loaded.refused += " " + change.instance + ": " + failure.what();
        }
    }
    return loaded;
}

void Import(const std::string& path, bool dryRun, const Options& options) {
    const auto file = ReadSettings(ReadWholeFile(path));
    const auto database = ReachDatabase(options);
    VexaDB::VexaDBSession session(database);
    const auto changes = PlanImport(session, file);
    Loaded loaded;
    if (!dryRun && !changes.empty()) {
        MakeLogFolder(changes);
        ApplyImport(database, changes);
        // A commit that stops at a change reports success all the same, so plan again and see what is missing.
        const auto missing = PlanImport(session, file);
        if (!missing.empty()) {
            if (!options.json)
                PrintChanges(missing);
            throw Failure(kRefused,
                          "Only a part of the file was imported: " + std::to_string(missing.size()) + " of " +
                              std::to_string(changes.size()) +
                              " changes are missing. The manager's log tells why; another import tries them again.",
                          -1);
        }
        loaded = LoadAdded(changes, session, options);
    }
    if (!loaded.refused.empty())
        throw Failure(kRefused, "All of the file was imported, but the manager did not load every new instance." +
                                    loaded.refused);
    if (options.json)
        return PrintJson({{"applied", !dryRun}, {"loaded", loaded.count}, {"changes", ChangesJson(changes)}});
    if (changes.empty())
        return PrintLine("The database already has all settings of the file.");
    if (dryRun)
        return PrintChanges(changes);
    PrintLine("Changes made in one commit: " + std::to_string(changes.size()) + ".");
    if (loaded.count != 0)
        PrintLine("The manager loaded " + Count(loaded.count, "new instance") + " and started none of them.");
}

void AddImport(Command db, const Options& options) {
    auto command = db.AddCommand("import", "Reads a file of db export into the database");
    command.SetFooter("All changes are made in one commit. Settings that the file does not mention stay as they are.");
    auto path = std::make_shared<std::string>();
    auto dryRun = std::make_shared<bool>(false);
    command.Add("FILE", *path, "The file").Required();
    command.AddFlag("--dry-run", *dryRun, "Show what the import would change, and change nothing");
    command.OnRun([=, &options] { Import(*path, *dryRun, options); });
}

}  // namespace

void AddDatabaseCommands(Command app, const Options& options) {
    auto db = app.AddCommand("db", "Reads and changes the settings database");
    db.NeedCommand();
    AddInstances(db, options);
    AddSettingsCommand(db, options);
    AddDatabaseGet(db, options);
    AddDatabaseSet(db, options);
    AddExport(db, options);
    AddImport(db, options);
}

}  // namespace kivctl
