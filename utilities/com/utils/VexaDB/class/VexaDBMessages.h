// The messages of the settings database's server "vexadbserver": commands and the payload of every request and reply.
// Server, client and tests all encode and decode through these declarations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/WireRecord.h"

namespace VexaDB {

inline constexpr const char* kDatabaseServerName = "vexadbserver";

using SessionId = std::int64_t;

/// The service's own session: always valid.
inline constexpr SessionId kServiceSession = 0;
inline constexpr SessionId kInvalidSession = -1;

/// A request that carries only its session.
struct ipc_vexadb_session_request {
    wire::i64 session;  // offset 0, size 8
};
static_assert(sizeof(ipc_vexadb_session_request) == 8);

// A derived record begins with the fields of its base. There is no padding, so the asserted sizes prove the offsets.

struct ipc_vexadb_add_instance_request : ipc_vexadb_session_request {
    wire::u32 type;       // offset 8, size 4
    wire::Name instance;  // offset 12, size 50
    bool HasEndedTexts() const { return instance.IsEnded(); }
};
static_assert(sizeof(ipc_vexadb_add_instance_request) == 62);

/// Requests about one instance: remove it, list its settings, ask whether it exists.
struct ipc_vexadb_instance_request : ipc_vexadb_session_request {
    wire::Name instance;  // offset 8, size 50: empty for the database-wide settings
    bool HasEndedTexts() const { return instance.IsEnded(); }
};
static_assert(sizeof(ipc_vexadb_instance_request) == 58);

struct ipc_vexadb_rename_instance_request : ipc_vexadb_session_request {
    wire::Name oldName;  // offset 8, size 50
    wire::Name newName;  // offset 58, size 50
    bool HasEndedTexts() const { return oldName.IsEnded() && newName.IsEnded(); }
};
static_assert(sizeof(ipc_vexadb_rename_instance_request) == 108);

/// Requests to read one setting.
struct ipc_vexadb_get_setting_request : ipc_vexadb_instance_request {
    wire::Name setting;  // offset 58, size 50
    bool HasEndedTexts() const { return ipc_vexadb_instance_request::HasEndedTexts() && setting.IsEnded(); }
};
static_assert(sizeof(ipc_vexadb_get_setting_request) == 108);

struct ipc_vexadb_set_setting_num32_request : ipc_vexadb_get_setting_request {
    wire::u32 value;  // offset 108, size 4
};
static_assert(sizeof(ipc_vexadb_set_setting_num32_request) == 112);

struct ipc_vexadb_set_setting_str_request : ipc_vexadb_get_setting_request {
    wire::Name value;  // offset 108, size 50
    bool HasEndedTexts() const { return ipc_vexadb_get_setting_request::HasEndedTexts() && value.IsEnded(); }
};
static_assert(sizeof(ipc_vexadb_set_setting_str_request) == 158);

/// A reply that carries only its status: 0 success, -1 failure.
struct ipc_vexadb_status_reply {
    wire::i32 status;  // offset 0, size 4
};
static_assert(sizeof(ipc_vexadb_status_reply) == 4);

/// A reply of a status and one value. The value is a setting (as read, or as the request set it), the answer 0 or 1 to
/// a question, a session, or, at the head of a list, the number of names or setting entries that follow.
template <class Value>
struct ipc_vexadb_value_reply : ipc_vexadb_status_reply {
    Value value;  // offset 4
};
using ipc_vexadb_get_setting_num32_reply = ipc_vexadb_value_reply<wire::u32>;
static_assert(sizeof(ipc_vexadb_get_setting_num32_reply) == 8);
using ipc_vexadb_get_setting_str_reply = ipc_vexadb_value_reply<wire::Name>;
static_assert(sizeof(ipc_vexadb_get_setting_str_reply) == 54);
using ipc_vexadb_is_instance_exist_reply = ipc_vexadb_value_reply<wire::u8>;
static_assert(sizeof(ipc_vexadb_is_instance_exist_reply) == 5);
using ipc_vexadb_open_session_reply = ipc_vexadb_value_reply<wire::i64>;
static_assert(sizeof(ipc_vexadb_open_session_reply) == 12);
using ipc_vexadb_list_reply = ipc_vexadb_value_reply<wire::u32>;

struct ipc_vexadb_setting_entry {
    wire::Name setting;  // offset 0, size 50
    wire::u32 kind;      // offset 50, size 4: SettingKind
};
static_assert(sizeof(ipc_vexadb_setting_entry) == 54 && offsetof(ipc_vexadb_setting_entry, kind) == 50);

/// A request without a payload.
struct NoFields {};

/// A whole list reply. On the wire the head, ipc_vexadb_list_reply, comes first, then the entries.
template <wire::WireRecord Entry>
struct ListReply : ipc_vexadb_status_reply {
    std::vector<Entry> entries;
};

// Authors of clients know the records by these names as well.
using ipc_vexadb_remove_instance_request = ipc_vexadb_instance_request;
using ipc_vexadb_get_setting_num32_request = ipc_vexadb_get_setting_request;
using ipc_vexadb_get_setting_str_request = ipc_vexadb_get_setting_request;
using ipc_vexadb_get_instances_request = ipc_vexadb_session_request;
using ipc_vexadb_get_instance_settings_request = ipc_vexadb_instance_request;
using ipc_vexadb_is_instance_exist_request = ipc_vexadb_instance_request;
using ipc_vexadb_close_session_request = ipc_vexadb_session_request;
using ipc_vexadb_batch_request = ipc_vexadb_session_request;
using ipc_vexadb_commit_request = ipc_vexadb_session_request;
using ipc_vexadb_reset_request = ipc_vexadb_session_request;
using ipc_vexadb_is_session_valid_request = ipc_vexadb_session_request;

using ipc_vexadb_add_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_remove_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_rename_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_set_setting_num32_reply = ipc_vexadb_get_setting_num32_reply;
using ipc_vexadb_set_setting_str_reply = ipc_vexadb_get_setting_str_reply;
using ipc_vexadb_close_session_reply = ipc_vexadb_status_reply;
using ipc_vexadb_batch_reply = ipc_vexadb_status_reply;
using ipc_vexadb_commit_reply = ipc_vexadb_status_reply;
using ipc_vexadb_reset_reply = ipc_vexadb_status_reply;
using ipc_vexadb_is_session_valid_reply = ipc_vexadb_is_instance_exist_reply;

/// The number of a command, with the types of its request and its reply.
template <class Request, class Reply>
struct Command {
    using RequestType = Request;
    using ReplyType = Reply;

