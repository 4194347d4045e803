// The arguments with which an operator selects instances: names, patterns, --type and --all.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Manager.h"

namespace kivctl {

struct Selection {
    std::vector<std::string> words;  // names, or patterns with * and ?
    std::string type;
    bool all = false;

    /// The selected names, each once, in the order of the words; the matches of a pattern, a type or --all are sorted.
    /// `candidates` gives the names that exist: those of a type, or without a type all. Throws Failure when no name is
    /// selected. A word that is not a pattern is selected without a look at the candidates, unless --type is given.
    std::vector<std::string> Names(
        const std::function<std::vector<std::string>(std::optional<std::uint32_t>)>& candidates) const;
    /// The same with the manager's instances as candidates.
    std::vector<std::string> Names(Manager& manager) const;
};

/// Adds the arguments NAME..., --type and --all to the command; `label` is shown in place of NAME.
std::shared_ptr<Selection> AddSelection(
    Command command, const std::string& label = "NAME",
    const std::string& description = "The instances; * matches any characters and ? matches one");

/// The outcome of a command for one instance.
struct Done {
    std::string sentence;          // for a person; may be empty
    Json fields = Json::object();  // added to the instance's entry with --json
};

/// Calls `act` for each name and goes on after a Failure. Prints one sentence for each, and a summary when there are
/// several; with --json one list. Throws Exit with the highest exit code when one failed.
void ForEach(const std::vector<std::string>& names, const Options& options,
             const std::function<Done(const std::string&)>& act);

/// Makes the manager load an instance of the database. Throws Failure when neither knows it or the manager refuses.
Done Load(Manager& manager, VexaDB::VexaDBSession& database, const std::string& instance);

}  // namespace kivctl
