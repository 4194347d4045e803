// Text on a console, which does not show the code page that programs and their files use.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace platform {

/// Writes text of the code page (CP_ACP, CP_UTF8) if the handle is a console's. False when it is none, or fails: what
/// goes to a file or a pipe are the bytes as they are, and the caller's to write.
inline bool WriteToConsole(HANDLE output, UINT codePage, std::string_view text) {
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode))
        return false;
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');  // never more units than bytes
    const int length = MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), size);
    DWORD written = 0;
    return WriteConsoleW(output, wide.data(), static_cast<DWORD>(length), &written, nullptr) != 0;
}

}  // namespace platform
