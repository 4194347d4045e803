/* kivapi: the C interface of KivProtocolManager, for clients and for protocols.
 *
 *     kiv_client* client;
 *     kiv_result result = kiv_connect(5000, &client);
 *     if (result == KIV_OK) {
 *         result = kiv_start(client, "Line 1");
 *         kiv_close(client);
 *     }
 *     if (result != KIV_OK)
 *         fprintf(stderr, "%s\n", kiv_result_text(result));
 *
 * Building. With CMake, find_package(KivProtocolManager) gives Kiv::api. Otherwise link with kivapi.lib, or with what
 * your compiler makes of kivapi.def. kivapi.dll has to lie beside the program; it needs no other DLL than the system's.
 *
 * It is C99, and stable: a function, its parameters and results, and the layout of a structure never change within one
 * major version; before 1.0, within one second number.
 *
 * Results. Every function that can fail gives a kiv_result: KIV_OK, or a negative code. Nothing else is written then,
 * but where it is said. A null pointer where none is allowed, and a handle that is not open, give a code too.
 *
 * Handles. A handle is a name for something in the library, not an address. It is valid until it is closed, and a
 * closed one is never given out again. Handles that are still open when the process ends need no closing. Before the
 * library is unloaded, all have to be closed, by another thread than one that runs a callback.
 *
 * Text. All text is UTF-8 with a zero byte at its end. The service keeps it in the machine's narrow code page, at most
 * 49 bytes of it: what that code page cannot write, or what is longer, is refused with KIV_BAD_TEXT.
 * KIV_TEXT_SIZE bytes hold any text that the library gives.
 *
 * Structures. Set the field `size` to sizeof the structure before the call; of an array, in its first element. A later
 * version of the library may know a longer structure: it fills as much as `size` says.
 *
 * Lists. `capacity` is the number of elements that the array has room for, and `*count` tells how many there are in
 * all, also with KIV_TOO_SMALL, when only the first `capacity` are filled in. The array may be null when `capacity` is
 * 0.
 *
 * Threads. Any thread may call anything. Calls on one handle wait for each other, but for those about events; a
 * thread that must not wait for another's opens a handle of its own. No function throws, and no callback may let a C++
 * exception out.
 *
 * Times are in milliseconds; 0xFFFFFFFF is without limit.
 *
 * The library writes to no log. */
#ifndef KIVAPI_H
#define KIVAPI_H

#include <stddef.h>
#include <stdint.h>

#ifdef _WIN32
#define KIV_CALL __cdecl
#else
#define KIV_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t kiv_result;

enum {
    KIV_OK = 0,

    /* What the service answered. Another negative number above -1000 is an answer, too. */
    KIV_REFUSED = -1,          /* it does not do that, or cannot */
    KIV_UNKNOWN_INSTANCE = -9, /* there is no such instance */
    KIV_IN_USE = -33,          /* another process is connected to the instance; nothing was done */

    /* What the library found. */
    KIV_NOT_CONNECTED = -1001,   /* the service is not running, or did not take the connection up in time */
    KIV_CONNECTION_LOST = -1002, /* the connection ended; a call that was under way may have been carried out */
    KIV_NO_ANSWER = -1003,       /* none in time; the call may still be carried out */
    KIV_BAD_ANSWER = -1004,      /* an answer that cannot be read */
    KIV_BAD_ARGUMENT = -1005,    /* a null pointer, or a `size` that is too small */
    KIV_BAD_HANDLE = -1006,      /* not open, or a handle of another kind */
    KIV_BAD_TEXT = -1007,        /* no UTF-8, too long, or not in the machine's code page */
    KIV_TOO_SMALL = -1008,       /* the caller's array or buffer is */
    KIV_NO_EVENT = -1009,        /* none in time */
    KIV_WRONG_STATE = -1010,     /* not now: see the function */
    KIV_SESSION_LOST = -1011,    /* the batch is gone, because the service was restarted; nothing of it was done */
    KIV_NO_RESOURCES = -1012     /* the system has no memory or no thread to give */
};

/* A sentence for people. Never null, whatever the code; valid for as long as the library is loaded. */
const char* KIV_CALL kiv_result_text(kiv_result result);

/* The version of the library, as "0.2.0". Valid for as long as the library is loaded. */
const char* KIV_CALL kiv_version(void);

#define KIV_TEXT_SIZE 152
typedef struct kiv_text {
    char text[KIV_TEXT_SIZE];
} kiv_text;

