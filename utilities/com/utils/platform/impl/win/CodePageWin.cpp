#include "utils/platform/CodePage.h"
#include "utils/platform/impl/win/WideText.h"

namespace platform {

std::string ToUtf8(const std::string& narrow) {
    return Narrow(CP_UTF8, Widen(CP_ACP, 0, narrow));
}

std::optional<std::string> FromUtf8(const std::string& utf8) {
    const auto wide = Widen(CP_UTF8, MB_ERR_INVALID_CHARS, utf8);
    auto narrow = Narrow(CP_ACP, wide);
    // A character that the code page lacks is replaced by another one, and so does not survive the way back.
    if (Widen(CP_ACP, 0, narrow) != wide || wide.empty() != utf8.empty())
        return std::nullopt;
    return narrow;
}

}  // namespace platform
