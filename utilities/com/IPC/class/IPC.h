// IPC: one request, reply or notice of the framework, and its form on the wire.
//
//     auto request = IPC::Request(kCommand, wire::Encode(record));
//     if (client->Send(request) == 0)
//         auto reply = client->WaitReply(request->RequestId(), timeoutMs);
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "IPC/class/WireRecord.h"

/// Commands that the framework itself defines. The commands of its users start at 100.
enum IPCCommand : std::uint32_t {
    kIpcTerminate = 0,
    kIpcAliveCheck = 1,
    kIpcStop = 2,
    kIpcGetState = 3,
    kIpcGetClientCount = 4,
    kIpcGetClientsInfo = 5,
};

/// Results of the framework's operations.
inline constexpr std::int32_t kIpcSuccess = 0;
inline constexpr std::int32_t kIpcFailure = -1;
inline constexpr std::int32_t kIpcCannotSend = -4;
inline constexpr std::int32_t kIpcAlreadyWaiting = -5;
inline constexpr std::int32_t kIpcNotWaiting = -9;
inline constexpr std::int32_t kIpcNoReply = -36;

/// The header of every message.
struct ipc_header {
    wire::u32 flags;      // offset 0, size 4
    wire::u64 requestId;  // offset 4, size 8
    wire::u32 aux;        // offset 12, size 4
    wire::u32 command;    // offset 16, size 4
    wire::u32 size;       // offset 20, size 4: bytes that follow the header
};
static_assert(sizeof(ipc_header) == 24 && offsetof(ipc_header, requestId) == 4 && offsetof(ipc_header, size) == 20);

/// The timing block, between header and payload when flags bit 0 is set. Performance-counter values.
struct ipc_timing {
    wire::i64 requestSentTime;      // offset 0, size 8
    wire::i64 requestReceivedTime;  // offset 8, size 8
    wire::i64 replySentTime;        // offset 16, size 8
    wire::i64 spareTime;            // offset 24, size 8: never set
};
static_assert(sizeof(ipc_timing) == 32 && offsetof(ipc_timing, spareTime) == 24);

/// Payload of the requests of commands 3 and 4.
struct ipc_get_state_request {
    wire::u8 unused;  // offset 0, size 1
};
static_assert(sizeof(ipc_get_state_request) == 1);
using ipc_get_client_count_request = ipc_get_state_request;

/// Payload of the replies to commands 3 (value: the state) and 4 (value: the client count).
struct ipc_value_reply {
    wire::i32 status;  // offset 0, size 4
    wire::u32 value;   // offset 4, size 4
};
static_assert(sizeof(ipc_value_reply) == 8);

/// One entry of the reply to command 5, from offset 8 of its payload on (i32 status, 4 unused bytes, the entries).
struct ipc_client_info {
    wire::u64 connectionId;  // offset 0, size 8
    wire::u64 processId;     // offset 8, size 8
    wire::u64 reserved;      // offset 16, size 8: zero
};
static_assert(sizeof(ipc_client_info) == 24 && offsetof(ipc_client_info, processId) == 8);

/// The request of command 5. The real payload is kUnit zero bytes for every client but the first; the server ignores
/// it.
struct ipc_get_clients_info_request {
    wire::u8 unused;  // offset 0, size 1
    static constexpr std::uint32_t kUnit = 768;
};
static_assert(sizeof(ipc_get_clients_info_request) == 1);

/// The largest valid ipc_header::size, in bytes. No message of the system comes near it, so a peer that declares a
/// larger one is broken or hostile.
inline constexpr std::uint32_t kIpcMaximumSize = 16u * 1024 * 1024;

using IPCPayload = std::vector<std::uint8_t>;

class IPCServerClient;

/// One record, in shared ownership. One thread builds it and then passes it on; no two threads may change it at once.
class IPC {
  public:
    static constexpr std::uint32_t kFlagRequest = 1u << 31;
    static constexpr std::uint32_t kFlagTerminate = 1u << 30;
    static constexpr std::uint32_t kFlagNoReply = 1u << 29;
    static constexpr std::uint32_t kFlagLogMeasurement = 1u << 1;
    static constexpr std::uint32_t kFlagTiming = 1u << 0;

