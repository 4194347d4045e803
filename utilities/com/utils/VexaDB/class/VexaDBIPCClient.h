// VexaDB::VexaDBIPCClient: the settings database of another process, over its server "vexadbserver".
//
//     auto database = std::make_shared<VexaDB::VexaDBIPCClient>();
//     if (database->Connect()) { VexaDB::VexaDBSession session(database); ... }
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "IPC/class/IPCClient.h"
#include "utils/VexaDB/class/VexaDBMessages.h"
#include "utils/VexaDB/class/VexaDBServerInterface.h"
#include "utils/sync/Guarded.h"

namespace VexaDB {

/// Any thread may call any operation. CloseSession waits at most 500 ms for its reply, every other operation
/// `replyTimeoutMs`, which is 5000 ms by default. Results: the reply's status; -1 before Connect and for a reply that
/// cannot be decoded; kIpcCannotSend or kIpcNoReply when the server does not answer. Names and texts are cut to 49
/// characters.
class VexaDBIPCClient : public VexaDBServerInterface {
  public:
    using VexaDBServerInterface::GetString;
    using VexaDBServerInterface::GetUint32;

    VexaDBIPCClient() = default;
    /// Uses a connection to the database that the caller has made. `replyTimeoutMs` is the wait for each reply, except
    /// that of CloseSession.
    explicit VexaDBIPCClient(std::shared_ptr<IPCClient> connection, std::uint32_t replyTimeoutMs = kReplyTimeout)
        : replyTimeoutMs_(replyTimeoutMs), client_(std::move(connection)) {}

    std::int32_t OpenSession(SessionId& session) override {
        return Call(kDatabaseOpenSession, {}, [&](const auto& reply) { session = reply.value; });
    }
    std::int32_t CloseSession(SessionId session) override {
        return Call(kDatabaseCloseSession, {session}, kStatusOnly);
    }
    std::int32_t Batch(SessionId session) override { return Call(kDatabaseBatch, {session}, kStatusOnly); }
    std::int32_t Commit(SessionId session) override { return Call(kDatabaseCommit, {session}, kStatusOnly); }
    std::int32_t Reset(SessionId session) override { return Call(kDatabaseReset, {session}, kStatusOnly); }
    std::int32_t Change(SessionId session,
                        const std::shared_ptr<const Operation::VexaDBOperation>& operation) override {
        return Send<ipc_vexadb_status_reply>(operation->Request(session), replyTimeoutMs_, kStatusOnly);
    }
    std::int32_t GetUint32(SessionId session, const std::string& instance, const std::string& setting,
                           std::uint32_t& value) override {
        return Call(kDatabaseGetUint32, Setting(session, instance, setting),
                    [&](const auto& reply) { value = reply.value; });
    }
    std::int32_t GetString(SessionId session, const std::string& instance, const std::string& setting,
                           std::string& value) override {
        return Call(kDatabaseGetString, Setting(session, instance, setting),
                    [&](const auto& reply) { value = reply.value.Text(); });
    }
    std::int32_t GetInstances(SessionId session, std::vector<std::string>& instances) override {
        return Call(kDatabaseGetInstances, {session}, [&](const auto& reply) {
            instances.clear();
            for (const auto& name : reply.entries)
                instances.push_back(name.Text());
        });
    }
    /// The entries have names and kinds, but no values.
    std::int32_t GetInstanceSettings(SessionId session, const std::string& instance,
                                     std::vector<SettingEntry>& settings) override {
        return Call(kDatabaseGetInstanceSettings, {{session}, instance}, [&](const auto& reply) {
            settings.clear();
            for (const auto& entry : reply.entries)
                settings.push_back({entry.setting.Text(), static_cast<SettingKind>(std::uint32_t{entry.kind}), 0, {}});
        });
    }
    /// False also when the server does not answer.
    bool IsInstanceExist(SessionId session, const std::string& instance) override {
        bool exists = false;
        Call(kDatabaseIsInstanceExist, {{session}, instance}, [&](const auto& reply) { exists = reply.value != 0; });
        return exists;
    }
    /// Always -1, as is RemoveObserver: only the process that owns the database can observe it.
    std::int32_t AddObserver(const std::shared_ptr<VexaDBServerOpObserver>&) override { return -1; }
    std::int32_t RemoveObserver(const std::shared_ptr<VexaDBServerOpObserver>&) override { return -1; }
    /// False also when the server does not answer.
    bool IsSessionValid(SessionId session) override {
        bool valid = false;
        Call(kDatabaseIsSessionValid, {session}, [&](const auto& reply) { valid = reply.value != 0; });
        return valid;
    }

    /// Connects, also again after a lost connection; true when connected.
    [[nodiscard]] virtual bool Connect() {
        auto client = client_.Lock();
        if (!*client || !(*client)->IsConnected())
            *client = IPCClient::GetClient(kDatabaseServerName, true);
        return (*client)->IsConnected();
    }

  private:
    // ms
    static constexpr std::uint32_t kReplyTimeout = 5000;
    static constexpr std::uint32_t kCloseSessionTimeout = 500;

    /// For a reply that carries only its status.
    static constexpr auto kStatusOnly = [](const auto&) {};

    template <class Request, class Reply, class Take>
    std::int32_t Call(Command<Request, Reply> command, const std::type_identity_t<Request>& request, Take take) {
        const auto timeout = command == kDatabaseCloseSession ? kCloseSessionTimeout : replyTimeoutMs_;
        return Send<Reply>(IPC::Request(command, Encode(request)), timeout, take);
    }
    /// Sends the request and waits for its reply. Returns the reply's status, or the framework's result when there is
    /// no reply. Calls `take` with a reply of status 0.
    template <class Reply, class Take>
    std::int32_t Send(const std::shared_ptr<IPC>& request, std::uint32_t timeoutMs, Take take) {
        const auto client = *client_.Lock();
        if (!client)
            return -1;
        std::shared_ptr<IPC> received;
        if (const auto result = client->Call(request, timeoutMs, received); result != 0)
            return result;
        Reply reply;
        if (!DecodePayload(received->Payload(), reply))
            return -1;
        if (reply.status == 0)
            take(reply);
        return reply.status;
    }

    static ipc_vexadb_get_setting_request Setting(SessionId session, const std::string& instance,
                                                  const std::string& setting) {
        return {{{session}, instance}, setting};
    }

    const std::uint32_t replyTimeoutMs_ = kReplyTimeout;
    kivsync::Guarded<std::shared_ptr<IPCClient>> client_;
};

}  // namespace VexaDB
