// Arguments that several commands take. The value is held by whoever runs the command.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/Database.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

/// Accepts what a request can carry.
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
        return text.empty() ? std::string("a name has at least one character") : std::string();
    });
    return name;
}

/// The same for a name that an instance shall get: one of the manager's own servers would be in its way.
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

inline std::shared_ptr<KindFlags> AddKindFlags(CLI::App& command) {
    auto kind = std::make_shared<KindFlags>();
    auto* string = command.add_flag("--string", kind->string, "The value is a text (a new setting needs its kind)");
    command.add_flag("--number", kind->number, "The value is a number")->excludes(string);
    return kind;
}

}  // namespace kivctl
