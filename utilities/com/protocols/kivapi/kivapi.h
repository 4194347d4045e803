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
 * Building. With CMake, find_package(KivProtocolManager) defines the target Kiv::api. Otherwise link with kivapi.lib,
 * or make an import library for your compiler from kivapi.def. kivapi.dll must be in the program's folder; it needs
 * only DLLs of the system.
 *
 * The interface is C99, and stable: functions, their parameters and results, and the layout of structures never change
 * within one major version; before 1.0, within one minor version.
 *
 * Results. Every function that can fail returns a kiv_result: KIV_OK, or a negative code. With a negative code the
 * function writes nothing to the caller's memory, unless its description says so. A null pointer that is not allowed
 * and a handle that is not open also return a code.
 *
 * Handles. A handle is a number for an object in the library, not an address. It is valid until it is closed, and its
 * number is never used again. Handles that are still open when the process ends need not be closed. Before the library
 * is unloaded, close all handles, on a thread that is not running a callback.
 *
 * Text. All text is UTF-8 with a zero byte at its end. The service stores it in the machine's narrow code page, at most
 * 49 bytes. A text that is longer, or has a character that the code page lacks, is refused with KIV_BAD_TEXT. A buffer
 * of KIV_TEXT_SIZE bytes is large enough for any text of the library.
 *
 * Structures. Set the field `size` to sizeof the structure before the call; for an array, set it in the first element.
 * A later version of the library may know a longer structure; it fills in `size` bytes.
 *
 * Lists. `capacity` is the number of elements that the array has room for; the array may be null when it is 0. The
 * function sets `*count` to the number of elements that exist. When that is more than `capacity`, it fills in the first
 * `capacity` elements and returns KIV_TOO_SMALL.
 *
 * Threads. Any thread may call any function. Calls on one handle wait for each other, except the functions for events.
 * A thread that must not wait for another one opens its own handle. No function throws a C++ exception, and no callback
 * may throw one.
 *
 * Times are in milliseconds; 0xFFFFFFFF means no limit.
 *
 * The library writes no log. */
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

    /* Codes from the service. Other numbers from -1 to -999 come from it too. */
    KIV_REFUSED = -1,          /* the service refused the request, or could not carry it out */
    KIV_UNKNOWN_INSTANCE = -9, /* the service has no such instance */
    KIV_IN_USE = -33,          /* another process is connected to the instance; nothing was done */

    /* Codes from the library. */
    KIV_NOT_CONNECTED = -1001,   /* the service is not running, or did not accept the connection in time */
    KIV_CONNECTION_LOST = -1002, /* the connection ended during the call; the service may have carried out the call */
    KIV_NO_ANSWER = -1003,       /* no answer in time; the service may still carry out the call */
    KIV_BAD_ANSWER = -1004,      /* the answer is too short */
    KIV_BAD_ARGUMENT = -1005,    /* a pointer is null, or a `size` is too small */
    KIV_BAD_HANDLE = -1006,      /* the handle is not open, or is of another kind */
    KIV_BAD_TEXT = -1007,        /* a text is not UTF-8, is too long, or has a character that the code page lacks */
    KIV_TOO_SMALL = -1008,       /* the caller's array or buffer is too small */
    KIV_NO_EVENT = -1009,        /* there was no event in time */
    KIV_WRONG_STATE = -1010,     /* the function cannot be called now; its description says when */
    KIV_SESSION_LOST = -1011,    /* the service was restarted and the batch is lost; none of its changes was made */
    KIV_NO_RESOURCES = -1012     /* the system has not enough memory, or no thread */
};

/* A sentence that explains the result to a person. Never null; valid while the library is loaded. */
const char* KIV_CALL kiv_result_text(kiv_result result);

/* The version of the library, such as "0.2.0". Valid while the library is loaded. */
const char* KIV_CALL kiv_version(void);

#define KIV_TEXT_SIZE 152
typedef struct kiv_text {
    char text[KIV_TEXT_SIZE];
} kiv_text;

/* The types of protocols. */
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

/* Connects to the service, waits at most `timeout_ms` for that, and opens a handle. When the connection ends later, the
 * calls under way return KIV_CONNECTION_LOST, and the next call connects again within the same time. On a failure
 * `*client` is null. */
kiv_result KIV_CALL kiv_connect(uint32_t timeout_ms, kiv_client** client);

/* Closes the handle. Ends the calls under way with KIV_CONNECTION_LOST, and the callback as kiv_stop_events does. */
kiv_result KIV_CALL kiv_close(kiv_client* client);

