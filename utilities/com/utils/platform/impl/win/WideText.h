// Conversion between UTF-16, the text of Windows, and the bytes of a code page.
#pragma once

#include <windows.h>

#include <string>

namespace platform {

/// `flags` are those of MultiByteToWideChar. Empty when the conversion fails.
inline std::wstring Widen(UINT codePage, DWORD flags, const std::string& text) {
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');  // never more UTF-16 units than bytes
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(codePage, flags, text.data(), size, wide.data(), size)));
    return wide;
}

inline std::string Narrow(UINT codePage, const std::wstring& wide) {
    constexpr std::size_t kMostBytesOfAUnit = 4;
    std::string text(wide.size() * kMostBytesOfAUnit, '\0');
    text.resize(
        static_cast<std::size_t>(WideCharToMultiByte(codePage, 0, wide.data(), static_cast<int>(wide.size()),
                                                     text.data(), static_cast<int>(text.size()), nullptr, nullptr)));
    return text;
}

}  // namespace platform
