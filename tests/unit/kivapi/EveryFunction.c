#include "unit/kivapi/EveryFunction.h"

#include <string.h>

#define TEXT_(x) #x
#define TEXT(x) TEXT_(x)
#define CHECK(condition)                                       \
    do {                                                       \
        if (!(condition))                                      \
            return "line " TEXT(__LINE__) ": not " #condition; \
    } while (0)
#define OK(call) CHECK((call) == KIV_OK)

enum { kPatienceMs = 30000, kMostQuestions = 100000 };

typedef struct watcher {
    kiv_client* client; /* used by the callback alone */
    kiv_client* watched;
} watcher;

/* The main thread waits until it can read the note from the service. */
static void KIV_CALL OnEvent(const kiv_event* event, void* context) {
    const watcher* self = context;
    if (event->kind != KIV_EVENT_STOPPED || event->size != sizeof *event)
        return;
    kiv_stop_events(self->watched);
    kiv_set_string(self->client, event->instance, "note", "seen");
}

static const char* AwaitEvent(kiv_client* client, uint32_t kind, kiv_event* event) {
    event->size = sizeof *event;
    do
        OK(kiv_next_event(client, kPatienceMs, event));
    while (event->kind != kind);
    CHECK(strcmp(event->instance, "Api") == 0);
    return NULL;
}

static const char* UseEvents(kiv_client* client) {
    kiv_event event;
    watcher self;
    char note[KIV_TEXT_SIZE] = "";
    const char* wrong = AwaitEvent(client, KIV_EVENT_ADDED, &event);
    int questions;
    if (wrong == NULL)
        wrong = AwaitEvent(client, KIV_EVENT_STRING_CHANGED, &event);
    if (wrong != NULL)
        return wrong;
    CHECK(strcmp(event.property, "port") == 0 && strcmp(event.old_value, "") == 0);
    CHECK(strcmp(event.new_value, "48\xC3\xA4") == 0);
    if ((wrong = AwaitEvent(client, KIV_EVENT_STARTED, &event)) != NULL)
        return wrong;
    self.watched = client;
    OK(kiv_connect(kPatienceMs, &self.client));
    OK(kiv_on_event(client, OnEvent, &self));
    CHECK(kiv_on_event(client, OnEvent, &self) == KIV_WRONG_STATE);
    CHECK(kiv_next_event(client, 0, &event) == KIV_WRONG_STATE);
    OK(kiv_stop(client, "Api"));
    for (questions = 0; strcmp(note, "seen") != 0 && questions < kMostQuestions; ++questions)
        kiv_get_string(client, "Api", "note", note, sizeof note);
    CHECK(strcmp(note, "seen") == 0);
    OK(kiv_stop_events(client));
    OK(kiv_stop_events(client));
    OK(kiv_rename(client, "Api", "Renamed"));
    if ((wrong = AwaitEvent(client, KIV_EVENT_RENAMED, &event)) != NULL)
        return wrong;
    CHECK(strcmp(event.new_name, "Renamed") == 0 && kiv_rename(client, "Nobody", "Somebody") == KIV_REFUSED);
    OK(kiv_rename(client, "Renamed", "Api"));
    return kiv_close(self.client) == KIV_OK ? NULL : "the watcher's handle";
}

static const char* UseDatabase(void) {
    kiv_database* database;
    kiv_database* other;
    kiv_text names[1];
    kiv_setting settings[10];
    char value[KIV_TEXT_SIZE];
    uint32_t number = 0;
    size_t count = 0;
    OK(kiv_db_open(kPatienceMs, &database));
    OK(kiv_db_open(kPatienceMs, &other));
    OK(kiv_db_add_instance(database, "Kept", KIV_TYPE_SAMPLE));
    OK(kiv_db_rename_instance(database, "Kept", "Moved"));
    OK(kiv_db_list_instances(database, NULL, 0, &count) == KIV_TOO_SMALL ? KIV_OK : KIV_REFUSED);
    CHECK(kiv_db_list_instances(database, names, 1, &count) == (count > 1 ? KIV_TOO_SMALL : KIV_OK));
    CHECK(count >= 1 && names[0].text[0] != '\0');
    settings[0].size = sizeof settings[0];
    OK(kiv_db_list_settings(database, "Moved", settings, 10, &count));
    CHECK(count == 6 && settings[5].name[0] != '\0' && settings[5].size == sizeof settings[5]);
    CHECK(kiv_db_list_settings(database, "Nobody", settings, 10, &count) == KIV_REFUSED);
    OK(kiv_db_set_string(database, "Moved", "text", "\xC3\xA4"));
    OK(kiv_db_get_string(database, "Moved", "text", value, sizeof value));
    CHECK(strcmp(value, "\xC3\xA4") == 0);
    CHECK(kiv_db_get_number(database, "Moved", "text", &number) == KIV_REFUSED);
    CHECK(kiv_db_commit(database) == KIV_WRONG_STATE);
    OK(kiv_db_batch(database));
    OK(kiv_db_set_number(database, "Moved", "number", 7));
    OK(kiv_db_get_number(database, "Moved", "number", &number));
    CHECK(number == 7 && kiv_db_get_number(other, "Moved", "number", &number) == KIV_REFUSED);
    OK(kiv_db_commit(database));
    OK(kiv_db_get_number(other, "Moved", "number", &number));
    OK(kiv_db_batch(database));
    OK(kiv_db_set_number(database, "Moved", "number", 8));
    OK(kiv_db_reset(database));
    OK(kiv_db_get_number(database, "Moved", "number", &number));
    CHECK(number == 7);
    OK(kiv_db_remove_instance(database, "Moved"));
    CHECK(kiv_db_remove_instance(database, "Moved") == KIV_REFUSED);
    OK(kiv_db_close(other));
    OK(kiv_db_close(database));
    return NULL;
}

