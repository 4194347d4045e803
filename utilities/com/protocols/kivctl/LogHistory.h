// The log file as an operator reads it: its lines, through rotation, and what they tell of an instance.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "protocols/kivctl/Console.h"

namespace kivctl {

struct LogEntryText {
    std::string time;  // "2024-03-05T14:07:09.042", local
    std::uint64_t processId = 0;
    std::string module;  // full path of the program
    std::string function;
    char level = ' ';  // I, W, E, or ! for a change of the settings
    std::string text;  // further lines of it behind line feeds
};

/// Takes a log's text apart. A line that has no such form belongs to the text of the one before it. Colour codes are
/// left out.
std::vector<LogEntryText> ParseLog(const std::string& text);

/// "2024-03-05 14:07:09.042   4711  [W] text"
std::string LogText(const LogEntryText& entry);
Json LogJson(const LogEntryText& entry);
Colour LevelColour(char level);

/// Whether the line is of the framework that carries the messages, which says little to an operator.
bool IsOfFramework(const LogEntryText& entry);

/// Finds which lines are about one instance: what other programs say of it, and all that its own processes say.
class InstanceLines {
  public:
    /// `others` are the other instances' names: a line about "Line 10" is none about "Line 1".
    InstanceLines(std::string instance, std::vector<std::string> others)
        : instance_(std::move(instance)), others_(std::move(others)) {}

    /// To be called for all lines in their order, before Has is asked for one of them.
    void Learn(const LogEntryText& entry);
    bool Has(const LogEntryText& entry) const;
    bool Names(const std::string& text) const;

  private:
    const std::string instance_;
    const std::vector<std::string> others_;
    std::map<std::uint64_t, bool> processes_;  // by id: whether it is one of the instance's
};

inline constexpr std::uint64_t kMebibyte = 1'048'576;
/// Of a log: enough for what happened lately, and read in a moment.
inline constexpr std::uint64_t kRecentLog = 16 * kMebibyte;

struct LogReading {
    std::vector<LogEntryText> entries;
    bool isWhole = true;  // false: there are older ones
};
/// The last `mostBytes` of this machine's log, of its file and the older ones beside it; nothing when the programs log
/// elsewhere.
LogReading ReadLog(std::uint64_t mostBytes = kRecentLog);

/// What the log tells of an instance's starts and ends.
struct Trouble {
    std::string reason;  // why it does not run: "its process ended after 0.02 s with exit code 7"; or empty
    std::vector<LogEntryText> lines;                           // about the instance since its last start began
    std::optional<std::uint32_t> lastExitCode = std::nullopt;  // of a process that ended by itself
    std::string lastExitTime = {};
    std::size_t restarts = 0;            // by the manager, since it was not working
    std::set<std::string> changed = {};  // its settings that were written since it came up last
};
/// `managerProgram`: the manager's path, beside which the child's program lies.
Trouble FindTrouble(const std::vector<LogEntryText>& log, InstanceLines lines, const std::string& name,
                    const std::string& managerProgram);

/// Whether the instance's process did not end in time when it was asked to, at that time ("2024-03-05T14:07:09.042") or
/// later.
bool WasEndedByForce(const std::vector<LogEntryText>& log, const std::string& name, const std::string& since);

}  // namespace kivctl