/* Sets how long each later call waits for its answer. 0, the default, means a time for each function: 20 s, and up to
 * 120 s for a function that starts or stops an instance. */
kiv_result KIV_CALL kiv_set_timeout(kiv_client* client, uint32_t timeout_ms);

/* Adds an instance without starting it. KIV_REFUSED: the name is in use, or the type is unknown. */
kiv_result KIV_CALL kiv_add(kiv_client* client, const char* instance, uint32_t type);
/* Stops an instance and removes it with its settings. KIV_UNKNOWN_INSTANCE, KIV_IN_USE. */
kiv_result KIV_CALL kiv_remove(kiv_client* client, const char* instance);
/* Starts an instance and waits until it runs. KIV_OK also when it already runs. KIV_REFUSED: the instance is unknown or
 * disabled, another instance owns its port, or its process failed to start; then the service tries again later. */
kiv_result KIV_CALL kiv_start(kiv_client* client, const char* instance);
/* Stops an instance and waits for the end of its process. KIV_OK also when it does not run. KIV_IN_USE. */
kiv_result KIV_CALL kiv_stop(kiv_client* client, const char* instance);
/* Stops an instance, if it runs, and starts it. KIV_IN_USE. */
kiv_result KIV_CALL kiv_restart(kiv_client* client, const char* instance);
/* Renames an instance in the running service only. The settings stay under the old name, so the instance cannot be
 * started under the new one. kiv_db_rename_instance renames in both. KIV_IN_USE. */
kiv_result KIV_CALL kiv_rename(kiv_client* client, const char* old_name, const char* new_name);

/* Lists the names of the instances of a type; with KIV_ALL_TYPES of all types, in the order of the types. */
kiv_result KIV_CALL kiv_list(kiv_client* client, uint32_t type, kiv_text* names, size_t capacity, size_t* count);

enum {
    KIV_RUNNING = 1,
    KIV_STOPPED = 2,        /* not meant to run */
    KIV_STOPPED_WORKING = 3 /* meant to run, but has no process, or its process does not answer */
};
typedef struct kiv_status {
    uint32_t size;
    uint32_t status;       /* KIV_RUNNING, KIV_STOPPED or KIV_STOPPED_WORKING */
    uint32_t type;         /* KIV_TYPE_... */
    uint32_t last_error;   /* 0 while running, else the negative of the setting "lasterror", modulo 2^32 */
    uint32_t state;        /* defined by the protocol; 0 when not running */
    uint32_t client_count; /* connections to the instance's process, with the service's; 0 when not running */
    uint64_t up_time;      /* seconds since the start; 0 when not running */
    uint64_t process_id;   /* of the last process, also when it has ended by itself; 0 after a stop */
} kiv_status;
/* Gets the state of an instance. KIV_UNKNOWN_INSTANCE. */
kiv_result KIV_CALL kiv_get_status(kiv_client* client, const char* instance, kiv_status* status);

typedef struct kiv_connection {
    uint32_t size;
    uint32_t reserved;
    uint64_t connection_id;
    uint64_t process_id;
} kiv_connection;
/* Lists the connections to the instance's process, with the service's own. KIV_UNKNOWN_INSTANCE. */
kiv_result KIV_CALL kiv_list_clients(kiv_client* client, const char* instance, kiv_connection* connections,
                                     size_t capacity, size_t* count);

/* Read and write a setting of an instance that the service knows. Reading a setting that does not exist or is of the
 * other kind returns KIV_REFUSED; writing a setting that does not exist creates it. `size` is the size of `value` in
 * bytes; KIV_TEXT_SIZE is always enough. */
kiv_result KIV_CALL kiv_get_string(kiv_client* client, const char* instance, const char* property, char* value,
                                   size_t size);
kiv_result KIV_CALL kiv_set_string(kiv_client* client, const char* instance, const char* property, const char* value);
kiv_result KIV_CALL kiv_get_number(kiv_client* client, const char* instance, const char* property, uint32_t* value);
kiv_result KIV_CALL kiv_set_number(kiv_client* client, const char* instance, const char* property, uint32_t value);

/* Asks the service to stop with all its instances. Returns before it has stopped. */
kiv_result KIV_CALL kiv_stop_service(kiv_client* client);

/* ---- Events ---------------------------------------------------------------------------------------------------- */

