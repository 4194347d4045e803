// The functions of kivapi.h. Each checks its arguments and calls the object of its handle.
#include "protocols/kivapi/kivapi.h"

#include <string>
#include <utility>
#include <vector>

#include "protocols/kivapi/Client.h"
#include "protocols/kivapi/Database.h"
#include "protocols/kivapi/EventThread.h"
#include "protocols/kivapi/Handles.h"
#include "protocols/kivapi/Protocol.h"
#include "utils/platform/Platform.h"

using kivapi::Client;
using kivapi::Code;
using kivapi::Database;
using kivapi::Get;
using kivapi::Guard;
using kivapi::Narrow;
using kivapi::Protocol;
using kivapi::Required;

// Programs were built with these layouts: a later version may only add fields at the end of a structure.
static_assert(sizeof(kiv_text) == 152 && sizeof(kiv_status) == 40 && sizeof(kiv_connection) == 24 &&
              sizeof(kiv_event) == 768 && sizeof(kiv_setting) == 160 && sizeof(kiv_request) == 32 &&
              sizeof(kiv_protocol_callbacks) == 40);

namespace {

constexpr const char* kLastErrorSetting = "lasterror";  // the service reads a protocol's last error from it

/// The caller's size of the array's elements. Throws Refusal when the array is null or the size too small, unless
/// `capacity` is 0.
template <class Element>
std::size_t ElementSize(const Element* array, std::size_t capacity) {
    return capacity == 0 ? 0 : kivapi::Sized(array)->size;
}
void CheckNames(const kiv_text* array, std::size_t capacity) {
    if (capacity != 0)
        Required(array);
}

kiv_result PutNames(const std::vector<std::string>& from, kiv_text* names, std::size_t capacity, std::size_t* count) {
    return kivapi::PutList(names, sizeof *names, capacity, count, from.size(), [&](std::size_t i, void* element) {
        kivapi::PutText(from[i], static_cast<kiv_text*>(element)->text);
    });
}

/// Sends a request that has one instance as its argument and only a result as its answer.
kiv_result Control(kiv_client* client, const char* instance,
                   ControlResult (ControlClient::*request)(const std::string&)) {
    return Guard([&] { return Code((*Get<Client>(client)->control.*request)(Narrow(instance))); });
}

}  // namespace

const char* kiv_result_text(kiv_result result) {
    switch (result) {
        case KIV_OK:
            return "Done.";
        case KIV_REFUSED:
            return "The service refused it, or could not do it.";
        case KIV_UNKNOWN_INSTANCE:
            return "There is no such instance.";
        case KIV_IN_USE:
            return "Another process is connected to the instance; nothing was done.";
        case KIV_NOT_CONNECTED:
            return "The service is not running, or did not take the connection up in time.";
        case KIV_CONNECTION_LOST:
            return "The connection to the service ended; a call that was under way may have been carried out.";
        case KIV_NO_ANSWER:
            return "The service did not answer in time; the call may still be carried out.";
        case KIV_BAD_ANSWER:
            return "The service gave an answer that cannot be read.";
        case KIV_BAD_ARGUMENT:
            return "An argument is a null pointer, or a structure that says it is too small.";
        case KIV_BAD_HANDLE:
            return "The handle is not open, or is one of another kind.";
        case KIV_BAD_TEXT:
            return "A text is no UTF-8, is too long, or has characters that this machine's code page lacks.";
        case KIV_TOO_SMALL:
            return "The array or buffer is too small.";
        case KIV_NO_EVENT:
            return "There was no event in time.";
        case KIV_WRONG_STATE:
            return "This cannot be called now.";
        case KIV_SESSION_LOST:
            return "The batch is gone, because the service was restarted; nothing of it was done.";
        case KIV_NO_RESOURCES:
            return "The system has no memory or no thread to give.";
        default:
            return "The service answered with a code that this library does not know.";
    }
}

const char* kiv_version(void) {
    return KIV_VERSION;
}

