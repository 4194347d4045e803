#include "protocols/kivctl/Words.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>

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
    throw Failure(kWrongUsage, "\"" + word + "\" is no protocol type. The types are: " + known + ".");
}

std::string TypeName(std::uint32_t type) {
    if (type == VexaDB::kNoProtocol)
        return "none";
    return type < VexaDB::kProtocolNames.size() ? ShortTypeName(VexaDB::kProtocolNames[type]) : std::to_string(type);
}

std::uint32_t ParseNumber(const std::string& word) {
    std::uint32_t number = 0;
    if (!ReadNumber(word, number))
        throw Failure(kWrongUsage, "\"" + word + "\" is no number from 0 to 4294967295.");
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
            return "no answer came";
        default:
            return "failed";
    }
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

std::string LocalTime() {
    auto text = Logging::FormatTimestamp(platform::WallClockTicks());
    text[text.find('T')] = ' ';  // between date and time
    return text;
}

}  // namespace kivctl
