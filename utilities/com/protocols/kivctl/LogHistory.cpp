#include "protocols/kivctl/LogHistory.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "protocols/kivctl/LogFile.h"
#include "protocols/kivctl/ProcessInfo.h"
#include "utils/logging/LogSettings.h"

namespace kivctl {

namespace {

constexpr std::size_t kTimeSize = sizeof "2024-03-05T14:07:09.042" - 1;
constexpr std::string_view kLevels = "IWE!TDF";
constexpr std::string_view kChildProgram = "KivProtocol.exe";
constexpr std::string_view kNoServer = "FFFFFFFF";  // the error that a child reports when it cannot start its server
constexpr char kEscape = '\033';

std::string WithoutColour(std::string_view line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == kEscape)
            i = std::min(line.find('m', i), line.size());
        else if (line[i] != '\r')
            text += line[i];
    }
    return text;
}

std::string Trimmed(std::string_view text) {
    return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

/// "TIME|PROCESS:THREAD|MODULE|FUNCTION|[TAG|][LEVEL] TEXT"
std::optional<LogEntryText> ParseLine(const std::string& line) {
    const std::string_view rest = line;
    const auto process = rest.find('|');
    const auto module = rest.find('|', process + 1);
    const auto function = rest.find('|', module + 1);
    const auto text = rest.find('|', function + 1);
    if (process != kTimeSize || module == std::string_view::npos || function == std::string_view::npos ||
        text == std::string_view::npos)
        return std::nullopt;
    auto block = rest.substr(text + 1);
    if (!block.starts_with('[') && block.find("|[") != std::string_view::npos)
        block = block.substr(block.find("|[") + 1);
    constexpr std::size_t markSize = sizeof "[I] " - 1;
    if (block.size() < markSize || block[0] != '[' || block[2] != ']' ||
        kLevels.find(block[1]) == std::string_view::npos)
        return std::nullopt;
    LogEntryText entry;
    entry.time = rest.substr(0, process);
    std::from_chars(line.data() + process + 1, line.data() + module, entry.processId);
    entry.module = Trimmed(rest.substr(module + 1, function - module - 1));
    entry.function = Trimmed(rest.substr(function + 1, text - function - 1));
    entry.level = block[1];
    entry.text = block.substr(markSize);
    return entry;
}

bool IsWordLetter(char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           letter == '_' || static_cast<unsigned char>(letter) > 0x7F;
}

/// Milliseconds since 1970 in local time; only differences are used.
std::int64_t MsOf(const std::string& time) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int ms = 0;
    std::sscanf(time.c_str(), "%d-%u-%uT%d:%d:%d.%d", &year, &month, &day, &hours, &minutes, &seconds, &ms);
    using namespace std::chrono;
    const sys_days date(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day));
    return (date.time_since_epoch() + std::chrono::hours(hours) + std::chrono::minutes(minutes) +
            std::chrono::seconds(seconds) + milliseconds(ms)) /
           milliseconds(1);
}

std::string SecondsBetween(const std::string& from, const std::string& to) {
    constexpr double msPerSecond = 1'000;
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(MsOf(to) - MsOf(from)) / msPerSecond);
    return text;
}

/// The hexadecimal number at the beginning of the text.
std::uint32_t Hexadecimal(std::string_view text) {
    constexpr int base = 16;
    std::uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, base);
    return number;
}

/// The part of the text between `before`, with which it begins, and `after`, with which it ends; empty when it does
/// not.
std::optional<std::string> Between(const std::string& text, const std::string& before, const std::string& after) {
    if (!text.starts_with(before) || !text.ends_with(after) || text.size() < before.size() + after.size())
        return std::nullopt;
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

}  // namespace

std::vector<LogEntryText> ParseLog(const std::string& text) {
    std::vector<LogEntryText> entries;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size());
        const auto line = WithoutColour(std::string_view(text).substr(begin, end - begin));
        begin = end + 1;
        if (auto entry = ParseLine(line))
            entries.push_back(std::move(*entry));
        else if (!entries.empty() && !line.empty())
            entries.back().text += "\n" + line;
    }
    return entries;
}

std::string LogText(const LogEntryText& entry) {
    char process[24];
    std::snprintf(process, sizeof process, "%6llu", static_cast<unsigned long long>(entry.processId));
    auto time = entry.time;
    time[time.find('T')] = ' ';
    return time + process + "  [" + entry.level + "] " + entry.text;
}

Json LogJson(const LogEntryText& entry) {
    return {{"time", entry.time},
            {"pid", entry.processId},
            {"program", ToUtf8(entry.module)},
            {"function", entry.function},
            {"level", std::string(1, entry.level)},
            {"text", ToUtf8(entry.text)}};
}

Colour LevelColour(char level) {
    return level == 'E' || level == 'F' ? Colour::Bad : level == 'W' ? Colour::Warning : Colour::Plain;
}

bool IsOfFramework(const LogEntryText& entry) {
    constexpr std::string_view classes[] = {"IPC",           "PipeReader",  "MessageSender", "ClientWinPipe",
                                            "ServerWinPipe", "RequestGate", "RequestQueue",  "ServerTransport"};
    const bool isSearch = entry.function == "CProtocolManager::FindProtocol";  // logs one line for each instance
    return isSearch || std::ranges::any_of(classes, [&](auto name) { return entry.function.starts_with(name); });
}

