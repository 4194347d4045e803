#include "protocols/kivctl/Selection.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

std::vector<std::string> Selection::Names(
    const std::function<std::vector<std::string>(std::optional<std::uint32_t>)>& candidates) const {
    if (words.empty() && type.empty() && !all)
        throw Failure(kWrongUsage, "Name the instances, or give --type TYPE or --all.");
    if (all && (!words.empty() || !type.empty()))
        throw Failure(kWrongUsage, "--all cannot be combined with names or --type.");
    std::vector<std::string> names;
    const auto add = [&names](const std::string& name) {
        if (std::ranges::find(names, name) == names.end())
            names.push_back(name);
    };
    const bool needsCandidates = words.empty() || !type.empty() || std::ranges::any_of(words, IsPattern);
    auto known = needsCandidates ? candidates(type.empty() ? std::nullopt : std::optional(ParseType(type)))
                                 : std::vector<std::string>();
    std::ranges::sort(known);
    if (words.empty())
        std::ranges::for_each(known, add);
    for (const auto& word : words) {
        const bool isName = !IsPattern(word) || std::ranges::find(known, word) != known.end();
        if (isName && type.empty())
            add(word);
        else
            for (const auto& name : known)
                if (Matches(word, name))
                    add(name);
    }
    if (names.empty())
        throw Failure(kRefused, "No instance has this name, pattern or type.");
    return names;
}

std::vector<std::string> Selection::Names(Manager& manager) const {
    if (words.size() > 1) {
        std::string joined;
        for (const auto& word : words)
            joined += (joined.empty() ? "" : " ") + word;
        const auto known = manager.Instances();
        if (std::ranges::find(known, joined) != known.end())
            throw Failure(kWrongUsage, "Put a name with a space in quotes: \"" + joined + "\".");
    }
    return Names(
        [&](std::optional<std::uint32_t> ofType) { return ofType ? manager.Instances(*ofType) : manager.Instances(); });
}

std::shared_ptr<Selection> AddSelection(Command command, const std::string& label, const std::string& description) {
    auto selection = std::make_shared<Selection>();
    command.Add(label, selection->words, description).Checked(FitsRequest);
    command.Add("--type", selection->type, "The instances of this type, by name or number");
    command.AddFlag("--all", selection->all, "All instances");
    return selection;
}

void ForEach(const std::vector<std::string>& names, const Options& options,
             const std::function<Done(const std::string&)>& act) {
    auto list = Json::array();
    std::size_t failed = 0;
    auto worst = kDone;
    for (const auto& name : names) {
        Json entry = {{"instance", ToUtf8(name)}, {"result", 0}};
        try {
            const auto done = act(name);
            entry.update(done.fields);
            entry["message"] = ToUtf8(done.sentence);
            if (!options.json && !done.sentence.empty())
                PrintLine(done.sentence);
        } catch (const Failure& failure) {
            ++failed;
            worst = std::max(worst, failure.Code());
            entry["result"] = failure.Result() != 0 ? Json(failure.Result()) : Json();
            entry["error"] = ToUtf8(failure.what());
            if (!options.json)
                PrintError(std::string("kivctl: ") + failure.what() + "\n");
        }
        Flush();
        list.push_back(std::move(entry));
    }
    if (options.json)
        PrintJson(list);
    else if (names.size() > 1)
        PrintLine(std::to_string(names.size() - failed) + " done, " + std::to_string(failed) + " failed.");
    if (worst != kDone)
        throw Exit{worst};
}

}  // namespace kivctl
