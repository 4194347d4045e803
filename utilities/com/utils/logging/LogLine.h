// The text of a log entry as the file sink writes it, and the parts of it that other sinks share.
#pragma once

#include <optional>
#include <string>

#include "utils/logging/LogEntry.h"
#include "utils/platform/Platform.h"

namespace Logging {

/// When lines carry colour codes: never, on a terminal only, always.
enum class ColorMode { Off = 0, Auto = 1, Force = 2 };

/// The colour mode of the process; Auto at first. Any thread.
void SetColorMode(ColorMode mode);

/// Whether lines written to the stream, or to a file when there is none, carry colour codes.
bool UsesColor(std::optional<platform::StandardStream> stream);

/// A text that marks every line of this process; empty at first. Set before anything is logged, if at all.
void SetProcessTag(std::string tag);
const std::string& ProcessTag();

/// `timestamp|process:thread|function`, without colour.
std::string FormatPrefix(const LogEntry& entry);

/// The whole line without its end: `timestamp|process:thread|module|function|[tag|]` and a block for the level, or two
/// for Verbose. With colour, ANSI sequences precede the fields and a reset ends the line.
std::string FormatLine(const LogEntry& entry, bool color);

}  // namespace Logging
