// Arguments that several commands take. A shared pointer that is returned points to the parsed value; the command's
// callback keeps it.
#pragma once

#include <memory>
#include <string>

#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/CommandLine.h"
#include "protocols/kivctl/KnownSettings.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

/// Checks that the text has at most kNameMaximum bytes, the most that a request can carry.
inline std::string FitsRequest(const std::string& text) {
    if (text.size() <= kNameMaximum)
        return {};
    return "\"" + text + "\" has " + std::to_string(text.size()) + " characters; at most " +
           std::to_string(kNameMaximum) + " are possible";
}

/// A required name of 1 to 49 characters. `check` may refuse other names too.
inline std::shared_ptr<std::string> NameArgument(Command command, const std::string& label,
                                                 const std::string& description, const Argument::Check& check = {}) {
    auto name = std::make_shared<std::string>();
    const auto argument = command.Add(label, *name, description);
    argument.Required().Checked(FitsRequest).Checked([](const std::string& text) {
        return text.empty() ? std::string("a name needs at least one character") : std::string();
    });
    if (check)
        argument.Checked(check);
    return name;
}

/// The same for the new name of an instance, which must not be the name of one of the manager's own servers.
inline std::shared_ptr<std::string> NewNameArgument(Command command, const std::string& label,
                                                    const std::string& description) {
    return NameArgument(command, label, description, [](const std::string& text) {
        return IsReservedName(text) ? "the manager itself serves as \"" + text + "\"; choose another name"
                                    : std::string();
    });
}

/// A required text of up to 49 characters.
inline std::shared_ptr<std::string> TextArgument(Command command, const std::string& label,
                                                 const std::string& description) {
    auto text = std::make_shared<std::string>();
    command.Add(label, *text, description).Required().Checked(FitsRequest);
    return text;
}

/// The flags --string, --number and --new of a command that sets a setting.
inline std::shared_ptr<ValueFlags> AddValueFlags(Command command) {
    auto flags = std::make_shared<ValueFlags>();
    const auto string =
        command.AddFlag("--string", flags->kind.string, "The value is a text (a new setting needs its kind)");
    command.AddFlag("--number", flags->kind.number, "The value is a number").Excludes(string);
    command.AddFlag("--new", flags->isNew, "Also set a setting that neither kivctl nor the database knows");
    return flags;
}

/// An option whose value is a time, "500ms", "5s" or a bare number in units of `bareMs`; it is stored in `ms`.
inline Argument AddTime(Command command, const std::string& label, std::uint32_t& ms, std::uint32_t bareMs,
                        const std::string& description) {
    return command.Add(
        label, [&ms, bareMs](const std::string& word) { ms = ParseTime(word, bareMs); }, description);
}

}  // namespace kivctl
