// The text of a log entry as the file sink writes it, and the parts of that text that other sinks use.
#pragma once

#include <optional>
#include <string>

#include "utils/logging/LogEntry.h"
#include "utils/platform/Platform.h"

namespace Logging {

/// When lines carry colour codes: never, on a terminal only, always.
enum class ColorMode { Off = 0, Auto = 1, Force = 2 };

/// Sets the colour mode of the process, which is Auto initially. Any thread.
void SetColorMode(ColorMode mode);

/// Whether lines that go to `stream` carry colour codes. No stream stands for a file.
bool UsesColor(std::optional<platform::StandardStream> stream);

/// Sets a text that appears in every line of this process; empty initially. Call it before the first log call only.
void SetProcessTag(std::string tag);
const std::string& ProcessTag();

/// `timestamp|process:thread|function`, without colour.
std::string FormatPrefix(const LogEntry& entry);

/// The whole line without a line end: `timestamp|process:thread|module|function|[tag|]` and a block for the level; two
/// blocks for Verbose. With colour, ANSI sequences precede the fields and a reset ends the line.
std::string FormatLine(const LogEntry& entry, bool color);

}  // namespace Logging
