#include "protocols/kivctl/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace kivctl {

namespace {

std::string UsageText(const CLI::ParseError& error) {
    std::string text = error.what();
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)
        text += ". Put a name with a space in quotes: \"Line 1\".";
    return text;
}

}  // namespace

Argument Argument::Required() const {
    option_->required();
    return *this;
}

Argument Argument::Checked(const Check& check) const {
    option_->check(check);
    return *this;
}

Argument Argument::OneOf(const std::vector<std::string>& words) const {
    option_->check(CLI::IsMember(words));
    return *this;
}

Argument Argument::InRange(std::uint32_t least, std::uint32_t most) const {
    option_->check(CLI::Range(least, most));
    return *this;
}

Argument Argument::Takes(int least, int most) const {
    option_->expected(least, most);
    return *this;
}

Argument Argument::Excludes(Argument other) const {
    option_->excludes(other.option_);
    return *this;
}

Argument Argument::ShowDefault(const std::string& text) const {
    option_->default_str(text);
    return *this;
}

Argument Argument::ShowDefault() const {
    option_->capture_default_str();
    return *this;
}

Command Command::AddCommand(const std::string& name, const std::string& description) const {
    return Command(app_->add_subcommand(name, description));
}

Argument Command::Add(const std::string& label, std::string& value, const std::string& description) const {
    return Argument(app_->add_option(label, value, description));
}

Argument Command::Add(const std::string& label, std::vector<std::string>& values,
                      const std::string& description) const {
    return Argument(app_->add_option(label, values, description));
}

Argument Command::Add(const std::string& label, std::uint32_t& value, const std::string& description) const {
    return Argument(app_->add_option(label, value, description));
}

Argument Command::Add(const std::string& label, const std::function<void(const std::string&)>& take,
                      const std::string& description) const {
    return Argument(app_->add_option_function<std::string>(label, take, description));
}

Argument Command::AddFlag(const std::string& label, bool& value, const std::string& description) const {
    return Argument(app_->add_flag(label, value, description));
}

void Command::SetFooter(const std::string& text) const {
    app_->footer(text);
}

void Command::NeedCommand() const {
    app_->require_subcommand(1);
}

void Command::OnRun(const std::function<void()>& run) const {
    app_->callback(run);
}

std::string Command::Name() const {
    return app_->get_name();
}

std::optional<Command> Command::Find(const std::string& name) const {
    for (auto* command : app_->get_subcommands({}))
        if (command->check_name(name))
            return Command(command);
    return std::nullopt;
}

std::vector<std::string> Command::CommandNames() const {
    std::vector<std::string> names;
    for (const auto* command : app_->get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> Command::OptionNames() const {
    std::vector<std::string> names;
    for (const auto* option : app_->get_options())
        if (!option->get_lnames().empty())
            names.push_back("--" + option->get_lnames().front());
    return names;
}

bool Command::HasArgument(const std::string& label) const {
    return std::ranges::any_of(app_->get_options(),
                               [&](const CLI::Option* option) { return option->get_name(true) == label; });
}

bool Command::WasGiven(const std::string& option) const {
    return app_->count(option) != 0;
}

std::string Command::Help(const std::string& path) const {
    return app_->help(path);
}

CommandLine::CommandLine(const std::string& description, const std::string& name, const std::string& version)
    : app_(std::make_unique<CLI::App>(description, name)) {
    // A value may begin with a slash.
    app_->allow_windows_style_options(false);
    app_->fallthrough();
    app_->require_subcommand(0, 1);  // with a minimum of 1, the parser would report an unknown command as a missing one
    app_->set_version_flag("--version", version);
}

CommandLine::~CommandLine() = default;

void CommandLine::OnOptions(const std::function<void()>& run) {
    app_->parse_complete_callback(run);
}

void CommandLine::Run(std::vector<std::string> words) {
    std::ranges::reverse(words);  // the parser takes them from the back
    try {
        app_->parse(words);
    } catch (const CLI::ParseError& error) {
        // The parser reports a request for help or the version as an error with code 0.
        if (error.get_exit_code() != 0)
            throw Failure(kWrongUsage, UsageText(error));
        app_->exit(error);
        return;
    }
    if (app_->get_subcommands().empty())
        throw Failure(kWrongUsage, "Name a command; kivctl --help lists the commands.");
}

}  // namespace kivctl