kiv_result kiv_connect(uint32_t timeout_ms, kiv_client** client) {
    return Guard([&] {
        *Required(client) = nullptr;
        auto object = std::make_shared<Client>(timeout_ms);
        if (const auto result = Code(object->control->Connect()); result != KIV_OK)
            return result;
        *client = static_cast<kiv_client*>(kivapi::AddHandle(std::move(object)));
        return kiv_result{KIV_OK};
    });
}

kiv_result kiv_close(kiv_client* client) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        kivapi::RemoveHandle(client);
        object->Close();
        return KIV_OK;
    });
}

kiv_result kiv_set_timeout(kiv_client* client, uint32_t timeout_ms) {
    return Guard([&] {
        Get<Client>(client)->control->SetTimeout(timeout_ms);
        return KIV_OK;
    });
}

kiv_result kiv_add(kiv_client* client, const char* instance, uint32_t type) {
    return Guard([&] { return Code(Get<Client>(client)->control->Add(Narrow(instance), type)); });
}

kiv_result kiv_remove(kiv_client* client, const char* instance) {
    return Control(client, instance, &ControlClient::Remove);
}

kiv_result kiv_start(kiv_client* client, const char* instance) {
    return Control(client, instance, &ControlClient::Start);
}

kiv_result kiv_stop(kiv_client* client, const char* instance) {
    return Control(client, instance, &ControlClient::Stop);
}

kiv_result kiv_restart(kiv_client* client, const char* instance) {
    return Control(client, instance, &ControlClient::Restart);
}

kiv_result kiv_rename(kiv_client* client, const char* old_name, const char* new_name) {
    return Guard([&] { return Code(Get<Client>(client)->control->RenameRunning(Narrow(old_name), Narrow(new_name))); });
}

kiv_result kiv_list(kiv_client* client, uint32_t type, kiv_text* names, size_t capacity, size_t* count) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        Required(count);
        CheckNames(names, capacity);
        const auto answer = type == KIV_ALL_TYPES ? object->control->List() : object->control->List(type);
        return answer.IsDone() ? PutNames(answer.value, names, capacity, count) : Code(answer);
    });
}

kiv_result kiv_get_status(kiv_client* client, const char* instance, kiv_status* status) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        const auto size = kivapi::Sized(status)->size;
        const auto answer = object->control->Status(Narrow(instance));
        const auto& told = answer.value;
        if (answer.IsDone())
            kivapi::PutStructure(kiv_status{size, told.status, told.protocolType, told.lastError, told.state,
                                            told.clientCount, told.upTime, told.processId},
                                 status, size);
        return Code(answer);
    });
}

kiv_result kiv_list_clients(kiv_client* client, const char* instance, kiv_connection* connections, size_t capacity,
                            size_t* count) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        Required(count);
        const auto size = ElementSize(connections, capacity);
        const auto answer = object->control->Clients(Narrow(instance));
        if (!answer.IsDone())
            return Code(answer);
        return kivapi::PutList(connections, size, capacity, count, answer.value.size(),
                               [&](std::size_t i, void* element) {
                                   const auto& told = answer.value[i];
                                   kivapi::PutStructure(kiv_connection{0, 0, told.connectionId, told.processId},
                                                        element, static_cast<std::uint32_t>(size));
                               });
    });
}

kiv_result kiv_get_string(kiv_client* client, const char* instance, const char* property, char* value, size_t size) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        Required(value);
        const auto answer = object->control->GetString(Narrow(instance), Narrow(property));
        return answer.IsDone() ? kivapi::PutText(answer.value, value, size) : Code(answer);
    });
}

kiv_result kiv_set_string(kiv_client* client, const char* instance, const char* property, const char* value) {
    return Guard([&] {
        return Code(Get<Client>(client)->control->SetString(Narrow(instance), Narrow(property), Narrow(value)));
    });
}

kiv_result kiv_get_number(kiv_client* client, const char* instance, const char* property, uint32_t* value) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        Required(value);
        const auto answer = object->control->GetNumber(Narrow(instance), Narrow(property));
        if (answer.IsDone())
            *value = answer.value;
        return Code(answer);
    });
}

