// The messages of the settings database's server "vexadbserver": commands and the payload of every request and reply.
// Server, client and tests all encode and decode through these declarations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "IPC/class/IPC.h"
#include "IPC/class/WireRecord.h"
#include "utils/VexaDB/class/VexaDBInterface.h"

namespace VexaDB {

inline constexpr const char* kDatabaseServerName = "vexadbserver";

enum DatabaseCommand : std::uint32_t {
    kDatabaseAddInstance = 501,
    kDatabaseRemoveInstance = 502,
    kDatabaseRenameInstance = 503,
    kDatabaseGetUint32 = 504,
    kDatabaseGetString = 505,
    kDatabaseSetUint32 = 506,
    kDatabaseSetString = 507,
    kDatabaseGetInstances = 508,
    kDatabaseGetInstanceSettings = 509,
    kDatabaseIsInstanceExist = 510,
    kDatabaseOpenSession = 511,
    kDatabaseCloseSession = 512,
    kDatabaseBatch = 513,
    kDatabaseCommit = 514,
    kDatabaseReset = 515,
    kDatabaseIsSessionValid = 516,
};

struct ipc_vexadb_add_instance_request {
    wire::i64 session;    // offset 0, size 8
    wire::u32 type;       // offset 8, size 4
    wire::Name instance;  // offset 12, size 50
};
static_assert(sizeof(ipc_vexadb_add_instance_request) == 62 && offsetof(ipc_vexadb_add_instance_request, type) == 8 &&
              offsetof(ipc_vexadb_add_instance_request, instance) == 12);

/// Requests that carry a session and one instance name: remove, list of settings, existence.
struct ipc_vexadb_instance_request {
    wire::i64 session;    // offset 0, size 8
    wire::Name instance;  // offset 8, size 50
};
static_assert(sizeof(ipc_vexadb_instance_request) == 58 && offsetof(ipc_vexadb_instance_request, instance) == 8);
using ipc_vexadb_remove_instance_request = ipc_vexadb_instance_request;
using ipc_vexadb_get_instance_settings_request = ipc_vexadb_instance_request;
using ipc_vexadb_is_instance_exist_request = ipc_vexadb_instance_request;

struct ipc_vexadb_rename_instance_request {
    wire::i64 session;   // offset 0, size 8
    wire::Name oldName;  // offset 8, size 50
    wire::Name newName;  // offset 58, size 50
};
static_assert(sizeof(ipc_vexadb_rename_instance_request) == 108 &&
              offsetof(ipc_vexadb_rename_instance_request, oldName) == 8 &&
              offsetof(ipc_vexadb_rename_instance_request, newName) == 58);

/// Requests that read one setting.
struct ipc_vexadb_get_setting_request {
    wire::i64 session;    // offset 0, size 8
    wire::Name instance;  // offset 8, size 50: empty for the database-wide settings
    wire::Name setting;   // offset 58, size 50
};
static_assert(sizeof(ipc_vexadb_get_setting_request) == 108 &&
              offsetof(ipc_vexadb_get_setting_request, instance) == 8 &&
              offsetof(ipc_vexadb_get_setting_request, setting) == 58);
using ipc_vexadb_get_setting_num32_request = ipc_vexadb_get_setting_request;
using ipc_vexadb_get_setting_str_request = ipc_vexadb_get_setting_request;

struct ipc_vexadb_set_setting_num32_request {
    wire::i64 session;    // offset 0, size 8
    wire::Name instance;  // offset 8, size 50: empty for the database-wide settings
    wire::Name setting;   // offset 58, size 50
    wire::u32 value;      // offset 108, size 4
};
static_assert(sizeof(ipc_vexadb_set_setting_num32_request) == 112 &&
              offsetof(ipc_vexadb_set_setting_num32_request, setting) == 58 &&
              offsetof(ipc_vexadb_set_setting_num32_request, value) == 108);

struct ipc_vexadb_set_setting_str_request {
    wire::i64 session;    // offset 0, size 8
    wire::Name instance;  // offset 8, size 50: empty for the database-wide settings
    wire::Name setting;   // offset 58, size 50
    wire::Name value;     // offset 108, size 50
};
static_assert(sizeof(ipc_vexadb_set_setting_str_request) == 158 &&
              offsetof(ipc_vexadb_set_setting_str_request, setting) == 58 &&
              offsetof(ipc_vexadb_set_setting_str_request, value) == 108);

/// Requests that carry the session alone.
struct ipc_vexadb_session_request {
    wire::i64 session;  // offset 0, size 8
};
static_assert(sizeof(ipc_vexadb_session_request) == 8);
using ipc_vexadb_get_instances_request = ipc_vexadb_session_request;
using ipc_vexadb_close_session_request = ipc_vexadb_session_request;
using ipc_vexadb_batch_request = ipc_vexadb_session_request;
using ipc_vexadb_commit_request = ipc_vexadb_session_request;
using ipc_vexadb_reset_request = ipc_vexadb_session_request;
using ipc_vexadb_is_session_valid_request = ipc_vexadb_session_request;

/// Replies that carry the status alone.
struct ipc_vexadb_status_reply {
    wire::i32 status;  // offset 0, size 4
};
static_assert(sizeof(ipc_vexadb_status_reply) == 4);
using ipc_vexadb_add_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_remove_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_rename_instance_reply = ipc_vexadb_status_reply;
using ipc_vexadb_close_session_reply = ipc_vexadb_status_reply;
using ipc_vexadb_batch_reply = ipc_vexadb_status_reply;
using ipc_vexadb_commit_reply = ipc_vexadb_status_reply;
using ipc_vexadb_reset_reply = ipc_vexadb_status_reply;

struct ipc_vexadb_setting_num32_reply {
    wire::i32 status;  // offset 0, size 4
    wire::u32 value;   // offset 4, size 4: read, or as the request set it
};
static_assert(sizeof(ipc_vexadb_setting_num32_reply) == 8 && offsetof(ipc_vexadb_setting_num32_reply, value) == 4);
using ipc_vexadb_get_setting_num32_reply = ipc_vexadb_setting_num32_reply;
using ipc_vexadb_set_setting_num32_reply = ipc_vexadb_setting_num32_reply;

struct ipc_vexadb_setting_str_reply {
    wire::i32 status;  // offset 0, size 4
    wire::Name value;  // offset 4, size 50: read, or as the request set it
};
static_assert(sizeof(ipc_vexadb_setting_str_reply) == 54 && offsetof(ipc_vexadb_setting_str_reply, value) == 4);
using ipc_vexadb_get_setting_str_reply = ipc_vexadb_setting_str_reply;
using ipc_vexadb_set_setting_str_reply = ipc_vexadb_setting_str_reply;

/// Head of the two list replies; `count` names of 50 bytes, or setting entries, follow.
struct ipc_vexadb_list_reply {
    wire::i32 status;  // offset 0, size 4
    wire::u32 count;   // offset 4, size 4
};
static_assert(sizeof(ipc_vexadb_list_reply) == 8 && offsetof(ipc_vexadb_list_reply, count) == 4);

struct ipc_vexadb_setting_entry {
    wire::Name setting;  // offset 0, size 50
    wire::u32 kind;      // offset 50, size 4: SettingKind
};
static_assert(sizeof(ipc_vexadb_setting_entry) == 54 && offsetof(ipc_vexadb_setting_entry, kind) == 50);

/// Replies that answer a question: does the instance exist, is the session valid.
struct ipc_vexadb_truth_reply {
    wire::i32 status;  // offset 0, size 4
    wire::u8 truth;    // offset 4, size 1: 0 or 1
};
static_assert(sizeof(ipc_vexadb_truth_reply) == 5 && offsetof(ipc_vexadb_truth_reply, truth) == 4);
using ipc_vexadb_is_instance_exist_reply = ipc_vexadb_truth_reply;
using ipc_vexadb_is_session_valid_reply = ipc_vexadb_truth_reply;

/// Its request has no payload.
struct ipc_vexadb_open_session_reply {
    wire::i32 status;   // offset 0, size 4
    wire::i64 session;  // offset 4, size 8
};
static_assert(sizeof(ipc_vexadb_open_session_reply) == 12 && offsetof(ipc_vexadb_open_session_reply, session) == 4);

/// Payload of the reply to kDatabaseGetInstances.
IPCPayload EncodeInstances(std::int32_t status, const std::vector<std::string>& instances);
/// Payload of the reply to kDatabaseGetInstanceSettings.
IPCPayload EncodeSettings(std::int32_t status, const std::vector<SettingEntry>& settings);

/// The status of such a reply, with its list when that is 0; -1 when the payload is shorter than its count says. An
/// entry on the wire has no number.
std::int32_t DecodeInstances(std::span<const std::uint8_t> payload, std::vector<std::string>& instances);
std::int32_t DecodeSettings(std::span<const std::uint8_t> payload, std::vector<SettingEntry>& settings);

}  // namespace VexaDB
