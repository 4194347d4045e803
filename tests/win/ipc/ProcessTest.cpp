// Client and server in two processes: the test program starts itself again as the server.
#include <windows.h>

#include "unit/ipc/Peers.h"
#include "utils/platform/Platform.h"
#include "utils/platform/impl/win/Handle.h"

namespace {

constexpr char kServerName[] = "win-ipc-peer";
constexpr char kServe[] = "--serve";
constexpr std::uint32_t kAskForNotices = 120;

/// The other process: answers until it is asked to stop.
int Serve() {
    IPCServer server;
    server.Start(kServerName);
    while (const auto request = server.GetRequest()) {
        for (std::uint32_t i = 0; i < 5 && request->Command() == kAskForNotices; ++i)
            server.Broadcast(IPC::Notice(150 + i));
        if (request->Command() != RunningServer::kUnanswered)
            server.SendReply(IPC::Reply(*request, request->Payload()));
        if (request->Command() == kIpcStop)
            break;
    }
    return 0;
}

UniqueHandle StartServer() {
    std::string commandLine = '"' + platform::ModulePath() + "\" " + kServe;
    STARTUPINFOA startup{};
    PROCESS_INFORMATION info{};
    EXPECT_TRUE(
        CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info));
    const UniqueHandle thread(info.hThread);
    return UniqueHandle(info.hProcess);
}

TEST(Processes, ExchangeUntilTheServerStopsOrDies) {
    LogCapture log;
    auto process = StartServer();
    std::shared_ptr<IPCClient> client;
    ASSERT_TRUE(Eventually([&] { return (client = IPCClient::GetClient(kServerName, true))->IsConnected(); }));
    EXPECT_EQ(client->ServerPid(), GetProcessId(process.Get()));
    std::shared_ptr<IPC> reply;
    for (const std::size_t size : {0u, 1u, 4096u, 300000u}) {
        ASSERT_EQ(client->Call(IPC::Request(100, Bytes(size, 9)), kPatienceMs, reply), 0);
        EXPECT_EQ(reply->Payload(), Bytes(size, 9));
    }
    EXPECT_EQ(client->Call(IPC::Request(kAskForNotices), kPatienceMs, reply), 0);
    for (std::uint32_t i = 0; i < 5; ++i)
        EXPECT_EQ(client->TakeNotice(kPatienceMs)->Command(), 150 + i);
    EXPECT_EQ(client->Terminate(), 0);
    EXPECT_TRUE(Eventually([&] { return !client->IsConnected(); }));
    EXPECT_EQ(IPCClient::GetClient(kServerName, true)->Stop(), 0);
    EXPECT_EQ(WaitForSingleObject(process.Get(), kPatienceMs), WAIT_OBJECT_0);

    process = StartServer();
    ASSERT_TRUE(Eventually([&] { return IPCClient::GetClient(kServerName, true)->IsConnected(); }));
    const auto request = IPC::Request(RunningServer::kUnanswered);
    ASSERT_EQ(client->Send(request), 0);
    TerminateProcess(process.Get(), 0);
    EXPECT_EQ(client->WaitReply(request->RequestId(), kivsync::kInfinite), nullptr);
    EXPECT_TRUE(log->Contains("Received stop event ReqId:"));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && argv[1] == std::string(kServe))
        return Serve();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
