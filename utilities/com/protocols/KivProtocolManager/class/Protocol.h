// CProtocol: one configured protocol instance, whose work a child process does.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/IPCClient.h"
#include "IPC/transport/ServerTransport.h"
#include "protocols/control/ControlMessages.h"
#include "utils/VexaDB/class/VexaDBSession.h"
#include "utils/class/Process.h"
#include "utils/platform/Deadline.h"
#include "utils/platform/Platform.h"
#include "utils/sync/Guarded.h"

/// When a child that has ended by itself is to be started again: after `firstMs`, then after twice that, and so on up
/// to `mostMs`, all in ms; one that ran for a minute begins anew.
struct RestartRule {
    std::uint32_t firstMs = 0;  // 0: none is planned, the monitor's next pass sees to it
    std::uint32_t mostMs = 0;
    std::function<std::int64_t()> clock = &platform::MonotonicNanoseconds;
    std::function<void()> planned = {};  // a restart was; called on a thread of the system's, waits for nothing
};

/// Held by shared ownership; the manager keeps one in its table for every instance. Whatever starts, stops or renames
/// it does so within a Change, one thread at a time (the manager's line of changes sees to that). Questions come from
/// any thread at any time. Destruction does not stop the child.
///
/// Questions are answered from the settled condition while a change is at work, and ask the child otherwise. A change
/// waits for one exchange of questions with the child at most, and no question waits for a change.
class CProtocol {
  public:
    /// Stands for the global start time-out where Start takes one.
    static constexpr std::uint32_t kDefaultStartTimeout = 0xFFFFFFFF;
    /// Whether a process is the child of an instance other than the one of that name.
    using OwnerCheck = std::function<bool(std::uint64_t processId, const std::string& name)>;

    /// Reads the instance's kind and type from the settings database.
    explicit CProtocol(std::string name, OwnerCheck isOwnedByAnother = {}, RestartRule restartRule = {});
    ~CProtocol();

    /// The scope of a change; scopes of one thread may be nested. What it did shows in the answers to questions when it
    /// ends, or when it settles.
    class Change {
      public:
        explicit Change(CProtocol& instance) : instance_(instance) { instance_.BeginChange(); }
        ~Change() { instance_.EndChange(); }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;
        /// Before an event tells others of what has been done so far.
        void Settle() { SettleKnown(*instance_.state_.Lock()); }

      private:
        CProtocol& instance_;
    };

    /// Starts the child and shakes hands with it, waiting at most `timeoutMs` for it to connect. 0 when it runs; -1
    /// when it is disabled, runs already or failed (then it was ended again, and the reason was logged).
    [[nodiscard]] std::int32_t Start(std::uint32_t timeoutMs);
    /// Asks the child to end and waits for it up to the global stop time-out, then ends it by force. 0; -1 when there
    /// is no connection to ask it over (it then keeps running).
    [[nodiscard]] std::int32_t Stop();
    /// The instance is not meant to run any more, though there is no process to stop.
    void SetStopped();
    /// Gives the instance another name; a running child is not touched. The process object before: dropping it may wait
    /// for a report of a child's end, so the caller drops it when it holds no lock.
    [[nodiscard]] std::shared_ptr<Process> SetName(const std::string& newName);

    std::string Name() { return state_.Lock()->name; }
    const std::string& Protocol() const { return protocol_; }
    std::uint32_t Type() const { return type_; }
    /// The instance is not meant to run: the monitor leaves it alone.
    bool IsStopped() { return state_.Lock()->stopped; }
    std::uint64_t ProcessId() { return CurrentProcess()->GetPid(); }
    /// ms until the monitor is to look at the instance: at its next pass, or when a restart is planned, then.
    std::uint32_t CheckInMs(std::uint32_t passInMs);
    void ForgetRestart() { state_.Lock()->restart.reset(); }
    /// Grows whenever a change begins or ends.
    std::uint64_t ChangeCount() { return state_.Lock()->changeCount; }

