#include "support/TransportHost.h"
#include "unit/ipc/Peers.h"

namespace {

TEST(Faults, FailedOrShortTransfersHarmOneConnectionAtMost) {
    RunningServer running("faults");
    transport_host::LimitReads(3);
    for (const auto operation : {transport_host::Operation::Read, transport_host::Operation::Write}) {
        for (int nth = 1; nth <= 12; ++nth) {  // any part of handshake and exchange, at either end
            IPCClient client(true);
            transport_host::FailOperation(operation, nth);
            if (client.Connect("faults") == 0)
                client.CheckAlive();
            transport_host::FailOperation(operation, 0);
            client.Disconnect();
            EXPECT_EQ(client.Connect("faults"), 0);
            EXPECT_EQ(client.CheckAlive(), 0);
        }
    }
    transport_host::LimitReads(0);
}

}  // namespace
