// The two sides of a connection, as the tests of the IPC framework need them.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "IPC/class/IPCServer.h"
#include "IPC/transport/WholeTransfer.h"
#include "support/CaptureSink.h"
#include "utils/class/GlobalSettings.h"
#include "utils/sync/WaitAny.h"

inline constexpr std::uint32_t kPatienceMs = 10000;  // for what must happen; a test that waits so long has failed

using Bytes = std::vector<std::uint8_t>;

/// Bytes written as hexadecimal pairs, with blanks between them where they help the reader.
inline Bytes Hex(std::string text) {
    std::erase(text, ' ');
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

/// For states that nothing signals.
inline bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

/// A client of raw bytes.
class RawClient {
  public:
    explicit RawClient(const std::string& server) : pipe_(ClientTransport::Make(server)) {
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
    /// Completes the handshake, and waits until the server has taken note; the connection id.
    std::uint64_t Greet() {
        const auto id = wire::Decode<wire::u64>(Read(16));
        Write(Hex("8877665544332211"));
        Write(IPC::Request(kIpcAliveCheck)->Serialize());
        EXPECT_EQ(Read(24).size(), 24u);
        return id.value_or(0);
    }
    void Close() { pipe_->Close(); }

  private:
    std::shared_ptr<ClientTransport> pipe_;
};

/// A server with the thread that answers its requests: as `handle` says, or else the framework's own as it should and
/// others with their payload.
class RunningServer {
  public:
    using Handler = std::function<std::shared_ptr<IPC>(const IPC&)>;
    static constexpr std::uint32_t kUnanswered = 999;

    explicit RunningServer(const std::string& name, Handler handle = {}) {
        EXPECT_EQ(server.Start(name), 0);
        thread_ = std::thread([this, handle] {
            while (const auto request = server.GetRequest()) {
                auto reply = handle ? handle(*request) : server.AnswerBuiltIn(*request, 7);
                if (request->Command() != kUnanswered)
                    server.SendReply(reply ? reply : IPC::Reply(*request, request->Payload()));
            }
        });
    }
    ~RunningServer() {
        server.Stop();
        thread_.join();
    }

    IPCServer server;

  private:
    std::thread thread_;
};

/// The time-out of clients and servers, for the length of a scope.
class IpcTimeout {
  public:
    explicit IpcTimeout(std::uint32_t ms) {
        GlobalSettings settings;
        settings.ipcTimeout = ms;
        GlobalSettings::Set(settings);
    }
    ~IpcTimeout() { GlobalSettings::Set({}); }
};