    /// A request with a new id (one counter per process, from 0). The reply carries the same `aux`.
    static std::shared_ptr<IPC> Request(std::uint32_t command, IPCPayload payload = {}, std::uint32_t aux = 0) {
        return Make(kFlagRequest, command, std::move(payload), aux);
    }
    /// The request that ends a connection.
    static std::shared_ptr<IPC> Terminate() { return Make(kFlagRequest | kFlagTerminate, kIpcTerminate, {}, 0); }
    /// A notice: a request that expects no reply.
    static std::shared_ptr<IPC> Notice(std::uint32_t command, IPCPayload payload = {}) {
        return Make(kFlagRequest | kFlagNoReply, command, std::move(payload), 0);
    }
    /// The reply to a request, with its id, aux, command, flags (without the request bit), origin and timing values.
    static std::shared_ptr<IPC> Reply(const IPC& request, IPCPayload payload = {});

    /// Adds the timing block.
    void EnableMeasurement();
    /// Asks for a log line with the measured times.
    void EnableMeasurementLog() { AddFlags(kFlagLogMeasurement); }
    /// Clears the request bit.
    void MarkReply() { header_.flags = Flags() & ~kFlagRequest; }

    /// Header, timing block (if any) and payload as one buffer. Writes the time of sending into the timing block.
    IPCPayload Serialize();
    /// Builds the record from a header and the `header.size` bytes that follow it. Sets the time of arrival in a
    /// request's timing block; adds the times of a reply's block to the statistics. An empty body is valid, also when
    /// the flags declare a block. Returns empty when another body is too short for the block.
    static std::shared_ptr<IPC> Deserialize(const ipc_header& header, std::span<const std::uint8_t> body);

    std::uint32_t Flags() const { return header_.flags; }
    std::uint64_t RequestId() const { return header_.requestId; }
    std::uint32_t Command() const { return header_.command; }
    std::uint32_t Size() const { return header_.size; }
    bool IsRequest() const { return (Flags() & kFlagRequest) != 0; }
    bool IsTerminate() const { return (Flags() & kFlagTerminate) != 0; }
    bool ExpectsReply() const { return (Flags() & kFlagNoReply) == 0; }
    const IPCPayload& Payload() const { return payload_; }
    const ipc_timing& Timing() const { return timing_; }

    /// Not sent: the process id of the sender, and the number of the connection that received the record.
    std::uint64_t Pid() const { return pid_; }
    std::uint64_t ClientId() const { return clientId_; }
    void SetOrigin(std::uint64_t clientId, std::uint64_t pid) {
        clientId_ = clientId;
        pid_ = pid;
    }
    /// Not sent: the server's connection that received the record, for the reply. Its number may be reused meanwhile.
    const std::weak_ptr<IPCServerClient>& Connection() const { return connection_; }
    void SetConnection(std::weak_ptr<IPCServerClient> connection) { connection_ = std::move(connection); }

    /// Adds three measured durations (seconds) to the process's statistics, and logs them if `log`. Any thread.
    static void CalculateStats(double request, double reply, double total, bool log);
    /// Logs the statistics if the number of samples is a multiple of 100 or, with `force`, not 0. Any thread.
    static void PrintStats(bool force);

  private:
    static std::shared_ptr<IPC> Make(std::uint32_t flags, std::uint32_t command, IPCPayload payload, std::uint32_t aux);
    void AddFlags(std::uint32_t flags) { header_.flags = Flags() | flags; }
    /// Replaces the payload and sets the header's size to match.
    void SetPayload(IPCPayload payload);

    ipc_header header_{};
    ipc_timing timing_{};
    IPCPayload payload_;
    std::uint64_t pid_ = 0;
    std::uint64_t clientId_ = 0;
    std::weak_ptr<IPCServerClient> connection_;
};
