#include "protocols/kivctl/Words.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <numeric>
#include <utility>

#include "IPC/class/IPC.h"
#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/Failure.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/logging/LogEntry.h"
#include "utils/platform/Platform.h"

namespace kivctl {

namespace {

constexpr std::string_view kTypeSuffix = "protocol";

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    for (auto& letter : lower)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return lower;
}

/// In lower case, without "protocol" at the end.
std::string ShortTypeName(std::string_view typeName) {
    auto name = LowerCase(typeName);
    if (name.ends_with(kTypeSuffix))
        name.resize(name.size() - kTypeSuffix.size());
    return name;
}

bool ReadNumber(std::string_view word, std::uint32_t& number) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
}

}  // namespace

std::uint32_t ParseType(const std::string& word) {
    const auto count = static_cast<std::uint32_t>(VexaDB::kProtocolNames.size());
    std::uint32_t number = 0;
    if (ReadNumber(word, number) && number < count)
        return number;
    std::string known;
    for (std::uint32_t type = 0; type < count; ++type) {
        const auto name = TypeName(type);
        if (name == ShortTypeName(word))
            return type;
        known += (type == 0 ? "" : ", ") + std::to_string(type) + " " + name;
    }
    throw Failure(kWrongUsage, "\"" + word + "\" is not a protocol type. The types are: " + known + ".");
}

std::string TypeName(std::uint32_t type) {
    if (type == VexaDB::kNoProtocol)
        return "none";
    return type < VexaDB::kProtocolNames.size() ? ShortTypeName(VexaDB::kProtocolNames[type]) : std::to_string(type);
}

std::uint32_t ParseNumber(const std::string& word) {
    std::uint32_t number = 0;
    if (!ReadNumber(word, number))
        throw Failure(kWrongUsage, "\"" + word + "\" is not a number from 0 to 4294967295.");
    return number;
}

std::string StatusName(std::uint32_t status) {
    switch (status) {
        case kRunning:
            return "running";
        case kStopped:
            return "stopped";
        case kStoppedWorking:
            return "not working";
        default:
            return std::to_string(status);
    }
}

std::string ResultMeaning(std::int32_t result) {
    switch (result) {
        case kIpcSuccess:
            return "done";
        case kIpcCannotSend:
            return "the request could not be sent";
        case kManagerUnknownInstance:
            return "unknown instance";
        case kManagerInUse:
            return "in use by another process";
        case kIpcNoReply:
            return "there was no answer";
        default:
            return "failed";
    }
}

std::uint32_t ParseTime(const std::string& word, std::uint32_t bareMs) {
    constexpr std::pair<std::string_view, std::uint64_t> units[] = {
        {"ms", 1}, {"s", 1'000}, {"m", 60'000}, {"h", 3'600'000}, {"d", 86'400'000}};
    const auto digits = std::min(word.find_first_not_of("0123456789"), word.size());
    std::uint32_t number = 0;
    const bool isNumber = ReadNumber(std::string_view(word).substr(0, digits), number);
    const auto unit = std::string_view(word).substr(digits);
    const auto* const found = std::ranges::find(units, unit, &std::pair<std::string_view, std::uint64_t>::first);
    const auto factor = unit.empty() ? bareMs : found != std::end(units) ? found->second : 0;
    const auto ms = number * factor;
    if (!isNumber || factor == 0 || ms >= std::numeric_limits<std::uint32_t>::max())
        throw Failure(kWrongUsage, "\"" + word + "\" is not a time; write 500ms, 5s, 2m, 1h or 1d, up to 49 days.");
    return static_cast<std::uint32_t>(ms);
}

std::string Nearest(const std::string& word, const std::vector<std::string>& candidates) {
    // The edit distance; `row` has the distances between a beginning of `from` and all beginnings of `to`.
    const auto distance = [](const std::string& from, const std::string& to) {
        std::vector<std::size_t> row(to.size() + 1);
        std::iota(row.begin(), row.end(), std::size_t{0});
        for (std::size_t i = 0; i < from.size(); ++i) {
            auto diagonal = std::exchange(row[0], i + 1);
            for (std::size_t j = 0; j < to.size(); ++j) {
                const auto changed = diagonal + (from[i] == to[j] ? 0 : 1);
                diagonal = row[j + 1];
                row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
            }
        }
        return row.back();
    };
    constexpr std::size_t lettersPerError = 3;
    auto least = word.size() / lettersPerError + 1;
    std::string nearest;
    for (const auto& candidate : candidates) {
        const auto errors = distance(LowerCase(word), LowerCase(candidate));
        if (errors < least || (errors == least && nearest.empty())) {
            least = errors;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& candidates) {
    const auto nearest = Nearest(word, candidates);
    return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
}

bool Matches(std::string_view pattern, std::string_view name) {
    if (pattern.empty())
        return name.empty();
    if (pattern.front() == '*')
        return Matches(pattern.substr(1), name) || (!name.empty() && Matches(pattern, name.substr(1)));
    return !name.empty() && (pattern.front() == '?' || pattern.front() == name.front()) &&
           Matches(pattern.substr(1), name.substr(1));
}

bool IsPattern(std::string_view word) {
    return word.find_first_of("*?") != std::string_view::npos;
}

std::string Count(std::size_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string Duration(std::uint64_t seconds) {
    constexpr std::uint64_t minute = 60;
    constexpr std::uint64_t hour = 60 * minute;
    constexpr std::uint64_t day = 24 * hour;
    char clock[16];
    std::snprintf(clock, sizeof clock, "%02u:%02u:%02u", static_cast<unsigned>(seconds % day / hour),
                  static_cast<unsigned>(seconds % hour / minute), static_cast<unsigned>(seconds % minute));
    return seconds < day ? clock : std::to_string(seconds / day) + "d " + clock;
}

std::string LocalTime(std::uint64_t agoMs) {
    constexpr std::int64_t ticksPerMs = 10'000;
    auto text = Logging::FormatTimestamp(platform::WallClockTicks() - static_cast<std::int64_t>(agoMs) * ticksPerMs);
    text[text.find('T')] = ' ';  // between date and time
    return text;
}

}  // namespace kivctl