    std::uint32_t number;
    constexpr operator std::uint32_t() const { return number; }
};

template <class Request>
using StatusCommand = Command<Request, ipc_vexadb_status_reply>;

inline constexpr StatusCommand<ipc_vexadb_add_instance_request> kDatabaseAddInstance{501};
inline constexpr StatusCommand<ipc_vexadb_remove_instance_request> kDatabaseRemoveInstance{502};
inline constexpr StatusCommand<ipc_vexadb_rename_instance_request> kDatabaseRenameInstance{503};
inline constexpr Command<ipc_vexadb_get_setting_request, ipc_vexadb_get_setting_num32_reply> kDatabaseGetUint32{504};
inline constexpr Command<ipc_vexadb_get_setting_request, ipc_vexadb_get_setting_str_reply> kDatabaseGetString{505};
inline constexpr Command<ipc_vexadb_set_setting_num32_request, ipc_vexadb_set_setting_num32_reply> kDatabaseSetUint32{
    506};
inline constexpr Command<ipc_vexadb_set_setting_str_request, ipc_vexadb_set_setting_str_reply> kDatabaseSetString{507};
inline constexpr Command<ipc_vexadb_session_request, ListReply<wire::Name>> kDatabaseGetInstances{508};
inline constexpr Command<ipc_vexadb_instance_request, ListReply<ipc_vexadb_setting_entry>> kDatabaseGetInstanceSettings{
    509};
inline constexpr Command<ipc_vexadb_instance_request, ipc_vexadb_is_instance_exist_reply> kDatabaseIsInstanceExist{510};
inline constexpr Command<NoFields, ipc_vexadb_open_session_reply> kDatabaseOpenSession{511};
inline constexpr StatusCommand<ipc_vexadb_session_request> kDatabaseCloseSession{512};
inline constexpr StatusCommand<ipc_vexadb_session_request> kDatabaseBatch{513};
inline constexpr StatusCommand<ipc_vexadb_session_request> kDatabaseCommit{514};
inline constexpr StatusCommand<ipc_vexadb_session_request> kDatabaseReset{515};
inline constexpr Command<ipc_vexadb_session_request, ipc_vexadb_is_session_valid_reply> kDatabaseIsSessionValid{516};

/// Encodes the payload of a request or a reply.
using wire::Encode;

inline IPCPayload Encode(const NoFields&) {
    return {};
}

template <class Entry>
IPCPayload Encode(const ListReply<Entry>& reply) {
    auto payload =
        wire::Encode(ipc_vexadb_list_reply{{reply.status}, static_cast<std::uint32_t>(reply.entries.size())});
    for (const auto& entry : reply.entries)
        wire::Append(payload, entry);
    return payload;
}

/// Decodes a payload that Encode wrote. False when it is too short, or when a text of a request has no zero byte. The
/// entries of a list are read only when its status is 0.
template <wire::WireRecord Record>
bool DecodePayload(std::span<const std::uint8_t> payload, Record& record) {
    const auto decoded = wire::Decode<Record>(payload);
    if (decoded)
        record = *decoded;
    return decoded.has_value();
}

inline bool DecodePayload(std::span<const std::uint8_t>, NoFields&) {
    return true;
}

template <class Entry>
bool DecodePayload(std::span<const std::uint8_t> payload, ListReply<Entry>& reply) {
    ipc_vexadb_list_reply head;
    if (!DecodePayload(payload, head))
        return false;
    reply.status = head.status;
    for (std::size_t i = 0; head.status == 0 && i < head.value; ++i) {
        const auto entry = wire::Decode<Entry>(payload, sizeof head + i * sizeof(Entry));
        if (!entry)
            return false;
        reply.entries.push_back(*entry);
    }
    return true;
}

}  // namespace VexaDB
