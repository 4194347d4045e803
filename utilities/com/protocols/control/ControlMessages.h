// The control messages of the server "protocolmanager": commands, results, and the payload of every request, reply and
// event. Manager, command line and tests all encode and decode through these declarations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/WireRecord.h"
#include "utils/VexaDB/class/VexaDBMessages.h"

inline constexpr const char* kManagerServerName = "protocolmanager";

/// Whether the manager itself serves under this name, so that no instance's child can.
inline bool IsReservedName(std::string_view name) {
    return name == kManagerServerName || name == VexaDB::kDatabaseServerName;
}

/// Commands of the requests (100 to 120) and of the events (150 to 155).
enum ManagerCommand : std::uint32_t {
    kManagerAdd = 100,
    kManagerRemove = 101,
    kManagerStart = 102,
    kManagerStop = 103,
    kManagerRestart = 104,
    kManagerGetString = 105,
    kManagerSetString = 106,
    kManagerGetNumber = 107,
    kManagerSetNumber = 108,
    kManagerList = 109,
    kManagerStatus = 118,
    kManagerRename = 119,
    kManagerGetClients = 120,
    kEventAdded = 150,
    kEventRemoved = 151,
    kEventRenamed = 152,
    kEventStarted = 153,
    kEventStopped = 154,
    kEventStringChanged = 155,
};

/// The manager's own results. Other results are 0 and the codes of the database and of an instance's operations.
inline constexpr std::int32_t kManagerFailure = -1;
inline constexpr std::int32_t kManagerUnknownInstance = -9;
inline constexpr std::int32_t kManagerInUse = -33;

/// Status values of an instance.
enum InstanceStatus : std::uint32_t { kRunning = 1, kStopped = 2, kStoppedWorking = 3 };

struct ipc_mngctrl_add_request {
    wire::u32 protocolType;  // offset 0, size 4: 0 to 7
    wire::Name instance;     // offset 4, size 50
    bool HasEndedTexts() const { return instance.IsEnded(); }
};
static_assert(sizeof(ipc_mngctrl_add_request) == 54 && offsetof(ipc_mngctrl_add_request, instance) == 4);

/// Requests that carry one instance name: remove, start, stop, restart, status, get clients.
struct ipc_mngctrl_instance_request {
    wire::Name instance;  // offset 0, size 50
    bool HasEndedTexts() const { return instance.IsEnded(); }
};
static_assert(sizeof(ipc_mngctrl_instance_request) == 50);
using ipc_mngctrl_remove_request = ipc_mngctrl_instance_request;
using ipc_mngctrl_start_request = ipc_mngctrl_instance_request;
using ipc_mngctrl_stop_request = ipc_mngctrl_instance_request;
using ipc_mngctrl_restart_request = ipc_mngctrl_instance_request;
using ipc_mngctrl_status_request = ipc_mngctrl_instance_request;
using ipc_mngctrl_get_clients_request = ipc_mngctrl_instance_request;

/// Requests that name a property of an instance: get string, get number.
struct ipc_mngctrl_get_property_request {
    wire::Name instance;  // offset 0, size 50
    wire::Name property;  // offset 50, size 50
    bool HasEndedTexts() const { return instance.IsEnded() && property.IsEnded(); }
};
static_assert(sizeof(ipc_mngctrl_get_property_request) == 100);
using ipc_mngctrl_get_str_property_request = ipc_mngctrl_get_property_request;
using ipc_mngctrl_get_num_property_request = ipc_mngctrl_get_property_request;

/// Requests that set a property of an instance.
template <wire::WireRecord Value>
struct ipc_mngctrl_set_property_request {
    wire::Name instance;  // offset 0, size 50
    wire::Name property;  // offset 50, size 50
    Value value;          // offset 100
    bool HasEndedTexts() const {
        bool ended = instance.IsEnded() && property.IsEnded();
        if constexpr (std::is_same_v<Value, wire::Name>)
            ended = ended && value.IsEnded();
        return ended;
    }
};
using ipc_mngctrl_set_str_property_request = ipc_mngctrl_set_property_request<wire::Name>;
static_assert(sizeof(ipc_mngctrl_set_str_property_request) == 150);
using ipc_mngctrl_set_num_property_request = ipc_mngctrl_set_property_request<wire::u32>;
static_assert(sizeof(ipc_mngctrl_set_num_property_request) == 104);

struct ipc_mngctrl_list_request {
    wire::u32 protocolType;  // offset 0, size 4
};
static_assert(sizeof(ipc_mngctrl_list_request) == 4);

