// RequestGate: keeps a client from flooding the server. While too many requests of a connection wait to be carried out,
// its listener thread waits in AwaitRoom and reads no further: the client's pipe fills up and its writes wait, while
// the requests of other clients get their turn.
#pragma once

#include "IPC/class/IPC.h"
#include "utils/sync/Guarded.h"

/// Member of a connection. Only its listener thread may call Enter and AwaitRoom; any thread may call the others.
class RequestGate {
  public:
    static constexpr std::size_t kMaximumWaiting = 65536;  // bytes
    static constexpr std::size_t kRequestWeight = 1024;    // bytes, added to the payload: each request takes time
    static constexpr std::uint32_t kLookMs = 250;          // between two calls of hasPeerClosed

    /// Counts a request that now waits.
    void Enter(const IPC& request) { state_.Lock()->waiting += Weight(request); }
    /// Stops counting a request, since it was taken or carried out.
    void Leave(const IPC& request) {
        state_.Lock()->waiting -= Weight(request);
        state_.NotifyAll();
    }
    /// Waits until there is room for another request, or the gate is closed. No thread reads the pipe meanwhile, so it
    /// calls `hasPeerClosed` now and then, and returns false if that returns true.
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
    /// Ends AwaitRoom, now and in future, because the connection has ended.
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
