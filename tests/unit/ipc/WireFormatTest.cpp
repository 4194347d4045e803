#include "IPC/transport/PipeName.h"
#include "unit/ipc/Peers.h"

namespace {

std::shared_ptr<IPC> Parse(const Bytes& message) {
    return IPC::Deserialize(*wire::Decode<ipc_header>(message), std::span(message).subspan(sizeof(ipc_header)));
}

Bytes Part(const Bytes& message, std::ptrdiff_t from, std::ptrdiff_t to) {
    return {message.begin() + from, message.begin() + to};
}

TEST(WireFormat, TimingBlockTravelsThereAndBack) {
    const auto request = IPC::Request(kIpcAliveCheck);
    request->EnableMeasurement();
    const auto sent = request->Serialize();
    EXPECT_EQ(Part(sent, 0, 4), Hex("01000080"));
    EXPECT_EQ(Part(sent, 20, 24), Hex("20000000"));
    const auto sentTime = Part(sent, 24, 32);
    EXPECT_NE(sentTime, Bytes(8));
    EXPECT_EQ(Bytes(sent.begin() + 32, sent.end()), Bytes(24));
    const auto received = Parse(sent);
    EXPECT_TRUE(received->Payload().empty());
    const auto reply = IPC::Reply(*received, {1})->Serialize();
    ASSERT_EQ(reply.size(), 57u);
    EXPECT_EQ(Part(reply, 20, 24), Hex("21000000"));
    EXPECT_EQ(Part(reply, 24, 32), sentTime);
    EXPECT_EQ(wire::Decode<wire::i64>(reply, 32), received->Timing().requestReceivedTime);
    EXPECT_GE(*wire::Decode<wire::i64>(reply, 40), received->Timing().requestReceivedTime);
    EXPECT_EQ(Part(reply, 48, 57), Hex("0000000000000000 01"));
    const auto empty = Hex("01000080 0700000000000000 00000000 09000000 00000000");
    EXPECT_EQ(Parse(empty)->Serialize(), empty);
}

TEST(WireFormat, PipeNameIsDoubled) {
    EXPECT_EQ(PipeName("protocolmanager"), R"(\\.\pipe\vexa-protocolmanager70726f746f636f6c6d616e61676572)");
    EXPECT_EQ(PipeName("z\t\xE9"),
              "\\\\.\\pipe\\vexa-z\t\xE9"
              "7a9ffffffe9");
}

TEST(Statistics, ArePrintedWhenForcedAndAtEveryHundredthMeasurement) {
    LogCapture log;
    IPC::CalculateStats(0.001, 0.002, 0.003, true);
    IPC::CalculateStats(0.003, 0.002, 0.005, false);
    IPC::PrintStats(true);
    const std::vector<std::string> expected{
        "IPC measurement : request 1.000000ms - reply 2.000000ms - total 3.000000ms",
        "Request : Cnt 2 - Mean 2.000000ms - Min 1.000000ms - Max 3.000000ms - StdDev 1.000000ms",
        "Reply   : Cnt 2 - Mean 2.000000ms - Min 2.000000ms - Max 2.000000ms - StdDev 0.000000ms",
        "Total   : Cnt 2 - Mean 4.000000ms - Min 3.000000ms - Max 5.000000ms - StdDev 1.000000ms"};
    EXPECT_EQ(log->Messages(), expected);

    RunningServer running("measured");
    GlobalSettings settings;
    settings.ipcStatEnabled = true;
    GlobalSettings::Set(settings);
    IPCClient counted;
    settings.ipcMeasureLog = true;
    GlobalSettings::Set(settings);
    IPCClient client;
    GlobalSettings::Set({});
    IPCClient neither;
    for (auto* one : {&counted, &client, &neither})
        ASSERT_EQ(one->Connect("measured"), 0);
    log->Clear();
    for (int i = 2; i < 150; ++i)
        EXPECT_EQ((i < 50 ? counted : client).CheckAlive(), 0);
    EXPECT_EQ(log->Count("IPC measurement : request "), 100u);
    EXPECT_EQ(log->Count(" : Cnt 100 - Mean "), 3u);
    EXPECT_EQ(log->Count(" : Cnt "), 3u);
    EXPECT_EQ(neither.CheckAlive(), 0);
    IPC::PrintStats(true);
    EXPECT_EQ(log->Count(" : Cnt 150 - "), 3u);
}

}  // namespace
