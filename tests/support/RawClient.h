// Clients that send and receive raw bytes, valid or not, without the product's own client.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/transport/ClientTransport.h"
#include "IPC/transport/WholeTransfer.h"
#include "support/Patience.h"

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t kRequest = 0x80000000;
inline constexpr std::uint32_t kOneWay = 0xA0000000;
inline constexpr std::uint32_t kTerminate = 0xC0000000;
inline constexpr std::uint32_t kEnded = 0xFFFFFFFF;  // the command that Receive returns after the connection's end

template <class Integer>
Integer Take(const Bytes& bytes, std::size_t offset) {
    Integer value{};
    if (offset + sizeof value <= bytes.size())
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// The bytes of text fields, one after another.
template <class... Text>
Bytes Names(const Text&... text) {
    return wire::Encode(std::array<wire::Name, sizeof...(text)>{wire::Name(std::string(text))...});
}

/// A client that is connected and has sent nothing yet.
class RawPeer {
  public:
    explicit RawPeer(const std::string& server) : pipe_(ClientTransport::Make(server)) {
        EXPECT_EQ(pipe_->Connect(kPatienceMs), 0);
    }
    void Write(const Bytes& bytes) {
        const auto size = static_cast<std::int32_t>(bytes.size());
        EXPECT_EQ(pipe_->Write(bytes.data(), size, kPatienceMs), size);
    }
    /// Empty when the connection ended first.
    Bytes Read(std::size_t size) {
        Bytes bytes(size);
        return ReadWhole(*pipe_, bytes.data(), static_cast<std::int32_t>(size), kPatienceMs) ? bytes : Bytes();
    }
    bool HasEnded() { return Read(1).empty(); }
    void Close() { pipe_->Close(); }

  private:
    std::shared_ptr<ClientTransport> pipe_;
};

struct RawMessage {
    std::uint32_t flags = 0;
    std::uint64_t id = 0;
    std::uint32_t aux = 0;
    std::uint32_t command = kEnded;
    Bytes body;
};

/// A client that has completed the handshake, and has the server's reply to its first request.
class RawClient : public RawPeer {
  public:
    explicit RawClient(const std::string& server) : RawPeer(server) {
        const auto hello = Read(16);
        connectionId = Take<std::uint64_t>(hello, 0);
        serverPid = Take<std::uint64_t>(hello, 8);
        Write({0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11});
        EXPECT_EQ(Ask(1, {}), Bytes());
    }
    void Send(std::uint32_t flags, std::uint64_t id, std::uint32_t command, const Bytes& payload) {
        auto message = wire::Encode(ipc_header{flags, id, kAux, command, static_cast<std::uint32_t>(payload.size())});
        message.insert(message.end(), payload.begin(), payload.end());
        Write(message);
    }
    RawMessage Receive() {
        const auto header = wire::Decode<ipc_header>(Read(sizeof(ipc_header)));
        return header ? RawMessage{header->flags, header->requestId, header->aux, header->command, Read(header->size)}
                      : RawMessage();
    }
    /// Sends a request and returns its reply's payload; the events that came before it are kept in `events`.
    Bytes Ask(std::uint32_t command, const Bytes& payload) {
        Send(kRequest, ++lastId_, command, payload);
        for (;;) {
            auto message = Receive();
            EXPECT_NE(message.command, kEnded) << "the connection ended before the reply to " << command;
            const bool isReply = message.flags == 0 && message.id == lastId_ && message.aux == kAux;
            if (message.command == kEnded || (isReply && message.command == command))
                return message.body;
            events.push_back(std::move(message));
        }
    }

    std::uint64_t connectionId = 0;
    std::uint64_t serverPid = 0;
    std::vector<RawMessage> events;

  private:
    static constexpr std::uint32_t kAux = 0xCAFE;  // every reply must carry it back

    std::uint64_t lastId_ = 1000;
};
