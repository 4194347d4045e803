// Real child processes.
#include "utils/class/impl/win/ProcessWin.h"

#include <gtest/gtest.h>

#include "support/CaptureSink.h"
#include "utils/class/Process.h"
#include "utils/platform/impl/win/Handle.h"
#include "win/ground/Child.h"

namespace {

/// Another handle to the child: it still tells the exit code when the owner's is gone.
UniqueHandle OpenAnother(IProcess& process) {
    const auto pid = static_cast<DWORD>(process.GetPid());
    return UniqueHandle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, pid));
}

DWORD ExitCode(const UniqueHandle& process) {
    EXPECT_EQ(WaitForSingleObject(process.Get(), child::kPatienceMs), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(process.Get(), &code));
    return code;
}

void ExpectNothingHeld(IProcess& process) {
    EXPECT_FALSE(process.IsStarted());
    EXPECT_FALSE(process.IsRunning());
    EXPECT_FALSE(process.WaitForExit(0));
    EXPECT_EQ(process.GetPid(), 0u);
}

TEST(ProcessWin, HoldsAChildUntilItsEndWasWaitedForOrForced) {
    const LogCapture log;
    const UniqueHandle go(CreateEventA(nullptr, TRUE, FALSE, child::kGoEvent));
    Process process("C:\\somewhere\\KivProtocol.exe", {"wait", "ignored"});
    ASSERT_EQ(process.Start(), 0u);
    const auto killed = OpenAnother(process);
    EXPECT_EQ(process.Stop(), 0);
    EXPECT_EQ(ExitCode(killed), 0u);
    ExpectNothingHeld(process);
    EXPECT_EQ(process.Stop(), 0);

    ASSERT_EQ(process.Start(), 0u);
    const auto another = OpenAnother(process);
    EXPECT_FALSE(process.WaitForExit(0));
    EXPECT_TRUE(process.IsRunning());
    SetEvent(go.Get());
    EXPECT_EQ(ExitCode(another), child::kReachedEnd);
    EXPECT_TRUE(process.IsStarted());
    EXPECT_FALSE(process.IsRunning());
    EXPECT_TRUE(process.WaitForExit(0));
    ExpectNothingHeld(process);

    const std::string started = "Start process running:1";
    const std::string failed = "Error on terminate process C:\\somewhere\\KivProtocol.exe";
    EXPECT_EQ(log->Messages(), (std::vector{started, failed, started}));
    EXPECT_EQ(log->All()[0]->Function(), "ProcessWin::Start");
}

TEST(ProcessWin, CannotTellExitCode259FromRunning) {
    // Blanks make the command line as long as it may be; the mode "overflow" tries a longer one, which ends the caller.
    ProcessWin longest("", {"exit259" + std::string(child::kLongestArgument - 7, ' ')}), longer("", {"overflow"});
    ASSERT_EQ(longest.Start() + longer.Start(), 0u);
    EXPECT_EQ(ExitCode(OpenAnother(longest)), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_TRUE(longest.IsRunning());
    EXPECT_TRUE(longest.WaitForExit(0));
    EXPECT_EQ(ExitCode(OpenAnother(longer)), static_cast<DWORD>(STATUS_INVALID_CRUNTIME_PARAMETER));
}

}  // namespace
