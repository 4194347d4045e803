// A client written from the wire's description alone: it opens the pipe by its literal name and moves bytes.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace e2e {

using Bytes = std::vector<std::uint8_t>;

inline constexpr char kManagerPipe[] = "\\\\.\\pipe\\vexa-protocolmanager70726f746f636f6c6d616e61676572";
inline constexpr char kDatabasePipe[] = "\\\\.\\pipe\\vexa-vexadbserver766578616462736572766572";
inline constexpr std::uint32_t kRequest = 0x80000000;
inline constexpr std::uint32_t kOneWay = 0xA0000000;

struct RawMessage {
    std::uint32_t flags = 0;
    std::uint64_t id = 0;
    std::uint32_t aux = 0;
    std::uint32_t command = 0;
    Bytes body;
};

template <class Integer>
void Put(Bytes& bytes, Integer value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

template <class Integer>
Integer Take(const Bytes& bytes, std::size_t offset) {
    Integer value{};
    if (offset + sizeof value <= bytes.size())
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// Text fields of 50 bytes, zero-filled; longer text is left unterminated on purpose.
inline void PutName(Bytes& bytes, const std::string& text) {
    for (std::size_t i = 0; i < 50; ++i)
        bytes.push_back(i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{0});
}

inline std::string NameAt(const Bytes& bytes, std::size_t offset) {
    std::string text;
    while (offset < bytes.size() && bytes[offset] != 0)
        text += static_cast<char>(bytes[offset++]);
    return text;
}

/// Blocking; a server that does not answer hangs the test, which its own time-out ends.
class RawClient {
  public:
    explicit RawClient(const char* pipe) {
        do {
            pipe_ = CreateFileA(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        } while (pipe_ == INVALID_HANDLE_VALUE && GetLastError() == ERROR_PIPE_BUSY && WaitNamedPipeA(pipe, 10000));
        const auto hello = Read(16);
        connectionId = Take<std::uint64_t>(hello, 0);
        serverPid = Take<std::uint64_t>(hello, 8);
        Bytes pid;
        Put<std::uint64_t>(pid, GetCurrentProcessId());
        Write(pid);
    }
    ~RawClient() { CloseHandle(pipe_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void Send(std::uint32_t flags, std::uint64_t id, std::uint32_t command, const Bytes& payload) {
        Bytes message;
        Put<std::uint32_t>(message, flags);
        Put<std::uint64_t>(message, id);
        Put<std::uint32_t>(message, kAux);
        Put<std::uint32_t>(message, command);
        Put<std::uint32_t>(message, static_cast<std::uint32_t>(payload.size()));
        message.insert(message.end(), payload.begin(), payload.end());
        Write(message);
    }
    /// The next message, whatever it is; command 0xFFFFFFFF when the connection ended.
    RawMessage Receive() {
        RawMessage message;
        const auto header = Read(24);
        if (header.size() != 24) {
            message.command = 0xFFFFFFFF;
            return message;
        }
        message.flags = Take<std::uint32_t>(header, 0);
        message.id = Take<std::uint64_t>(header, 4);
        message.aux = Take<std::uint32_t>(header, 12);
        message.command = Take<std::uint32_t>(header, 16);
        message.body = Read(Take<std::uint32_t>(header, 20));
        return message;
    }
    /// Sends a request and returns its reply's payload; the events that came before it are kept in `events`.
    Bytes Ask(std::uint32_t command, const Bytes& payload) {
        const auto id = ++lastId_;
        Send(kRequest, id, command, payload);
        for (;;) {
            auto message = Receive();
            if (message.command == 0xFFFFFFFF)
                return {};
            if ((message.flags & kRequest) == 0 && message.id == id && message.command == command &&
                message.aux == kAux)
                return message.body;
            events.push_back(std::move(message));
        }
    }

    std::uint64_t connectionId = 0;
    std::uint64_t serverPid = 0;
    std::vector<RawMessage> events;

  private:
    static constexpr std::uint32_t kAux = 0xCAFE;  // has to come back as it went

    Bytes Read(std::size_t size) {
        Bytes bytes(size);
        for (std::size_t done = 0; done < size;) {
            DWORD got = 0;
            if (!ReadFile(pipe_, bytes.data() + done, static_cast<DWORD>(size - done), &got, nullptr))
                return {};
            done += got;
        }
        return bytes;
    }
    void Write(const Bytes& bytes) {
        DWORD written = 0;
        WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    HANDLE pipe_;
    std::uint64_t lastId_ = 1000;
};

}  // namespace e2e
