// CProtocol: one configured protocol instance. A child process does its work.
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

/// When a child that has ended by itself is started again: after `firstMs`, the next time after twice that, and so on
/// up to `mostMs`, all in ms. After a run of a minute the delay is `firstMs` again.
struct RestartRule {
    std::uint32_t firstMs = 0;  // 0: no restart is planned; the monitor's next pass starts the child
    std::uint32_t mostMs = 0;
    std::function<std::int64_t()> clock = &platform::MonotonicNanoseconds;
    std::function<void()> planned = {};  // called when a restart was planned, on a system thread; must not wait
};

/// Held by shared ownership; the manager's table has one for every instance. A thread that starts, stops or renames it
/// does so within the scope of a Change, one thread at a time, which the manager's line of changes ensures. Any thread
/// may ask questions at any time. Destruction does not stop the child.
///
/// The settled condition is what was last known of the instance. Questions are answered from it during a change; at
/// other times they ask the child. A change waits for at most one exchange of questions with the child, and no question
/// waits for a change.
class CProtocol {
  public:
    /// The value of Start's `timeoutMs` for the global start time-out.
    static constexpr std::uint32_t kDefaultStartTimeout = 0xFFFFFFFF;
    /// Whether the process is the child of an instance with another name.
    using OwnerCheck = std::function<bool(std::uint64_t processId, const std::string& name)>;

    /// Reads the instance's protocol name and type from the settings database.
    explicit CProtocol(std::string name, OwnerCheck isOwnedByAnother = {}, RestartRule restartRule = {});
    ~CProtocol();

    /// The scope of a change; scopes of one thread may be nested. Questions see the result of the change when it ends
    /// or when Settle is called.
    class Change {
      public:
        explicit Change(CProtocol& instance) : instance_(instance) { instance_.BeginChange(); }
        ~Change() { instance_.EndChange(); }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;
        /// Lets questions see what has been done so far. Called before an event announces it.
        void Settle() { SettleKnown(*instance_.state_.Lock()); }

      private:
        CProtocol& instance_;
    };

    /// Starts the child and completes the handshake with it; the child has `timeoutMs` to connect. 0 when it runs; -1
    /// when it is disabled, runs already or failed to start (then it is ended again, and the log gives the reason).
    [[nodiscard]] std::int32_t Start(std::uint32_t timeoutMs);
    /// Asks the child to end and waits for it up to the global stop time-out, then ends it by force. 0, also when it
    /// is not running; -1 when there is no connection to the child, which then keeps running.
    [[nodiscard]] std::int32_t Stop();
    /// Marks the instance as not meant to run. Does not touch the child.
    void SetStopped();
    /// Gives the instance another name; a running child is not touched. Returns the former process object: its
    /// destructor may wait for a report of the child's end, so the caller destroys it without any lock held.
    [[nodiscard]] std::shared_ptr<Process> SetName(const std::string& newName);

    std::string Name() { return state_.Lock()->name; }
    const std::string& Protocol() const { return protocol_; }
    std::uint32_t Type() const { return type_; }
    /// Whether the instance is not meant to run, so that the monitor leaves it alone.
    bool IsStopped() { return state_.Lock()->stopped; }
    std::uint64_t ProcessId() { return CurrentProcess()->GetPid(); }
    /// In how many ms the monitor must check the instance: at the planned restart if there is one, else in `passInMs`.
    std::uint32_t CheckInMs(std::uint32_t passInMs);
    void ForgetRestart() { state_.Lock()->restart.reset(); }
    /// Grows whenever a change begins or ends.
    std::uint64_t ChangeCount() { return state_.Lock()->changeCount; }

    /// What is known of the instance. `state`, `clientCount` and `clients` are the child's answers.
    struct Condition {
        InstanceStatus status = kStopped;
        std::uint64_t processId = 0;  // also of a child that has ended by itself
        std::int64_t startTime = 0;   // calendar seconds of the last successful start; 0 when not running
        std::uint32_t state = 0;
        std::uint32_t clientCount = 0;
        std::vector<ipc_client_info> clients;
    };
    /// Status asks for the alive check, the child's state and its client count; Clients for the count and the clients.
    enum class Question { Status, Clients };
    /// The instance's condition. Takes at most one general IPC time-out. Threads that ask the same question at the same
    /// time share one exchange with the child.
    Condition Ask(Question question);
    /// Whether Ask would answer at once, without the child.
    bool IsAnsweredAtOnce() { return !NeedsChild(*state_.Lock()); }

    bool IsRunning();
    /// Whether the child answers the alive check. This and the next three wait for each answer of the child up to the
    /// general IPC time-out.
    bool IsConnected();
    InstanceStatus GetStatus();
    /// The number of clients of the child's own server; 0 when the child does not run or does not answer.
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
    /// Whole seconds since `startTime`; 0 when that is 0 or in the future.
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
        bool answers = false;                        // whether the child answered its last alive check
        std::int64_t startTime = 0;                  // calendar seconds; 0 when not running
        std::shared_ptr<ServerTransport> readyPipe;  // while a start waits for its child
        std::set<std::uint64_t> expectedEnds;        // ids of processes that the manager ends or asks to end
        std::int64_t startedAt = 0;                  // the last attempt, by the rule's clock
        std::uint32_t restartDelay = 0;              // ms; the delay of the last planned restart
        std::optional<platform::Deadline> restart;   // the planned restart; a stop or a start cancels it
        int changes = 0;                             // the changes in progress, nested ones included
        std::uint64_t changeCount = 0;
        Condition settled;
        std::shared_ptr<Exchange> exchange;  // the exchange in progress
    };

    /// Returns the former process object, as SetName does.
    [[nodiscard]] std::shared_ptr<Process> CreateProcessObject();
    bool IsTypeDisabled(std::uint32_t type);
    void ChildEnded(std::uint64_t processId, std::uint32_t exitCode);
    void PlanRestart();
    void ExpectEnd(Process& process);

    /// Waits for the exchange in progress, at most one general IPC time-out.
    void BeginChange();
    void EndChange();
    /// Updates the parts of the settled condition that need no answer of the child. Called with the lock held.
    static void SettleKnown(State& state);
    static bool NeedsChild(State& state);
    /// Asks the child and fills in the exchange's answer; false when the child does not answer.
    static bool AskChild(IPCClient& client, std::uint32_t timeoutMs, Exchange& exchange);

    /// The child's connection on the ready pipe; those of other processes are refused. Empty when the child does not
    /// connect in time or has ended.
    std::shared_ptr<ClientTransport> AcceptChild(ServerTransport& readyPipe, std::uint32_t timeoutMs);
    /// The client of the child's own server; empty when another process keeps serving under the name.
    std::shared_ptr<IPCClient> ConnectToChild(const std::string& name);
    /// Waits for the create result on the ready pipe and connects to the child's server. False when the start failed;
    /// the log then gives the reason.
    bool AwaitChild(ServerTransport& readyPipe, std::uint32_t timeoutMs);

    std::shared_ptr<Process> CurrentProcess() { return state_.Lock()->process; }
    std::shared_ptr<IPCClient> CurrentClient() { return state_.Lock()->client; }

    VexaDB::VexaDBSession db_;
    const OwnerCheck isOwnedByAnother_;
    const RestartRule restartRule_;
    std::string protocol_;
    std::uint32_t type_ = 0;
    bool typeDisabled_ = false;

    kivsync::Guarded<State> state_;  // never held during a wait
};
