#include <windows.h>
// These need <windows.h> before them.
#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <atomic>
#include <regex>

#include "IPC/transport/PipeName.h"
#include "IPC/transport/ServerTransport.h"
#include "IPC/transport/impl/win/PipeAccess.h"
#include "unit/ipc/Peers.h"
#include "utils/platform/impl/win/Handle.h"
#include "utils/registry/RegistryKey.h"

namespace {

/// A connection over a real pipe, and the log.
struct PipeTest : testing::Test {
    PipeTest() {
        EXPECT_EQ(client->Connect(kPatienceMs), 0);
        served = server->Accept(kPatienceMs);
        EXPECT_EQ(served->Connect(0), 0);
    }

    LogCapture log;
    std::shared_ptr<ServerTransport> server = ServerTransport::Make("pipe");
    std::shared_ptr<ClientTransport> client = ClientTransport::Make("pipe");
    std::shared_ptr<ClientTransport> served;
    std::array<char, 8> buffer{};
    const Bytes large = Bytes(1024 * 1024, 3);  // more than any pipe buffers
    const std::int32_t largeSize = static_cast<std::int32_t>(large.size());
};

TEST_F(PipeTest, TransfersThatTimeOutAreTakenBackOrFinished) {
    EXPECT_EQ(client->ReadAhead(buffer.data(), 5, 8, 20), -1);
    EXPECT_EQ(served->Write("abc", 3, kPatienceMs), 3);
    EXPECT_EQ(client->Read(buffer.data(), 8, kPatienceMs), 3);  // the cancelled read took none of the bytes
    EXPECT_EQ(client->Write(large.data(), largeSize, 20), -1);
    EXPECT_EQ(log->Messages(),
              (std::vector<std::string>{"Cannot Read timeout size:5, read:0 timeout:20 server:pipe client:1",
                                        "Cannot write timeout size:1048576, write:0 timeout:20 server:pipe client:1"}));
    EXPECT_EQ(FunctionOf(log, "Cannot Read"), "ClientWinPipe::Read");
    EXPECT_EQ(FunctionOf(log, "Cannot write"), "ClientWinPipe::Write");
    EXPECT_EQ(served->BeginWrite(large.data(), largeSize, 5), ClientTransport::kWritePending);
    Bytes received(large.size());
    std::thread reader([&] { EXPECT_TRUE(ReadWhole(*client, received.data(), largeSize, kPatienceMs)); });
    EXPECT_EQ(served->FinishWrite(kPatienceMs), largeSize);
    reader.join();
    EXPECT_EQ(received, large);
}

TEST_F(PipeTest, ConnectWaitsForAFreePipe) {
    EXPECT_EQ(ClientTransport::Make("nobody")->Connect(kPatienceMs), -1);
    EXPECT_TRUE(log->Contains("Cannot open client pipe server:nobody"));
    RawPeer first("pipe"), second("pipe");
    EXPECT_EQ(ClientTransport::Make("pipe")->Connect(30), -1);  // both waiting pipes are taken
    EXPECT_TRUE(log->Contains("Timeout in open client pipe timeout:30 server:pipe"));

    const auto closed = ClientTransport::Make("pipe");
    std::thread closing([&] { EXPECT_EQ(closed->Connect(platform::kInfinite), -1); });
    closed->Close();
    closing.join();
    const auto third = ClientTransport::Make("pipe");
    std::thread waiting([&] { EXPECT_EQ(third->Connect(platform::kInfinite), 0); });
    EXPECT_NE(server->Accept(kPatienceMs), nullptr);
    waiting.join();
}

TEST_F(PipeTest, AClientIsKnownAndItsCloseNoticedWithBytesUnread) {
    EXPECT_EQ(served->PeerProcessId(), GetCurrentProcessId());
    std::thread reading([&] { EXPECT_EQ(served->Read(buffer.data(), 1, platform::kInfinite), 1); });
    for (int i = 0; i < 200; ++i)  // meanwhile the thread begins its read
        EXPECT_FALSE(served->HasPeerClosed());
    EXPECT_EQ(client->Write("abc", 3, kPatienceMs), 3);
    reading.join();
    EXPECT_FALSE(served->HasPeerClosed());
    client->Close();
    EXPECT_TRUE(served->HasPeerClosed());
    EXPECT_EQ(served->Read(buffer.data(), 8, kPatienceMs), 2);
    EXPECT_EQ(served->Read(buffer.data(), 8, kPatienceMs), -1);
    EXPECT_TRUE(served->HasPeerClosed());
    EXPECT_FALSE(client->HasPeerClosed());
    served->Close();
    EXPECT_FALSE(served->HasPeerClosed());
    EXPECT_EQ(log->Messages(), std::vector<std::string>());
}

TEST_F(PipeTest, AConnectionComesBeforeAnInterrupt) {
    RawPeer first("pipe"), second("pipe");
    server->Interrupt();
    EXPECT_NE(server->Accept(kPatienceMs), nullptr);
    EXPECT_NE(server->Accept(kPatienceMs), nullptr);
    EXPECT_EQ(server->Accept(kPatienceMs), nullptr);
    EXPECT_EQ(log->Messages(), std::vector<std::string>());
}

TEST_F(PipeTest, PoolOutlivesClientsThatVanish) {
    std::atomic<bool> done = false;
    std::thread vanishing([&done] {
        for (int i = 0; i < 300 && !done; ++i)
            done = ClientTransport::Make("pipe")->Connect(kPatienceMs) != 0;
        EXPECT_FALSE(done.exchange(true)) << "no pipe waits any more";
    });
    while (!done)
        server->Accept(20);
    vanishing.join();
    log->Clear();
    while (!log->Contains("Timeout in wait for client connect timeout:1 server:pipe"))
        server->Accept(1);
    RawPeer one("pipe"), another("pipe");  // both pipes wait again
    EXPECT_NE(server->Accept(kPatienceMs), nullptr);
    EXPECT_NE(server->Accept(kPatienceMs), nullptr);
}

/// The access rights of the pipe of a new server, in the text form of Windows.
std::string Access() {
    const auto server = ServerTransport::Make("guarded");
    const UniqueHandle pipe(
        CreateFileA(PipeName("guarded").c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    DWORD instances = 0;
    EXPECT_TRUE(GetNamedPipeInfo(pipe.Get(), nullptr, nullptr, nullptr, &instances));
    EXPECT_GE(instances, DWORD{PIPE_UNLIMITED_INSTANCES});  // Wine has another number for as many as there is room for
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    char* written = nullptr;
    GetSecurityInfo(pipe.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                    &descriptor);
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                              &written, nullptr))
        return "unreadable";
    std::string access = written;
    LocalFree(written);
    LocalFree(descriptor);
    // Windows stores the file rights that the generic rights stand for; Wine stores the generic rights themselves.
    for (const auto& [general, ofFiles] : {std::pair("GWGR", "0x12019f"), std::pair("GA", "FA")})
        access = std::regex_replace(access, std::regex(general), ofFiles);
    return access;
}

TEST(PipeAccess, IsForEveryoneUnlessAGroupIsNamed) {
    const LogCapture log;
    EXPECT_EQ(Access(), "D:(A;;0x12019f;;;WD)(A;;FA;;;BA)");
    const auto product = VexaUtils::RegistryKey::OpenOrCreate("Software\\Quenlar");
    const auto tuning =
        product->CreateSubkey("Torvik")->CreateSubkey("runtime")->CreateSubkey("settings")->CreateSubkey("vexa");
    char* own = nullptr;
    auto ownSid = OwnAccountSid();
    ASSERT_TRUE(ConvertSidToStringSidA(ownSid.data(), &own));
    const std::string always = "(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;" + std::string(own) + ")";
    LocalFree(own);
    for (const auto* group : {"Users", "S-1-5-32-545"}) {
        tuning->SetText(kAccessGroupValue, group);
        EXPECT_EQ(Access(), "D:(A;;0x12019f;;;BU)" + always) << group;
    }
    EXPECT_EQ(log->Messages(), std::vector<std::string>());
    for (const auto* nobody : {"no such group", "", "S-1-x"}) {
        tuning->SetText(kAccessGroupValue, nobody);
        EXPECT_EQ(Access(), "D:" + always);
        EXPECT_TRUE(log->Contains("Cannot find accessgroup \"" + std::string(nobody) +
                                  "\", administrators alone may connect server:guarded"));
    }
    tuning->SetNumber(kAccessGroupValue, 1);
    EXPECT_EQ(Access(), "D:" + always);
    product->DeleteSubkey("Torvik");
}

}  // namespace
