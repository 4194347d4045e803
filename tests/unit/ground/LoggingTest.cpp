// The logger, from the log call to the line in the file.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/CaptureSink.h"
#include "utils/logging/FileSink.h"
#include "utils/logging/FunctionName.h"
#include "utils/logging/LogFile.h"
#include "utils/logging/LogFiles.h"
#include "utils/logging/LogLine.h"
#include "utils/logging/LogSettings.h"
#include "utils/platform/Platform.h"
#include "utils/registry/RegistryKey.h"
#include "utils/sync/Mutex.h"

namespace {

using Logging::LogEntry;
using Logging::Logger;

/// A file that only this test run uses. The destructor removes it.
struct OwnFile {
    ~OwnFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    const std::string path =
        (std::filesystem::temp_directory_path() / ("ground." + std::to_string(platform::CurrentProcessId()) + ".txt"))
            .string();
};

TEST(FileSink, AppendsOneLineAnEntry) {
    const OwnFile file;
    const auto path = file.path;
    const auto info = std::make_shared<LogEntry>(Logging::Info, "plain", "f.cpp", 7, "Klass::Do");
    const auto both = std::make_shared<LogEntry>(Logging::Verbose, "twice", "f.cpp", 8, "Klass::Do");
    Logging::FileSink(path, false).Write(info);
    Logging::FileSink colored(path, true);
    Logging::FileSink(path + "/no/such/folder", true).Write(info);
    Logging::SetProcessTag("tag");
    colored.Write(both);
    Logging::SetProcessTag("");

    const auto padded = [](const std::string& text, int width) {
        return (std::ostringstream() << std::left << std::setw(width) << text).str();
    };
    const auto id = [](std::uint64_t number) {
        return (std::ostringstream() << std::setfill('0') << std::setw(5) << number).str();
    };
    const auto process = id(platform::CurrentProcessId()), thread = id(platform::CurrentThreadId());
    const auto module = padded(platform::ModulePath(), 70), function = padded("Klass::Do", 50);
    const auto lines = (std::ostringstream() << std::ifstream(path).rdbuf()).str();
    EXPECT_EQ(lines, info->FormatTimestamp() + "|" + process + ":" + thread + "|" + module + "|" + function +
                         "|[I] plain\n\033[32m" + both->FormatTimestamp() + "|\033[35m" + process + ":\033[35m" +
                         thread + "|\033[1m\033[34m" + module + "|\033[0m\033[33m" + function +
                         "|\033[4m\033[92mtag|\033[4m\033[36m[T] twice\033[4m\033[35m[D] twice\033[0m\n");
}

TEST(LogLine, EveryLevelHasItsTagAndColors) {
    const std::pair<std::uint32_t, const char*> ends[] = {{Logging::Info, "|\033[37m[I] m\033[0m"},
                                                          {Logging::Warning, "|\033[33m[W] m\033[0m"},
                                                          {Logging::Error, "|\033[31m[E] m\033[0m"},
                                                          {Logging::Trace, "|\033[4m\033[36m[T] m\033[0m"},
                                                          {Logging::Debug, "|\033[4m\033[35m[D] m\033[0m"},
                                                          {Logging::Fatal, "|\033[101m\033[30m[F] m\033[0m"},
                                                          {Logging::Notice, "|\033[3m\033[42m\033[30m[!] m\033[0m"}};
    for (const auto& [level, end] : ends)
        EXPECT_TRUE(Logging::FormatLine({level, "m", "f", 1, "A::B"}, true).ends_with(end)) << level;
    const auto time = Logging::FormatTimestamp(17'000'000'000'420'000);  // in local time
    EXPECT_TRUE(time.starts_with("2023-11-1") && time.ends_with(":20.042") && time[10] == 'T') << time;
}

TEST(FileSink, ThoseWhoShareAFileWriteWholeLines) {
    const OwnFile file;
    const auto path = file.path;
    const auto entry = std::make_shared<LogEntry>(Logging::Info, std::string(50'000, 'x').c_str(), "f.cpp", 1, "A::B");
    Logging::FileSink one(path, false), another(path, false);
    const auto write = [&entry](Logging::FileSink& sink) {
        for (int i = 0; i < 100; ++i)
            sink.Write(entry);
    };
    std::thread beside([&] { write(one); });
    write(another);
    beside.join();
    const auto mutex = kivsync::Mutex::OpenNamed("vexa-logger-file-mutex");
    EXPECT_EQ(mutex->Lock(), 0);  // stands for a process that is suspended while it holds the mutex
    const auto begin = std::chrono::steady_clock::now();
    std::thread([&] { write(one), write(another); }).join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60))
        << "only the first line waits, for 1 s";
    EXPECT_EQ(mutex->Unlock(), 0);
    std::ifstream text(path);
    int lines = 0;
    for (std::string line; std::getline(text, line); ++lines)
        EXPECT_TRUE(line == Logging::FormatLine(*entry, false)) << lines;
    EXPECT_EQ(lines, 400);
}

/// Returns the text of the log's files, the oldest first, and removes the files.
std::string TakeLog(const std::string& path) {
    std::ostringstream text;
    for (const auto& file : Logging::LogFiles(path)) {
        text << std::ifstream(file).rdbuf();
        std::filesystem::remove_all(file);
    }
    return text.str();
}

/// The one character that each whole line has as its text.
std::string TextsOf(const std::string& log) {
    std::string texts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        texts += line.substr(line.size() - 5, 4) == "[I] " ? line.back() : '?';
    return texts;
}

TEST(FileSink, AFullFileIsRotatedAndNoLineIsLost) {
    const OwnFile file;
    const auto path = file.path;
    const auto write = [](Logging::FileSink& sink, const std::string& text) {
        sink.Write(std::make_shared<LogEntry>(Logging::Info, text.c_str(), "f.cpp", 1, "A::B"));
    };
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 4; ++writer) {
        threads.emplace_back([&, writer] {
            Logging::FileSink sink(path, false, {2000, Logging::kMostOlderLogFiles});
            for (int i = 0; i < 100; ++i)
                write(sink, std::to_string(writer));
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_GT(Logging::LogFiles(path).size(), 20u);
    const auto all = TextsOf(TakeLog(path));
    for (char writer = '0'; writer < '4'; ++writer)
        EXPECT_EQ(std::count(all.begin(), all.end(), writer), 100);
    EXPECT_EQ(all.size(), 400u);

    Logging::FileSink sink(path, false, {1, 2});
    const std::vector<std::string> three = {path + ".2", path + ".1", path};
    for (const auto* text : {"a", "b", "c", "d"})
        write(sink, text);
    EXPECT_EQ(Logging::LogFiles(path), three) << "the oldest is gone";
    std::filesystem::remove(path + ".2");
    std::filesystem::create_directories(path + ".2/in the way");
    write(sink, "e");
    EXPECT_EQ(Logging::LogFiles(path), three) << "all as they were";
    std::filesystem::remove_all(path + ".2");
    std::filesystem::rename(path + ".1", path + ".2");
    const auto mutex = kivsync::Mutex::OpenNamed("vexa-logger-file-mutex");
    EXPECT_EQ(mutex->Lock(), 0);
    std::thread([&] { write(sink, "f"); }).join();
    EXPECT_FALSE(std::filesystem::exists(path + ".1")) << "who has not the mutex does not rotate";
    EXPECT_EQ(mutex->Unlock(), 0);
    write(sink, "g");
    EXPECT_EQ(Logging::LogFiles(path), three) << "the gap is filled, and the oldest kept";
    EXPECT_EQ(TextsOf(TakeLog(path)), "cdefg");
}

/// Does everything a sink must not do to its caller.
class RudeSink : public CaptureSink {
  public:
    void Write(const std::shared_ptr<LogEntry>& entry) override {
        lastErrorOfEntry = entry->LastError();
        platform::SetLastError(1);
        throw std::runtime_error("rude");
    }
    std::uint32_t lastErrorOfEntry = 0;
};

TEST(Logger, NeverDisturbsItsCaller) {
    const LogCapture clean;
    const auto sink = std::make_shared<RudeSink>();
    Logger::GetInstance()->SetSink(sink);
    platform::SetLastError(4711);
    KIV_LOG(Logging::Info, "%f", 1e300);
    EXPECT_EQ(platform::LastError(), 4711u);
    EXPECT_EQ(sink->lastErrorOfEntry, 4711u);
}

TEST(Logger, PassesWhatItsFiltersLetThrough) {
    const LogCapture log;
    const auto logger = Logger::GetInstance();
    KIV_LOG(Logging::Info, "General IPC timeout set to %d %lld %s", 5000, 1LL << 40, "ms");
    logger->SetEnabledLevels({Logging::Error, Logging::Notice});
    KIV_LOG(Logging::Info, "filtered");
    KIV_LOG(Logging::Notice, "kept");
    logger->SetModuleFilter({"elsewhere.exe"});
    KIV_LOG(Logging::Error, "filtered");
    logger->SetModuleFilter({"elsewhere.exe", platform::ModulePath()});
    KIV_LOG(Logging::Error, "%s", std::string(600, 'x').c_str());
    logger->SetModuleFilter({});
    logger->SetDisabled(true);
    KIV_LOG(Logging::Error, "dropped");
    logger->SetDisabled(false);
    const std::vector<std::string> expected = {"General IPC timeout set to 5000 1099511627776 ms", "kept",
                                               std::string(511, 'x')};
    EXPECT_EQ(log->Messages(), expected);
    EXPECT_EQ(log->All().front()->Function(), "Logger_PassesWhatItsFiltersLetThrough_Test::TestBody");
}

TEST(Logger, TakesItsSinkFromTheTuningValues) {
    const OwnFile file;
    const auto path = file.path;
    const auto product = VexaUtils::RegistryKey::OpenOrCreate("Software\\Quenlar");
    product->DeleteSubkey("Torvik");  // values that an earlier test program left
    const auto tuning =
        product->CreateSubkey("Torvik")->CreateSubkey("runtime")->CreateSubkey("settings")->CreateSubkey("vexa");
    tuning->SetText("logfile", path);
    for (const char* type : {"File", "file"}) {  // "File" stands for event tracing, as any unknown word does
        tuning->SetText("logtype", type);
        Logger().Log(Logging::Error, "f.cpp", 1, "A::B", "%s", type);
    }
    tuning->SetNumber("logcolor", 0);
    tuning->SetNumber("logmaxsize", 1);
    tuning->SetNumber("logkeep", 5);
    tuning->SetText("logfile", path + ".sized");
    std::ofstream(path + ".sized") << std::string(1024 * 1024, ' ');
    for (const char* level : {"warning", "error", "info", "Warning"}) {
        tuning->SetText("loglevel", level);
        Logger logger;
        for (const auto kind : {Logging::Info, Logging::Notice, Logging::Warning, Logging::Error, Logging::Fatal})
            logger.Log(kind, "f.cpp", 1, "A::B", "%s", level);
    }
    product->DeleteSubkey("Torvik");
    EXPECT_EQ(Logging::LogFiles(path + ".sized").size(), 2u);
    std::string kept;
    std::istringstream rotated(TakeLog(path + ".sized").substr(1024 * 1024));
    for (std::string line; std::getline(rotated, line);)
        kept += line.substr(line.rfind('[')) + ";";
    EXPECT_EQ(
        kept,
        "[W] warning;[E] warning;[F] warning;[E] error;[F] error;[I] info;[!] info;[W] info;[E] info;[F] info;"
        "[W] Unknown loglevel Warning, info is used;[I] Warning;[!] Warning;[W] Warning;[E] Warning;[F] Warning;");
    const auto lines = TakeLog(path);
    EXPECT_EQ(lines.find("[E] File"), std::string::npos);
    EXPECT_TRUE(lines.ends_with("\033[31m[E] file\033[0m\n")) << "with colours unless told otherwise";
    EXPECT_TRUE(Logging::LogSettings().File().ends_with("\\Quenlar Imaging\\log\\zebcom.log"));
}

TEST(FunctionName, IsTheLastTwoComponentsOfAnySignature) {
    const std::pair<const char*, const char*> cases[] = {
        {"static void GlobalSettings::LoadSettings()", "GlobalSettings::LoadSettings"},
        {"int ns::Klass<T>::Do(std::map<int, ns::X<(1 > 2)> >) [with T = int; U = std::less<void(int)>]", "Klass::Do"},
        {"auto ns::Klass<std::pair<int, int>>::Do(int)::(anonymous class)::operator()() const", "Klass::Do"},
        {"auto __cdecl ns::Klass::Do::<lambda_1>::operator ()(void) const", "Klass::Do"},
        {"class std::shared_ptr<struct ns::X> __cdecl A::B(const struct ns::X *)", "A::B"},
        {"void (__cdecl *__cdecl ns::A::B(int))(int)", "A::B"},
        {"virtual ns::Klass<T>::~Klass() [with T = int]", "Klass::~Klass"},
        {"std::string ns::A::B[abi:cxx11](int)", "A::B"},
        {"void (anonymous namespace)::Free(int)", "Free"},
        {"void __cdecl ns::`anonymous-namespace'::Klass::Do(void)", "Klass::Do"},
        {"A& A::operator<<(const A&)", "A::operator<<"},
        {"A::operator std::pair<int, void (*)(int)>() const", "A::operator std::pair<int, void (*)(int)>"},
        {"void A::operatorOnDuty(int)", "A::operatorOnDuty"},
    };
    for (const auto& [signature, name] : cases)
        EXPECT_STREQ(Logging::MakeFunctionName(signature).data(), name) << signature;
}

TEST(Platform, ConvertsThirtyYearsOfTicksWithoutOverflow) {
    EXPECT_EQ(platform::TicksToNanoseconds(9'460'800'000'000'007, 10'000'000), 946'080'000'000'000'700);
}

}  // namespace
