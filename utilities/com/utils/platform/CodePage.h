// Conversion between UTF-8 and the machine's narrow code page, in which names and settings are stored.
#pragma once

#include <optional>
#include <string>

namespace platform {

/// Converts narrow text to UTF-8. Any thread.
std::string ToUtf8(const std::string& narrow);
/// Converts UTF-8 to narrow text. Nothing when the text is not valid UTF-8, or when the narrow code page lacks one of
/// its characters. Any thread.
std::optional<std::string> FromUtf8(const std::string& utf8);

}  // namespace platform
