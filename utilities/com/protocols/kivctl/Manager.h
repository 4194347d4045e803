// Manager: the control requests of the service as calls. A request without an answer ends the command.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocols/control/ControlClient.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

/// Connected from its construction, which throws Failure when the manager cannot be reached. It never reconnects: a
/// command must not continue with another manager than it began with. Results are the manager's codes; a request
/// without an answer throws Failure. `options` must outlive it.
class Manager {
  public:
    explicit Manager(const Options& options);

    [[nodiscard]] std::int32_t Add(const std::string& instance, std::uint32_t type) {
        return Check(Control().Add(instance, type));
    }
    [[nodiscard]] std::int32_t Remove(const std::string& instance) { return Check(Control().Remove(instance)); }
    [[nodiscard]] std::int32_t Start(const std::string& instance) { return Check(Control().Start(instance)); }
    [[nodiscard]] std::int32_t Stop(const std::string& instance) { return Check(Control().Stop(instance)); }
    [[nodiscard]] std::int32_t Restart(const std::string& instance) { return Check(Control().Restart(instance)); }
    /// Renames the running instance and the manager's table entry; the database keeps the old name.
    [[nodiscard]] std::int32_t RenameRunning(const std::string& oldName, const std::string& newName) {
        return Check(Control().RenameRunning(oldName, newName));
    }

    /// Empty when the manager does not know the instance, or the instance has no such property of this kind.
    std::optional<std::string> GetString(const std::string& instance, const std::string& property) {
        return Value(Control().GetString(instance, property));
    }
    std::optional<std::uint32_t> GetNumber(const std::string& instance, const std::string& property) {
        return Value(Control().GetNumber(instance, property));
    }
    [[nodiscard]] std::int32_t SetString(const std::string& instance, const std::string& property,
                                         const std::string& value) {
        return Check(Control().SetString(instance, property, value));
    }
    [[nodiscard]] std::int32_t SetNumber(const std::string& instance, const std::string& property,
                                         std::uint32_t value) {
        return Check(Control().SetNumber(instance, property, value));
    }

    std::vector<std::string> Instances(std::uint32_t type) {
        return Value(Control().List(type)).value_or(std::vector<std::string>());
    }
    /// The instances of every type, in the order of the types.
    std::vector<std::string> Instances() { return Value(Control().List()).value_or(std::vector<std::string>()); }
    ipc_mngctrl_status_reply Status(const std::string& instance, std::uint32_t timeoutMs = kRequestTimeout) {
        const auto answer = Control().Status(instance, timeoutMs);
        Check(answer);
        return answer.value;
    }
    /// The connections to the instance's process; throws Failure when the manager refuses.
    std::vector<ipc_client_info> Clients(const std::string& instance);

    /// Asks the manager to stop; returns before it has stopped.
    void RequestShutdown() { Check(Control().StopService()); }

    /// The connection, for its notices and its state.
    IPCClient& Client() { return *connection_; }
    const Options& GetOptions() const { return options_; }

  private:
    /// Throws Failure when the connection has ended, because ControlClient would connect anew.
    ControlClient& Control();
    /// The manager's result; throws Failure when there was no answer.
    static std::int32_t Check(const ControlResult& result);
    template <class Told>
    static std::optional<Told> Value(const ControlAnswer<Told>& answer) {
        return Check(answer) == 0 ? std::optional(answer.value) : std::nullopt;
    }

    const Options& options_;
    ControlClient client_;
    std::shared_ptr<IPCClient> connection_;
};

}  // namespace kivctl
