#include <atomic>

#include "unit/ipc/Peers.h"

namespace {

TEST(Stress, ClientsComeAskAndVanishWhileTheOwnerBroadcastsAndStops) {
    constexpr int kServers = 4;
    constexpr int kClients = 4;
    constexpr int kBroadcasts = 100;
    for (int i = 0; i < kServers; ++i) {
        RunningServer running("stress");
        std::atomic<int> answers{0};
        std::atomic<bool> stopping{false};
        const auto useIt = [&](int round) {
            IPCClient client(true);
            std::vector<ipc_client_info> clients;
            if (client.Connect("stress") != 0)
                return;
            answers += client.CheckAlive() == 0 ? 1 : 0;
            if (round % 3 == 0)
                client.Terminate();
            else if (round % 3 == 1)
                client.GetClientsInfo(clients);
            const auto vanishing = ClientTransport::Make("stress");
            const Bytes greetingAndHalfAHeader(20);
            if (vanishing->Connect(kPatienceMs) == 0)
                vanishing->Write(greetingAndHalfAHeader.data(), 20, kPatienceMs);
        };
        std::vector<std::thread> users;
        for (int user = 0; user < kClients; ++user) {
            users.emplace_back([&, user] {
                for (int round = user; !stopping; ++round)
                    useIt(round);
            });
        }
        for (int sent = 0; sent < kBroadcasts; ++sent)
            running.server.Broadcast(IPC::Notice(150, Bytes(200)));
        EXPECT_TRUE(Eventually([&] { return answers > 20 * kClients; }));
        running.server.Stop();  // in the middle of it all
        stopping = true;
        for (auto& user : users)
            user.join();
        EXPECT_EQ(running.server.ClientCount(), 0u);
    }
}

}  // namespace
