// Text of the machine's narrow code page, in which names and settings are kept, and UTF-8.
#pragma once

#include <optional>
#include <string>

namespace platform {

/// Any thread.
std::string ToUtf8(const std::string& narrow);
/// Empty when the text is no UTF-8, or when the narrow code page lacks one of its characters. Any thread.
std::optional<std::string> FromUtf8(const std::string& utf8);

}  // namespace platform
