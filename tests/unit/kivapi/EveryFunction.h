/* A program in C that uses kivapi.h, as functions for a test. Each gives null, or the first thing that went wrong. */
#ifndef EVERY_FUNCTION_H
#define EVERY_FUNCTION_H

#include "protocols/kivapi/kivapi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Every function of a client, on a service that has no instance "Api"; it is stopped at the end. */
const char* UseEveryFunction(void);
/* Everything that can be given wrongly, with a service or without. Either handle may be null. */
const char* MisuseEveryFunction(kiv_client* client, kiv_database* database);
/* A protocol: it answers with what it is asked, and has the state 42. Its handle is in `*protocol` while it is up. */
int32_t RunProtocol(const char* command_line, kiv_protocol** protocol);

#ifdef __cplusplus
}
#endif

#endif
