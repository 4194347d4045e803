#include "support/TransportHost.h"
#include "unit/ipc/Peers.h"

namespace {

TEST(Faults, FailedOrShortTransfersHarmOneConnectionAtMost) {
    RunningServer running("faults");
    transport_host::LimitReads(3);
    const IpcTimeout timeout(50);
    using enum transport_host::Operation;
    for (const auto operation : {Accept, Connect, Read, Write, SlowRead, SlowWrite}) {
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
