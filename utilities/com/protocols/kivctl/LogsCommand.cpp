// logs: the last lines of the log, about everything or about one instance, and the new lines as they are written.

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "protocols/kivctl/Arguments.h"
#include "protocols/kivctl/Commands.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Interrupt.h"
#include "protocols/kivctl/LogFile.h"
#include "protocols/kivctl/LogHistory.h"
#include "protocols/kivctl/Manager.h"
#include "utils/logging/LogSettings.h"

namespace kivctl {

namespace {

struct LogsOptions {
    std::string name;
    std::uint32_t count = 20;
    bool follow = false;
    bool errors = false;
    bool warnings = false;
    bool all = false;
    std::string since;  // in the log's time format
};

/// The time, in the log's format, that the word means: "1h" (ago), "2024-03-05 14:07:09", "2024-03-05" or "14:07"
/// (today). Throws Failure for any other word.
std::string SinceTime(const std::string& word) {
    const auto now = LocalTime();
    constexpr std::size_t dateSize = sizeof "2024-03-05" - 1;
    std::string time;
    if (word.find(':') == std::string::npos && word.find('-') == std::string::npos)
        time = LocalTime(ParseTime(word, kOneSecond));
    else if (word.find('-') == std::string::npos)
        time = now.substr(0, dateSize + 1) + word;
    else
        time = word;
    if (time.size() > dateSize)
        time[dateSize] = 'T';
    // The log's format or a beginning of it, so that times compare as texts.
    const std::string form = "0000-00-00T00:00:00.000";
    const bool fits = time.size() >= dateSize && time.size() <= form.size() &&
                      std::equal(time.begin(), time.end(), form.begin(), [](char letter, char place) {
                          return place == '0' ? letter >= '0' && letter <= '9' : letter == place;
                      });
    if (!fits)
        throw Failure(kWrongUsage, "\"" + word + "\" is not a time; write 10m, 1h, 14:07 or \"2024-03-05 14:07\".");
    return time;
}

/// Decides which entries the command prints. Learn must be called for each entry in order, before Wants.
class Filter {
  public:
    Filter(const LogsOptions& wanted, std::vector<std::string> others) : wanted_(wanted) {
        if (!wanted.name.empty())
            lines_.emplace(wanted.name, std::move(others));
    }

    void Learn(const LogEntryText& entry) {
        if (lines_)
            lines_->Learn(entry);
    }
    bool Wants(const LogEntryText& entry) const {
        const bool isError = entry.level == 'E' || entry.level == 'F';
        const bool isLevel = wanted_.warnings ? isError || entry.level == 'W' : !wanted_.errors || isError;
        return isLevel && entry.time >= wanted_.since && (wanted_.all || !IsOfFramework(entry)) &&
               (!lines_ || lines_->Has(entry));
    }

