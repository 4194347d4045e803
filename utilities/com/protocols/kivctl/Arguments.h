// Arguments that several commands take. A shared pointer that is returned points to the parsed value; the command's
// callback keeps it.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/KnownSettings.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

/// The subcommand of `app` with that name; null when there is none.
inline const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
    for (const auto* command : app.get_subcommands({}))
        if (command->check_name(name))
            return command;
    return nullptr;
}

/// Accepts texts of at most kNameMaximum bytes, the most that a request can carry.
inline CLI::Validator FitsRequest() {
    return CLI::Validator(
        [](std::string& text) {
            if (text.size() <= kNameMaximum)
                return std::string();
            return "\"" + text + "\" has " + std::to_string(text.size()) + " characters; at most " +
                   std::to_string(kNameMaximum) + " are possible";
        },
        "", "fits a request");
}

/// A required name of 1 to 49 characters.
inline std::shared_ptr<std::string> NameArgument(CLI::App& command, const std::string& label,
                                                 const std::string& description) {
    auto name = std::make_shared<std::string>();
    command.add_option(label, *name, description)->required()->check(FitsRequest())->check([](const std::string& text) {
        return text.empty() ? std::string("a name needs at least one character") : std::string();
    });
    return name;
}

/// The same for the new name of an instance, which must not be the name of one of the manager's own servers.
inline std::shared_ptr<std::string> NewNameArgument(CLI::App& command, const std::string& label,
                                                    const std::string& description) {
    auto name = NameArgument(command, label, description);
    command.get_option(label)->check([](const std::string& text) {
        return IsReservedName(text) ? "the manager itself serves as \"" + text + "\"; choose another name"
                                    : std::string();
    });
    return name;
}

/// A required text of up to 49 characters.
inline std::shared_ptr<std::string> TextArgument(CLI::App& command, const std::string& label,
                                                 const std::string& description) {
    auto text = std::make_shared<std::string>();
    command.add_option(label, *text, description)->required()->check(FitsRequest());
    return text;
}

/// The flags --string, --number and --new of a command that sets a setting.
inline std::shared_ptr<ValueFlags> AddValueFlags(CLI::App& command) {
    auto flags = std::make_shared<ValueFlags>();
    auto* string =
        command.add_flag("--string", flags->kind.string, "The value is a text (a new setting needs its kind)");
    command.add_flag("--number", flags->kind.number, "The value is a number")->excludes(string);
    command.add_flag("--new", flags->isNew, "Also set a setting that neither kivctl nor the database knows");
    return flags;
}

/// An option whose value is a time, "500ms", "5s" or a bare number in units of `bareMs`; it is stored in `ms`.
inline CLI::Option* AddTime(CLI::App& command, const std::string& label, std::uint32_t& ms, std::uint32_t bareMs,
                            const std::string& description) {
    return command.add_option_function<std::string>(
        label, [&ms, bareMs](const std::string& word) { ms = ParseTime(word, bareMs); }, description);
}

}  // namespace kivctl
