// What the ground stands on in Windows: the event-tracing provider, named objects, the start of a process.
#include <gtest/gtest.h>
#include <windows.h>
// After <windows.h>, which it needs.
#include <sddl.h>

#include <thread>

#include "utils/class/impl/win/ProcessWin.h"
#include "utils/logging/Logger.h"
#include "utils/logging/impl/win/EtwSink.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"
#include "utils/sync/impl/win/SecurityAttributes.h"

namespace {

/// The provider library, which stays loaded with what it recorded.
struct Provider {
    Provider() { takeCalls(); }  // what was logged before
    const Module library{Logging::kEtwProviderLibrary};
    const char* (*const takeCalls)() = FindFunction<const char*()>(library.Get(), "TakeCalls");
};

TEST(EtwSink, SendsEachLevelToItsEntryPoint) {
    const Provider provider;
    Logging::EtwSink sink;
    const auto write = [&sink](std::uint32_t level, const char* message) {
        sink.Write(std::make_shared<Logging::LogEntry>(level, message, "f.cpp", 1, "A::B"));
    };
    write(Logging::Info, "before Open");
    ASSERT_EQ(sink.Open(), 0);
    for (const auto level : {Logging::Info, Logging::Warning, Logging::Error, Logging::Notice})
        write(level, "m");
    EXPECT_STREQ(provider.takeCalls(), "ETWInfo(,m)ETWWarning(,m)ETWError(,m)ETWInfo(,m)");
    write(Logging::Verbose, "one\ntwo\nthr");
    write(Logging::Verbose, "ee\nlost");
    write(Logging::Error, "clears");
    write(Logging::Verbose, "four\n");
    EXPECT_EQ(sink.Close(), 0);
    write(Logging::Info, "after Close");
    EXPECT_STREQ(provider.takeCalls(), "ETWMsg(,one)ETWMsg(,two)ETWMsg(,three)ETWError(,clears)ETWMsg(,four)");
}

TEST(Mutex, HasOneCreatorAndIsTakenOverFromADeadHolder) {
    const auto mutex = kivsync::Mutex::MakeNamed("ground", false);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(kivsync::Mutex::MakeNamed("ground", false), nullptr);
    EXPECT_TRUE(UniqueHandle(OpenMutexA(SYNCHRONIZE, FALSE, "Global\\ground")));
    std::thread([&mutex] { EXPECT_EQ(mutex->Lock(0), 0); }).join();
    EXPECT_EQ(mutex->Lock(0), 0);
    EXPECT_EQ(mutex->Close(), -1);
    EXPECT_EQ(mutex->Destroy(), 0);
    EXPECT_EQ(kivsync::Mutex::OpenNamed("ground"), nullptr);
}

TEST(SecurityAttributes, GrantTheirRightsToTwoGroups) {
    SecurityAttributes attributes(SYNCHRONIZE, MUTEX_ALL_ACCESS);
    char* text = nullptr;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(
        attributes.Get()->lpSecurityDescriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    EXPECT_STREQ(text, "D:(A;;0x100000;;;WD)(A;;0x1f0001;;;BA)");
    LocalFree(text);
}

TEST(ProcessDeathTest, ACommandLineThatDoesNotFitEndsTheProcess) {
    const auto start = [](std::size_t length) { return ProcessWin("", {std::string(length, 'x')}).Start(); };
    start(57);  // 69 characters: whether such a program is here or not, it returns
    EXPECT_EXIT(start(58), testing::ExitedWithCode(STATUS_INVALID_CRUNTIME_PARAMETER), "");
}

}  // namespace