void InstanceLines::Learn(const LogEntryText& entry) {
    if (!entry.module.ends_with(kChildProgram))
        return;
    // The system reuses process ids: a process that names another instance is no longer this one's.
    if (Names(entry.text))
        processes_[entry.processId] = true;
    else if (std::ranges::any_of(others_, [&](const auto& name) {
                 return entry.text.find(name) != std::string::npos &&
                        InstanceLines(name, {instance_}).Names(entry.text);
             }))
        processes_[entry.processId] = false;
}

bool InstanceLines::Has(const LogEntryText& entry) const {
    const auto process = processes_.find(entry.processId);
    return (process != processes_.end() && process->second && entry.module.ends_with(kChildProgram)) ||
           Names(entry.text);
}

bool InstanceLines::Names(const std::string& text) const {
    for (auto at = text.find(instance_); at != std::string_view::npos; at = text.find(instance_, at + 1)) {
        const auto end = at + instance_.size();
        const bool isWord =
            (at == 0 || !IsWordLetter(text[at - 1])) && (end == text.size() || !IsWordLetter(text[end]));
        const bool isLonger = std::ranges::any_of(others_, [&](const std::string& other) {
            return other.size() > instance_.size() && text.compare(at, other.size(), other) == 0;
        });
        if (isWord && !isLonger)
            return true;
    }
    return false;
}

LogReading ReadLog(std::uint64_t mostBytes) {
    const auto settings = Logging::LogSettings::Read();
    LogReading reading;
    if (settings.type != Logging::kFileType)
        return reading;
    auto paths = Logging::LogFiles(settings.File());
    std::ranges::reverse(paths);  // the newest file first
    std::vector<std::string> texts;
    for (const auto& path : paths) {
        const auto file = LogFile::Open(path);
        if (!file)
            continue;
        const auto whole = file->SkipToLast(std::numeric_limits<std::uint64_t>::max());
        const auto part = file->SkipToLast(mostBytes);
        texts.push_back(file->ReadOn());
        mostBytes -= part;
        reading.isWhole = reading.isWhole && part == whole;
    }
    for (auto text = texts.rbegin(); text != texts.rend(); ++text)
        std::ranges::move(ParseLog(*text), std::back_inserter(reading.entries));
    return reading;
}

Trouble FindTrouble(const std::vector<LogEntryText>& log, InstanceLines lines, const std::string& name,
                    const std::string& managerProgram) {
    Trouble trouble;
    std::string begin;          // time of the last start, or of its success
    std::uint64_t manager = 0;  // id of the process that logged it
    const auto startAnew = [&](const LogEntryText& entry) {
        begin = entry.time;
        manager = entry.processId;
        trouble.reason.clear();
        trouble.lines.clear();
    };
    for (const auto& entry : log) {
        lines.Learn(entry);
        const auto& text = entry.text;
        if (text == "Start process running:0" && entry.processId == manager && trouble.reason.empty()) {
            const auto program = FolderOf(managerProgram) + "\\" + std::string(kChildProgram);
            trouble.reason = FileExists(program) ? "its program could not be started: " + program
                                                 : "its program is missing: " + program;
            trouble.lines.push_back(entry);
            continue;
        }
        if (!lines.Has(entry))
            continue;
        const bool isRestart = text == "Protocol " + name + " has stopped working";
        if (isRestart)
            ++trouble.restarts;
        if (isRestart || text == "Start protocol " + name || text == "Restart protocol " + name)
            startAnew(entry);
        if (text == "Starting Instance " + name)
            begin = entry.time;
        if (text == "Instance " + name + " started") {
            startAnew(entry);
            trouble.changed.clear();
        }
        trouble.lines.push_back(entry);
        if (const auto setting = Between(text, "VexaDB SetString instance " + name + " setting:", ""))
            trouble.changed.insert(setting->substr(0, setting->find(" value:")));
        else if (const auto number = Between(text, "VexaDB SetUin32 instance " + name + " setting:", ""))
            trouble.changed.insert(number->substr(0, number->find(" value:")));
        const auto ended = text.find(" of instance " + name + " ended with exit code ");
        if (text.starts_with("Process ") && ended != std::string_view::npos) {
            const auto code = Hexadecimal(std::string_view(text).substr(text.rfind(' ') + 1));
            trouble.lastExitCode = code;
            trouble.lastExitTime = entry.time;
            trouble.reason = "its process ended " +
                             (begin.empty() ? "" : "after " + SecondsBetween(begin, entry.time) + " ") +
                             "with exit code " + std::to_string(code);
        }
        if (const auto error = Between(text, "Cannot start instance ", " " + name))
            trouble.reason = *error == kNoServer ? "its server could not be started"
                                                 : "its protocol reported error " + std::to_string(Hexadecimal(*error));
        if (const auto why = Between(text, "Cannot start instance " + name + ": ", ""))
            trouble.reason = *why;
        if (text == "Cannot start instance " + name + " did not connect 1")
            trouble.reason = "it was not ready within its start timeout";
        if (text == "Cannot start instance " + name + " did not connect 0" && trouble.reason.empty())
            trouble.reason = "its process ended before it was ready";
        if (text.starts_with("Cannot start instance " + name + " did not send create result") && trouble.reason.empty())
            trouble.reason = "its process connected, but did not report that it is ready";
    }
    return trouble;
}

bool WasEndedByForce(const std::vector<LogEntryText>& log, const std::string& name, const std::string& since) {
    return std::ranges::any_of(log, [&](const LogEntryText& entry) {
        return entry.time >= since && entry.text.starts_with("Cannot stop process ") &&
               entry.text.ends_with("-" + name + " in time");
    });
}

}  // namespace kivctl
