// Compares docs/protocol.json with the records and constants of the code, and the tables of docs/wire-protocol.md with
// docs/protocol.json.
#include <gtest/gtest.h>

#include <bit>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "IPC/class/RequestGate.h"
#include "IPC/transport/PipeName.h"
#include "protocols/control/ChildStart.h"
#include "protocols/control/ControlMessages.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBInterface.h"

namespace {

using Json = nlohmann::ordered_json;

/// The layout of a record of the code. `members` are the names and members of all its fields, in turn.
template <class Record, class... Member>
Json Layout(std::pair<const char*, Member>... members) {
    const Record record{};
    Json fields = Json::array();
    std::size_t at = 0;
    const auto add = [&]<class Field>(const char* name, const Field& field) {
        const bool isSigned = std::is_same_v<Field, wire::i32> || std::is_same_v<Field, wire::i64>;
        const auto number = (isSigned ? "i" : "u") + std::to_string(8 * sizeof field);
        const auto* const begin = reinterpret_cast<const char*>(&record);
        EXPECT_EQ(reinterpret_cast<const char*>(&field), begin + at) << name;
        fields.push_back({{"name", name},
                          {"type", std::is_same_v<Field, wire::Name> ? "name" : number},
                          {"offset", at},
                          {"size", sizeof field}});
        at += sizeof field;
    };
    (add(members.first, record.*members.second), ...);
    EXPECT_EQ(at, sizeof(Record));
    return {{"size", sizeof(Record)}, {"fields", fields}};
}

// FIELDS makes a function that gives the layout of any record with these fields.
#define FIELD(name) std::pair(#name, &R::name)
#define FIELDS(...) []<class R>(R) { return Layout<R>(__VA_ARGS__); }
const auto instance = FIELDS(FIELD(instance));
const auto names = FIELDS(FIELD(oldName), FIELD(newName));
const auto result = FIELDS(FIELD(result));
const auto resultAndValue = FIELDS(FIELD(result), FIELD(value));
const auto resultAndCount = FIELDS(FIELD(result), FIELD(count));
const auto client = FIELDS(FIELD(connectionId), FIELD(processId), FIELD(reserved));
const auto unused = FIELDS(FIELD(unused));
const auto session = FIELDS(FIELD(session));
const auto sessionAndInstance = FIELDS(FIELD(session), FIELD(instance));
const auto sessionAndSetting = FIELDS(FIELD(session), FIELD(instance), FIELD(setting));
const auto sessionAndValue = FIELDS(FIELD(session), FIELD(instance), FIELD(setting), FIELD(value));
const auto nothing = [](VexaDB::NoFields) { return Json{{"size", 0}, {"fields", Json::array()}}; };
const Json kNothing = nothing({});
template <class Record>
Json StatusAnd(const char* value) {
    return Layout<Record>(std::pair("status", &Record::status), std::pair(value, &Record::value));
}

Json List(Json head, const Json& entries) {
    head["entries"] = entries;
    return head;
}

Json Command(std::uint32_t number, const char* name, const Json& request, const Json& reply) {
    return {{"number", number}, {"name", name}, {"request", request}, {"reply", reply}};
}

Json Event(std::uint32_t number, const char* name, const Json& payload) {
    return {{"number", number}, {"name", name}, {"payload", payload}};
}

Json EveryServer() {
    using Value = ipc_value_reply;
    return {
        Command(kIpcTerminate, "terminate", kNothing, kNothing),
        Command(kIpcAliveCheck, "alive check", kNothing, kNothing),
        Command(kIpcStop, "stop", kNothing, kNothing),
        Command(kIpcGetState, "state", unused(ipc_get_state_request()), StatusAnd<Value>("state")),
        Command(kIpcGetClientCount, "client count", unused(ipc_get_client_count_request()), StatusAnd<Value>("count")),
        Command(kIpcGetClientsInfo, "client list", kNothing,
                List(StatusAnd<Value>("unused"), client(ipc_client_info())))};
}

Json Manager() {
    const auto property = FIELDS(FIELD(instance), FIELD(property));
    const auto propertyAndValue = FIELDS(FIELD(instance), FIELD(property), FIELD(value));
    auto list = List(resultAndCount(ipc_mngctrl_list_reply()), instance(ipc_mngctrl_instance_request()));
    list["leastSize"] = EncodeListReply({}).size();
    auto clients = List(resultAndCount(ipc_mngctrl_get_clients_reply()), client(ipc_client_info()));
    const auto vacant = EncodeClientsReply(0xFFFFFFFF, {}).size() - sizeof(ipc_mngctrl_get_clients_reply);
    clients["mostVacantEntries"] = vacant / sizeof(ipc_client_info);
    clients["refusedSize"] = EncodeUnknownClientsReply(kManagerUnknownInstance).size();
    const auto named = instance(ipc_mngctrl_instance_request()), done = result(ipc_mngctrl_result_reply());
    const auto event = instance(ipc_mngctrl_instance_event());
    const Json commands = {
        Command(kManagerAdd, "add", FIELDS(FIELD(protocolType), FIELD(instance))(ipc_mngctrl_add_request()), done),
        Command(kManagerRemove, "remove", named, done),
        Command(kManagerStart, "start", named, done),
        Command(kManagerStop, "stop", named, done),
        Command(kManagerRestart, "restart", named, done),
        Command(kManagerGetString, "get string", property(ipc_mngctrl_get_str_property_request()),
                resultAndValue(ipc_mngctrl_get_str_property_reply())),
        Command(kManagerSetString, "set string", propertyAndValue(ipc_mngctrl_set_str_property_request()),
                resultAndValue(ipc_mngctrl_set_str_property_reply())),
        Command(kManagerGetNumber, "get number", property(ipc_mngctrl_get_num_property_request()),
                resultAndValue(ipc_mngctrl_get_num_property_reply())),
        Command(kManagerSetNumber, "set number", propertyAndValue(ipc_mngctrl_set_num_property_request()),
                resultAndValue(ipc_mngctrl_set_num_property_reply())),
        Command(kManagerList, "list", FIELDS(FIELD(protocolType))(ipc_mngctrl_list_request()), list),
        Command(kManagerStatus, "status", named,
                FIELDS(FIELD(result), FIELD(status), FIELD(protocolType), FIELD(upTime), FIELD(lastError), FIELD(state),
                       FIELD(processId), FIELD(clientCount))(ipc_mngctrl_status_reply())),
        Command(kManagerRename, "rename", names(ipc_mngctrl_rename_request()), done),
        Command(kManagerGetClients, "get clients", named, clients)};
    const Json events = {Event(kEventAdded, "added", event),
                         Event(kEventRemoved, "removed", event),
                         Event(kEventRenamed, "renamed", names(ipc_mngctrl_rename_event())),
                         Event(kEventStarted, "started", event),
                         Event(kEventStopped, "stopped", event),
                         Event(kEventStringChanged, "string changed",
                               FIELDS(FIELD(instance), FIELD(property), FIELD(oldValue),
                                      FIELD(newValue))(ipc_mngctrl_change_str_property_event()))};
    const Json results = {{"done", 0},
                          {"failure", kManagerFailure},
                          {"unknownInstance", kManagerUnknownInstance},
                          {"inUse", kManagerInUse}};
    const Json status = {{"running", kRunning}, {"stopped", kStopped}, {"stoppedWorking", kStoppedWorking}};
    return {{"name", kManagerServerName}, {"pipe", PipeName(kManagerServerName)},
            {"commands", commands},       {"events", events},
            {"results", results},         {"instanceStatus", status}};
}

/// A command of the database, with the request and reply types that belong to its number.
template <class Code, class Request, class Reply>
Json DatabaseCommand(Code code, const char* name, Request request, Reply reply) {
    return Command(code, name, request(typename Code::RequestType()), reply(typename Code::ReplyType()));
}

Json Database() {
    using namespace VexaDB;
    const auto add = FIELDS(FIELD(session), FIELD(type), FIELD(instance));
    const auto rename = FIELDS(FIELD(session), FIELD(oldName), FIELD(newName));
    const auto status = FIELDS(FIELD(status));
    const auto with = [](const char* name) { return [name]<class R>(R) { return StatusAnd<R>(name); }; };
    const auto listOf = [](const Json& entry) {
        return [entry](const auto&) { return List(StatusAnd<ipc_vexadb_list_reply>("count"), entry); };
    };
    const auto entry = FIELDS(FIELD(setting), FIELD(kind))(ipc_vexadb_setting_entry());
    const Json commands = {
        DatabaseCommand(kDatabaseAddInstance, "add instance", add, status),
        DatabaseCommand(kDatabaseRemoveInstance, "remove instance", sessionAndInstance, status),
        DatabaseCommand(kDatabaseRenameInstance, "rename instance", rename, status),
        DatabaseCommand(kDatabaseGetUint32, "get number", sessionAndSetting, with("value")),
        DatabaseCommand(kDatabaseGetString, "get string", sessionAndSetting, with("value")),
        DatabaseCommand(kDatabaseSetUint32, "set number", sessionAndValue, with("value")),
        DatabaseCommand(kDatabaseSetString, "set string", sessionAndValue, with("value")),
        DatabaseCommand(kDatabaseGetInstances, "list instances", session,
                        listOf(instance(ipc_mngctrl_instance_request()))),
        DatabaseCommand(kDatabaseGetInstanceSettings, "list settings", sessionAndInstance, listOf(entry)),
        DatabaseCommand(kDatabaseIsInstanceExist, "instance exists", sessionAndInstance, with("exists")),
        DatabaseCommand(kDatabaseOpenSession, "open session", nothing, with("session")),
        DatabaseCommand(kDatabaseCloseSession, "close session", session, status),
        DatabaseCommand(kDatabaseBatch, "batch", session, status),
        DatabaseCommand(kDatabaseCommit, "commit", session, status),
        DatabaseCommand(kDatabaseReset, "reset", session, status),
        DatabaseCommand(kDatabaseIsSessionValid, "session valid", session, with("valid"))};
    return {{"name", kDatabaseServerName},
            {"pipe", PipeName(kDatabaseServerName)},
            {"commands", commands},
            {"results", {{"done", 0}, {"failure", -1}}},
            {"sessions", {{"service", kServiceSession}, {"invalid", kInvalidSession}}},
            {"settingKinds", {{"string", SettingKind::String}, {"number", SettingKind::Number}}}};
}

Json FromTheCode() {
    const auto header = FIELDS(FIELD(flags), FIELD(requestId), FIELD(aux), FIELD(command), FIELD(size));
    const auto timing =
        FIELDS(FIELD(requestSentTime), FIELD(requestReceivedTime), FIELD(replySentTime), FIELD(spareTime));
    const Json bits = {{"request", std::countr_zero(IPC::kFlagRequest)},
                       {"terminate", std::countr_zero(IPC::kFlagTerminate)},
                       {"noReply", std::countr_zero(IPC::kFlagNoReply)},
                       {"logMeasurement", std::countr_zero(IPC::kFlagLogMeasurement)},
                       {"timing", std::countr_zero(IPC::kFlagTiming)}};
    return {{"nameSize", wire::Name::kSize},
            {"maximumSize", kIpcMaximumSize},
            {"maximumWaitingSize", RequestGate::kMaximumWaiting},
            {"waitingRequestSize", RequestGate::kRequestWeight},
            {"pipePrefix", PipeName("")},
            {"readyPipeSuffix", kReadyPipeSuffix},
            {"keyArgument", kKeyArgument},
            {"flagBits", bits},
            {"header", header(ipc_header())},
            {"timing", timing(ipc_timing())},
            {"protocolTypes", VexaDB::kProtocolNames},
            {"everyServer", {{"commands", EveryServer()}}},
            {"servers", {Manager(), Database()}}};
}

std::string Read(const char* name) {
    return (std::ostringstream() << std::ifstream(std::string(KIV_DOCS "/") + name).rdbuf()).str();
}

std::string Text(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string Join(const Json& fields, bool withOffsets) {
    std::string text;
    for (const auto& field : fields) {
        text += text.empty() ? "" : withOffsets ? "; " : ", ";
        text += (withOffsets ? Text(field["offset"]) + " " : "") + Text(field["type"]) + " " + Text(field["name"]);
    }
    return text;
}

/// The two table columns of a record: its fields and its size.
std::string Columns(const Json& record) {
    auto fields = Join(record["fields"], true), size = Text(record["size"]);
    if (record.contains("entries")) {
        const auto& entry = record["entries"];
        fields += "; " + size + " entries of " + Join(entry["fields"], false);
        size += " + " + Text(entry["size"]) + " × count";
        if (record.contains("leastSize"))
            size += ", at least " + Text(record["leastSize"]);
        if (record.contains("mostVacantEntries"))
            size += ", and up to " + Text(record["mostVacantEntries"]) + " vacant entries; " +
                    Text(record["refusedSize"]) + " when refused";
    }
    return (fields.empty() ? "none" : fields) + " | " + size + " |";
}

TEST(ProtocolDocument, JsonAndTablesTellWhatTheCodeHas) {
    const auto json = Json::parse(Read("protocol.json"));
    const auto expected = FromTheCode();
    ASSERT_TRUE(json == expected) << "protocol.json becomes right by " << Json::diff(json, expected).dump(1);

    std::vector<std::string> rows;  // the beginnings of the document's table rows
    const auto add = [&](const Json& command, const std::string& columns) {
        rows.push_back("| " + Text(command["number"]) + " " + Text(command["name"]) + " | " + columns);
    };
    auto servers = json["servers"];
    servers.push_back(json["everyServer"]);
    for (const auto& server : servers) {
        for (const auto& command : server["commands"])
            add(command, Columns(command["request"]) + " " + Columns(command["reply"]));
        for (const auto& event : server.value("events", Json::array()))
            add(event, Columns(event["payload"]));
    }
    const auto commandRows = rows.size();
    const auto& status = servers[0]["commands"][10]["reply"];
    EXPECT_EQ(status["fields"].size(), 8u);
    const auto addRow = [&](const std::string& left, const std::string& right) {
        rows.push_back("| " + left + " | " + right + " |");
    };
    for (const auto& record : {json["header"], json["timing"], status}) {
        for (const auto& field : record["fields"])
            addRow(Text(field["offset"]), Text(field["type"]) + " " + Text(field["name"]));
    }
    for (const auto& numbers : {json["flagBits"], servers[0]["results"], servers[0]["instanceStatus"]}) {
        for (const auto& [name, number] : numbers.items())
            addRow(Text(number), name);
    }
    for (const auto& [type, name] : json["protocolTypes"].items())
        addRow(type, Text(name).empty() ? "the empty name" : "`" + Text(name) + "`");
    for (const auto& server : json["servers"])
        addRow("`" + Text(server["name"]) + "`", "`" + Text(server["pipe"]) + "`");

    const auto document = Read("wire-protocol.md");
    for (const auto& row : rows) {
        const auto at = document.find("\n" + row);
        EXPECT_TRUE(at != std::string::npos && at == document.rfind("\n" + row)) << row;
    }
    const std::regex commandRow("\n\\| [0-9]+ [a-z]");
    const std::sregex_iterator first(document.begin(), document.end(), commandRow), end;
    EXPECT_EQ(std::distance(first, end), static_cast<std::ptrdiff_t>(commandRows));
}

}  // namespace