enum {
    /* Only callbacks get the first two. Events between them are lost: ask for the state again after the second. */
    KIV_EVENT_CONNECTED = 1,    /* connected again after KIV_EVENT_DISCONNECTED */
    KIV_EVENT_DISCONNECTED = 2, /* the connection ended */
    KIV_EVENT_ADDED = 150,
    KIV_EVENT_REMOVED = 151,
    KIV_EVENT_RENAMED = 152,
    KIV_EVENT_STARTED = 153,
    KIV_EVENT_STOPPED = 154,
    KIV_EVENT_STRING_CHANGED = 155 /* a text setting of an instance was written, even if its value is the same */
};
typedef struct kiv_event {
    uint32_t size;
    uint32_t kind; /* KIV_EVENT_...; ignore a kind that you do not know */
    char instance[KIV_TEXT_SIZE];
    char new_name[KIV_TEXT_SIZE];  /* only for KIV_EVENT_RENAMED */
    char property[KIV_TEXT_SIZE];  /* this and the next two only for KIV_EVENT_STRING_CHANGED */
    char old_value[KIV_TEXT_SIZE]; /* empty when the setting is new */
    char new_value[KIV_TEXT_SIZE];
} kiv_event;

/* Gets the next event; waits at most `timeout_ms` for one. The library keeps the events since kiv_connect, at most
 * 4096, and then drops the oldest. KIV_NO_EVENT. KIV_CONNECTION_LOST: returned once, after the last event of a
 * connection that ended; the next call connects again, which may take the time given to kiv_connect. KIV_WRONG_STATE: a
 * callback is set, or another thread is in this function. */
kiv_result KIV_CALL kiv_next_event(kiv_client* client, uint32_t timeout_ms, kiv_event* event);

/* Called on a thread of the library, for one event at a time. It may call any function. The event is valid until the
 * callback returns. */
typedef void(KIV_CALL* kiv_event_callback)(const kiv_event* event, void* context);
/* Calls `callback` for each event that the library has kept, and for each later one. When the connection ends, the
 * library tries every second to connect again. KIV_WRONG_STATE: a callback is set, or a thread is in kiv_next_event. */
kiv_result KIV_CALL kiv_on_event(kiv_client* client, kiv_event_callback callback, void* context);
/* Removes the callback. It is neither running when this returns nor called again. Called by the callback itself,
 * returns at once, and the present call is the last. Two callbacks that stop each other wait for ever. KIV_OK also when
 * no callback is set. */
kiv_result KIV_CALL kiv_stop_events(kiv_client* client);

/* ---- The settings database ------------------------------------------------------------------------------------- */

/* A session of the settings database. */
typedef struct kiv_database kiv_database;

/* Connects to the settings database, waits at most `timeout_ms` for that, and opens a handle. A call on the handle
 * waits at most 120 s for its answer, because the service may have to stop and start instances first. The end of a
 * connection has the same effect as for kiv_connect. On a failure `*database` is null. */
kiv_result KIV_CALL kiv_db_open(uint32_t timeout_ms, kiv_database** database);
/* Closes the handle and drops the changes of an open batch. A call under way on another thread is completed. */
kiv_result KIV_CALL kiv_db_close(kiv_database* database);

/* Read and write a setting of an instance; an empty instance name means the database-wide settings. Reading a setting
 * that does not exist or is of the other kind returns KIV_REFUSED; writing a setting that does not exist creates it. */
kiv_result KIV_CALL kiv_db_get_string(kiv_database* database, const char* instance, const char* setting, char* value,
                                      size_t size);
kiv_result KIV_CALL kiv_db_set_string(kiv_database* database, const char* instance, const char* setting,
                                      const char* value);
kiv_result KIV_CALL kiv_db_get_number(kiv_database* database, const char* instance, const char* setting,
                                      uint32_t* value);
kiv_result KIV_CALL kiv_db_set_number(kiv_database* database, const char* instance, const char* setting,
                                      uint32_t value);

/* Add, remove and rename an instance in the database. The service loads an added instance at its next start, or when
 * kiv_add adds it. It follows the removal and the renaming of an instance, but only after all other processes have
 * disconnected from that instance. */
kiv_result KIV_CALL kiv_db_add_instance(kiv_database* database, const char* instance, uint32_t type);
kiv_result KIV_CALL kiv_db_remove_instance(kiv_database* database, const char* instance);
kiv_result KIV_CALL kiv_db_rename_instance(kiv_database* database, const char* old_name, const char* new_name);

/* Lists the names of the instances of the database. */
kiv_result KIV_CALL kiv_db_list_instances(kiv_database* database, kiv_text* names, size_t capacity, size_t* count);

