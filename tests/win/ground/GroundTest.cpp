// The lowest classes on Windows: event tracing, console and file sinks, the named mutex, start and end of a process.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <optional>
#include <semaphore>
#include <thread>

#include "support/Patience.h"
#include "utils/class/Process.h"
#include "utils/class/impl/win/ProcessWin.h"
#include "utils/logging/FileSink.h"
#include "utils/logging/LogFiles.h"
#include "utils/logging/Logger.h"
#include "utils/logging/impl/win/ConsoleSink.h"
#include "utils/logging/impl/win/EtwSink.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/sync/Mutex.h"

namespace {

/// Keeps the provider library, and with it the recorded calls, loaded.
struct Provider {
    Provider() { takeCalls(); }  // drops earlier calls
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

TEST(ConsoleSink, WritesAlsoWhileASuspendedProcessHoldsItsMutex) {
    const auto* name = L"vexa-console-sink-mutex";
    HANDLE reading = nullptr, writing = nullptr;
    ASSERT_TRUE(CreatePipe(&reading, &writing, nullptr, 0));
    const UniqueHandle pipeEnds[] = {UniqueHandle(reading), UniqueHandle(writing)};
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    SetStdHandle(STD_OUTPUT_HANDLE, writing);
    Logging::ConsoleSink sink;
    SetStdHandle(STD_OUTPUT_HANDLE, output);

    const UniqueHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, name));
    ASSERT_EQ(WaitForSingleObject(mutex.Get(), 0), WAIT_OBJECT_0);
    std::thread([&sink] {
        for (const auto* message : {"one", "two"})
            sink.Write(std::make_shared<Logging::LogEntry>(Logging::Verbose, message, "f.cpp", 1, "A::B"));
    }).join();
    ReleaseMutex(mutex.Get());
    std::array<char, 100> text{};
    DWORD size = 0;
    EXPECT_TRUE(ReadFile(reading, text.data(), static_cast<DWORD>(text.size()), &size, nullptr));
    EXPECT_EQ(std::string(text.data(), size), "one\ntwo\n");
}

TEST(FileSink, AReaderThatKeepsTheLogFromBeingRenamedOnlyPostponesThat) {
    const std::string path = "ground-rotated-" + std::to_string(GetCurrentProcessId()) + ".log";
    Logging::FileSink sink(path, false, {1, Logging::kMostOlderLogFiles});
    const auto writeLine = [&] {
        sink.Write(std::make_shared<Logging::LogEntry>(Logging::Info, "m", "f.cpp", 1, "A::B"));
    };
    writeLine();
    UniqueHandle reader(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
    const auto size = GetFileSize(reader.Get(), nullptr);
    writeLine();
    EXPECT_GT(GetFileSize(reader.Get(), nullptr), size) << "the reader lets nobody rename the file";
    reader.Reset();
    writeLine();
    EXPECT_EQ(Logging::LogFiles(path).size(), 2u);
    for (const auto& file : Logging::LogFiles(path))
        EXPECT_TRUE(DeleteFileA(file.c_str()));
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

/// A process with a monitor that records its calls.
struct WatchedProcess {
    using End = std::optional<std::pair<std::uint64_t, std::uint32_t>>;

    explicit WatchedProcess(std::vector<std::string> arguments) : process("", std::move(arguments)) {
        process.OnEnd([this](std::uint64_t pid, std::uint32_t exitCode) {
            told = {pid, exitCode};
            calls.release();
        });
    }
    std::uint64_t Start() {
        EXPECT_EQ(process.Start(), 0u);
        return process.GetPid();
    }
    End NextEnd() {
        return calls.try_acquire_for(std::chrono::milliseconds(kPatienceMs)) ? std::exchange(told, {}) : std::nullopt;
    }

    End told;
    std::counting_semaphore<> calls{0};
    Process process;  // the last member, so destroyed first
};

/// Ends the process from outside.
void Terminate(std::uint64_t pid, UINT exitCode) {
    const UniqueHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, static_cast<DWORD>(pid)));
    EXPECT_TRUE(TerminateProcess(process.Get(), exitCode));
    EXPECT_EQ(WaitForSingleObject(process.Get(), kPatienceMs), WAIT_OBJECT_0);
}

TEST(Process, TellsOnceOfEveryChildThatEnded) {
    WatchedProcess ending({"259"});  // the exit code that also stands for a running process
    for (int i = 0; i < 2; ++i) {
        const auto pid = ending.Start();
        EXPECT_EQ(ending.NextEnd(), WatchedProcess::End({pid, 259}));
        EXPECT_TRUE(ending.process.WaitForExit(0));
    }
    auto waiting = std::make_unique<WatchedProcess>(std::vector<std::string>());
    const auto forgotten = waiting->Start(), stopped = waiting->Start();
    waiting->process.Stop();
    EXPECT_EQ(waiting->NextEnd(), WatchedProcess::End({stopped, 0}));
    Terminate(forgotten, 5);
    EXPECT_EQ(waiting->NextEnd(), WatchedProcess::End({forgotten, 5}));
    const auto outliving = waiting->Start();
    waiting.reset();
    Terminate(outliving, 0);  // a call of its monitor would use freed memory
    const auto last = ending.Start();
    EXPECT_EQ(ending.NextEnd(), WatchedProcess::End({last, 259}));
    EXPECT_FALSE(ending.calls.try_acquire());
}

TEST(Process, ItsEndWaitsForTheMonitor) {
    std::binary_semaphore called{0}, proceed{0}, ended{0};
    auto process = std::make_unique<Process>("", std::vector<std::string>{"0"});
    process->OnEnd([&](std::uint64_t, std::uint32_t) {
        called.release();
        proceed.acquire();
    });
    EXPECT_EQ(process->Start(), 0u);
    ASSERT_TRUE(called.try_acquire_for(std::chrono::milliseconds(kPatienceMs)));
    std::thread destroying([&] {
        process.reset();
        ended.release();
    });
    EXPECT_FALSE(ended.try_acquire_for(std::chrono::milliseconds(100)));  // the call is still in progress
    proceed.release();
    destroying.join();
}

TEST(ProcessDeathTest, ACommandLineThatDoesNotFitEndsTheProcess) {
    const auto start = [](std::size_t length) { return ProcessWin("", {std::string(length, 'x')}).Start(); };
    start(57);  // 69 characters with the program name: Start returns, whether it finds the program or not
    EXPECT_EXIT(start(58), testing::ExitedWithCode(STATUS_INVALID_CRUNTIME_PARAMETER), "");
}

}  // namespace