kiv_result kiv_set_number(kiv_client* client, const char* instance, const char* property, uint32_t value) {
    return Guard(
        [&] { return Code(Get<Client>(client)->control->SetNumber(Narrow(instance), Narrow(property), value)); });
}

kiv_result kiv_stop_service(kiv_client* client) {
    return Guard([&] { return Code(Get<Client>(client)->control->StopService()); });
}

kiv_result kiv_next_event(kiv_client* client, uint32_t timeout_ms, kiv_event* event) {
    return Guard([&] {
        const auto object = Get<Client>(client);
        const auto size = kivapi::Sized(event)->size;
        kiv_event next;
        const auto result = object->NextEvent(timeout_ms, next);
        if (result == KIV_OK)
            kivapi::PutStructure(next, event, size);
        return result;
    });
}

kiv_result kiv_on_event(kiv_client* client, kiv_event_callback callback, void* context) {
    return Guard([&] { return Get<Client>(client)->StartEvents(Required(callback), context); });
}

kiv_result kiv_stop_events(kiv_client* client) {
    return Guard([&] {
        Get<Client>(client)->StopEvents();
        return KIV_OK;
    });
}

kiv_result kiv_db_open(uint32_t timeout_ms, kiv_database** database) {
    return Guard([&] {
        *Required(database) = nullptr;
        *database = static_cast<kiv_database*>(kivapi::AddHandle(std::make_shared<Database>(timeout_ms)));
        return KIV_OK;
    });
}

kiv_result kiv_db_close(kiv_database* database) {
    return Guard([&] {
        Get<Database>(database);
        kivapi::RemoveHandle(database);
        return KIV_OK;
    });
}

kiv_result kiv_db_get_string(kiv_database* database, const char* instance, const char* setting, char* value,
                             size_t size) {
    return Guard([&] {
        const auto object = Get<Database>(database);
        Required(value);
        std::string text;
        const auto result = object->Run([&, of = Narrow(instance), name = Narrow(setting)](auto& session) {
            return session.GetString(of, name, text);
        });
        return result == KIV_OK ? kivapi::PutText(text, value, size) : result;
    });
}

kiv_result kiv_db_set_string(kiv_database* database, const char* instance, const char* setting, const char* value) {
    return Guard([&] {
        return Get<Database>(database)->Run([of = Narrow(instance), name = Narrow(setting), text = Narrow(value)](
                                                auto& session) { return session.SetString(of, name, text); });
    });
}

kiv_result kiv_db_get_number(kiv_database* database, const char* instance, const char* setting, uint32_t* value) {
    return Guard([&] {
        const auto object = Get<Database>(database);
        Required(value);
        return object->Run([&, of = Narrow(instance), name = Narrow(setting)](auto& session) {
            return session.GetUint32(of, name, *value);
        });
    });
}

kiv_result kiv_db_set_number(kiv_database* database, const char* instance, const char* setting, uint32_t value) {
    return Guard([&] {
        return Get<Database>(database)->Run([&, of = Narrow(instance), name = Narrow(setting)](auto& session) {
            return session.SetUint32(of, name, value);
        });
    });
}

kiv_result kiv_db_add_instance(kiv_database* database, const char* instance, uint32_t type) {
    return Guard([&] {
        return Get<Database>(database)->Run(
            [&, name = Narrow(instance)](auto& session) { return session.AddInstance(name, type); });
    });
}

kiv_result kiv_db_remove_instance(kiv_database* database, const char* instance) {
    return Guard([&] {
        return Get<Database>(database)->Run(
            [name = Narrow(instance)](auto& session) { return session.RemoveInstance(name); });
    });
}

kiv_result kiv_db_rename_instance(kiv_database* database, const char* old_name, const char* new_name) {
    return Guard([&] {
        return Get<Database>(database)->Run([from = Narrow(old_name), to = Narrow(new_name)](auto& session) {
            return session.RenameInstance(from, to);
        });
    });
}

