#include "utils/logging/LogLine.h"

#include <atomic>
#include <initializer_list>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <utility>

#include "utils/logging/LogLevel.h"

namespace Logging {

namespace {

constexpr int kIdWidth = 5;
constexpr int kModuleWidth = 70;
constexpr int kFunctionWidth = 50;

/// Select Graphic Rendition codes of ANSI terminals.
enum Sgr {
    Reset = 0,
    Bold = 1,
    Italic = 3,
    Underline = 4,
    Black = 30,
    Red = 31,
    Green = 32,
    Yellow = 33,
    Blue = 34,
    Magenta = 35,
    Cyan = 36,
    White = 37,
    OnGreen = 42,
    BrightGreen = 92,
    OnBrightRed = 101,
};

std::atomic<ColorMode> colorMode{ColorMode::Auto};

std::string& MutableProcessTag() {
    // Never destroyed: static objects may log while the process ends.
    static auto& tag = *new std::string;
    return tag;
}

/// Builds one line, with or without colour codes.
class Line {
  public:
    explicit Line(bool color) : color_(color) {}

    std::ostream& Colored(std::initializer_list<Sgr> codes) {
        if (color_) {
            for (const auto code : codes)
                text_ << "\033[" << static_cast<int>(code) << 'm';
        }
        return text_;
    }
    std::string Text() const { return text_.str(); }

  private:
    const bool color_;
    std::ostringstream text_;
};

std::ostream& WriteId(std::ostream& stream, std::uint64_t id) {
    return stream << std::setw(kIdWidth) << std::setfill('0') << std::right << id << std::setfill(' ');
}

std::ostream& WritePadded(std::ostream& stream, const std::string& text, int width) {
    return stream << std::setw(width) << std::left << text;
}

void WriteLevelBlocks(Line& line, const LogEntry& entry) {
    const auto& message = entry.Message();
    switch (entry.Level()) {
        case Info:
            line.Colored({White}) << "[I] " << message;
            break;
        case Warning:
            line.Colored({Yellow}) << "[W] " << message;
            break;
        case Error:
            line.Colored({Red}) << "[E] " << message;
            break;
        case Verbose:
            line.Colored({Underline, Cyan}) << "[T] " << message;
            line.Colored({Underline, Magenta}) << "[D] " << message;
            break;
        case Trace:
            line.Colored({Underline, Cyan}) << "[T] " << message;
            break;
        case Debug:
            line.Colored({Underline, Magenta}) << "[D] " << message;
            break;
        case Fatal:
            line.Colored({OnBrightRed, Black}) << "[F] " << message;
            break;
        case Notice:
            line.Colored({Italic, OnGreen, Black}) << "[!] " << message;
            break;
        default:
            break;
    }
}

}  // namespace

void SetColorMode(ColorMode mode) {
    colorMode = mode;
}

bool UsesColor(std::optional<platform::StandardStream> stream) {
    const ColorMode mode = colorMode;
    return mode == ColorMode::Force || (mode == ColorMode::Auto && stream && platform::IsTerminal(*stream));
}

void SetProcessTag(std::string tag) {
    MutableProcessTag() = std::move(tag);
}

const std::string& ProcessTag() {
    return MutableProcessTag();
}

std::string FormatPrefix(const LogEntry& entry) {
    std::ostringstream prefix;
    prefix << entry.FormatTimestamp() << '|';
    WriteId(prefix, entry.ProcessId()) << ':';
    WriteId(prefix, entry.ThreadId()) << '|' << entry.Function();
    return prefix.str();
}

std::string FormatLine(const LogEntry& entry, bool color) {
    Line line(color);
    line.Colored({Green}) << entry.FormatTimestamp() << '|';
    WriteId(line.Colored({Magenta}), entry.ProcessId()) << ':';
    WriteId(line.Colored({Magenta}), entry.ThreadId()) << '|';
    WritePadded(line.Colored({Bold, Blue}), entry.ModulePath(), kModuleWidth) << '|';
    WritePadded(line.Colored({Reset, Yellow}), entry.Function(), kFunctionWidth) << '|';
    if (!ProcessTag().empty())
        line.Colored({Underline, BrightGreen}) << ProcessTag() << '|';
    WriteLevelBlocks(line, entry);
    line.Colored({Reset});
    return line.Text();
}

}  // namespace Logging
