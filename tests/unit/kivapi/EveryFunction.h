/* A program in C that uses kivapi.h, as functions for a test. The first two return null, or the first failed check. */
#ifndef EVERY_FUNCTION_H
#define EVERY_FUNCTION_H

#include "protocols/kivapi/kivapi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Calls every function for clients. The service must not have an instance "Api"; it is stopped at the end. */
const char* UseEveryFunction(void);
/* Calls the functions with bad arguments, with or without a service. Either handle may be null. */
const char* MisuseEveryFunction(kiv_client* client, kiv_database* database);
/* Runs a protocol that replies to command 300 with the data of the request and has the state 42. `*protocol` has its
 * handle between its start and its stop. */
int32_t RunProtocol(const char* command_line, kiv_protocol** protocol);

#ifdef __cplusplus
}
#endif

#endif
