// The control messages byte by byte.

#include "protocols/control/ControlMessages.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

TEST(ControlMessages, GoldenBytes) {
    const auto text = [](const IPCPayload& bytes) { return std::string(bytes.begin(), bytes.end()); };
    const auto padded = [](std::string bytes, std::size_t size) { return bytes.append(size - bytes.size(), '\0'); };
    const ipc_mngctrl_status_reply status{-9, kStoppedWorking, 7, 0x0102030405060708, 0xFFFFFFFE, 0x11223344, 0x55, 2};
    EXPECT_EQ(text(wire::Encode(status)),
              "\xF7\xFF\xFF\xFF\3\0\0\0\7\0\0\0\10\7\6\5\4\3\2\1"s
              "\xFE\xFF\xFF\xFF\x44\x33\x22\x11\x55\0\0\0\0\0\0\0\2\0\0\0"s);
    const ipc_mngctrl_change_str_property_event event{"a"s, "p"s, "old"s, "new"s};
    EXPECT_EQ(text(wire::Encode(event)), padded("a", 50) + padded("p", 50) + padded("old", 50) + padded("new", 50));

    // The room is what was counted, or more when more came meanwhile; not whatever a child says.
    const ipc_client_info client{3, 0x1234, 0};
    EXPECT_EQ(text(EncodeClientsReply(2, {client})), padded("\0\0\0\0\1\0\0\0\3\0\0\0\0\0\0\0\x34\x12"s, 8 + 48));
    EXPECT_EQ(EncodeClientsReply(0, {client}), EncodeClientsReply(1, {client}));
    EXPECT_EQ(EncodeClientsReply(0xFFFFFFFF, {client}).size(), 8 + 65 * 24u);
}

}  // namespace
