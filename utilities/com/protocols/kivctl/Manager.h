// Manager: the control requests of the service, as calls.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "protocols/KivProtocolManager/class/ControlMessages.h"
#include "protocols/kivctl/Connection.h"
#include "protocols/kivctl/Options.h"

namespace kivctl {

/// Connected from construction on. Results are the manager's; a request that gets no answer throws Failure.
class Manager {
  public:
    explicit Manager(const Options& options);

    std::int32_t Add(const std::string& instance, std::uint32_t type);
    std::int32_t Remove(const std::string& instance);
    std::int32_t Start(const std::string& instance);
    std::int32_t Stop(const std::string& instance);
    std::int32_t Restart(const std::string& instance);
    /// Renames the running instance and the manager's table entry; the database keeps the old name.
    std::int32_t RenameRunning(const std::string& oldName, const std::string& newName);

    std::int32_t GetString(const std::string& instance, const std::string& property, std::string& value);
    std::int32_t SetString(const std::string& instance, const std::string& property, const std::string& value);
    std::int32_t GetNumber(const std::string& instance, const std::string& property, std::uint32_t& value);
    std::int32_t SetNumber(const std::string& instance, const std::string& property, std::uint32_t value);

    std::vector<std::string> Instances(std::uint32_t type);
    /// Of every type, in the order of the types.
    std::vector<std::string> Instances();
    ipc_mngctrl_status_reply Status(const std::string& instance, std::uint32_t timeoutMs = kRequestTimeout);
    std::int32_t Clients(const std::string& instance, std::vector<ipc_client_info>& clients);

    /// Asks the manager to stop; it has not stopped yet on return.
    void RequestShutdown();

    /// For notices and for the state of the connection.
    IPCClient& Client() { return *client_; }

  private:
    std::int32_t AskAboutInstance(ManagerCommand command, const std::string& instance, std::uint32_t timeoutMs);

    const Options& options_;
    const std::shared_ptr<IPCClient> client_;
};

}  // namespace kivctl
