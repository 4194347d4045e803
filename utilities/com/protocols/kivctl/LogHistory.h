// Reads the log: the entries of the log file and of its older, rotated files, and what they tell about an instance.
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
    std::string time;  // local, "2024-03-05T14:07:09.042"
    std::uint64_t processId = 0;
    std::string module;  // full path of the program
    std::string function;
    char level = ' ';  // I, W, E, F, T, D, or ! for a change of the settings
    std::string text;  // may have several lines, separated by line feeds
};

/// Splits a log's text into its entries. A line that does not begin an entry is added to the entry before it. Colour
/// codes are removed.
std::vector<LogEntryText> ParseLog(const std::string& text);

/// "2024-03-05 14:07:09.042   4711  [W] text"
std::string LogText(const LogEntryText& entry);
Json LogJson(const LogEntryText& entry);
Colour LevelColour(char level);

/// Whether the entry comes from the framework that carries the messages; such entries tell an operator little.
bool IsOfFramework(const LogEntryText& entry);

/// Finds the entries about one instance: those that name it, and all that its own processes write.
class InstanceLines {
  public:
    /// `others` are the names of the other instances, so that an entry about "Line 10" does not count for "Line 1".
    InstanceLines(std::string instance, std::vector<std::string> others)
        : instance_(std::move(instance)), others_(std::move(others)) {}

    /// Learns which processes are the instance's. Call it for each entry in order, before Has.
    void Learn(const LogEntryText& entry);
    /// Whether the entry is about the instance.
    bool Has(const LogEntryText& entry) const;
    /// Whether the text names the instance.
    bool Names(const std::string& text) const;

  private:
    const std::string instance_;
    const std::vector<std::string> others_;
    std::map<std::uint64_t, bool> processes_;  // by process id: whether the process is the instance's
};

inline constexpr std::uint64_t kMebibyte = 1'048'576;
/// Bytes of a log that cover the recent past and can be read without a noticeable delay.
inline constexpr std::uint64_t kRecentLog = 16 * kMebibyte;

struct LogReading {
    std::vector<LogEntryText> entries;
    bool isWhole = true;  // false: the log has older entries
};
/// The entries in the last `mostBytes` of this machine's log, the older files included; none when the programs do not
/// log to a file.
LogReading ReadLog(std::uint64_t mostBytes = kRecentLog);

/// What the log tells about an instance's starts and ends.
struct Trouble {
    std::string reason;  // why it does not run: "its process ended after 0.02 s with exit code 7"; empty when unknown
    std::vector<LogEntryText> lines;                           // about the instance, since its last start
    std::optional<std::uint32_t> lastExitCode = std::nullopt;  // of its last process that ended by itself
    std::string lastExitTime = {};
    std::size_t restarts = 0;            // by the manager, each because the instance had stopped working
    std::set<std::string> changed = {};  // names of the settings that were written since its last start succeeded
};
/// Looks through the log for the instance `name`; `lines` must be for the same instance. `managerProgram` is the full
/// path of the manager's program; the child's program is in the same folder.
Trouble FindTrouble(const std::vector<LogEntryText>& log, InstanceLines lines, const std::string& name,
                    const std::string& managerProgram);

/// Whether the log says, from the time `since` ("2024-03-05T14:07:09.042") on, that the manager ended the instance's
/// process by force.
bool WasEndedByForce(const std::vector<LogEntryText>& log, const std::string& name, const std::string& since);

}  // namespace kivctl
