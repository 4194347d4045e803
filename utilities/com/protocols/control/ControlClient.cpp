#include "protocols/control/ControlClient.h"

#include <utility>

#include "utils/VexaDB/class/ProtocolTypes.h"

namespace {

/// The same answer with `value` in place of the reply's record.
template <class Record, class Value>
ControlAnswer<Value> Told(const ControlAnswer<Record>& answer, Value value) {
    return {answer, std::move(value)};
}

}  // namespace

ControlClient::ControlClient(std::uint32_t connectTimeoutMs)
    : connectTimeoutMs_(connectTimeoutMs), connection_(Link{MakeClient(connectTimeoutMs)}) {}

ControlResult ControlClient::Connect() {
    std::shared_ptr<IPCClient> client;
    const auto delivery = Reach(client);
    return {delivery, delivery == Delivery::Answered ? kIpcSuccess : kIpcCannotSend, 0, connectTimeoutMs_};
}

void ControlClient::Close() {
    std::shared_ptr<IPCClient> client;
    {
        auto link = connection_.Lock();
        link->closed = true;
        client = link->client;
    }
    client->Disconnect();
}

// Each connection has its own IPCClient: NextNotice may still be reading the notices of the one that lost its
// connection.
Delivery ControlClient::Reach(std::shared_ptr<IPCClient>& client) {
    client = Connection();
    if (client->IsConnected())
        return Delivery::Answered;
    const std::lock_guard hold(connecting_);
    {
        auto link = connection_.Lock();
        if (link->closed)
            return Delivery::Lost;
        if (!link->client->IsConnected())
            link->client = MakeClient(connectTimeoutMs_);
        client = link->client;
    }
    const auto delivery = ConnectTo(*client, kManagerServerName);
    if (!connection_.Lock()->closed) {
        auto reading = reading_.Lock();
        if (delivery == Delivery::Answered && !*reading)
            *reading = client;
        return delivery;
    }
    client->Disconnect();  // Close may have called it before the client began to connect
    return Delivery::Lost;
}

std::shared_ptr<IPC> ControlClient::Send(std::uint32_t command, IPCPayload payload, std::uint32_t timeoutMs,
                                         ControlResult& outcome) {
    std::shared_ptr<IPCClient> client;
    outcome = {Reach(client), kIpcCannotSend, command, connectTimeoutMs_};
    if (outcome.delivery != Delivery::Answered)
        return nullptr;
    outcome.timeoutMs = TimeoutOr(timeoutMs);
    auto asked = AskServer(*client, command, std::move(payload), outcome.timeoutMs);
    outcome.delivery = asked.delivery;
    outcome.result = asked.result;
    return asked.reply;
}

ControlAnswer<std::string> ControlClient::GetString(const std::string& instance, const std::string& property) {
    const auto answer = Ask<ipc_mngctrl_get_str_property_reply>(
        kManagerGetString, ipc_mngctrl_get_str_property_request{instance, property}, kRequestTimeout);
    return Told(answer, answer.value.value.Text());
}

ControlAnswer<std::uint32_t> ControlClient::GetNumber(const std::string& instance, const std::string& property) {
    const auto answer = Ask<ipc_mngctrl_get_num_property_reply>(
        kManagerGetNumber, ipc_mngctrl_get_num_property_request{instance, property}, kRequestTimeout);
    return Told(answer, std::uint32_t{answer.value.value});
}

template <class Head, class Entry, wire::WireRecord Request>
ControlAnswer<std::vector<Entry>> ControlClient::AskList(ManagerCommand command, const Request& request) {
    ControlAnswer<std::vector<Entry>> answer;
    const auto reply = Send(command, wire::Encode(request), kRequestTimeout, answer);
    if (!reply)
        return answer;
    const auto head = wire::Decode<Head>(reply->Payload());
    if (head)
        answer.result = head->result;
    else
        answer.delivery = Delivery::Malformed;
    for (std::uint32_t i = 0; head && i < head->count; ++i) {
        const auto entry = wire::Decode<Entry>(reply->Payload(), sizeof(Head) + i * sizeof(Entry));
        if (!entry) {
            answer.delivery = Delivery::Malformed;
            break;
        }
        answer.value.push_back(*entry);
    }
    return answer;
}

ControlAnswer<std::vector<std::string>> ControlClient::List(std::uint32_t type) {
    const auto listed =
        AskList<ipc_mngctrl_list_reply, wire::Name>(kManagerList, ipc_mngctrl_list_request{wire::u32(type)});
    std::vector<std::string> names;
    for (const auto& name : listed.value)
        names.push_back(name.Text());
    auto answer = Told(listed, std::move(names));
    if (answer.IsAnswered() && answer.value.empty() && type < VexaDB::kProtocolNames.size())
        answer.result = 0;
    return answer;
}

ControlAnswer<std::vector<std::string>> ControlClient::List() {
    ControlAnswer<std::vector<std::string>> all;
    for (std::uint32_t type = 0; type < VexaDB::kProtocolNames.size(); ++type) {
        auto ofType = List(type);
        if (!ofType.IsDone())
            return ofType;
        all.value.insert(all.value.end(), ofType.value.begin(), ofType.value.end());
        static_cast<ControlResult&>(all) = ofType;
    }
    return all;
}

ControlAnswer<ipc_mngctrl_status_reply> ControlClient::Status(const std::string& instance, std::uint32_t timeoutMs) {
    return Ask<ipc_mngctrl_status_reply>(kManagerStatus, ipc_mngctrl_status_request{instance}, timeoutMs);
}

ControlAnswer<std::vector<ipc_client_info>> ControlClient::Clients(const std::string& instance) {
    return AskList<ipc_mngctrl_get_clients_reply, ipc_client_info>(kManagerGetClients,
                                                                   ipc_mngctrl_get_clients_request{instance});
}

ControlResult ControlClient::StopService() {
    ControlResult outcome;
    Send(kIpcStop, {}, kRequestTimeout, outcome);
    return outcome;
}

ControlAnswer<std::shared_ptr<IPC>> ControlClient::NextNotice(std::uint32_t timeoutMs) {
    ControlAnswer<std::shared_ptr<IPC>> next;
    next.timeoutMs = timeoutMs;
    auto client = *reading_.Lock();
    if (!client) {
        next.delivery = Reach(client);
        if (!next.IsAnswered())
            return next;
        *reading_.Lock() = client;  // Reach sets it only when it connects
    }
    next.value = client->TakeNotice(timeoutMs);
    if (next.value) {
        next.delivery = Delivery::Answered;
        next.result = 0;
    } else if (client->IsConnected()) {
        next.delivery = Delivery::TimedOut;
    } else {
        next.delivery = Delivery::Lost;
        reading_.Lock()->reset();
    }
    return next;
}

void ControlClient::WakeNoticeReader() {
    if (const auto client = *reading_.Lock())
        client->OnRequest(IPC::Notice(kIpcTerminate));
}