const char* UseEveryFunction(void) {
    kiv_client* client;
    kiv_text names[8];
    kiv_connection connections[2];
    kiv_status status;
    struct {
        kiv_status known;
        uint32_t later; /* a field that a later version of the library may add */
    } longer;
    char value[KIV_TEXT_SIZE];
    uint32_t number = 0;
    size_t count = 0;
    const char* wrong;
    CHECK(strchr(kiv_version(), '.') != NULL && strlen(kiv_result_text(-5)) > 0);
    CHECK(strcmp(kiv_result_text(KIV_OK), kiv_result_text(KIV_IN_USE)) != 0);
    OK(kiv_connect(kPatienceMs, &client));
    OK(kiv_set_timeout(client, 2 * kPatienceMs));
    OK(kiv_list(client, KIV_TYPE_OPCUA, names, 8, &count));
    CHECK(count == 0 && kiv_list(client, 8, names, 8, &count) == KIV_REFUSED);
    OK(kiv_add(client, "Api", KIV_TYPE_SAMPLE));
    CHECK(kiv_add(client, "Api", KIV_TYPE_SAMPLE) == KIV_REFUSED);
    OK(kiv_list(client, KIV_ALL_TYPES, names, 8, &count));
    CHECK(count >= 1 && strcmp(names[count - 1].text, "Api") == 0);
    CHECK(kiv_list(client, KIV_TYPE_SAMPLE, NULL, 0, &count) == KIV_TOO_SMALL && count >= 1);
    OK(kiv_set_string(client, "Api", "port", "48\xC3\xA4"));
    OK(kiv_get_string(client, "Api", "port", value, sizeof value));
    CHECK(strcmp(value, "48\xC3\xA4") == 0);
    CHECK(kiv_get_string(client, "Api", "port", value, 4) == KIV_TOO_SMALL);
    OK(kiv_set_number(client, "Api", "count", 9));
    OK(kiv_get_number(client, "Api", "count", &number));
    CHECK(number == 9 && kiv_get_number(client, "Api", "absent", &number) == KIV_REFUSED);
    OK(kiv_start(client, "Api"));
    CHECK(kiv_start(client, "Nobody") == KIV_REFUSED);
    longer.known.size = sizeof longer;
    longer.later = 5;
    OK(kiv_get_status(client, "Api", &longer.known));
    CHECK(longer.known.status == KIV_RUNNING && longer.known.type == KIV_TYPE_SAMPLE && longer.later == 0);
    status.size = sizeof status;
    CHECK(kiv_get_status(client, "Nobody", &status) == KIV_UNKNOWN_INSTANCE);
    connections[0].size = sizeof connections[0];
    OK(kiv_list_clients(client, "Api", connections, 2, &count));
    CHECK(count == 1 && connections[0].process_id != 0);
    CHECK(kiv_list_clients(client, "Nobody", connections, 2, &count) == KIV_UNKNOWN_INSTANCE);
    if ((wrong = UseEvents(client)) != NULL || (wrong = UseDatabase()) != NULL)
        return wrong;
    OK(kiv_restart(client, "Api"));
    OK(kiv_remove(client, "Api"));
    CHECK(kiv_remove(client, "Api") == KIV_UNKNOWN_INSTANCE);
    OK(kiv_stop_service(client));
    OK(kiv_close(client));
    CHECK(kiv_close(client) == KIV_BAD_HANDLE);
    return NULL;
}

#define BAD_HANDLE(call) CHECK((call) == KIV_BAD_HANDLE)
#define BAD_ARGUMENT(handle, call) CHECK((call) == ((handle) == NULL ? KIV_BAD_HANDLE : KIV_BAD_ARGUMENT))
#define BAD_TEXT(handle, call) CHECK((call) == ((handle) == NULL ? KIV_BAD_HANDLE : KIV_BAD_TEXT))

static uint8_t KIV_CALL NeverUp(kiv_protocol* protocol, void* context) {
    return (uint8_t)(protocol == NULL || context == NULL ? 1 : 2);
}

