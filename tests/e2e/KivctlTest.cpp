// The operator's command line with a running manager: its output and its exit codes.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"
#include "support/RawClient.h"

namespace e2e {
namespace {

std::string KivctlCommand(const std::string& arguments) {
    return "\"" + ProgramFolder() + "kivctl.exe\" " + arguments;
}

ProgramResult Kivctl(const std::string& arguments) {
    return RunProgram(KivctlCommand(arguments));
}

struct Expectation {
    const char* arguments;
    std::int32_t exitCode;
    const char* text;  // the output contains it
};

void ExpectAll(std::initializer_list<Expectation> expectations) {
    for (const auto& expected : expectations) {
        const auto result = Kivctl(expected.arguments);
        EXPECT_EQ(result.exitCode, expected.exitCode) << expected.arguments << "\n" << result.output;
        EXPECT_NE(result.output.find(expected.text), std::string::npos) << expected.arguments << "\n" << result.output;
    }
}

TEST(Kivctl, CommandsSayWhatTheyDidAndWhyNot) {
    PrepareMachine({{"ipctimeout", 2000u}});
    for (const char* command : {"status", "list", "ping", "shutdown", "start X", "db instances"})
        ExpectAll({{command, 3, "is not running"}});
    ExpectAll({{"", 2, "--help"},
               {"frobnicate --help", 2, "\"frobnicate\""},
               {"db setings", 2, "did you mean \"settings\"?"},
               {"--timeout 1x list", 2, "is not a time"},
               {"help db set", 0, "Usage: kivctl db set"},
               {"completion powershell", 0, "Register-ArgumentCompleter"},
               {"metrics", 0, "kiv_manager_up 0\n# EOF"},
               {"add X nosuch", 2, "is not a protocol type"},
               {"service status", 4, "not installed"},
               {"service start", 1, "kivctl service install"}});
    ManagerRun manager;
    ExpectAll({{"list", 1, ""},
               {"add \"Line 1\" sampleprotocol", 0, "Added Line 1"},
               {"add \"Line 1\" 7", 1, "(-1)"},
               {"add 12345678901234567890123456789012345678901234567890 7", 2, "at most 49"},
               {"add protocolmanager 7", 2, "another name"},
               {"add M modbus", 0, "Added M"},
               {"start \"Line 1\"", 0, "Started Line 1, pid"},
               {"start \"Line 1\"", 0, "Line 1 runs already, pid"},
               {"start Line 1", 2, "a name with a space in quotes: \"Line 1\""},
               {"start \"Lime 1\"", 1, "did you mean \"Line 1\"?"},
               {"__complete db se", 0, "settings\nset"},
               {"wait M running --timeout 1", 1, "not running"},
               {"set M port 502", 0, ""},
               {"set M prt 502 --string", 2, "did you mean \"port\"? --new"},
               {"set M prt 502 --string --new", 0, "Set prt"},
               {"set M enabled 2", 2, "from 0 to 1"},
               {"settings --global", 0, "starttimeout"},
               {"get M port", 0, "502"},
               {"get M nothing", 1, "nothing"},
               {"disable M", 0, "Disabled M"},
               {"start M", 1, "not enabled"},
               {"restart M", 1, "nothing was stopped"},
               {"stop M nobody", 1, "Stopped M.\nkivctl: Refused"},
               {"enable \"?\" \"Line*\"", 0, "2 done, 0 failed."},
               {"stop --type eip", 1, "No instance"},
               {"set M enabled 4294967296", 2, "4294967296"},
               {"db set --global ipctimeout 2500", 0, ""},
               {"db get --global ipctimeout", 0, "2500"},
               {"db get --global monitorwaittime", 1, "its default is 300000"},
               {"db set M type text --string", 2, "keeps its kind"},
               {"db export C:\\nosuch\\file.json", 1, "cannot be written: No such file"},
               {"db import C:\\nosuch.json", 2, "cannot be read"},
               {"rename M \"Line 1\"", 1, "already (-1)"},
               {"rename \"Line 1\" \"Line 2\"", 0, "Line 2"},
               {"wait \"Line 2\" running --timeout 20", 0, ""},
               {"ping nobody", 3, "Nothing serves \"nobody\""},
               {"log set console C:\\path", 2, "\"file\" only"}});
    for (const char* command : {"start nobody", "stop nobody", "restart nobody", "remove nobody", "rename nobody X",
                                "get nobody port", "set nobody port 1 --string", "status nobody", "wait nobody running",
                                "db settings nobody", "db get nobody port"})
        ExpectAll({{command, 1, "no instance \"nobody\""}});
    ExpectAll({{"clients nobody", 1, "(-9)"}});
    {
        const RawClient user("Line 2");
        for (const char* command : {"stop \"Line 2\"", "restart \"Line 2\"", "remove \"Line 2\"", "rename \"Line 2\" X",
                                    "rename \"Line 2\" X --running-only"})
            ExpectAll({{command, 1, "(-33), pid 1234605616436508552"}});
    }
    ExpectAll({{"wait \"Line 2\" running", 0, ""}, {"stop \"Line 2\"", 0, "Stopped"}, {"remove M", 0, "Removed"}});
    std::istringstream commands(
        "list;start --all;stop \"Line 2\";enable \"Line 2\";logs;settings -g;set \"Line 2\" mode x;load \"Line 2\";"
        "status \"Line 2\";wait --all stopped;is-running nobody;list eip;clients \"Line 2\";get \"Line 2\" emultype;"
        "ping;db instances;db settings \"Line 2\";db get \"Line 2\" type;log show;access show");
    for (std::string command; std::getline(commands, command, ';');) {
        const auto result = Kivctl("--json " + command);
        EXPECT_TRUE(nlohmann::json::accept(result.output)) << command << "\n" << result.output;
    }
    const auto status = nlohmann::json::parse(Kivctl("--json status").output);
    ASSERT_EQ(status.size(), 1u);
    EXPECT_EQ(status[0]["name"], "Line 2");
    EXPECT_EQ(status[0]["state"], "stopped");
    EXPECT_EQ(status[0]["typeNumber"], 7);
    const auto log = "log set file \"" + ProgramFolder() + "new folder\\x.txt\" --color off";
    ExpectAll({{"shutdown", 0, ""}, {log.c_str(), 0, "without colour codes"}});
    EXPECT_EQ(ReadValue("", "logtype") + ReadValue("", "logcolor"), "file0");
    EXPECT_TRUE(RemoveDirectoryA((ProgramFolder() + "new folder").c_str())) << "the log's folder is made";
    EXPECT_EQ(manager.WaitForExit(), 0);
}

TEST(Kivctl, AFailedStartSaysWhyAndAHungProcessHidesNobody) {
    PrepareMachine({{"starttimeout", 1000u}, {"stoptimeout", 1000u}, {"ipctimeout", 8000u}});
    int port = 0;
    for (const char* name : {"absent", "dies", "refuses", "stubborn", "well"})
        WriteTable(std::to_string(port), name, Sample(std::to_string(port), {{"enabled", port < 3 ? 0u : 1u}})), ++port;
    WriteTable("9", "of no type", Sample("9", {{"type", 3u}, {"enabled", 0u}}));
    {
        ManagerRun manager("faulty\\");
        ExpectAll({{"wait stubborn well running", 0, "2 done"},
                   {"enable absent dies refuses", 0, "3 done"},
                   {"start dies", 1, "does not run: its process ended after 0."},
                   {"start dies", 1, "with exit code 3 (-1).\n  20"},  // and the log's lines
                   {"status dies", 0, "with exit code 3"},
                   {"start absent", 1, "it was not ready within its start timeout"},
                   {"start refuses", 1, "its server could not be started"},
                   {"set well mode x", 0, "kivctl restart \"well\""},
                   {"status well", 0, "Changed     mode since its start"},
                   {"status well", 0, "KivProtocolManager.exe (the manager)"},
                   {"logs dies --errors", 0, "of instance dies ended with exit code 3"},
                   {"db set --global disabledprotocols 3", 0, "kivctl service restart"},
                   {"start \"of no type\"", 1, "disabledprotocols"},
                   {"status --check --type sample", 4, "5 instances: 2 running, 3 not working."},
                   {"status --failed", 0, "absent"},
                   {"stop stubborn", 0, "was ended by force"},
                   {"start stubborn", 0, ""}});
        EXPECT_EQ(Kivctl("logs well").output.find("dies"), std::string::npos);
        EXPECT_EQ(Kivctl("status --failed").output.find("well"), std::string::npos);
        SetEnvironmentVariableA("COLUMNS", "60");
        std::istringstream narrow(Kivctl("status").output);
        SetEnvironmentVariableA("COLUMNS", nullptr);
        std::string line;
        EXPECT_TRUE(std::getline(narrow, line) && line.starts_with("NAME ") && line.ends_with("UPTIME    NOTE"))
            << line;
        while (std::getline(narrow, line) && !line.starts_with("6 instances"))
            EXPECT_LE(line.size(), 60u) << line;
        RawClient("stubborn").Send(kRequest, 1, 200, {});  // from now on it answers nothing
        ExpectAll({{"status", 0, "busy"},
                   {"status", 0, "1 running"},
                   {"--timeout 20s clients stubborn", 3, "does not answer"}});
    }
    // While the manager starts its instances one after another.
    PrepareMachine();
    WriteSamples({"slow", "well"});
    {
        ManagerRun manager("faulty\\");
        ExpectAll({{"status", 0, "to come"}, {"wait slow well running", 0, "2 done"}});
        const Program watch(KivctlCommand("status --watch 100ms"));
        EXPECT_TRUE(Eventually([&] {
            const auto output = watch.Output();
            return output.find("2 running.") != output.rfind("2 running.");
        }));
    }
    // In a folder without the children's program.
    const auto folder = ProgramFolder() + "alone\\";
    CreateDirectoryA(folder.c_str(), nullptr);
    CopyFileA((ProgramFolder() + "KivProtocolManager.exe").c_str(), (folder + "KivProtocolManager.exe").c_str(), FALSE);
    const ManagerRun manager("alone\\");
    ExpectAll({{"start well", 1, "its program is missing: "}, {"start well", 1, "alone\\KivProtocol.exe"}});
}

TEST(Kivctl, WatchTellsWhatHappensUntilItIsEnded) {
    PrepareMachine({{"monitorwaittime", 300u}});
    const Program watch(KivctlCommand("watch"));
    EXPECT_TRUE(watch.Prints("waiting   "));
    auto manager = std::make_unique<ManagerRun>();
    EXPECT_TRUE(watch.Prints("back      "));
    ExpectAll({{"add W sample", 0, ""}, {"set W mode tcp --string", 0, ""}, {"start W", 0, ""}});
    EXPECT_TRUE(watch.Prints("changed   W  mode: \"\" -> \"tcp\""));
    EXPECT_TRUE(watch.Prints("started   W"));
    EXPECT_EQ(watch.Output().find("mode: "), watch.Output().rfind("mode: ")) << "a change is told once";
    const auto known = "pid " + std::to_string(Status("W").processId);
    const Program second(KivctlCommand("watch"));
    EXPECT_TRUE(second.Prints("running   W  " + known));
    TerminateProcess(OpenChild(Status("W").processId).Get(), 7);
    EXPECT_TRUE(watch.Prints("died      W  " + known + ", exit code 7"));
    EXPECT_TRUE(watch.Prints("restarted W"));
    EXPECT_EQ(manager->Stop(), 0);
    EXPECT_TRUE(watch.Prints("gone        the manager went away; stopped with it: W"));
}

TEST(Kivctl, LogsShowsTheLastLinesAndFollowsOverARotation) {
    const auto log = ProgramFolder() + "kivctl.log.txt";
    const auto older = log + ".1";
    PrepareMachine({{"logfile", log}});
    const auto line = [](const std::string& text) {
        return "2026-01-02T03:04:05.006|00042:00001|C:\\x\\KivProtocolManager.exe   |CProtocol::Start   |\033[33m" +
               text + "\033[0m\n";
    };
    std::ofstream(older) << line("[I] first") << line("[W] about Line 1\nand more");
    std::ofstream(log) << line("[E] about Line 10") << line("[E] last")
                       << "2026-01-02T03:04:05.006|00042:00001|C:\\x\\a.exe |IPCClient::Call |[E] framework\n";
    EXPECT_EQ(Kivctl("logs -n 3").output,
              "2026-01-02 03:04:05.006    42  [W] about Line 1\nand more\n"
              "2026-01-02 03:04:05.006    42  [E] about Line 10\n"
              "2026-01-02 03:04:05.006    42  [E] last\n");
    EXPECT_EQ(Kivctl("logs \"Line 1\"").output, "2026-01-02 03:04:05.006    42  [W] about Line 1\nand more\n");
    ExpectAll({{"logs --all", 0, "framework"}, {"logs --since 2026-01-02", 0, "first"}, {"log show", 0, "It has "}});
    EXPECT_EQ(Kivctl("logs --since 1h").output, "");
    EXPECT_EQ(nlohmann::json::parse(Kivctl("--json logs --errors").output).size(), 2u);

    const Program follow(KivctlCommand("logs -f -n 1"));
    ASSERT_TRUE(follow.Prints("last"));
    std::ofstream(log, std::ios::app) << line("[I] before");
    EXPECT_TRUE(MoveFileExA(log.c_str(), older.c_str(), MOVEFILE_REPLACE_EXISTING)) << "the reader is in the way";
    std::ofstream(log) << line("[I] after");
    EXPECT_TRUE(follow.Prints("after"));
    const auto output = follow.Output();
    EXPECT_LT(output.find("before"), output.find("after"));
    EXPECT_EQ(output.find("before"), output.rfind("before"));
    for (const auto& file : {log, older})
        std::remove(file.c_str());
    ExpectAll({{"log set file C:\\gone\\x.txt", 0, ""}});
    EXPECT_TRUE(RemoveDirectoryA("C:\\gone"));
    ExpectAll({{"log show", 0, "cannot be written"}, {"status", 3, "cannot be written"}});
    const Program manager("\"" + ProgramFolder() + "KivProtocolManager.exe\"");
    EXPECT_TRUE(manager.Prints("cannot be opened: C:\\gone\\x.txt"));
}

TEST(Kivctl, TheServiceStartsRunsAndStopsWithoutLeavingAnythingAndEachCommandPrintsOneDocument) {
    PrepareMachine({{"starttimeout", 9000u}});
    WriteSamples({"served", "slow"});
    // Beside the child that misbehaves: the slow one takes its time to stop.
    const auto kivctl = ProgramFolder() + "faulty\\kivctl.exe";
    ASSERT_TRUE(CopyFileA((ProgramFolder() + "kivctl.exe").c_str(), kivctl.c_str(), FALSE));
    const auto command = "\"" + kivctl + "\" --json service ";
    const auto service = [&command](const std::string& verb, std::int32_t exitCode = 0) {
        const auto result = RunProgram(command + verb);
        EXPECT_EQ(result.exitCode, exitCode) << verb << ": " << result.output;
        return nlohmann::json::parse(result.output, nullptr, false);
    };
    EXPECT_TRUE(service("restart", 1).contains("error"));
    EXPECT_EQ(service("stop")["state"], "not installed");
    // The settings that the machine already had stay and are not listed.
    EXPECT_EQ(service("install")["values"],
              nlohmann::json({{"logmaxsize", 10}, {"logkeep", 5}, {"loglevel", "info"}, {"restartdelay", 1000}}));
    EXPECT_EQ(ReadValue("", "logtype") + ReadValue("", "restartdelay"), "file1000");
    EXPECT_EQ(service("start")["state"], "running");
    EXPECT_EQ(service("status")["state"], "running");
    EXPECT_TRUE(WaitForStatus("served", kRunning));
    EXPECT_TRUE(WaitForStatus("slow", kRunning));
    const auto child = Status("served").processId;
    const auto manager = IPCClient::GetClient(kManagerServerName, true)->ServerPid();
    EXPECT_TRUE(IsAlive(manager));
    {
        Program stop(command + "stop");
        EXPECT_TRUE(Eventually([&command] { return RunProgram(command + "status").exitCode == 1; }));
        WriteTable("1", "slow", Sample("2", {{"enabled", 0u}}));
        EXPECT_EQ(service("start")["state"], "running") << "it waits for the stop";
        EXPECT_EQ(stop.WaitForExit(), 0);
    }
    EXPECT_FALSE(IsAlive(manager) || IsAlive(child));
    EXPECT_TRUE(LogHas("Received stop request"));
    EXPECT_TRUE(LogHas("End of KivProtocolManager")) << "the process did not come to its own end";
    EXPECT_EQ(service("restart")["state"], "running");
    EXPECT_EQ(service("install")["isNew"], false);
    service("stop");
    EXPECT_EQ(service("status", 1)["state"], "stopped");
    EXPECT_EQ(service("uninstall")["removed"], true);
    EXPECT_EQ(service("status", 4)["state"], "not installed");
    std::remove(kivctl.c_str());
}

TEST(Kivctl, WhoMayConnectIsShownAndSet) {
    PrepareMachine();
    ExpectAll({{"access show", 0, "every process"},
               {"access set nosuchgroup", 1, "knows no group"},
               {"access set S-1-5-32-x", 1, "knows no group"},
               {"access show", 0, "every process"},
               {"access set Users", 0, "\"Users\" may connect"},
               {"access show", 0, "\"Users\" may connect"},
               {"access set S-1-5-32-544", 0, "next start"}});
    EXPECT_EQ(ReadValue("", "accessgroup"), "S-1-5-32-544");
    ExpectAll({{"access set everyone", 0, "every process"}, {"access set everyone", 0, ""}});
    EXPECT_EQ(ReadValue("", "accessgroup"), "");
    PrepareMachine({{"accessgroup", std::string("gone")}});
    ExpectAll({{"access show", 0, "does not know \"gone\""}});
}

TEST(Kivctl, AnImportTakesUpWhatIsNewAndABrokenFileChangesNothing) {
    const auto file = ProgramFolder() + "e2e.export.json";
    const auto import = "db import \"" + file + "\"";
    PrepareMachine();
    ManagerRun manager;
    // Without the folder of the new log file nothing would be logged, so the import makes it.
    std::ofstream(file) << R"({"format": "kiv-settings-1", "settings": {"logfile": "C:\\kivnew\\x.txt"}, "instances": {
        "one": {"type": 7, "enabled": 0}, "two \"quoted\"": {"type": 7, "enabled": 0, "n": 4294967295}}})";
    ExpectAll({{import.c_str(), 0, "loaded 2 new instances"}, {"list", 0, "two \"quoted\""}});
    EXPECT_EQ(ReadValue("1", "_kiv_name") + ReadValue("1", "n"), "two \"quoted\"4294967295");
    EXPECT_TRUE(RemoveDirectoryA("C:\\kivnew"));
    const auto exportAgain = "db export \"" + file + "\"";
    ExpectAll({{exportAgain.c_str(), 0, ""}, {import.c_str(), 0, ""}});

    // The line is named.
    std::ofstream(file) << "{ \"format\": \"kiv-settings-1\", \"instances\": {\n"
                           "\"new\": { \"type\": 7,\n\"n\": 94294967295 } } }\n";
    ExpectAll({{import.c_str(), 2, "Line 3"}});
    EXPECT_EQ(ReadValue("2", "_kiv_name"), "");
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
