#include "support/TransportHost.h"
#include "unit/ipc/Peers.h"

namespace {

using transport_host::FailOperation;
using transport_host::Operation;

TEST(Faults, FailedOrShortTransfersHarmOneConnectionAtMost) {
    RunningServer running("faults");
    IPCClient client(true);
    transport_host::LimitReads(3);
    ASSERT_EQ(client.Connect("faults"), 0);
    std::shared_ptr<IPC> reply;
    EXPECT_EQ(client.Call(IPC::Request(100, Bytes(1000, 5)), kPatienceMs, reply), 0);
    EXPECT_EQ(reply->Payload(), Bytes(1000, 5));
    transport_host::LimitReads(0);

    FailOperation(Operation::Write, 1);
    EXPECT_EQ(client.Stop(), -4);
    EXPECT_FALSE(client.IsConnected());
    ASSERT_EQ(client.Connect("faults"), 0);
    FailOperation(Operation::Write, 2);  // the reply
    EXPECT_EQ(client.CheckAlive(), -1);
    EXPECT_TRUE(Eventually([&] { return running.server.ClientCount() == 0; }));
    for (const auto operation : {Operation::Read, Operation::Write}) {
        for (int nth = 1; nth <= 6; ++nth) {  // any part of handshake and exchange
            FailOperation(operation, nth);
            client.Disconnect();
            client.Connect("faults");
            client.CheckAlive();
            FailOperation(operation, 0);
        }
    }
    client.Disconnect();
    EXPECT_EQ(client.Connect("faults"), 0);
    EXPECT_EQ(client.CheckAlive(), 0);
}

}  // namespace