/* Types of protocols. */
enum {
    KIV_TYPE_NONE = 0,
    KIV_TYPE_PROFINET = 1,
    KIV_TYPE_MODBUS = 2,
    KIV_TYPE_ETHERNET_IP = 3,
    KIV_TYPE_ROBOT = 4,
    KIV_TYPE_CCLINK = 5,
    KIV_TYPE_OPCUA = 6,
    KIV_TYPE_SAMPLE = 7
};
#define KIV_ALL_TYPES 0xFFFFFFFFu

/* ---- Control of the instances ---------------------------------------------------------------------------------- */

typedef struct kiv_client kiv_client;

/* Opens a handle with a connection to the service, waiting for it at most `timeout_ms`. When the connection ends later,
 * a call that is under way gives KIV_CONNECTION_LOST, and the next call connects again, within the same time.
 * KIV_NOT_CONNECTED: `*client` is null. */
kiv_result KIV_CALL kiv_connect(uint32_t timeout_ms, kiv_client** client);

/* Ends calls under way with KIV_CONNECTION_LOST and the callback as kiv_stop_events does, and closes the handle. */
kiv_result KIV_CALL kiv_close(kiv_client* client);

/* How long every call from now on waits for its answer at most; 0, as at first: each has its own time, 20 s for a
 * question and up to 120 s for what starts or stops an instance. */
kiv_result KIV_CALL kiv_set_timeout(kiv_client* client, uint32_t timeout_ms);

/* Adds an instance, and does not start it. KIV_REFUSED: the name is taken, or the type unknown. */
kiv_result KIV_CALL kiv_add(kiv_client* client, const char* instance, uint32_t type);
/* KIV_UNKNOWN_INSTANCE, KIV_IN_USE. */
kiv_result KIV_CALL kiv_remove(kiv_client* client, const char* instance);
/* KIV_OK also when it runs already. KIV_REFUSED: it is unknown or disabled, another instance has its port, or its
 * process did not come up; the service then tries again. */
kiv_result KIV_CALL kiv_start(kiv_client* client, const char* instance);
/* KIV_OK also when it does not run. KIV_IN_USE. */
kiv_result KIV_CALL kiv_stop(kiv_client* client, const char* instance);
/* Starts it when it does not run. KIV_IN_USE. */
kiv_result KIV_CALL kiv_restart(kiv_client* client, const char* instance);
/* Renames the instance in the service alone: in the settings it keeps its old name, and without settings it cannot be
 * started. kiv_db_rename_instance renames both. KIV_IN_USE. */
kiv_result KIV_CALL kiv_rename(kiv_client* client, const char* old_name, const char* new_name);

/* The names of the instances of a type, or with KIV_ALL_TYPES of all, in the order of the types. */
kiv_result KIV_CALL kiv_list(kiv_client* client, uint32_t type, kiv_text* names, size_t capacity, size_t* count);

enum {
    KIV_RUNNING = 1,
    KIV_STOPPED = 2,        /* not meant to run */
    KIV_STOPPED_WORKING = 3 /* meant to run, and has no process or gives no answer */
};
typedef struct kiv_status {
    uint32_t size;
    uint32_t status;       /* KIV_RUNNING and the others */
    uint32_t type;         /* KIV_TYPE_... */
    uint32_t last_error;   /* 0 while running, else the negated number of the setting "lasterror" */
    uint32_t state;        /* the protocol's own; 0 when not running */
    uint32_t client_count; /* connections to its process, the service's included; 0 when not running */
    uint64_t up_time;      /* seconds; 0 when not running */
    uint64_t process_id;   /* 0 after a stop */
} kiv_status;
/* KIV_UNKNOWN_INSTANCE. */
kiv_result KIV_CALL kiv_get_status(kiv_client* client, const char* instance, kiv_status* status);

typedef struct kiv_connection {
    uint32_t size;
    uint32_t reserved;
    uint64_t connection_id;
    uint64_t process_id;
} kiv_connection;
/* The connections to an instance's process, that of the service included. KIV_UNKNOWN_INSTANCE. */
kiv_result KIV_CALL kiv_list_clients(kiv_client* client, const char* instance, kiv_connection* connections,
                                     size_t capacity, size_t* count);

/* The settings of an instance that the service knows. A setting that is absent or of the other kind is KIV_REFUSED;
 * setting one that is absent makes it. `size`: bytes of `value`; KIV_TEXT_SIZE is always enough. */
kiv_result KIV_CALL kiv_get_string(kiv_client* client, const char* instance, const char* property, char* value,
                                   size_t size);
