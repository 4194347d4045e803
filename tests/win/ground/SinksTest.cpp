// The Windows sinks, and the log file that two processes share.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>

#include "utils/class/Process.h"
#include "utils/logging/LogLine.h"
#include "utils/logging/Logger.h"
#include "utils/logging/impl/win/EtwSink.h"
#include "utils/platform/Platform.h"
#include "win/ground/Child.h"

namespace {

using Logging::LogEntry;

std::shared_ptr<LogEntry> Entry(std::uint32_t level, const char* message) {
    return std::make_shared<LogEntry>(level, message, "f.cpp", 1, "A::B");
}

std::vector<std::string> Lines(const std::filesystem::path& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

/// The provider library, which stays loaded with what it recorded.
struct Provider {
    Provider() { takeCalls(); }  // what was logged before
    const Module library{Logging::kEtwProviderLibrary};
    const char* (*const takeCalls)() = FindFunction<const char*()>(library.Get(), "TakeCalls");
};

TEST(EtwSink, SendsEachLevelToItsEntryPoint) {
    const Provider provider;
    Logging::EtwSink sink;
    sink.Write(Entry(Logging::Info, "before Open"));
    ASSERT_EQ(sink.Open(), 0);
    for (const auto level : {Logging::Info, Logging::Warning, Logging::Error, Logging::Notice})
        sink.Write(Entry(level, "m"));
    EXPECT_STREQ(provider.takeCalls(), "ETWInfo(,m)ETWWarning(,m)ETWError(,m)ETWInfo(,m)");
    sink.Write(Entry(Logging::Verbose, "one\ntwo\nthr"));
    sink.Write(Entry(Logging::Verbose, "ee\nlost"));
    sink.Write(Entry(Logging::Error, "clears"));
    sink.Write(Entry(Logging::Verbose, "four\n"));
    EXPECT_EQ(sink.Close(), 0);
    sink.Write(Entry(Logging::Info, "after Close"));
    EXPECT_STREQ(provider.takeCalls(), "ETWMsg(,one)ETWMsg(,two)ETWMsg(,three)ETWError(,clears)ETWMsg(,four)");
}

TEST(FileSink, TwoProcessesWriteWholeLines) {
    const auto path = std::filesystem::temp_directory_path() / "ground-two-processes.txt";
    std::filesystem::remove(path);
    ASSERT_TRUE(SetEnvironmentVariableA(child::kLogVariable, path.string().c_str()));
    const UniqueHandle go(CreateEventA(nullptr, TRUE, FALSE, child::kGoEvent));
    const UniqueHandle ready(CreateSemaphoreA(nullptr, 0, 2, child::kReadySemaphore));
    Process first("", {"log"}), second("", {"log"});
    for (auto* process : {&first, &second}) {
        ASSERT_EQ(process->Start(), 0u);
        ASSERT_EQ(WaitForSingleObject(ready.Get(), child::kPatienceMs), WAIT_OBJECT_0);
    }
    SetEvent(go.Get());
    for (auto* process : {&first, &second})
        EXPECT_TRUE(process->WaitForExit(child::kPatienceMs));
    const auto lines = Lines(path);
    EXPECT_EQ(lines.size(), 2u * child::kLogLines);
    for (const auto& line : lines)
        EXPECT_TRUE(line.starts_with("\033[32m2") &&
                    line.ends_with(std::string("[I] ") + child::kLogMessage + "\033[0m"))
            << line;
}

}  // namespace
