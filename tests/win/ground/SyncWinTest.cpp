// Named mutexes between processes, and who may open them.
#include <gtest/gtest.h>
#include <windows.h>

#include <sddl.h>  // needs <windows.h>

#include "utils/class/Process.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"
#include "utils/sync/impl/win/SecurityAttributes.h"
#include "win/ground/Child.h"

namespace {

TEST(MutexWin, IsTakenOverFromADeadProcess) {
    const auto mutex = kivsync::Mutex::MakeNamed(child::kMutex, false);
    ASSERT_NE(mutex, nullptr);
    EXPECT_TRUE(UniqueHandle(OpenMutexA(SYNCHRONIZE, FALSE, (std::string("Global\\") + child::kMutex).c_str())));
    Process process("", {"mutex"});
    ASSERT_EQ(process.Start(), 0u);
    const UniqueHandle another(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(process.GetPid())));
    ASSERT_TRUE(process.WaitForExit(child::kPatienceMs));
    DWORD exitCode = 0;
    ASSERT_TRUE(GetExitCodeProcess(another.Get(), &exitCode));
    ASSERT_EQ(exitCode, child::kDiedWithMutex);
    EXPECT_EQ(mutex->Lock(child::kPatienceMs), 0);
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
