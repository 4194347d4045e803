#include <filesystem>
#include <system_error>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/logging/Logger.h"
#include "utils/registry/Registry.h"
#include "utils/registry/RegistryKey.h"

namespace kivctl {

namespace {

constexpr const char* kTypeValue = "logtype";
constexpr const char* kFileValue = "logfile";
constexpr const char* kColourValue = "logcolor";
constexpr std::size_t kPathMaximum = 255;  // characters that the logger reads

/// The tuning values, each empty when it is not set.
struct LogChoice {
    std::optional<std::string> type;
    std::optional<std::string> file;
    std::optional<std::uint32_t> colour;

    /// Where a log file is, when there is one.
    std::string File() const { return file.value_or(Logging::DefaultLogFile()); }
    std::string Meaning() const {
        if (type == "console")
            return "the console of each process";
        if (type == "file")
            return "the file " + File() + (colour.value_or(1) != 0 ? ", with colour codes" : ", without colour codes");
        return "event tracing, where EtwVexaProviderX64.dll is installed; nothing is logged without it";
    }
};

LogChoice ReadChoice() {
    const auto tuning = VexaUtils::Registry::Make(VexaUtils::kTuningKey);
    LogChoice choice;
    if (tuning->Open() != 0)
        return choice;
    std::string text;
    std::uint32_t number = 0;
    if (tuning->GetString(kTypeValue, text) == 0)
        choice.type = text;
    if (tuning->GetString(kFileValue, text) == 0)
        choice.file = text;
    if (tuning->GetUint32(kColourValue, number) == 0)
        choice.colour = number;
    return choice;
}

void AddShow(CLI::App& log, const Options& options) {
    auto* command = log.add_subcommand("show", "Shows where the programs log to");
    command->callback([&options] {
        const auto choice = ReadChoice();
        if (options.json)
            return PrintJson({{kTypeValue, choice.type ? Json(ToUtf8(*choice.type)) : Json()},
                              {kFileValue, choice.file ? Json(ToUtf8(*choice.file)) : Json()},
                              {kColourValue, choice.colour ? Json(*choice.colour) : Json()},
                              {"meaning", ToUtf8(choice.Meaning())}});
        PrintLine("Logging to " + choice.Meaning() + ".");
        Table table({"VALUE", "SET TO"});
        table.AddRow({kTypeValue, choice.type.value_or("")});
        table.AddRow({kFileValue, choice.file.value_or("")});
        table.AddRow({kColourValue, choice.colour ? std::to_string(*choice.colour) : ""});
        table.Print();
    });
}

/// The path of a text of the narrow code page, in which this program's texts are.
std::filesystem::path PathOf(const std::string& narrow) {
    const auto utf8 = ToUtf8(narrow);
    return std::u8string(utf8.begin(), utf8.end());
}

/// The same for whatever folder the programs run in.
std::string AbsolutePath(const std::string& file) {
    const auto utf8 = std::filesystem::absolute(PathOf(file)).u8string();
    const auto narrow = FromUtf8({utf8.begin(), utf8.end()});
    if (!narrow)
        throw Failure(kWrongUsage, "The folder's name has characters that the system's code page has not.");
    return *narrow;
}

/// The programs do not make the folder of their log file, and log nothing without it.
void MakeFolder(const std::string& file) {
    const auto folder = PathOf(file).parent_path();
    std::error_code error;
    if (!folder.empty())
        std::filesystem::create_directories(folder, error);  // no error when it is there
    if (error)
        throw Failure(kRefused, "Nothing was set: the folder of the log file cannot be made: " + file);
}

void AddSet(CLI::App& log, const Options& options) {
    auto* command = log.add_subcommand("set", "Chooses where the programs log to, from their next start on");
    auto type = std::make_shared<std::string>();
    auto file = std::make_shared<std::string>();
    auto colour = std::make_shared<std::string>();
    command->add_option("TYPE", *type, "console, file or etw (event tracing)")
        ->required()
        ->check(CLI::IsMember({"console", "file", "etw"}));
    command->add_option("PATH", *file, "The log file; without it, the one set before or the default");
    command->add_option("--color", *colour, "Colour codes in the log file")->check(CLI::IsMember({"on", "off"}));
    command->callback([=, &options] {
        if (!file->empty() && *type != "file")
            throw Failure(kWrongUsage, "A path goes with \"file\" only.");
        if (!file->empty())
            *file = AbsolutePath(*file);
        if (!file->empty() && !PathOf(*file).has_filename())
            throw Failure(kWrongUsage, "The path names a folder; name a file in it.");
        if (file->size() > kPathMaximum)
            throw Failure(kWrongUsage, "The path has " + std::to_string(file->size()) + " characters; at most " +
                                           std::to_string(kPathMaximum) + " are possible.");
        if (*type == "file")
            MakeFolder(file->empty() ? ReadChoice().File() : *file);
        const auto key =
            VexaUtils::RegistryKey::OpenOrCreate(std::string(VexaUtils::kProductKey) + VexaUtils::kTuningKey);
        const bool written = key && key->SetText(kTypeValue, *type) == 0 &&
                             (file->empty() || key->SetText(kFileValue, *file) == 0) &&
                             (colour->empty() || key->SetNumber(kColourValue, *colour == "on" ? 1 : 0) == 0);
        if (!written)
            throw Failure(kRefused, "Refused: the registry cannot be written. Run this as an administrator.", -1);
        if (!options.json)
            PrintLine("From their next start on, the programs log to " + ReadChoice().Meaning() + ".");
    });
}

}  // namespace

void AddLogCommands(CLI::App& app, const Options& options) {
    auto* log = app.add_subcommand("log", "Chooses where the manager and its children log to");
    log->require_subcommand(1);
    AddShow(*log, options);
    AddSet(*log, options);
}

}  // namespace kivctl
