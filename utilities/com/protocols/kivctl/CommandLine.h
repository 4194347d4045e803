// The command line: commands, commands below them, and their arguments and options. The library that parses it stays
// behind this header: its own headers cost the compiler five seconds in every file that reads them.
//
//     auto command = app.AddCommand("list", "Lists the instances");
//     command.AddFlag("--all", *all, "Also those that do not run");
//     command.OnRun([all] { ... });
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocols/kivctl/Failure.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kivctl {

/// One argument or option. Refers to what the CommandLine owns, and may be copied.
class Argument {
  public:
    /// Returns what is wrong with a value; empty when nothing is.
    using Check = std::function<std::string(const std::string&)>;

    explicit Argument(CLI::Option* option) : option_(option) {}

    Argument Required() const;
    Argument Checked(const Check& check) const;
    Argument OneOf(const std::vector<std::string>& words) const;
    Argument InRange(std::uint32_t least, std::uint32_t most) const;
    /// How many words it takes.
    Argument Takes(int least, int most) const;
    /// The two must not be given together.
    Argument Excludes(Argument other) const;
    /// The default as the help shows it: this text, or the value that the variable has now.
    Argument ShowDefault(const std::string& text) const;
    Argument ShowDefault() const;

  private:
    CLI::Option* option_;
};

/// One command. Refers to what the CommandLine owns, and may be copied. A variable that is given to it must live until
/// the command has run. A label is the name of an argument ("NAME") or the names of an option ("-f,--follow").
class Command {
  public:
    explicit Command(CLI::App* app) : app_(app) {}

    Command AddCommand(const std::string& name, const std::string& description) const;
    Argument Add(const std::string& label, std::string& value, const std::string& description) const;
    Argument Add(const std::string& label, std::vector<std::string>& values, const std::string& description) const;
    Argument Add(const std::string& label, std::uint32_t& value, const std::string& description) const;
    /// `take` receives the word and throws Failure when it is wrong.
    Argument Add(const std::string& label, const std::function<void(const std::string&)>& take,
                 const std::string& description) const;
    Argument AddFlag(const std::string& label, bool& value, const std::string& description) const;
    /// A text at the end of the command's help.
    void SetFooter(const std::string& text) const;
    /// One of the commands below it has to be named.
    void NeedCommand() const;
    /// Runs once everything is parsed. Ends normally or throws Failure or Exit.
    void OnRun(const std::function<void()>& run) const;

    std::string Name() const;
    /// The command of that name below this one.
    std::optional<Command> Find(const std::string& name) const;
    std::vector<std::string> CommandNames() const;
    /// The long names, with their dashes.
    std::vector<std::string> OptionNames() const;
    bool HasArgument(const std::string& label) const;
    bool WasGiven(const std::string& option) const;
    /// `path`: the commands above it.
    std::string Help(const std::string& path) const;

  private:
    CLI::App* app_;
};

/// The whole command line. An option of the program itself may also stand behind a command.
class CommandLine {
  public:
    CommandLine(const std::string& description, const std::string& name, const std::string& version);
    ~CommandLine();

    Command Program() const { return Command(app_.get()); }
    /// Runs when the options are parsed, before the command does.
    void OnOptions(const std::function<void()>& run);
    /// Runs the command that `words` name, or prints the help or the version that they ask for. Throws Failure for
    /// wrong usage, and what the command throws.
    void Run(std::vector<std::string> words);

  private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace kivctl
