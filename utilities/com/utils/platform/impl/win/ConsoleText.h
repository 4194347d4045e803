// Text on a console, which does not display text in the code page that programs and their files use.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace platform {

/// Writes `text`, which is in `codePage` (CP_ACP or CP_UTF8), to a console. False when `output` is not a console, or
/// when the write fails: the caller then writes the unchanged bytes itself, as to a file or a pipe.
inline bool WriteToConsole(HANDLE output, UINT codePage, std::string_view text) {
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode))
        return false;
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');  // never more UTF-16 units than bytes
    const int length = MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), size);
    DWORD written = 0;
    return WriteConsoleW(output, wide.data(), static_cast<DWORD>(length), &written, nullptr) != 0;
}

}  // namespace platform
