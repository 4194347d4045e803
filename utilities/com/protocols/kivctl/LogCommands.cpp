#include <nlohmann/json.hpp>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/LogFile.h"
#include "protocols/kivctl/Paths.h"
#include "utils/logging/LogSettings.h"
#include "utils/registry/Registry.h"
#include "utils/registry/RegistryKey.h"

namespace kivctl {

namespace {

using namespace Logging;

constexpr std::size_t kPathMaximum = 255;  // characters; the logger reads no more

std::string Meaning(const LogSettings& settings) {
    if (settings.type == kConsoleType)
        return "the console of each process";
    if (settings.type == kFileType)
        return "the file " + settings.File() +
               (settings.UsesColor() ? ", with colour codes" : ", without colour codes");
    return "event tracing, if EtwVexaProviderX64.dll is installed; nothing is logged without it";
}

std::string Text(const std::optional<std::uint32_t>& number) {
    return number ? std::to_string(*number) : "";
}

void AddLogShow(Command log, const Options& options) {
    auto command = log.AddCommand("show", "Shows where the programs log, and whether the log file is writable");
    command.OnRun([&options] {
        const auto settings = LogSettings::Read();
        const bool isFile = settings.type == kFileType;
        const auto file = isFile ? LookAtLogFile(settings.File()) : LogFileCondition();
        if (options.json)
            return PrintJson({{kLogTypeValue, settings.type ? Json(ToUtf8(*settings.type)) : Json()},
                              {kLogFileValue, settings.file ? Json(ToUtf8(*settings.file)) : Json()},
                              {kLogColorValue, settings.color ? Json(*settings.color) : Json()},
                              {kLogLevelValue, settings.level ? Json(ToUtf8(*settings.level)) : Json()},
                              {kLogMaxSizeValue, settings.maxSize ? Json(*settings.maxSize) : Json()},
                              {kLogKeepValue, settings.keep ? Json(*settings.keep) : Json()},
                              {"meaning", ToUtf8(Meaning(settings))},
                              {"problem", file.problem.empty() ? Json() : Json(ToUtf8(file.problem))},
                              {"bytes", file.size ? Json(*file.size) : Json()},
                              {"idleSeconds", file.size ? Json(file.idleSeconds) : Json()}});
        PrintLine("Logging to " + Meaning(settings) + ".");
        if (!file.problem.empty())
            PrintLine("The file cannot be written: " + file.problem + ".", Colour::Bad);
        else if (file.size)
            PrintLine("It has " + std::to_string(*file.size) + " bytes; its last line is " +
                      Duration(file.idleSeconds) + " old.");
        else if (isFile)
            PrintLine("The file does not exist yet: nothing was logged so far.");
        Table table({"VALUE", "SET TO"});
        table.AddRow({kLogTypeValue, settings.type.value_or("")});
        table.AddRow({kLogFileValue, settings.file.value_or("")});
        table.AddRow({kLogColorValue, Text(settings.color)});
        table.AddRow({kLogLevelValue, settings.level.value_or("")});
        table.AddRow({kLogMaxSizeValue, Text(settings.maxSize)});
        table.AddRow({kLogKeepValue, Text(settings.keep)});
        table.Print();
    });
}

void AddLogSet(Command log, const Options& options) {
    auto command = log.AddCommand("set", "Chooses where the programs log, from their next start on");
    auto type = std::make_shared<std::string>();
    auto file = std::make_shared<std::string>();
    auto colour = std::make_shared<std::string>();
    command.Add("TYPE", *type, "console, file or etw (event tracing)")
        .Required()
        .OneOf({kConsoleType, kFileType, "etw"});
    command.Add("PATH", *file, "The log file; without it, the file set before or the default");
    command.Add("--color", *colour, "Colour codes in the log file").OneOf({"on", "off"});
    command.OnRun([=, &options] {
        if (!file->empty() && *type != kFileType)
            throw Failure(kWrongUsage, "A path is possible with \"file\" only.");
        if (!file->empty())
            *file = AbsolutePath(*file);
        if (!file->empty() && !PathOf(*file).has_filename())
            throw Failure(kWrongUsage, "The path names a folder; name a file in it.");
        if (file->size() > kPathMaximum)
            throw Failure(kWrongUsage, "The path has " + std::to_string(file->size()) + " characters; at most " +
                                           std::to_string(kPathMaximum) + " are possible.");
        if (*type == kFileType)
            RequireFolderOf(file->empty() ? LogSettings::Read().File() : *file);
        const auto key = VexaUtils::RegistryKey::OpenOrCreate(VexaUtils::TuningKeyPath());
        const bool written = key && key->SetText(kLogTypeValue, *type) == 0 &&
                             (file->empty() || key->SetText(kLogFileValue, *file) == 0) &&
                             (colour->empty() || key->SetNumber(kLogColorValue, *colour == "on" ? 1 : 0) == 0);
        if (!written)
            Refuse("the registry cannot be written", -1, ". Run this as an administrator.");
        Say(options, "From their next start on, the programs log to " + Meaning(LogSettings::Read()) + ".");
    });
}

}  // namespace

void AddLogCommands(Command app, const Options& options) {
    auto log = app.AddCommand("log", "Chooses where the manager and the instances log");
    log.NeedCommand();
    AddLogShow(log, options);
    AddLogSet(log, options);
}

}  // namespace kivctl
