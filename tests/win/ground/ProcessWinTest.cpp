// Real child processes, a mutex that one of them dies with, and who may open such things.
#include "utils/class/impl/win/ProcessWin.h"

#include <gtest/gtest.h>
#include <sddl.h>

#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"
#include "utils/sync/impl/win/SecurityAttributes.h"
#include "win/ground/Child.h"

namespace {

/// The exit code of a child that is let run to its end.
DWORD ExitCode(IProcess& process) {
    const UniqueHandle another(
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(process.GetPid())));
    EXPECT_EQ(WaitForSingleObject(another.Get(), child::kPatienceMs), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(another.Get(), &code));
    return code;
}

TEST(ProcessWin, CannotTellExitCode259FromRunning) {
    // Blanks make the command line as long as it may be; the mode "overflow" tries a longer one, which ends the caller.
    ProcessWin longest("", {"exit259" + std::string(child::kLongestArgument - 7, ' ')}), longer("", {"overflow"});
    ASSERT_EQ(longest.Start() + longer.Start(), 0u);
    EXPECT_EQ(ExitCode(longest), static_cast<DWORD>(STILL_ACTIVE));
    EXPECT_TRUE(longest.IsRunning());
    EXPECT_TRUE(longest.WaitForExit(0));
    EXPECT_FALSE(longest.IsStarted());
    EXPECT_EQ(longest.GetPid(), 0u);
    EXPECT_EQ(ExitCode(longer), static_cast<DWORD>(STATUS_INVALID_CRUNTIME_PARAMETER));
}

TEST(MutexWin, HasOneCreatorAndIsTakenOverFromADeadProcess) {
    const auto mutex = kivsync::Mutex::MakeNamed(child::kMutex, false);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(kivsync::Mutex::MakeNamed(child::kMutex, false), nullptr);
    EXPECT_TRUE(UniqueHandle(OpenMutexA(SYNCHRONIZE, FALSE, (std::string("Global\\") + child::kMutex).c_str())));
    ProcessWin process("", {"mutex"});
    ASSERT_EQ(process.Start(), 0u);
    ASSERT_EQ(ExitCode(process), child::kDiedWithMutex);
    EXPECT_EQ(mutex->Lock(child::kPatienceMs), 0);
    EXPECT_EQ(mutex->Close(), -1);
    EXPECT_EQ(mutex->Destroy(), 0);
    EXPECT_EQ(kivsync::Mutex::OpenNamed(child::kMutex), nullptr);
}

TEST(SecurityAttributes, GrantTheirRightsToTwoGroups) {
    SecurityAttributes attributes(SYNCHRONIZE, MUTEX_ALL_ACCESS);
    EXPECT_EQ(attributes.Get()->nLength, sizeof(SECURITY_ATTRIBUTES));
    char* text = nullptr;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(
        attributes.Get()->lpSecurityDescriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    EXPECT_STREQ(text, "D:(A;;0x100000;;;WD)(A;;0x1f0001;;;BA)");
    LocalFree(text);
}

}  // namespace
