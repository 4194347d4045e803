/* A protocol: it starts if its instance has a setting "port", and answers command 100 with the data of the request. */
#include <kivapi.h>

enum { kEcho = 100, kNoPort = 7, kOperating = 3 };

static uint8_t KIV_CALL BringUp(kiv_protocol* protocol, void* context) {
    char name[KIV_TEXT_SIZE];
    char port[KIV_TEXT_SIZE];
    kiv_database* settings;
    uint8_t error = kNoPort;
    (void)context;
    if (kiv_protocol_instance(protocol, name, sizeof name) == KIV_OK &&
        kiv_protocol_settings(protocol, &settings) == KIV_OK &&
        kiv_db_get_string(settings, name, "port", port, sizeof port) == KIV_OK)
        error = 0;
    kiv_protocol_report_error(protocol, error);
    return error;
}

static void KIV_CALL Answer(kiv_protocol* protocol, const kiv_request* request, void* context) {
    (void)context;
    if (request->command == kEcho)
        kiv_protocol_reply(protocol, request->data, request->data_size);
}

static uint32_t KIV_CALL State(kiv_protocol* protocol, void* context) {
    (void)protocol;
    (void)context;
    return kOperating;
}

int main(void) {
    const kiv_protocol_callbacks callbacks = {sizeof callbacks, 0, BringUp, 0, Answer, State};
    return kiv_protocol_run(0, &callbacks, 0);
}
