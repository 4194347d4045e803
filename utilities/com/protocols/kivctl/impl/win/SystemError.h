// The system's messages for its error codes.
#pragma once

#include <windows.h>

#include <string>

namespace kivctl {

/// The message and the code: "Access is denied (5)"; "error 5" when the system has no message for it.
inline std::string SystemMessage(DWORD error) {
    char text[512];
    auto size = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                               sizeof text, nullptr);
    while (size > 0 &&
           (text[size - 1] == '\n' || text[size - 1] == '\r' || text[size - 1] == '.' || text[size - 1] == ' '))
        --size;
    const auto code = std::to_string(error);
    return size == 0 ? "error " + code : std::string(text, size) + " (" + code + ")";
}

}  // namespace kivctl
