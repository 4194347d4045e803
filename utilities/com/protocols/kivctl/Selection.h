// The one way in which commands name instances: words, patterns, a type, or all.
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
    std::vector<std::string> words;  // names, and patterns with * and ?
    std::string type;
    bool all = false;

    /// The names meant, each once, by name where a pattern, type or all says which. Throws Failure when none is meant.
    /// `candidates` gives the names of a type, or all of them for no type.
    std::vector<std::string> Names(
        const std::function<std::vector<std::string>(std::optional<std::uint32_t>)>& candidates) const;
    /// Among the instances of the manager.
    std::vector<std::string> Names(Manager& manager) const;
};

/// Adds NAME..., --type and --all to the command; `label` says what the words are.
std::shared_ptr<Selection> AddSelection(Command command, const std::string& label = "NAME",
                                        const std::string& description = "The instances; * and ? stand for letters");

/// What a command did with one instance.
struct Done {
    std::string sentence;
    Json fields = Json::object();
};

/// Does it with each, goes on after a failure, and tells: a sentence each, and a summary behind several; with --json
/// one list. Throws Exit with the worst exit code when one failed.
void ForEach(const std::vector<std::string>& names, const Options& options,
             const std::function<Done(const std::string&)>& act);

/// Has the manager take up an instance of the database.
Done Load(Manager& manager, VexaDB::VexaDBSession& database, const std::string& instance);

}  // namespace kivctl
