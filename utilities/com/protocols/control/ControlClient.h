// ControlClient: sends the control requests of the server "protocolmanager", each as a call.
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

/// The outcome of a control request.
struct [[nodiscard]] ControlResult {
    Delivery delivery = Delivery::NotThere;
    std::int32_t result = kIpcCannotSend;  // the manager's result when it answered, else the framework's
    std::uint32_t command = 0;
    std::uint32_t timeoutMs = 0;  // the limit of the wait for the reply or, without a connection, for connecting

    bool IsAnswered() const { return delivery == Delivery::Answered; }
    /// Answered, and not refused.
    bool IsDone() const { return IsAnswered() && result == 0; }
};

/// The outcome of a control request with the value that the manager answered.
template <class Value>
struct [[nodiscard]] ControlAnswer : ControlResult {
    Value value{};
};

/// A call connects if there is no connection, so it finds a service that was restarted. Any thread may call any
/// operation, but NextNotice only one thread at a time. Calls wait for each other, since the server carries out the
/// requests of a connection one after the other; NextNotice does not wait for them. Names and texts are in the narrow
/// code page and cut to 49 characters.
class ControlClient {
  public:
    // In ms, chosen for the manager's default settings: a question about a hung child takes 5 s. A request that starts
    // or stops a child is answered when that is done: the child has 10 s to start, 50 s to stop and twice 5 s to
    // answer. The changes that precede the request may take as long again.
    static constexpr std::uint32_t kConnectTimeout = 5'000;
    static constexpr std::uint32_t kRequestTimeout = 20'000;
    static constexpr std::uint32_t kStartTimeout = 60'000;
    static constexpr std::uint32_t kStopTimeout = 90'000;
    static constexpr std::uint32_t kRestartTimeout = 120'000;

    explicit ControlClient(std::uint32_t connectTimeoutMs = kConnectTimeout);

    /// Connects, unless there is a connection already.
    ControlResult Connect();
    /// Ends the connection and every call that waits on it. Each later call that needs a connection returns Lost.
    void Close();
    /// The wait for each reply in ms. With 0, the default, each request has its own time-out.
    void SetTimeout(std::uint32_t timeoutMs) { timeoutMs_ = timeoutMs; }

    /// `type` is a VexaDB::ProtocolType, 0 to 7.
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
    /// Renames the running instance and its entry in the manager's table; the database keeps the old name.
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
    /// The names of the instances of one type. An empty list is not a refusal: its result is 0.
    ControlAnswer<std::vector<std::string>> List(std::uint32_t type);
    /// The names of all instances, in the order of their types.
    ControlAnswer<std::vector<std::string>> List();
    ControlAnswer<ipc_mngctrl_status_reply> Status(const std::string& instance,
                                                   std::uint32_t timeoutMs = kRequestTimeout);
    /// The connections to the instance's process.
    ControlAnswer<std::vector<ipc_client_info>> Clients(const std::string& instance);
    /// Asks the manager to stop; it has not stopped yet on return.
    ControlResult StopService();

    /// Waits at most `timeoutMs` for the next notice: Answered with the notice, or TimedOut. Notices are kept from the
    /// moment of connecting. When the connection has ended, one call returns Lost after its last notice, and the next
    /// call connects again. One thread at a time.
    ControlAnswer<std::shared_ptr<IPC>> NextNotice(std::uint32_t timeoutMs);
    /// Ends the wait in NextNotice early: it returns a notice of kIpcTerminate, which no server sends.
    void WakeNoticeReader();

    /// The client of the present connection; a later connection has another client. Never empty.
    std::shared_ptr<IPCClient> Connection() { return connection_.Lock()->client; }

  private:
    struct Link {
        std::shared_ptr<IPCClient> client;
        bool closed = false;
    };

    std::uint32_t TimeoutOr(std::uint32_t ownMs) const { return timeoutMs_ != 0 ? timeoutMs_.load() : ownMs; }
    /// Connects if there is no connection. With the result Answered, `client` is the connected client.
    Delivery Reach(std::shared_ptr<IPCClient>& client);
    /// Sends the request, fills `outcome` and returns the reply, which is empty unless Answered.
    std::shared_ptr<IPC> Send(std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs,
                              ControlResult& outcome);
    /// Sends the request and decodes the reply's record.
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
    std::mutex connecting_;                                 // one thread connects at a time; taken before connection_
    kivsync::Guarded<Link> connection_;                     // never held during a wait
    kivsync::Guarded<std::shared_ptr<IPCClient>> reading_;  // gives NextNotice its notices; never held during a wait
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