const char* MisuseEveryFunction(kiv_client* client, kiv_database* database) {
    kiv_client* closed = (kiv_client*)database; /* a handle of another kind, or null */
    kiv_database* alien = (kiv_database*)client;
    kiv_protocol* protocol = (kiv_protocol*)client;
    kiv_protocol_callbacks callbacks;
    kiv_status status;
    kiv_event event;
    kiv_connection connection;
    kiv_setting setting;
    char text[KIV_TEXT_SIZE];
    char tooLong[51];
    size_t count;
    memset(tooLong, 'x', 50);
    tooLong[50] = '\0';
    status.size = sizeof status - 1;
    event.size = 0;
    connection.size = 4;
    setting.size = 1;

    CHECK(kiv_connect(0, NULL) == KIV_BAD_ARGUMENT && kiv_db_open(0, NULL) == KIV_BAD_ARGUMENT);
    BAD_HANDLE(kiv_close(closed));
    BAD_HANDLE(kiv_stop_events(closed));
    BAD_HANDLE(kiv_db_close(alien));
    BAD_HANDLE(kiv_protocol_stop(protocol));
    BAD_HANDLE(kiv_protocol_reply(protocol, text, 1));

    BAD_ARGUMENT(client, kiv_start(client, NULL));
    BAD_ARGUMENT(client, kiv_list(client, 7, NULL, 1, &count));
    BAD_ARGUMENT(client, kiv_get_status(client, "x", &status));
    BAD_ARGUMENT(client, kiv_list_clients(client, "x", &connection, 1, &count));
    BAD_ARGUMENT(client, kiv_get_string(client, "x", "y", NULL, 9));
    BAD_ARGUMENT(client, kiv_set_string(client, "x", "y", NULL));
    BAD_ARGUMENT(client, kiv_get_number(client, "x", "y", NULL));
    BAD_ARGUMENT(client, kiv_next_event(client, 0, &event));
    BAD_ARGUMENT(client, kiv_on_event(client, NULL, NULL));
    BAD_ARGUMENT(database, kiv_db_get_string(database, "x", "y", NULL, 9));
    BAD_ARGUMENT(database, kiv_db_get_number(database, "x", "y", NULL));
    BAD_ARGUMENT(database, kiv_db_list_instances(database, NULL, 0, NULL));
    BAD_ARGUMENT(database, kiv_db_list_settings(database, "x", &setting, 1, &count));
    BAD_TEXT(client, kiv_add(client, tooLong, 7));
    BAD_TEXT(client, kiv_set_string(client, "x", "y", "\xFF"));
    BAD_TEXT(database, kiv_db_set_string(database, "x", "y", "\xF0\x9F\x98\x80"));

    memset(&callbacks, 0, sizeof callbacks);
    callbacks.bring_up = NeverUp;
    CHECK(kiv_protocol_run("x --key:y", NULL, NULL) == KIV_BAD_ARGUMENT);
    CHECK(kiv_protocol_run("x --key:y", &callbacks, NULL) == KIV_BAD_ARGUMENT);
    callbacks.size = sizeof callbacks;
    CHECK(kiv_protocol_run("x", &callbacks, NULL) == 3);
    CHECK(kiv_protocol_run(NULL, &callbacks, NULL) == 3);
    callbacks.bring_up = NULL;
    CHECK(kiv_protocol_run("x --key:y", &callbacks, NULL) == KIV_BAD_ARGUMENT);
    return NULL;
}

static uint8_t KIV_CALL BringUp(kiv_protocol* protocol, void* context) {
    char name[KIV_TEXT_SIZE];
    kiv_database* settings;
    uint32_t enabled = 0;
    *(kiv_protocol**)context = protocol;
    if (kiv_protocol_instance(protocol, name, sizeof name) != KIV_OK ||
        kiv_protocol_settings(protocol, &settings) != KIV_OK ||
        kiv_db_get_number(settings, name, "enabled", &enabled) != KIV_OK || enabled != 1)
        return 1;
    if (kiv_protocol_reply(protocol, name, 1) != KIV_WRONG_STATE)
        return 2;
    return kiv_protocol_report_error(protocol, 6) == KIV_OK ? 0 : 3;
}

static void KIV_CALL TakeDown(kiv_protocol* protocol, void* context) {
    kiv_protocol_report_error(protocol, 0);
    *(kiv_protocol**)context = NULL;
}

static void KIV_CALL Answer(kiv_protocol* protocol, const kiv_request* request, void* context) {
    if (context != NULL && request->size == sizeof *request && request->command == 300)
        kiv_protocol_reply(protocol, request->data, request->data_size);
}

static uint32_t KIV_CALL State(kiv_protocol* protocol, void* context) {
    return *(kiv_protocol**)context == protocol ? 42 : 0;
}

int32_t RunProtocol(const char* command_line, kiv_protocol** protocol) {
    kiv_protocol_callbacks callbacks = {sizeof(kiv_protocol_callbacks), 0, BringUp, TakeDown, Answer, State};
    return kiv_protocol_run(command_line, &callbacks, protocol);
}
