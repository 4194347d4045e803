// The child process of the tests beside: KivProtocol MODE.
#include <windows.h>

#include <string_view>

#include "utils/class/impl/win/ProcessWin.h"
#include "utils/logging/FileSink.h"
#include "utils/logging/LogEntry.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Handle.h"
#include "win/ground/Child.h"

int main(int argc, char** argv) {
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "exit259")
        return STILL_ACTIVE;
    if (mode == "log") {
        Logging::FileSink sink(platform::EnvironmentVariable(child::kLogVariable), true);
        const UniqueHandle go(OpenEventA(SYNCHRONIZE, FALSE, child::kGoEvent));
        const UniqueHandle ready(OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, child::kReadySemaphore));
        ReleaseSemaphore(ready.Get(), 1, nullptr);
        WaitForSingleObject(go.Get(), child::kPatienceMs);
        for (int i = 0; i < child::kLogLines; ++i)
            sink.Write(std::make_shared<Logging::LogEntry>(1, child::kLogMessage, "f", 1, "A::B"));
    }
    if (mode == "mutex") {
        const auto mutex = kivsync::Mutex::OpenNamed(child::kMutex);
        if (mutex != nullptr && mutex->Lock(child::kPatienceMs) == 0)
            TerminateProcess(GetCurrentProcess(), child::kDiedWithMutex);
    }
    if (mode == "overflow")
        ProcessWin("", {std::string(child::kLongestArgument + 1, 'x')}).Start();
    return child::kReachedEnd;
}
