// RequestGate: keeps a client from flooding the server. While too many of a connection's requests wait to be carried
// out, its listener waits at the gate and reads no further: the client's pipe fills up and its writes wait, while other
// clients' requests find their turn.
#pragma once

#include "IPC/class/IPC.h"
#include "utils/sync/Guarded.h"

/// Member of a connection. Enter and AwaitRoom belong to its listener, the others to any thread.
class RequestGate {
  public:
    static constexpr std::size_t kMaximumWaiting = 65536;  // bytes
    static constexpr std::size_t kRequestWeight = 1024;    // bytes, beside the payload: each request takes its time
    static constexpr std::uint32_t kLookMs = 250;

    /// The request waits from now on.
    void Enter(const IPC& request) { state_.Lock()->waiting += Weight(request); }
    /// The request was taken.
    void Leave(const IPC& request) {
        state_.Lock()->waiting -= Weight(request);
        state_.NotifyAll();
    }
    /// Waits until there is room for another request, or the gate was closed. Nobody reads the pipe meanwhile, so it
    /// asks `hasPeerClosed` now and then; false when that was so.
    template <class Condition>
    bool AwaitRoom(Condition hasPeerClosed) {
        for (;;) {
            {
                auto state = state_.Lock();
                if (state.Wait(kLookMs, [&] { return state->closed || state->waiting <= kMaximumWaiting; }))
                    return true;
            }
            if (hasPeerClosed())
                return false;
        }
    }
    /// The connection has ended: nobody waits here any more.
    void Close() {
        state_.Lock()->closed = true;
        state_.NotifyAll();
    }

  private:
    struct State {
        std::size_t waiting = 0;  // bytes
        bool closed = false;
    };
    static std::size_t Weight(const IPC& request) { return kRequestWeight + request.Payload().size(); }

    kivsync::Guarded<State> state_;
};