  private:
    const LogsOptions& wanted_;
    std::optional<InstanceLines> lines_;
};

void PrintEntry(const LogEntryText& entry, const Options& options) {
    if (options.json)
        PrintUtf8(LogJson(entry).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    else
        PrintLine(LogText(entry), LevelColour(entry.level));
}

/// Reads the lines that are added to a log file, also across its rotation.
class Tail {
  public:
    /// Begins at the present end of the file.
    explicit Tail(std::string path) : path_(std::move(path)), file_(LogFile::Open(path_)) {
        if (file_)
            file_->SkipToLast(0);
    }

    /// The complete lines that were added since the last call.
    std::string ReadOn() {
        if (!file_ && !(file_ = LogFile::Open(path_)))
            return "";
        std::string text = std::exchange(rest_, "");
        // Ask whether the file was rotated before reading it: then this read gets all that was written to it before the
        // rotation.
        const bool isOld = !file_->IsAt(path_);
        text += file_->ReadOn();
        if (isOld) {
            file_ = LogFile::Open(path_);
            text += file_ ? file_->ReadOn() : "";
        }
        const auto end = text.rfind('\n') + 1;  // 0 when there is none
        rest_ = text.substr(end);
        return text.substr(0, end);
    }

  private:
    const std::string path_;
    std::unique_ptr<LogFile> file_;
    std::string rest_;  // the beginning of a line whose end is not written yet
};

void Follow(Tail& tail, Filter& filter, const Options& options) {
    constexpr std::uint32_t interval = 250;  // ms
    for (; !IsInterrupted(); PauseUnlessInterrupted(interval)) {
        for (const auto& entry : ParseLog(tail.ReadOn())) {
            filter.Learn(entry);
            if (filter.Wants(entry))
                PrintEntry(entry, options);
        }
        Flush();
    }
}

/// The names of the other instances; none when the manager does not run, for the log can be read without it.
std::vector<std::string> OtherNames(const std::string& name, const Options& options) {
    std::vector<std::string> names;
    if (!name.empty() && TryReach(kManagerServerName, options.TimeoutOr(kConnectTimeout)))
        names = Manager(options).Instances();
    std::erase(names, name);
    return names;
}

/// The last `count` entries that the filter wants. A log may be long and they are mostly near its end, so this reads
/// the end first and more only when needed.
std::vector<LogEntryText> LastEntries(const LogsOptions& wanted, Filter& filter) {
    constexpr std::uint64_t most = 1024 * kMebibyte;
    constexpr std::uint64_t factor = 8;
    for (auto bytes = kRecentLog;; bytes *= factor) {
        auto [log, isWhole] = ReadLog(bytes);
        for (const auto& entry : log)
            filter.Learn(entry);
        std::erase_if(log, [&](const auto& entry) { return !filter.Wants(entry); });
        if (log.size() < wanted.count && !isWhole && bytes < most)
            continue;
        if (log.size() > wanted.count)
            log.erase(log.begin(), log.end() - static_cast<std::ptrdiff_t>(wanted.count));
        return log;
    }
}

void ShowLogs(const LogsOptions& wanted, const Options& options) {
    const auto settings = Logging::LogSettings::Read();
    if (settings.type != Logging::kFileType)
        throw Failure(kRefused, "The programs do not log to a file; kivctl log set file PATH changes that.");
    Filter filter(wanted, OtherNames(wanted.name, options));
    // Opened before the log is read: a line added meanwhile may be printed twice, but none is lost.
    Tail tail(settings.File());
    const auto log = LastEntries(wanted, filter);
    if (options.json && !wanted.follow) {
        auto list = Json::array();
        std::ranges::transform(log, std::back_inserter(list), LogJson);
        return PrintJson(list);
    }
    for (const auto& entry : log)
        PrintEntry(entry, options);
    Flush();
    if (wanted.follow) {
        CatchInterrupt();
        Follow(tail, filter, options);
    }
}

}  // namespace

void AddLogsCommand(Command app, const Options& options) {
    auto command = app.AddCommand("logs", "Prints the log's last lines, about everything or about one instance");
    auto wanted = std::make_shared<LogsOptions>();
    command.Add("NAME", wanted->name, "Only lines about this instance and lines of its processes").Checked(FitsRequest);
    command.Add("-n,--lines", wanted->count, "How many lines").ShowDefault();
    command.AddFlag("-f,--follow", wanted->follow, "Print new lines until Ctrl-C; with --json one document per line");
    const auto errors = command.AddFlag("--errors", wanted->errors, "Only errors");
    command.AddFlag("--warnings", wanted->warnings, "Only warnings and errors").Excludes(errors);
    command.AddFlag("--all", wanted->all, "Also lines of the framework that carries the messages");
    command.Add(
        "--since", [wanted](const std::string& word) { wanted->since = SinceTime(word); },
        "Only lines since this time: 10m (ago), 1h, 14:07, \"2024-03-05 14:07\"");
    command.SetFooter("Reads the log file and the older, rotated files beside it; the service need not run.");
    command.OnRun([=, &options] { ShowLogs(*wanted, options); });
}

}  // namespace kivctl
