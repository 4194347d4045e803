// PipeReader: the reading side of one connection. Its listener thread reads whole messages, gives each reply to the
// request that waits for it, and each request to the owner's monitor. A client has one reader, a server one for every
// connected client.
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

/// A request that waits for its reply. Entry of the reader's table, guarded by the table's lock.
struct IPCRequestInfo {
    std::list<std::shared_ptr<IPC>> replies;
    bool aborted = false;  // the waiter gave up
};

/// Owned by a client or by a server's connection. The owner must serialize StartListener, StopListener and the
/// destructor, and must not call them on the listener thread. Any thread may call the other operations, unless they say
/// otherwise. The reader's lock is never held while it waits, reads or calls a monitor.
class PipeReader {
  public:
    /// The monitors must outlive the reader.
    PipeReader(std::shared_ptr<ClientTransport> transport, RequestMonitor& requests, DisconnectMonitor& disconnects);
    /// Calls StopListener.
    ~PipeReader();

    /// Sets the connection's number and process id for received records and log lines. Before the first message only.
    void SetIds(std::uint64_t id, std::uint64_t pid);

    /// Starts reading. `greeting`, if any, runs first on the listener thread; if it returns false, the connection ends
    /// before any message. 0, or -1 when the listener thread runs already or cannot be started.
    [[nodiscard]] std::int32_t StartListener(std::function<bool()> greeting = {});
    /// Ends every GetReply and the listener thread. Closes the transport if the thread does not end by itself.
    void StopListener();
    /// Ends every GetReply and tells the listener thread to end. Does not wait; may be called on the listener thread.
    void SignalStop();
    /// Whether the listener thread has ended, or was never started. Not on the listener thread.
    bool HasFinished() { return !listenerThread_ || listenerThread_->Join(0); }

    /// Adds the request to the table of those that wait for a reply. 0 or kIpcAlreadyWaiting.
    [[nodiscard]] std::int32_t BeginRequest(std::uint64_t requestId);
    /// Removes the request from the table. 0 or kIpcNotWaiting.
    std::int32_t EndRequest(std::uint64_t requestId);
    /// Takes the oldest reply to a request that is in the table; waits for it at most `timeoutMs`. Empty when none
    /// comes or the reader is stopped. A reply that arrived before the stop is still returned.
    std::shared_ptr<IPC> GetReply(std::uint64_t requestId, std::uint32_t timeoutMs);

  private:
    static constexpr std::int32_t kReadAheadSize = 512;                // bytes; only messages with lists are longer
    static constexpr std::size_t kBodyPiece = std::size_t{64} * 1024;  // bytes

    struct State {
        std::map<std::uint64_t, std::shared_ptr<IPCRequestInfo>> pending;
        bool stopped = false;
    };

    void InternalListenerThread(const std::function<bool()>& greeting);
    /// Waits without limit for one message, and dispatches it. False when it was the last one or none came.
    bool Read();
    std::shared_ptr<IPC> ReadMessage();
    bool ReadBody(IPCPayload& body, std::size_t size);
    /// Reads the next `size` bytes of the stream; waits for them without limit. False when the stream ends first.
    bool ReadBytes(void* target, std::size_t size);
    void AddReply(const std::shared_ptr<IPC>& reply);
    bool IsStopped() { return state_.Lock()->stopped; }

    const std::shared_ptr<ClientTransport> transport_;
    RequestMonitor& requestMonitor_;
    DisconnectMonitor& disconnectMonitor_;
    std::unique_ptr<kivsync::Thread> listenerThread_;
    std::uint64_t id_ = 0;
    std::uint64_t pid_ = 0;

    // Bytes that the listener thread has read and not used yet: one read gets everything that has arrived so far.
    std::array<std::uint8_t, kReadAheadSize> ahead_{};
    std::size_t aheadBegin_ = 0;
    std::size_t aheadEnd_ = 0;

    kivsync::Guarded<State> state_;
};
