// PipeReader: the reading side of one connection. It reads whole messages, hands replies to the request that waits for
// them, and requests to the owner's monitor. The client has one to wait for its replies, the server one for every
// connected client. A listener thread of the reader reads all the time.
//
//     reader->BeginRequest(id);  // before the request is written, so that no reply can come too early
//     ... write the request ...
//     auto reply = reader->GetReply(id, timeoutMs);
//     reader->EndRequest(id);
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>

#include "IPC/class/IPC.h"
#include "IPC/class/Monitors.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/sync/Guarded.h"
#include "utils/sync/Thread.h"

/// A request whose reply is awaited, in the table of its reader and guarded by that table's lock.
struct IPCRequestInfo {
    std::list<std::shared_ptr<IPC>> replies;
    bool aborted = false;  // the waiter gave up
};

/// Owned by a client or by a server's connection, which serializes starting and stopping and never destroys the reader
/// on its own listener thread. The other operations are for any thread. The reader's lock is never held while it
/// waits, reads or calls a monitor.
class PipeReader {
  public:
    /// The monitors outlive the reader.
    PipeReader(std::shared_ptr<ClientTransport> transport, RequestMonitor& requests, DisconnectMonitor& disconnects);
    /// Stops.
    ~PipeReader();

    /// What every record read is marked with, and messages of the log name. Before the first message only.
    void SetIds(std::uint64_t id, std::uint64_t pid);

    /// Starts reading. `greeting`, if any, runs first on the listener thread; its false ends the connection before any
    /// message. 0; -1 when the listener runs already or no thread is to be had.
    [[nodiscard]] std::int32_t StartListener(std::function<bool()> greeting = {});
    /// Ends every wait and the listener thread, closing the transport when it does not end by itself.
    void StopListener();
    /// The part of StopListener that waits for nothing; may be called on the listener thread.
    void SignalStop();
    /// The listener thread has ended, or was never started. Not on the listener thread.
    bool HasFinished() { return !listenerThread_ || listenerThread_->Join(0); }

    /// 0 or kIpcAlreadyWaiting.
    [[nodiscard]] std::int32_t BeginRequest(std::uint64_t requestId);
    /// 0 or kIpcNotWaiting.
    std::int32_t EndRequest(std::uint64_t requestId);
    /// The oldest reply to a request that was begun, waiting at most `timeoutMs` for it; empty when none comes or the
    /// reader is stopped. A reply that arrived before the stop is still given out.
    std::shared_ptr<IPC> GetReply(std::uint64_t requestId, std::uint32_t timeoutMs);

  private:
    static constexpr std::int32_t kReadAheadSize = 512;                // bytes; more than any message but a list takes
    static constexpr std::size_t kBodyPiece = std::size_t{64} * 1024;  // bytes

    struct State {
        std::map<std::uint64_t, std::shared_ptr<IPCRequestInfo>> pending;
        bool stopped = false;
    };

    void InternalListenerThread(const std::function<bool()>& greeting);
    /// Reads and dispatches one message, waiting for it without limit. False when no further one follows.
    bool Read();
    std::shared_ptr<IPC> ReadMessage();
    bool ReadBody(IPCPayload& body, std::size_t size);
    /// The next `size` bytes of the stream, waiting for them without limit; false when it ends before.
    bool ReadBytes(void* target, std::size_t size);
    /// Gives the reply to the request that waits for it.
    void AddReply(const std::shared_ptr<IPC>& reply);
    bool IsStopped() { return state_.Lock()->stopped; }

    const std::shared_ptr<ClientTransport> transport_;
    RequestMonitor& requestMonitor_;
    DisconnectMonitor& disconnectMonitor_;
    std::unique_ptr<kivsync::Thread> listenerThread_;
    std::uint64_t id_ = 0;
    std::uint64_t pid_ = 0;

    // Read ahead by whoever reads: what has come of a message, and of those behind it, costs one read.
    std::array<std::uint8_t, kReadAheadSize> ahead_{};
    std::size_t aheadBegin_ = 0;
    std::size_t aheadEnd_ = 0;

    kivsync::Guarded<State> state_;
};
