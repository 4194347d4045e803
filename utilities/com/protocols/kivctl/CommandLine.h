// The command line: commands, their subcommands, arguments and options. Only CommandLine.cpp includes the headers of
// the parsing library, because they cost the compiler five seconds in every file that includes them.
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

/// One argument or option. A copy refers to the same one, which the CommandLine owns. Each function adds a property and
/// returns the argument, so that calls can be chained.
class Argument {
  public:
    /// Returns a message about a wrong value, or an empty text for a right one.
    using Check = std::function<std::string(const std::string&)>;

    explicit Argument(CLI::Option* option) : option_(option) {}

    Argument Required() const;
    Argument Checked(const Check& check) const;
    Argument OneOf(const std::vector<std::string>& words) const;
    Argument InRange(std::uint32_t least, std::uint32_t most) const;
    /// The argument takes `least` to `most` words.
    Argument Takes(int least, int most) const;
    /// The two arguments must not be given together.
    Argument Excludes(Argument other) const;
    /// The default that the help shows: the text, or the present value of the variable.
    Argument ShowDefault(const std::string& text) const;
    Argument ShowDefault() const;

  private:
    CLI::Option* option_;
};

/// One command. A copy refers to the same one, which the CommandLine owns. The variables of its arguments must live
/// until the command has run. A label is the name of an argument ("NAME") or the names of an option ("-f,--follow").
class Command {
  public:
    explicit Command(CLI::App* app) : app_(app) {}

    Command AddCommand(const std::string& name, const std::string& description) const;
    Argument Add(const std::string& label, std::string& value, const std::string& description) const;
    Argument Add(const std::string& label, std::vector<std::string>& values, const std::string& description) const;
    Argument Add(const std::string& label, std::uint32_t& value, const std::string& description) const;
    /// Calls `take` with the word while the command line is parsed; `take` throws Failure when the word is wrong.
    Argument Add(const std::string& label, const std::function<void(const std::string&)>& take,
                 const std::string& description) const;
    Argument AddFlag(const std::string& label, bool& value, const std::string& description) const;
    /// Sets the text at the end of the command's help; commands that are added later inherit it.
    void SetFooter(const std::string& text) const;
    /// Makes a subcommand mandatory.
    void NeedCommand() const;
    /// Sets the action, which is called when the command line has been parsed. It returns, or throws Failure or Exit.
    void OnRun(const std::function<void()>& run) const;

    std::string Name() const;
    /// The subcommand of that name; empty when there is none.
    std::optional<Command> Find(const std::string& name) const;
    std::vector<std::string> CommandNames() const;
    /// The long names of the options, with their dashes.
    std::vector<std::string> OptionNames() const;
    bool HasArgument(const std::string& label) const;
    bool WasGiven(const std::string& option) const;
    /// The help text. `path` has the names of the commands above this one, as in "kivctl db".
    std::string Help(const std::string& path) const;

  private:
    CLI::App* app_;
};

/// The whole command line. The options of the program itself may stand before or after a command.
class CommandLine {
  public:
    CommandLine(const std::string& description, const std::string& name, const std::string& version);
    ~CommandLine();

    Command Program() const { return Command(app_.get()); }
    /// Sets a function that is called when the options have been parsed, before the command runs.
    void OnOptions(const std::function<void()>& run);
    /// Parses `words` and runs the command, or prints the help or the version. Throws Failure for wrong usage, and
    /// passes on the exceptions of the command.
    void Run(std::vector<std::string> words);

  private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace kivctl
