// Manager: the control requests of the service, as calls.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocols/control/ControlMessages.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

/// Connected from construction on. Results are the manager's; a request that gets no answer throws Failure.
class Manager {
  public:
    explicit Manager(const Options& options);

    [[nodiscard]] std::int32_t Add(const std::string& instance, std::uint32_t type) {
        return Ask(kManagerAdd, ipc_mngctrl_add_request{type, instance}).result;
    }
    [[nodiscard]] std::int32_t Remove(const std::string& instance) {
        return Ask(kManagerRemove, ipc_mngctrl_remove_request{instance}, kStopTimeout).result;
    }
    [[nodiscard]] std::int32_t Start(const std::string& instance) {
        return Ask(kManagerStart, ipc_mngctrl_start_request{instance}, kStartTimeout).result;
    }
    [[nodiscard]] std::int32_t Stop(const std::string& instance) {
        return Ask(kManagerStop, ipc_mngctrl_stop_request{instance}, kStopTimeout).result;
    }
    [[nodiscard]] std::int32_t Restart(const std::string& instance) {
        return Ask(kManagerRestart, ipc_mngctrl_restart_request{instance}, kRestartTimeout).result;
    }
    /// Renames the running instance and the manager's table entry; the database keeps the old name.
    [[nodiscard]] std::int32_t RenameRunning(const std::string& oldName, const std::string& newName) {
        return Ask(kManagerRename, ipc_mngctrl_rename_request{oldName, newName}, kRestartTimeout).result;
    }

    /// Empty when the manager has no such instance, or that no such property of that kind.
    std::optional<std::string> GetString(const std::string& instance, const std::string& property);
    std::optional<std::uint32_t> GetNumber(const std::string& instance, const std::string& property);
    [[nodiscard]] std::int32_t SetString(const std::string& instance, const std::string& property,
                                         const std::string& value) {
        return Ask(kManagerSetString, ipc_mngctrl_set_str_property_request{instance, property, value}).result;
    }
    [[nodiscard]] std::int32_t SetNumber(const std::string& instance, const std::string& property,
                                         std::uint32_t value) {
        return Ask(kManagerSetNumber, ipc_mngctrl_set_num_property_request{instance, property, value}).result;
    }

    std::vector<std::string> Instances(std::uint32_t type);
    /// Of every type, in the order of the types.
    std::vector<std::string> Instances();
    ipc_mngctrl_status_reply Status(const std::string& instance, std::uint32_t timeoutMs = kRequestTimeout) {
        return Ask<ipc_mngctrl_status_reply>(kManagerStatus, ipc_mngctrl_status_request{instance}, timeoutMs);
    }
    /// The connections to the instance's process; throws Failure when the manager refuses to tell.
    std::vector<ipc_client_info> Clients(const std::string& instance);

    /// Asks the manager to stop; it has not stopped yet on return.
    void RequestShutdown() { Send(kIpcStop, {}); }

    /// For notices and for the state of the connection.
    IPCClient& Client() { return *client_; }
    const Options& GetOptions() const { return options_; }

  private:
    /// Sends the request and returns its reply's payload as far as `Reply` goes.
    template <wire::WireRecord Reply = ipc_mngctrl_result_reply, wire::WireRecord Request>
    Reply Ask(ManagerCommand command, const Request& request, std::uint32_t timeoutMs = kRequestTimeout) {
        return DecodeReply<Reply>(*Send(command, wire::Encode(request), timeoutMs));
    }
    std::shared_ptr<IPC> Send(std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs = kRequestTimeout);

    const Options& options_;
    const std::shared_ptr<IPCClient> client_;
};

}  // namespace kivctl
