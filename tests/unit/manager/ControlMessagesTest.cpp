// The control messages byte by byte.

#include "protocols/KivProtocolManager/class/ControlMessages.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

IPCPayload Bytes(std::initializer_list<int> head, std::size_t size) {
    IPCPayload bytes;
    for (const int byte : head)
        bytes.push_back(static_cast<std::uint8_t>(byte));
    bytes.resize(size);
    return bytes;
}

TEST(ControlMessages, GoldenBytes) {
    ipc_mngctrl_status_reply status;
    status.result = -9;
    status.status = kStoppedWorking;
    status.protocolType = 7;
    status.upTime = 0x0102030405060708;
    status.lastError = 0xFFFFFFFE;
    status.state = 0x11223344;
    status.processId = 0x55;
    status.clientCount = 2;
    EXPECT_EQ(wire::Encode(status),
              Bytes({0xF7, 0xFF, 0xFF, 0xFF, 3,    0,    0,    0,    7,    0,    0, 0, 8, 7, 6, 5, 4, 3, 2,
                     1,    0xFE, 0xFF, 0xFF, 0xFF, 0x44, 0x33, 0x22, 0x11, 0x55, 0, 0, 0, 0, 0, 0, 0, 2},
                    40));

    const ipc_mngctrl_change_str_property_event event{"a"s, "p"s, "old"s, "new"s};
    auto expected = Bytes({'a'}, 50);
    for (const auto& field : {Bytes({'p'}, 50), Bytes({'o', 'l', 'd'}, 50), Bytes({'n', 'e', 'w'}, 50)})
        expected.insert(expected.end(), field.begin(), field.end());
    EXPECT_EQ(wire::Encode(event), expected);

    // One client left, another came: the list holds what fits the room that was counted.
    const ipc_client_info client{3, 0x1234, 0};
    EXPECT_EQ(EncodeClientsReply(2, {client}),
              Bytes({0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0x34, 0x12}, 8 + 48));
    EXPECT_EQ(EncodeClientsReply(0, {client}), Bytes({}, 8));
}

}  // namespace
