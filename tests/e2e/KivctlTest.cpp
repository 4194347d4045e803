// The operator's command line against a running manager: what it says, and its exit codes.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

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
    const char* text;  // that the output holds
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
    for (const char* command : {"status", "list", "watch", "ping", "shutdown", "start X", "db instances"})
        ExpectAll({{command, 3, "is not running"}});
    ExpectAll({{"", 2, "--help"},
               {"frobnicate", 2, "frobnicate"},
               {"add X nosuch", 2, "no protocol type"},
               {"start --help", 0, "NAME"},
               {"service status", 4, "not installed"},
               {"service start", 1, "kivctl service install"}});
    ManagerRun manager;
    ExpectAll({{"list", 1, ""},
               {"add \"Line 1\" sampleprotocol", 0, "Added Line 1"},
               {"add \"Line 1\" 7", 1, "(-1)"},
               {"add 12345678901234567890123456789012345678901234567890 7", 2, "at most 49"},
               {"add protocolmanager 7", 2, "another name"},
               {"add M modbus", 0, "Added M"},
               {"list modbus", 0, "M"},
               {"list eip", 1, "of this type"},
               {"start \"Line 1\"", 0, "pid"},
               {"wait M running --timeout 1", 1, "not running"},
               {"set M port 502 --string", 0, ""},
               {"get M port", 0, "502"},
               {"get M nothing", 1, "nothing"},
               {"set M enabled 0", 0, ""},
               {"start M", 1, "not enabled"},
               {"set M enabled 4294967296", 2, "4294967296"},
               {"set M enabled yes --string", 2, "keeps its kind"},
               {"db set --global ipctimeout 2500", 0, ""},
               {"db get --global ipctimeout", 0, "2500"},
               {"db get M nothing", 1, "\"nothing\" (-1)"},
               {"db set M type text --string", 2, "keeps its kind"},
               {"db export C:\\nosuch\\file.json", 2, "cannot be written"},
               {"db import C:\\nosuch.json", 2, "cannot be read"},
               {"rename M \"Line 1\"", 1, "already (-1)"},
               {"rename M \"Line 1\" --running-only", 1, "already"},
               {"rename M vexadbserver", 2, "another name"},
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
    for (const char* command : {"list", "clients \"Line 2\"", "get \"Line 2\" emultype", "ping", "db instances",
                                "db settings \"Line 2\"", "db get \"Line 2\" type", "log show", "access show"}) {
        const auto result = Kivctl(std::string("--json ") + command);
        EXPECT_TRUE(result.exitCode == 0 && nlohmann::json::accept(result.output)) << command << "\n" << result.output;
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

TEST(Kivctl, WatchTellsWhatHappensUntilItIsEnded) {
    PrepareMachine();
    auto manager = std::make_unique<ManagerRun>();
    ExpectAll({{"add W sample", 0, ""}});
    const Program watch(KivctlCommand("watch"));
    const auto tells = [&watch](const std::string& text) { return watch.Output().find(text) != std::string::npos; };
    EXPECT_TRUE(Eventually([&] {
        ExpectAll({{"set W mode tcp --string", 0, ""}});
        return tells("changed   W  mode: \"");
    }));
    EXPECT_EQ(manager->Stop(), 0);
    EXPECT_TRUE(Eventually([&] { return tells("gone      "); }));
    manager = std::make_unique<ManagerRun>();
    EXPECT_TRUE(Eventually([&] { return tells("back      "); }));
    EXPECT_EQ(manager->Stop(), 0);
}

TEST(Kivctl, EachServiceCommandPrintsOneDocument) {
    PrepareMachine();
    const auto service = [](const std::string& verb, std::int32_t exitCode = 0) {
        const auto result = Kivctl("--json service " + verb);
        EXPECT_EQ(result.exitCode, exitCode) << verb;
        return nlohmann::json::parse(result.output, nullptr, false);
    };
    EXPECT_TRUE(service("restart", 1).contains("error"));
    EXPECT_EQ(service("stop")["state"], "not installed");
    // Those that the machine had stay, and are not told.
    EXPECT_EQ(service("install")["values"],
              nlohmann::json({{"logmaxsize", 10}, {"logkeep", 5}, {"loglevel", "info"}, {"restartdelay", 1000}}));
    EXPECT_EQ(ReadValue("", "logtype") + ReadValue("", "restartdelay"), "file1000");
    EXPECT_EQ(service("status", 1)["state"], "stopped");
    EXPECT_EQ(service("start")["state"], "running");
    EXPECT_EQ(service("restart")["state"], "running");
    EXPECT_EQ(service("install")["isNew"], false);
    EXPECT_EQ(service("uninstall")["removed"], true);
    EXPECT_EQ(service("status", 4)["state"], "not installed");
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

TEST(Kivctl, AnExportImportedIntoAnEmptyDatabaseGivesTheSame) {
    const auto file = ProgramFolder() + "e2e.export.json";
    const auto import = "db import \"" + file + "\"";
    PrepareMachine();
    WriteTable("0", "one", Sample("1", {{"enabled", 0u}}));
    WriteTable("1", "two \"quoted\"", Sample("2", {{"n", 0xFFFFFFFFu}, {"enabled", 0u}}));
    {
        ManagerRun manager;
        ExpectAll({{("db export \"" + file + "\"").c_str(), 0, ""}});
        EXPECT_EQ(manager.Stop(), 0);
    }
    PrepareMachine();
    ManagerRun manager;
    ExpectAll({{import.c_str(), 0, ""}});
    EXPECT_EQ(ReadValue("0", "_kiv_name") + ReadValue("0", "port") + ReadValue("0", "enabled"), "one10");
    EXPECT_EQ(ReadValue("1", "_kiv_name") + ReadValue("1", "n"), "two \"quoted\"4294967295");

    // A broken file changes nothing, and the line is named.
    std::ofstream(file) << "{ \"format\": \"kiv-settings-1\", \"instances\": {\n"
                           "\"new\": { \"type\": 7,\n\"n\": 94294967295 } } }\n";
    ExpectAll({{import.c_str(), 2, "Line 3"}});
    EXPECT_EQ(ReadValue("2", "_kiv_name"), "");
    EXPECT_EQ(manager.Stop(), 0);
}

}  // namespace
}  // namespace e2e
