// A server, and helpers for the tests of the IPC framework.
#pragma once

#include <functional>
#include <thread>

#include "IPC/class/IPCClient.h"
#include "IPC/class/IPCServer.h"
#include "support/CaptureSink.h"
#include "support/RawClient.h"
#include "utils/class/GlobalSettings.h"
#include "utils/platform/Deadline.h"

/// Converts hexadecimal pairs to bytes. Ignores blanks, which are there for the reader.
inline Bytes Hex(std::string text) {
    std::erase(text, ' ');
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

/// The function of the first entry whose message contains the text.
inline std::string FunctionOf(const LogCapture& log, std::string_view text) {
    for (const auto& entry : log->All()) {
        if (entry->Message().find(text) != std::string::npos)
            return entry->Function();
    }
    return {};
}

/// Sets the process's IPC timeout while this object lives.
struct IpcTimeout {
    explicit IpcTimeout(std::uint32_t milliseconds) {
        GlobalSettings settings;
        settings.ipcTimeout = milliseconds;
        GlobalSettings::Set(settings);
    }
    ~IpcTimeout() { GlobalSettings::Set({}); }
};

/// A server with a thread that replies to its requests. The reply is that of `handle` or AnswerBuiltIn; when that is
/// empty, it carries the request's own payload.
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
