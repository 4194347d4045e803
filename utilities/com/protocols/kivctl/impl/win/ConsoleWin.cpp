#include <windows.h>

// These need <windows.h> before them.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "protocols/kivctl/Console.h"
#include "protocols/kivctl/Failure.h"
#include "utils/platform/CodePage.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/ConsoleText.h"
#include "utils/platform/impl/win/WideText.h"

namespace kivctl {

namespace {

/// Sets the colour of the console behind the standard output; does nothing when there is none or NO_COLOR is set.
class ColourConsole {
  public:
    ColourConsole() {
        // Without a buffer the C library writes each character to a console with a call of its own.
        std::setvbuf(stdout, nullptr, _IOFBF, kBufferSize);
        CONSOLE_SCREEN_BUFFER_INFO info;
        coloured_ = GetConsoleScreenBufferInfo(output_, &info) && platform::EnvironmentVariable("NO_COLOR").empty();
        if (coloured_)
            plain_ = info.wAttributes;
    }

    // The attribute applies to all text that reaches the console from now on, so write out the buffered text first.
    void Set(Colour colour) {
        if (!coloured_)
            return;
        std::fflush(stdout);
        SetConsoleTextAttribute(output_, Attribute(colour));
    }

  private:
    static constexpr std::size_t kBufferSize = std::size_t{16} * 1024;

    WORD Attribute(Colour colour) const {
        constexpr WORD foreground = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | FOREGROUND_INTENSITY;
        const auto background = static_cast<WORD>(plain_ & ~foreground);
        switch (colour) {
            case Colour::Good:
                return background | FOREGROUND_GREEN | FOREGROUND_INTENSITY;
            case Colour::Warning:
                return background | FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY;
            case Colour::Bad:
                return background | FOREGROUND_RED | FOREGROUND_INTENSITY;
            case Colour::Plain:
                break;
        }
        return plain_;
    }

    const HANDLE output_ = GetStdHandle(STD_OUTPUT_HANDLE);
    bool coloured_ = false;
    WORD plain_ = 0;
};

void Write(DWORD standardHandle, std::FILE* stream, UINT codePage, std::string_view text) {
    if (!platform::WriteToConsole(GetStdHandle(standardHandle), codePage, text))
        std::fwrite(text.data(), 1, text.size(), stream);
}

}  // namespace

void Print(std::string_view text, Colour colour) {
    static ColourConsole console;
    if (colour != Colour::Plain)
        console.Set(colour);
    Write(STD_OUTPUT_HANDLE, stdout, CP_ACP, text);
    if (colour != Colour::Plain)
        console.Set(Colour::Plain);
}

void PrintUtf8(std::string_view text) {
    Write(STD_OUTPUT_HANDLE, stdout, CP_UTF8, text);
}

void PrintUnix(std::string_view text) {
    Flush();
    const auto mode = _setmode(_fileno(stdout), _O_BINARY);
    PrintUtf8(text);
    Flush();
    _setmode(_fileno(stdout), mode);
}

void PrintError(std::string_view text) {
    Flush();  // keeps the order of the texts when both outputs go to one file
    Write(STD_ERROR_HANDLE, stderr, CP_ACP, text);
    std::fflush(stderr);
}

bool HasWatcher() {
    return platform::IsTerminal(platform::StandardStream::Error);
}

void ShowProgress(const std::string& text) {
    static std::size_t shown = 0;  // characters of the last text, to be overwritten
    PrintError("\r" + text + std::string(std::max(shown, text.size()) - text.size(), ' ') + (text.empty() ? "\r" : ""));
    shown = text.size();
}

std::size_t TerminalWidth() {
    const auto columns = std::strtoul(platform::EnvironmentVariable("COLUMNS").c_str(), nullptr, 10);
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (columns != 0 || !GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return columns;
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left);  // without the last, which would wrap
}

void BeginScreen() {
    const auto output = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(output, &info))
        return PrintLine("");
    Flush();
    DWORD written = 0;
    const auto cells = static_cast<DWORD>(info.dwSize.X) * static_cast<DWORD>(info.dwSize.Y);
    FillConsoleOutputCharacterA(output, ' ', cells, {0, 0}, &written);
    FillConsoleOutputAttribute(output, info.wAttributes, cells, {0, 0}, &written);
    SetConsoleCursorPosition(output, {0, 0});
}

void Flush() {
    std::fflush(stdout);
}

std::vector<std::string> Arguments() {
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&LocalFree)> words(CommandLineToArgvW(GetCommandLineW(), &count),
                                                                &LocalFree);
    std::vector<std::string> arguments;
    for (int i = 1; words && i < count; ++i) {
        const std::wstring wide = words.get()[i];
        arguments.push_back(platform::Narrow(CP_ACP, wide));
        // A character that the code page lacks would become another one, and the text could name another instance.
        if (platform::Widen(CP_ACP, 0, arguments.back()) != wide)
            throw Failure(kWrongUsage,
                          "\"" + arguments.back() + "\" has characters that this machine's code page lacks.");
    }
    return arguments;
}

std::string ToUtf8(const std::string& narrow) {
    return platform::ToUtf8(narrow);
}

std::optional<std::string> FromUtf8(const std::string& utf8) {
    return platform::FromUtf8(utf8);
}

}  // namespace kivctl
