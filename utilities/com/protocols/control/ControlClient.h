// ControlClient: the control requests of the server "protocolmanager", as calls.
//
//     ControlClient manager;
//     if (const auto started = manager.Start("Line 1"); started.IsDone()) ...
//     else if (started.delivery == Delivery::Answered) ... started.result is the manager's refusal
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "protocols/control/Asking.h"
#include "protocols/control/ControlMessages.h"
#include "utils/sync/Guarded.h"

/// What came of a control request.
struct [[nodiscard]] ControlResult {
    Delivery delivery = Delivery::NotThere;
    std::int32_t result = kIpcCannotSend;  // the manager's when it answered, else the framework's
    std::uint32_t command = 0;
    std::uint32_t timeoutMs = 0;  // how long the answer, or the connection, was waited for at most

    bool IsAnswered() const { return delivery == Delivery::Answered; }
    /// Answered, and not refused.
    bool IsDone() const { return IsAnswered() && result == 0; }
};

/// The same with what the manager told.
template <class Value>
struct [[nodiscard]] ControlAnswer : ControlResult {
    Value value{};
};

/// A call connects if there is no connection, so that a service which was restarted is found again. Any thread may call
/// anything; calls on one ControlClient wait for each other, as the server carries them out one after the other, while
/// notices are read beside them. Names and texts are in the narrow code page and cut to 49 characters.
class ControlClient {
  public:
    // ms. A question waits for a hung child 5 s, if no setting says otherwise. A request that starts or stops a child
    // is answered when that is done, and the manager gives a child 10 s to start and 50 s to stop, and twice 5 s to
    // answer; the changes before it may take as long again.
    static constexpr std::uint32_t kConnectTimeout = 5'000;
    static constexpr std::uint32_t kRequestTimeout = 20'000;
    static constexpr std::uint32_t kStartTimeout = 60'000;
    static constexpr std::uint32_t kStopTimeout = 90'000;
    static constexpr std::uint32_t kRestartTimeout = 120'000;

    explicit ControlClient(std::uint32_t connectTimeoutMs = kConnectTimeout);

    /// Connects, if that is not done yet.
    ControlResult Connect();
    /// Ends the connection and the calls under way on it. Calls from now on are Lost.
    void Close();
    /// Milliseconds to wait for each answer; 0, the default: each request has its own time.
    void SetTimeout(std::uint32_t timeoutMs) { timeoutMs_ = timeoutMs; }

    ControlResult Add(const std::string& instance, std::uint32_t type) {
        return Command(kManagerAdd, ipc_mngctrl_add_request{type, instance}, kRequestTimeout);
    }
    ControlResult Remove(const std::string& instance) {
        return Command(kManagerRemove, ipc_mngctrl_remove_request{instance}, kStopTimeout);
    }
    ControlResult Start(const std::string& instance) {
        return Command(kManagerStart, ipc_mngctrl_start_request{instance}, kStartTimeout);
    }
    ControlResult Stop(const std::string& instance) {
        return Command(kManagerStop, ipc_mngctrl_stop_request{instance}, kStopTimeout);
    }
    ControlResult Restart(const std::string& instance) {
        return Command(kManagerRestart, ipc_mngctrl_restart_request{instance}, kRestartTimeout);
    }
    /// Renames the running instance and the manager's table entry; the database keeps the old name.
    ControlResult RenameRunning(const std::string& oldName, const std::string& newName) {
        return Command(kManagerRename, ipc_mngctrl_rename_request{oldName, newName}, kRestartTimeout);
    }
    ControlResult SetString(const std::string& instance, const std::string& property, const std::string& value) {
        return Command(kManagerSetString, ipc_mngctrl_set_str_property_request{instance, property, value},
                       kRequestTimeout);
    }
    ControlResult SetNumber(const std::string& instance, const std::string& property, std::uint32_t value) {
        return Command(kManagerSetNumber, ipc_mngctrl_set_num_property_request{instance, property, value},
                       kRequestTimeout);
    }
    ControlAnswer<std::string> GetString(const std::string& instance, const std::string& property);
    ControlAnswer<std::uint32_t> GetNumber(const std::string& instance, const std::string& property);
    /// The instances of a type; that there are none is no refusal.
    ControlAnswer<std::vector<std::string>> List(std::uint32_t type);
    /// Of every type, in the order of the types.
    ControlAnswer<std::vector<std::string>> List();
    ControlAnswer<ipc_mngctrl_status_reply> Status(const std::string& instance,
                                                   std::uint32_t timeoutMs = kRequestTimeout);
    /// The connections to the instance's process.
    ControlAnswer<std::vector<ipc_client_info>> Clients(const std::string& instance);
    /// Asks the manager to stop; it has not stopped yet on return.
    ControlResult StopService();

    /// The next notice, waiting for one at most `timeoutMs`: Answered with it, or TimedOut. They are kept from the
    /// connecting on. That the connection ended
    /// is told once, as Lost, behind its last notice; the next call connects. One thread at a time.
    ControlAnswer<std::shared_ptr<IPC>> NextNotice(std::uint32_t timeoutMs);
    /// Ends a wait in NextNotice before its time, with a notice of kIpcTerminate, which no server sends.
    void WakeNoticeReader();

    /// The connection as it is now, which another one may follow; never empty.
    std::shared_ptr<IPCClient> Connection() { return connection_.Lock()->client; }

  private:
    struct Link {
        std::shared_ptr<IPCClient> client;
        bool closed = false;
    };

    std::uint32_t TimeoutOr(std::uint32_t ownMs) const { return timeoutMs_ != 0 ? timeoutMs_.load() : ownMs; }
    /// The connected client, or why there is none.
    Delivery Reach(std::shared_ptr<IPCClient>& client);
    /// The request's reply; `outcome` holds what became of it.
    std::shared_ptr<IPC> Send(std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs,
                              ControlResult& outcome);
    /// Sends the request, and reads the reply's record.
    template <wire::WireRecord Reply, wire::WireRecord Request>
    ControlAnswer<Reply> Ask(ManagerCommand command, const Request& request, std::uint32_t timeoutMs);
    template <class Head, class Entry, wire::WireRecord Request>
    ControlAnswer<std::vector<Entry>> AskList(ManagerCommand command, const Request& request);
    template <wire::WireRecord Request>
    ControlResult Command(ManagerCommand command, const Request& request, std::uint32_t timeoutMs) {
        return Ask<ipc_mngctrl_result_reply>(command, request, timeoutMs);
    }

    const std::uint32_t connectTimeoutMs_;
    std::atomic<std::uint32_t> timeoutMs_{0};
    std::mutex connecting_;                                 // one thread connects at a time; comes before connection_
    kivsync::Guarded<Link> connection_;                     // never held while anything is waited for
    kivsync::Guarded<std::shared_ptr<IPCClient>> reading_;  // whose notices are read; never held during a wait
};

template <wire::WireRecord Reply, wire::WireRecord Request>
ControlAnswer<Reply> ControlClient::Ask(ManagerCommand command, const Request& request, std::uint32_t timeoutMs) {
    ControlAnswer<Reply> answer;
    const auto reply = Send(command, wire::Encode(request), timeoutMs, answer);
    if (!reply)
        return answer;
    if (const auto record = wire::Decode<Reply>(reply->Payload())) {
        answer.value = *record;
        answer.result = record->result;
    } else {
        answer.delivery = Delivery::Malformed;
    }
    return answer;
}
