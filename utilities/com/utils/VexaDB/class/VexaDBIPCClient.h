// VexaDB::VexaDBIPCClient: the settings database of another process, over its server "vexadbserver".
//
//     auto database = std::make_shared<VexaDB::VexaDBIPCClient>();
//     if (database->Connect()) { VexaDB::VexaDBSession session(database); ... }
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "IPC/class/IPCClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/sync/Guarded.h"

namespace VexaDB {

/// Any thread. Every operation waits at most 5000 ms for its reply, CloseSession 500 ms. Results: the reply's status;
/// -1 before Connect; kIpcCannotSend or kIpcNoReply when the server does not answer. Names and texts are cut to 49
/// characters.
class VexaDBIPCClient : public VexaDBServerInterface {
  public:
    using VexaDBServerInterface::GetString;
    using VexaDBServerInterface::GetUint32;
    using VexaDBServerInterface::SetString;
    using VexaDBServerInterface::SetUint32;

    std::int32_t OpenSession(SessionId& session) override;
    std::int32_t CloseSession(SessionId session) override;
    std::int32_t Batch(SessionId session) override;
    std::int32_t Commit(SessionId session) override;
    std::int32_t Reset(SessionId session) override;
    std::int32_t AddInstance(SessionId session, const std::string& instance, std::uint32_t type) override;
    std::int32_t RemoveInstance(SessionId session, const std::string& instance) override;
    std::int32_t RenameInstance(SessionId session, const std::string& oldName, const std::string& newName) override;
    std::int32_t SetUint32(SessionId session, const std::string& instance, const std::string& setting,
                           std::uint32_t value) override;
    std::int32_t SetString(SessionId session, const std::string& instance, const std::string& setting,
                           const std::string& value) override;
    std::int32_t GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                           std::uint32_t& value) override;
    std::int32_t GetString(SessionId session, const std::string& instance, const std::string& setting,
                           std::string& value) override;
    std::int32_t GetInstances(SessionId session, std::vector<std::string>& instances) override;
    /// The entries carry no values.
    std::int32_t GetInstanceSettings(SessionId session, const std::string& instance,
                                     std::vector<SettingEntry>& settings) override;
    /// False also when the server does not answer.
    bool IsInstanceExist(SessionId session, const std::string& instance) override;
    /// Observers belong to the process that owns the database: both -1.
    std::int32_t AddObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) override;
    std::int32_t RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>& observer) override;
    /// False also when the server does not answer.
    bool IsSessionValid(SessionId session) override;

    /// Connects, or connects anew; true when connected.
    virtual bool Connect();

  private:
    /// Sends the request and waits for its reply: its status, or why there is none. `take` is given a reply with the
    /// status 0.
    template <class Request, class Reply, class Take>
    std::int32_t Call(DatabaseCommand<Request, Reply> command, const std::type_identity_t<Request>& request, Take take);

    kivsync::Guarded<std::shared_ptr<IPCClient>> client_;
};

}  // namespace VexaDB