kiv_result KIV_CALL kiv_set_string(kiv_client* client, const char* instance, const char* property, const char* value);
kiv_result KIV_CALL kiv_get_number(kiv_client* client, const char* instance, const char* property, uint32_t* value);
kiv_result KIV_CALL kiv_set_number(kiv_client* client, const char* instance, const char* property, uint32_t value);

/* Asks the service to stop, with all its instances. It has not stopped yet on return. */
kiv_result KIV_CALL kiv_stop_service(kiv_client* client);

/* ---- Events ---------------------------------------------------------------------------------------------------- */

enum {
    KIV_EVENT_CONNECTED = 1,    /* again, after KIV_EVENT_DISCONNECTED; to callbacks only */
    KIV_EVENT_DISCONNECTED = 2, /* events may be missed from here on: ask for what matters; to callbacks only */
    KIV_EVENT_ADDED = 150,
    KIV_EVENT_REMOVED = 151,
    KIV_EVENT_RENAMED = 152,
    KIV_EVENT_STARTED = 153,
    KIV_EVENT_STOPPED = 154,
    KIV_EVENT_STRING_CHANGED = 155 /* a text setting of an instance was written, also to the same value */
};
typedef struct kiv_event {
    uint32_t size;
    uint32_t kind; /* KIV_EVENT_...; pass over one that you do not know */
    char instance[KIV_TEXT_SIZE];
    char new_name[KIV_TEXT_SIZE];  /* KIV_EVENT_RENAMED */
    char property[KIV_TEXT_SIZE];  /* KIV_EVENT_STRING_CHANGED */
    char old_value[KIV_TEXT_SIZE]; /* the same */
    char new_value[KIV_TEXT_SIZE]; /* the same */
} kiv_event;

/* The next event, waiting for one at most `timeout_ms`. Events are kept from kiv_connect on; of more than 4096 that
 * nobody takes, the oldest are dropped. KIV_NO_EVENT; KIV_CONNECTION_LOST, once, behind the last event of a connection:
 * the next call connects again. KIV_WRONG_STATE: a callback is set, or another thread waits in this function. */
kiv_result KIV_CALL kiv_next_event(kiv_client* client, uint32_t timeout_ms, kiv_event* event);

/* Called on a thread of the library's, one event at a time. It may call anything. The event is valid until it
 * returns. */
typedef void(KIV_CALL* kiv_event_callback)(const kiv_event* event, void* context);
/* Calls `callback` for every event from now on, those included that were kept. When the connection ends, the library
 * tries every second to connect again. KIV_WRONG_STATE: there is a callback already, or a thread in kiv_next_event. */
kiv_result KIV_CALL kiv_on_event(kiv_client* client, kiv_event_callback callback, void* context);
/* Ends that. On return no call is under way and none will come; within the callback itself, none will come after this
 * one. Two callbacks that stop each other wait for ever. KIV_OK also when there is none. */
kiv_result KIV_CALL kiv_stop_events(kiv_client* client);

/* ---- The settings database ------------------------------------------------------------------------------------- */

/* One session of the settings database. */
typedef struct kiv_database kiv_database;

/* Opens a handle, waiting for the connection at most `timeout_ms`. The calls on it wait at most 120 s for their answer,
 * since the service may have to stop and start instances before it gives one. What kiv_connect says of a connection
 * that ends holds here. */
kiv_result KIV_CALL kiv_db_open(uint32_t timeout_ms, kiv_database** database);
/* Drops what a batch has recorded. A call under way on another thread goes on to its end. */
kiv_result KIV_CALL kiv_db_close(kiv_database* database);

/* The empty instance name addresses the settings of the whole database. A setting that is absent or of the other kind
 * is KIV_REFUSED; setting one that is absent makes it. */
kiv_result KIV_CALL kiv_db_get_string(kiv_database* database, const char* instance, const char* setting, char* value,
                                      size_t size);
kiv_result KIV_CALL kiv_db_set_string(kiv_database* database, const char* instance, const char* setting,
                                      const char* value);
kiv_result KIV_CALL kiv_db_get_number(kiv_database* database, const char* instance, const char* setting,
                                      uint32_t* value);
kiv_result KIV_CALL kiv_db_set_number(kiv_database* database, const char* instance, const char* setting,
                                      uint32_t value);

/* The service takes an added instance up when it starts next, or when kiv_add adds it. It follows a removal and a
 * rename of one that other processes are connected to once these have gone. */