    /// What is known of the instance. `state`, `clientCount` and `clients` are what the child told.
    struct Condition {
        InstanceStatus status = kStopped;
        std::uint64_t processId = 0;  // also of a child that has ended by itself
        std::int64_t startTime = 0;   // calendar seconds of the last successful start; 0 when not running
        std::uint32_t state = 0;
        std::uint32_t clientCount = 0;
        std::vector<ipc_client_info> clients;
    };
    /// Which of these the child is asked for: the alive check, the state and the count, or the count and the clients.
    enum class Question { Status, Clients };
    /// Takes one general IPC time-out at most. Those who ask one child at the same time share one exchange with it.
    Condition Ask(Question question);
    /// The child need not be asked just now.
    bool IsAnsweredAtOnce() { return !NeedsChild(*state_.Lock()); }

    bool IsRunning();
    /// The child answers the alive check.
    bool IsConnected();
    InstanceStatus GetStatus();
    /// Clients connected to the child's own server; 0 when not running.
    std::uint32_t GetClientCount();
    enum class Use {
        Free,     // nobody but the manager is connected, or the child has ended
        Others,   // other processes are connected
        Unknown,  // the child does not answer
    };
    Use GetUse();
    /// 0 while running, else the negated value that the child last wrote to "lasterror".
    std::uint32_t GetLastErrorCode() { return IsRunning() ? 0 : 0 - db_.Number(Name(), "lasterror"); }
    bool IsFullEmulation() { return db_.Text(Name(), "emultype") == "full"; }
    /// Whole seconds since that start; 0 for one that is 0.
    static std::uint64_t GetUptime(std::int64_t startTime);

  private:
    struct Exchange {
        Question question;
        bool done = false;
        Condition answer{};
    };
    struct State {
        std::string name;
        std::shared_ptr<Process> process;
        std::shared_ptr<IPCClient> client;
        bool stopped = true;
        bool answers = false;                        // to the last alive check of this child
        std::int64_t startTime = 0;                  // calendar seconds; 0 when not running
        std::shared_ptr<ServerTransport> readyPipe;  // while a start waits for its child
        std::set<std::uint64_t> expectedEnds;        // processes that the manager asks to end, or ends
        std::int64_t startedAt = 0;                  // by the rule's clock; of the last attempt
        std::uint32_t restartDelay = 0;              // ms, of the last restart that was planned
        std::optional<platform::Deadline> restart;   // planned, unless the instance is stopped or started before
        int changes = 0;                             // under way, one in another
        std::uint64_t changeCount = 0;
        Condition settled;
        std::shared_ptr<Exchange> exchange;  // under way
    };

    /// The process object before, as SetName.
    [[nodiscard]] std::shared_ptr<Process> CreateProcessObject();
    bool IsTypeDisabled(std::uint32_t type);
    void ChildEnded(std::uint64_t processId, std::uint32_t exitCode);
    void PlanRestart();
    void ExpectEnd(Process& process);

    /// Waits for the exchange under way, one general IPC time-out at most.
    void BeginChange();
    void EndChange();
    /// The parts of the settled condition that need no child. With the lock held.
    static void SettleKnown(State& state);
    static bool NeedsChild(State& state);
    /// Fills in the exchange's answer with what the child says; false when it does not answer.
    static bool AskChild(IPCClient& client, std::uint32_t timeoutMs, Exchange& exchange);

    /// The child's connection on the ready pipe, which anybody can open; empty when it does not come in time, or ended.
    std::shared_ptr<ClientTransport> AcceptChild(ServerTransport& readyPipe, std::uint32_t timeoutMs);
    /// The connection to the child's own server; empty when others keep serving under the name.
    std::shared_ptr<IPCClient> ConnectToChild(const std::string& name);
    /// The child's side of the handshake on the ready pipe; true when it reported success.
    bool AwaitChild(ServerTransport& readyPipe, std::uint32_t timeoutMs);

    std::shared_ptr<Process> CurrentProcess() { return state_.Lock()->process; }
    std::shared_ptr<IPCClient> CurrentClient() { return state_.Lock()->client; }

    VexaDB::VexaDBSession db_;
    const OwnerCheck isOwnedByAnother_;
    const RestartRule restartRule_;
    std::string protocol_;
    std::uint32_t type_ = 0;
    bool typeDisabled_ = false;

    kivsync::Guarded<State> state_;  // never held while anything is waited for
};
