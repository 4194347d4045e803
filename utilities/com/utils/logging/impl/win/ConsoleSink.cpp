#include "utils/logging/impl/win/ConsoleSink.h"

#include <memory>
#include <mutex>
#include <string>

#include "utils/logging/LogLevel.h"
#include "utils/logging/LogLine.h"
#include "utils/platform/impl/win/ConsoleText.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/impl/win/MutexWin.h"

namespace Logging {

namespace {

constexpr WORD kBrightRed = FOREGROUND_RED | FOREGROUND_INTENSITY;
constexpr WORD kBrightYellow = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY;
constexpr WORD kWhite = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE;

bool IsConsole(HANDLE stream) {
    DWORD mode = 0;
    return GetConsoleMode(stream, &mode);
}

WORD DefaultAttribute() {
    for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        CONSOLE_SCREEN_BUFFER_INFO info{};
        if (GetConsoleScreenBufferInfo(GetStdHandle(stream), &info))
            return info.wAttributes;
    }
    return kWhite;
}

}  // namespace

ConsoleSink::ConsoleSink()
    : output_(GetStdHandle(STD_OUTPUT_HANDLE)),
      isConsole_(IsConsole(output_)),
      defaultAttribute_(DefaultAttribute()),
      mutex_(
          std::make_shared<kivsync::MutexWin>(UniqueHandle(CreateMutexW(nullptr, FALSE, L"vexa-console-sink-mutex")))) {
}

void ConsoleSink::Write(const std::shared_ptr<LogEntry>& entry) {
    const bool isVerbose = entry->Level() == Verbose;
    const std::string prefix = isVerbose ? std::string() : FormatPrefix(*entry);
    const std::string text = (isVerbose ? "" : " : ") + entry->Message() + "\n";
    const WORD attribute = entry->Level() == Error     ? kBrightRed
                           : entry->Level() == Warning ? kBrightYellow
                                                       : defaultAttribute_;

    const std::lock_guard guard(mutex_);
    Print(prefix);
    SetAttribute(attribute);
    Print(text);
    if (attribute != defaultAttribute_)
        SetAttribute(defaultAttribute_);
}

void ConsoleSink::Print(std::string_view text) const {
    if (isConsole_ && platform::WriteToConsole(output_, CP_ACP, text))
        return;
    // A pipe may accept only a part of the text.
    while (!text.empty()) {
        DWORD written = 0;
        // cppcheck-suppress invalidLifetime ; a false alarm: the callers' strings outlive this call
        if (!WriteFile(output_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) || written == 0)
            return;
        text.remove_prefix(written);
    }
}

void ConsoleSink::SetAttribute(WORD attribute) const {
    if (isConsole_)
        SetConsoleTextAttribute(output_, attribute);
}

}  // namespace Logging
