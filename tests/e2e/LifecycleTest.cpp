// The manager's main job, with the built programs: start, watch, restart, stop, in a console and as a service.

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "IPC/class/IPCClient.h"
#include "e2e/ManagerRun.h"

namespace e2e {
namespace {

const Settings kQuick = {{"ipctimeout", 500u}, {"stoptimeout", 1500u}, {"starttimeout", 1500u}};

TEST(Lifecycle, StartsWhatIsEnabledRestartsWhatDiesStopsAllOnRequest) {
    PrepareMachine({{"restartdelay", 50u}, {"disabledprotocols", std::string("3;6")}});
    WriteTable("0", "line 1", Sample("1"));
    WriteTable("1", "off", Sample("2", {{"enabled", 0u}}));
    WriteTable("2", "opc", Sample("3", {{"type", 6u}, {"protocol", std::string("OpcuaProtocol")}}));
    WriteTable("3", "line 2", Sample("4"));
    ManagerRun manager;

    ASSERT_TRUE(WaitForStatus("line 1", kRunning));
    ASSERT_TRUE(WaitForStatus("line 2", kRunning));
    EXPECT_TRUE(LogHas("Started protocol line 2"));
    for (const char* name : {"off", "opc"})
        EXPECT_TRUE(Status(name).status == kStopped && Status(name).processId == 0) << name;
    const auto first = Status("line 1");
    EXPECT_TRUE(IsAlive(first.processId));
    EXPECT_EQ(first.protocolType, 7u);
    EXPECT_EQ(first.clientCount, 1u) << "the manager itself";
    EXPECT_TRUE(Eventually([] { return Status("line 1").upTime >= 1; }));

    TerminateProcess(OpenChild(first.processId).Get(), 0xBEEF);
    EXPECT_TRUE(
        WaitForLog("Process " + std::to_string(first.processId) + " of instance line 1 ended with exit code BEEF"));
    EXPECT_TRUE(WaitForLog("Protocol line 1 has stopped working"));
    ASSERT_TRUE(WaitForStatus("line 1", kRunning));
    const auto second = Status("line 1");
    EXPECT_NE(second.processId, first.processId);

    const auto other = Status("line 2");
    EXPECT_EQ(manager.Stop(), 0);
    EXPECT_FALSE(IsAlive(second.processId) || IsAlive(other.processId));
    EXPECT_TRUE(LogHas("Protocol manager service stopped"));
}

TEST(Lifecycle, AFailedStartIsLoggedAndLeavesNoProcess) {
    PrepareMachine(kQuick);
    WriteSamples({"absent", "silent", "refuses", "hangup", "dies", "healthy"});
    ManagerRun manager("faulty\\");

    for (const char* line : {"absent did not connect 1", "silent did not send create result 1", "FFFFFFFF refuses",
                             "hangup did not send create result", "dies did not connect 0"})
        EXPECT_TRUE(WaitForLog(std::string("Cannot start instance ") + line)) << line;
    EXPECT_TRUE(WaitForLog("Cannot start protocol dies"));
    EXPECT_TRUE(LogHas("Protocol refuses started -1 "));
    // None of them keeps the healthy one from running, and none leaves a process once its start has failed.
    ASSERT_TRUE(WaitForStatus("healthy", kRunning));
    EXPECT_EQ(Status("healthy").state, 42u);
    for (const char* name : {"absent", "silent", "refuses", "hangup", "dies"}) {
        EXPECT_EQ(Control(kManagerStart, name), -1) << name;
        EXPECT_EQ(Status(name).processId, 0u) << name;
        EXPECT_EQ(Control(kManagerStop, name), 0) << name;
    }
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Lifecycle, AChildThatDoesNotAnswerIsEndedInTimeAndOneInUseLeftAlone) {
    PrepareMachine(kQuick);
    WriteSamples({"deaf", "lists another"});
    ManagerRun manager("faulty\\", "--monitorwait:700");
    ASSERT_TRUE(WaitForStatus("lists another", kRunning));
    EXPECT_EQ(Control(kManagerStop, "lists another"), -33) << "one client, who is not the manager";
    ASSERT_TRUE(WaitForStatus("deaf", kRunning));
    const auto deaf = Status("deaf").processId;

    ASSERT_EQ(IPCClient::GetClient("deaf", true)->Send(IPC::Notice(200)), 0);
    EXPECT_TRUE(WaitForLog("Protocol deaf has stopped working"));
    EXPECT_TRUE(WaitForLog("Cannot stop process " + std::to_string(deaf) + "-deaf in time"));
    ASSERT_TRUE(WaitForStatus("deaf", kRunning));
    EXPECT_FALSE(IsAlive(deaf));
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Lifecycle, AChildLeftByAKilledManagerGivesWay) {
    PrepareMachine();
    WriteTable("0", "heir", Sample("1"));
    const auto orphan = [] {
        const Program killed(ProgramFolder() + "KivProtocolManager.exe");
        EXPECT_TRUE(WaitForStatus("heir", kRunning));
        return Status("heir").processId;
    }();
    EXPECT_TRUE(IsAlive(orphan));
    ManagerRun manager;
    ASSERT_TRUE(WaitForStatus("heir", kRunning));
    EXPECT_NE(Status("heir").processId, orphan);
    EXPECT_TRUE(Eventually([orphan] { return !IsAlive(orphan); }));
    EXPECT_TRUE(LogHas("serves instance heir but is not its child"));
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(Lifecycle, BadSettingsAreNamedAndTheOthersRun) {
    const std::string longName(60, 'n');
    PrepareMachine({{"monitorwaittime", std::string("not a number")}, {"ipcstatenabled", 7u}, {"stoptimeout", 9000u}});
    WriteTable("0", longName, Sample("1"));
    WriteTable("1", "untyped", {{"enabled", 1u}});
    WriteTable("2", kManagerServerName, Sample("3"));
    WriteTable("3", "good", Sample("2"));
    ManagerRun manager;

    ASSERT_TRUE(WaitForStatus("good", kRunning));
    EXPECT_TRUE(LogHas("Cannot start instance " + longName));
    EXPECT_TRUE(LogHas("Cannot start instance protocolmanager: the manager itself serves under this name"));
    for (const char* line :
         {"IPC timeout set to 5000", "IPC stat enable flag set to 1", "IPC measure log flag set to 0",
          "Start timeout set to 10000", "Stop timeout set to 9000", "Monitoring wait time set to 300000"})
        EXPECT_TRUE(LogHas(std::string("General ") + line)) << line;
    EXPECT_EQ(Status("untyped").protocolType, 0u);

    const auto second = RunProgram(ProgramFolder() + "KivProtocolManager.exe");
    EXPECT_EQ(second.exitCode, -1);
    EXPECT_NE(second.output.find("Another KivProtocolManager is already running"), std::string::npos);
    EXPECT_EQ(Status("good").status, kRunning);
    EXPECT_EQ(manager.Stop(), 0);
}

TEST(CommandLine, TextsAndExitCodes) {
    PrepareMachine();
    const auto program = ProgramFolder() + "KivProtocolManager.exe ";
    const auto usage = RunProgram(program + "--USAGE --nonsense");
    EXPECT_EQ(usage.exitCode, 0);
    EXPECT_EQ(usage.output,
              "Usage for KivProtocolManager:\n\n--usage:  This help page\n"
              "--monitorwait:[NUMBER]  Specifies the time to wait before monitoring protocols \n");
    const auto rejected = RunProgram(program + "--monitorwait:5 --nonsense");
    EXPECT_EQ(rejected.exitCode, -4);
    EXPECT_EQ(rejected.output, "The service rejected the following argument:\n --nonsense\n");
    EXPECT_EQ(RunProgram(program + "--SERVICE").exitCode, ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
}

}  // namespace
}  // namespace e2e