struct ipc_mngctrl_rename_request {
    wire::Name oldName;  // offset 0, size 50
    wire::Name newName;  // offset 50, size 50
    bool HasEndedTexts() const { return oldName.IsEnded() && newName.IsEnded(); }
};
static_assert(sizeof(ipc_mngctrl_rename_request) == 100);

/// Replies that carry only the result: add, remove, start, stop, restart, rename.
struct ipc_mngctrl_result_reply {
    wire::i32 result;  // offset 0, size 4
};
static_assert(sizeof(ipc_mngctrl_result_reply) == 4);
using ipc_mngctrl_add_reply = ipc_mngctrl_result_reply;
using ipc_mngctrl_remove_reply = ipc_mngctrl_result_reply;
using ipc_mngctrl_start_reply = ipc_mngctrl_result_reply;
using ipc_mngctrl_stop_reply = ipc_mngctrl_result_reply;
using ipc_mngctrl_restart_reply = ipc_mngctrl_result_reply;
using ipc_mngctrl_rename_reply = ipc_mngctrl_result_reply;

/// Replies to the requests that get and set a property.
template <wire::WireRecord Value>
struct ipc_mngctrl_property_reply {
    wire::i32 result;  // offset 0, size 4
    Value value;       // offset 4: zero in the reply to a set
};
using ipc_mngctrl_get_str_property_reply = ipc_mngctrl_property_reply<wire::Name>;
using ipc_mngctrl_set_str_property_reply = ipc_mngctrl_get_str_property_reply;
static_assert(sizeof(ipc_mngctrl_get_str_property_reply) == 54);
using ipc_mngctrl_get_num_property_reply = ipc_mngctrl_property_reply<wire::u32>;
using ipc_mngctrl_set_num_property_reply = ipc_mngctrl_get_num_property_reply;
static_assert(sizeof(ipc_mngctrl_get_num_property_reply) == 8);

/// The head of a list reply and of a clients reply. In a list reply, `count` names of 50 bytes follow, and the payload
/// has room for at least one. In a clients reply, `count` entries of ipc_client_info follow; for an unknown instance
/// the payload is 32 bytes.
struct ipc_mngctrl_list_reply {
    wire::i32 result;  // offset 0, size 4
    wire::u32 count;   // offset 4, size 4
};
static_assert(sizeof(ipc_mngctrl_list_reply) == 8);
using ipc_mngctrl_get_clients_reply = ipc_mngctrl_list_reply;
inline constexpr std::size_t kUnknownClientsReplySize = 32;

struct ipc_mngctrl_status_reply {
    wire::i32 result;        // offset 0, size 4
    wire::u32 status;        // offset 4, size 4: InstanceStatus
    wire::u32 protocolType;  // offset 8, size 4
    wire::u64 upTime;        // offset 12, size 8: seconds; 0 when not running
    wire::u32 lastError;     // offset 20, size 4
    wire::u32 state;         // offset 24, size 4: the child's own state; 0 when not running
    wire::u64 processId;     // offset 28, size 8
    wire::u32 clientCount;   // offset 36, size 4
};
static_assert(sizeof(ipc_mngctrl_status_reply) == 40 && offsetof(ipc_mngctrl_status_reply, upTime) == 12 &&
              offsetof(ipc_mngctrl_status_reply, processId) == 28 &&
              offsetof(ipc_mngctrl_status_reply, clientCount) == 36);

/// Events that carry one instance name: added, removed, started, stopped.
using ipc_mngctrl_instance_event = ipc_mngctrl_instance_request;
using ipc_mngctrl_add_event = ipc_mngctrl_instance_event;
using ipc_mngctrl_remove_event = ipc_mngctrl_instance_event;
using ipc_mngctrl_start_event = ipc_mngctrl_instance_event;
using ipc_mngctrl_stop_event = ipc_mngctrl_instance_event;

using ipc_mngctrl_rename_event = ipc_mngctrl_rename_request;

struct ipc_mngctrl_change_str_property_event {
    wire::Name instance;  // offset 0, size 50
    wire::Name property;  // offset 50, size 50
    wire::Name oldValue;  // offset 100, size 50
    wire::Name newValue;  // offset 150, size 50
};
static_assert(sizeof(ipc_mngctrl_change_str_property_event) == 200);

/// The payload of a list reply: result 0 with the names, or -1 when there are none.
IPCPayload EncodeListReply(const std::vector<std::string>& names);

/// The payload of a clients reply: all of `clients`, then vacant entries up to `room` entries in all, but at most 64.
IPCPayload EncodeClientsReply(std::uint32_t room, const std::vector<ipc_client_info>& clients);
/// The payload of a clients reply that refuses: -9 for an instance that does not exist.
IPCPayload EncodeUnknownClientsReply(std::int32_t result);