kiv_result kiv_db_list_instances(kiv_database* database, kiv_text* names, size_t capacity, size_t* count) {
    return Guard([&] {
        const auto object = Get<Database>(database);
        Required(count);
        CheckNames(names, capacity);
        std::vector<std::string> instances;
        const auto result = object->Run([&](auto& session) { return session.GetInstances(instances); });
        return result == KIV_OK ? PutNames(instances, names, capacity, count) : result;
    });
}

kiv_result kiv_db_list_settings(kiv_database* database, const char* instance, kiv_setting* settings, size_t capacity,
                                size_t* count) {
    return Guard([&] {
        const auto object = Get<Database>(database);
        Required(count);
        const auto size = ElementSize(settings, capacity);
        std::vector<VexaDB::SettingEntry> entries;
        const auto result =
            object->Run([&, of = Narrow(instance)](auto& session) { return session.GetInstanceSettings(of, entries); });
        if (result != KIV_OK)
            return result;
        return kivapi::PutList(settings, size, capacity, count, entries.size(), [&](std::size_t i, void* element) {
            kiv_setting setting = {0, static_cast<std::uint32_t>(entries[i].kind), {}};
            kivapi::PutText(entries[i].name, setting.name);
            kivapi::PutStructure(setting, element, static_cast<std::uint32_t>(size));
        });
    });
}

kiv_result kiv_db_batch(kiv_database* database) {
    return Guard([&] { return Get<Database>(database)->Batch(); });
}

kiv_result kiv_db_commit(kiv_database* database) {
    return Guard([&] { return Get<Database>(database)->Commit(); });
}

kiv_result kiv_db_reset(kiv_database* database) {
    return Guard([&] { return Get<Database>(database)->Reset(); });
}

int32_t kiv_protocol_run(const char* command_line, const kiv_protocol_callbacks* callbacks, void* context) {
    return Guard([&] {
        Required(kivapi::Sized(callbacks)->bring_up);
        auto instance =
            ProtocolChild::InstanceName(command_line == nullptr ? platform::CommandLine() : std::string(command_line));
        if (!instance)
            return kiv_result{ProtocolChild::kExitUsage};
        const auto protocol = std::make_shared<Protocol>(*std::move(instance), *callbacks, context);
        void* const handle = kivapi::AddHandle(protocol);
        protocol->SetHandle(handle);
        const auto exitCode = protocol->Run();
        protocol->CloseSettings();
        kivapi::RemoveHandle(handle);
        return kiv_result{exitCode};
    });
}

kiv_result kiv_protocol_stop(kiv_protocol* protocol) {
    return Guard([&] {
        Get<Protocol>(protocol)->RequestStop();
        return KIV_OK;
    });
}

kiv_result kiv_protocol_instance(kiv_protocol* protocol, char* name, size_t size) {
    return Guard([&] { return kivapi::PutText(Get<Protocol>(protocol)->Instance(), Required(name), size); });
}

kiv_result kiv_protocol_settings(kiv_protocol* protocol, kiv_database** database) {
    return Guard([&] {
        const auto object = Get<Protocol>(protocol);
        *Required(database) = object->Settings();
        return KIV_OK;
    });
}

kiv_result kiv_protocol_report_error(kiv_protocol* protocol, uint32_t error) {
    return Guard([&] {
        const auto object = Get<Protocol>(protocol);
        return Get<Database>(object->Settings())->Run([&](auto& session) {
            return session.SetUint32(object->Instance(), kLastErrorSetting, error);
        });
    });
}

kiv_result kiv_protocol_reply(kiv_protocol* protocol, const void* data, size_t size) {
    return Guard([&] {
        const auto object = Get<Protocol>(protocol);
        if (size > kIpcMaximumSize - sizeof(ipc_header) - sizeof(ipc_timing))
            return kiv_result{KIV_BAD_ARGUMENT};
        const auto* const bytes = static_cast<const std::uint8_t*>(size == 0 ? data : Required(data));
        return object->SetReply(size == 0 ? IPCPayload() : IPCPayload(bytes, bytes + size));
    });
}
