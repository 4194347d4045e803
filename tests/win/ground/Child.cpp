// A child process for tests. With an exit code as its argument, it ends with that code; without arguments, it waits to
// be ended. With a log file and a number, it writes that many lines, and rotates the file at 4000 bytes.
#include <windows.h>

#include <cstdlib>

#include "utils/logging/FileSink.h"
#include "utils/logging/LogEntry.h"
#include "utils/logging/LogLevel.h"

int main(int count, char** arguments) {
    constexpr DWORD kLifetimeMs = 120000;  // a child that no test ends must end by itself
    if (count == 3) {
        Logging::FileSink sink(arguments[1], false, {4000, Logging::kMostOlderLogFiles});
        for (int line = 0; line < std::atoi(arguments[2]); ++line)
            sink.Write(
                std::make_shared<Logging::LogEntry>(Logging::Info, std::to_string(line).c_str(), "f", 1, "A::B"));
        return 0;
    }
    if (count < 2)
        Sleep(kLifetimeMs);
    return count < 2 ? 0 : std::atoi(arguments[1]);
}