kiv_result KIV_CALL kiv_db_add_instance(kiv_database* database, const char* instance, uint32_t type);
kiv_result KIV_CALL kiv_db_remove_instance(kiv_database* database, const char* instance);
kiv_result KIV_CALL kiv_db_rename_instance(kiv_database* database, const char* old_name, const char* new_name);

kiv_result KIV_CALL kiv_db_list_instances(kiv_database* database, kiv_text* names, size_t capacity, size_t* count);

enum { KIV_STRING = 0, KIV_NUMBER = 1 };
typedef struct kiv_setting {
    uint32_t size;
    uint32_t kind; /* KIV_STRING or KIV_NUMBER */
    char name[KIV_TEXT_SIZE];
} kiv_setting;
/* The settings of an instance, without their values. */
kiv_result KIV_CALL kiv_db_list_settings(kiv_database* database, const char* instance, kiv_setting* settings,
                                         size_t capacity, size_t* count);

/* From now on changes are seen by this handle alone, until kiv_db_commit makes them or kiv_db_reset drops them. A
 * second batch starts afresh. After a change that was refused, reset: a commit ends at it. */
kiv_result KIV_CALL kiv_db_batch(kiv_database* database);
/* Ends the batch. KIV_OK also when a change was refused on the way, and those behind it dropped: read back what
 * matters. KIV_SESSION_LOST; KIV_WRONG_STATE: there is no batch. */
kiv_result KIV_CALL kiv_db_commit(kiv_database* database);
/* Ends the batch. KIV_OK also when there is none. */
kiv_result KIV_CALL kiv_db_reset(kiv_database* database);

/* ---- A protocol ------------------------------------------------------------------------------------------------ */

/* The service starts a program for each instance, with the instance's name on its command line. Such a program's main
 * function calls kiv_protocol_run, which does everything between the program and the service. The handle is open as
 * long as that runs. */
typedef struct kiv_protocol kiv_protocol;

typedef struct kiv_request {
    uint32_t size;
    uint32_t command;    /* the protocol's own; 1 to 5 are answered by the library */
    uint64_t process_id; /* of the client, as it says */
    const void* data;    /* valid until the callback returns; null when there is none */
    size_t data_size;    /* bytes */
} kiv_request;

/* All are called on the thread that called kiv_protocol_run. */
typedef struct kiv_protocol_callbacks {
    uint32_t size;
    uint32_t reserved; /* 0 */
    /* Brings the protocol up: 0, or an error from 1 to 254. The service waits for it, by default 10 s. */
    uint8_t(KIV_CALL* bring_up)(kiv_protocol* protocol, void* context);
    /* Takes it down; called when bring_up gave 0. May be null. */
    void(KIV_CALL* take_down)(kiv_protocol* protocol, void* context);
    /* Answers one request, with kiv_protocol_reply; without that the client gets an empty reply. May be null. */
    void(KIV_CALL* answer)(kiv_protocol* protocol, const kiv_request* request, void* context);
    /* What kiv_status.state shows. May be null: 0. */
    uint32_t(KIV_CALL* state)(kiv_protocol* protocol, void* context);
} kiv_protocol_callbacks;

/* The instance's whole life: brings the protocol up, reports to the service, answers until the service asks it to end
 * or kiv_protocol_stop, takes it down. `command_line` is the program's whole command line, PROGRAM --key:NAME; null:
 * that of this process. The program ends with the result as its exit code, if it is not negative: 0 stopped, 1 not
 * brought up, 2 there is no service, 3 the command line names no instance. */
int32_t KIV_CALL kiv_protocol_run(const char* command_line, const kiv_protocol_callbacks* callbacks, void* context);
/* Ends kiv_protocol_run. */
kiv_result KIV_CALL kiv_protocol_stop(kiv_protocol* protocol);
/* The name of its instance. */
kiv_result KIV_CALL kiv_protocol_instance(kiv_protocol* protocol, char* name, size_t size);
/* A handle to the settings, which closes with the protocol: do not close it. KIV_NOT_CONNECTED. */
kiv_result KIV_CALL kiv_protocol_settings(kiv_protocol* protocol, kiv_database** database);
/* Tells operators what is wrong, by the setting "lasterror" of its instance; 0: nothing. */
kiv_result KIV_CALL kiv_protocol_report_error(kiv_protocol* protocol, uint32_t error);
/* The reply to the request that is being answered; the last call counts. At most 16 MiB; more is KIV_BAD_ARGUMENT.
 * KIV_WRONG_STATE: not within `answer`. */
kiv_result KIV_CALL kiv_protocol_reply(kiv_protocol* protocol, const void* data, size_t size);

#ifdef __cplusplus
}
#endif

#endif
