// A child that ends with the exit code that is its argument; without one it waits to be ended. With a log file and a
// number of lines it writes these, and rotates the file when it has 4000 bytes.
#include <windows.h>

#include <cstdlib>

#include "utils/logging/FileSink.h"
#include "utils/logging/LogEntry.h"
#include "utils/logging/LogLevel.h"

int main(int count, char** arguments) {
    constexpr DWORD kLifetimeMs = 120000;  // one that nobody ends goes by itself
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
