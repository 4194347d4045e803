// help, completion: the commands that explain the commands.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Manager.h"

namespace kivctl {

namespace {

// Both scripts call kivctl __complete for the words that may come next.
constexpr const char* kBash = R"script(# Completion of kivctl in bash: source <(kivctl completion bash)
_kivctl() {
    local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]}
    word=${word#[\"\']}
    COMPREPLY=($("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD-1}" "$word" 2>/dev/null))
    local i
    for i in "${!COMPREPLY[@]}"; do
        [[ ${COMP_WORDS[COMP_CWORD]} == [\"\']* ]] || COMPREPLY[i]=$(printf %q "${COMPREPLY[i]}")
    done
}
complete -F _kivctl kivctl kivctl.exe
)script";
constexpr const char* kPowershell =
    R"script(# Completion of kivctl in PowerShell: kivctl completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName kivctl, kivctl.exe -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)
    $words = @($commandAst.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursorPosition } | ForEach-Object { $_.Extent.Text.Trim("'`"") })
    $program = $commandAst.CommandElements[0].Extent.Text
    # An empty last word would get lost on the way to the program.
    & $program __complete @words "=$($wordToComplete.Trim("'`""))" 2>$null | ForEach-Object {
        $text = if ($_ -match '\s') { "`"$_`"" } else { $_ }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
}
)script";

/// The words that can complete the last of `words`; the words before it name the command.
std::vector<std::string> Candidates(Command app, const std::vector<std::string>& words, const Options& options) {
    auto command = app;
    auto last = words.empty() ? std::string() : words.back();
    if (last.starts_with('='))
        last.erase(0, 1);
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        command = command.Find(words[i]).value_or(command);
    auto candidates = command.CommandNames();
    if (last.starts_with('-')) {
        std::ranges::copy(command.OptionNames(), std::back_inserter(candidates));
        std::ranges::copy(app.OptionNames(), std::back_inserter(candidates));
    } else if (candidates.empty()) {
        const bool takesName =
            command.HasArgument("NAME") || command.HasArgument("OLD") || command.HasArgument("WORDS");
        if (takesName && TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout)))
            candidates = Manager(options).Instances();
    }
    std::erase_if(candidates, [&](const auto& candidate) { return !candidate.starts_with(last); });
    return candidates;
}

void AddHelp(Command app) {
    auto command = app.AddCommand("help", "Explains a command");
    auto words = std::make_shared<std::vector<std::string>>();
    command.Add("COMMAND", *words, "The command; without it, help lists all commands");
    command.OnRun([words, app] {
        auto found = app;
        std::string path;
        for (const auto& word : *words) {
            const auto next = found.Find(word);
            if (!next)
                throw Failure(kWrongUsage, "There is no command \"" + word + "\".");
            path += (path.empty() ? "kivctl" : " " + found.Name());
            found = *next;
        }
        Print(found.Help(path));
    });
}

}  // namespace

void PrintCompletions(Command app, const std::vector<std::string>& words, const Options& options) {
    for (const auto& candidate : Candidates(app, words, options))
        PrintUnix(ToUtf8(candidate) + "\n");
}

void AddHelpCommands(Command app) {
    AddHelp(app);
    auto command = app.AddCommand("completion", "Prints a script with which a shell completes commands and names");
    auto shell = std::make_shared<std::string>();
    command.Add("SHELL", *shell, "powershell or bash").Required().OneOf({"powershell", "bash"});
    command.OnRun([shell] { PrintUnix(*shell == "bash" ? kBash : kPowershell); });
}

}  // namespace kivctl
