/* A client: lists the instances, or starts an instance and prints events until there was none for five seconds. */
#include <kivapi.h>
#include <stdio.h>
#include <string.h>

enum { kConnectMs = 5000, kQuietMs = 5000, kMostInstances = 1000 };

static int Fail(kiv_result result) {
    fprintf(stderr, "client: %s (%d)\n", kiv_result_text(result), (int)result);
    return 1;
}

static int List(kiv_client* client) {
    static kiv_text names[kMostInstances];
    size_t count = 0;
    size_t i;
    kiv_result result = kiv_list(client, KIV_ALL_TYPES, names, kMostInstances, &count);
    if (result != KIV_OK)
        return Fail(result);
    for (i = 0; i < count; ++i) {
        kiv_status status;
        status.size = sizeof status;
        result = kiv_get_status(client, names[i].text, &status);
        if (result == KIV_OK)
            printf("%s: status %u, state %u\n", names[i].text, (unsigned)status.status, (unsigned)status.state);
    }
    return 0;
}

static int PrintEvents(kiv_client* client) {
    kiv_event event;
    kiv_result result;
    event.size = sizeof event;
    while ((result = kiv_next_event(client, kQuietMs, &event)) == KIV_OK) {
        if (event.kind == KIV_EVENT_STARTED)
            printf("%s has started\n", event.instance);
        else if (event.kind == KIV_EVENT_STOPPED)
            printf("%s has stopped\n", event.instance);
        else if (event.kind == KIV_EVENT_STRING_CHANGED)
            printf("%s: %s is now \"%s\"\n", event.instance, event.property, event.new_value);
        else
            printf("%s: event %u\n", event.instance, (unsigned)event.kind);
        fflush(stdout);
    }
    return result == KIV_NO_EVENT ? 0 : Fail(result);
}

int main(int argc, char** argv) {
    kiv_client* client;
    kiv_result result;
    int code;
    const int list = argc == 2 && strcmp(argv[1], "list") == 0;
    const int start = argc == 3 && strcmp(argv[1], "start") == 0;
    if (!list && !start) {
        fprintf(stderr, "client list\nclient start NAME\n");
        return 2;
    }
    result = kiv_connect(kConnectMs, &client);
    if (result != KIV_OK)
        return Fail(result);
    if (list) {
        code = List(client);
    } else {
        result = kiv_start(client, argv[2]);
        code = result == KIV_OK ? PrintEvents(client) : Fail(result);
    }
    kiv_close(client);
    return code;
}