enum { KIV_STRING = 0, KIV_NUMBER = 1 };
typedef struct kiv_setting {
    uint32_t size;
    uint32_t kind; /* KIV_STRING or KIV_NUMBER */
    char name[KIV_TEXT_SIZE];
} kiv_setting;
/* Lists the names and kinds of the settings of an instance, without their values. KIV_REFUSED: there is no such
 * instance. */
kiv_result KIV_CALL kiv_db_list_settings(kiv_database* database, const char* instance, kiv_setting* settings,
                                         size_t capacity, size_t* count);

/* Begins a batch. From now on only this handle sees its changes, until kiv_db_commit makes them or kiv_db_reset drops
 * them. A second call drops the changes and begins again. After a change that was refused call kiv_db_reset, because a
 * commit stops at that change. */
kiv_result KIV_CALL kiv_db_batch(kiv_database* database);
/* Makes the changes of the batch and ends it. Stops at a change that is refused, drops the rest, and returns KIV_OK all
 * the same: read the settings back to be sure. KIV_SESSION_LOST. KIV_WRONG_STATE: there is no batch. */
kiv_result KIV_CALL kiv_db_commit(kiv_database* database);
/* Drops the changes of the batch and ends it. KIV_OK also when there is no batch. */
kiv_result KIV_CALL kiv_db_reset(kiv_database* database);

/* ---- A protocol ------------------------------------------------------------------------------------------------ */

/* The service starts a program for each instance, with the instance's name on its command line. The main function of
 * this program calls kiv_protocol_run, which does all the communication with the service. The handle is open while
 * kiv_protocol_run runs. */
typedef struct kiv_protocol kiv_protocol;

typedef struct kiv_request {
    uint32_t size;
    uint32_t command;    /* defined by the protocol; the library answers 1 to 5 itself */
    uint64_t process_id; /* of the client, as the client reports it */
    const void* data;    /* valid until the callback returns; null when the request has no data */
    size_t data_size;    /* bytes */
} kiv_request;

/* All callbacks are called on the thread that called kiv_protocol_run. */
typedef struct kiv_protocol_callbacks {
    uint32_t size;
    uint32_t reserved; /* 0 */
    /* Starts the protocol. Returns 0, or an error from 1 to 254. The service waits for it, by default at most 10 s. */
    uint8_t(KIV_CALL* bring_up)(kiv_protocol* protocol, void* context);
    /* Stops the protocol; called only after bring_up returned 0. May be null. */
    void(KIV_CALL* take_down)(kiv_protocol* protocol, void* context);
    /* Answers one request with kiv_protocol_reply; otherwise the client gets an empty reply. May be null. */
    void(KIV_CALL* answer)(kiv_protocol* protocol, const kiv_request* request, void* context);
    /* Returns the number for kiv_status.state. May be null, which means 0. */
    uint32_t(KIV_CALL* state)(kiv_protocol* protocol, void* context);
} kiv_protocol_callbacks;

/* Runs the instance: starts the protocol, reports to the service, answers requests until the service or
 * kiv_protocol_stop asks it to end, and stops the protocol. `command_line` is the whole command line of the program,
 * PROGRAM --key:NAME; null means that of this process. Returns the exit code for the program: 0 it was stopped, 1 the
 * protocol did not start, 2 there is no service, 3 the command line names no instance. A negative kiv_result means that
 * an argument is bad or the system is short of memory. */
int32_t KIV_CALL kiv_protocol_run(const char* command_line, const kiv_protocol_callbacks* callbacks, void* context);
/* Makes kiv_protocol_run return; any thread may call it. */
kiv_result KIV_CALL kiv_protocol_stop(kiv_protocol* protocol);
/* The name of the instance. */
kiv_result KIV_CALL kiv_protocol_instance(kiv_protocol* protocol, char* name, size_t size);
/* A handle to the settings database. The library closes it when kiv_protocol_run returns; do not close it yourself.
 * KIV_NOT_CONNECTED. */
kiv_result KIV_CALL kiv_protocol_settings(kiv_protocol* protocol, kiv_database** database);
/* Reports an error to the operators: writes the setting "lasterror" of the instance. 0 means no error. */
kiv_result KIV_CALL kiv_protocol_report_error(kiv_protocol* protocol, uint32_t error);
/* Sets the reply to the request that is being answered; a later call replaces it. The message must not exceed 16 MiB,
 * or the call returns KIV_BAD_ARGUMENT. KIV_WRONG_STATE: `answer` is not running. */
kiv_result KIV_CALL kiv_protocol_reply(kiv_protocol* protocol, const void* data, size_t size);

#ifdef __cplusplus
}
#endif

#endif
