/*
 * Signal handling, traceback and core files.
 */
#ifndef KVR2_SIGNALS_H
#define KVR2_SIGNALS_H

#include <signal.h>

#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The handler installed for every signal of the table. */
KVR2_API void default_sigrtn(int signal, siginfo_t* info, void* context);
/* What a run unit does on a signal (run by default_sigrtn). */
KVR2_API void _zvkSignal(int32_t signal, siginfo_t* info, void* context);
/* Writes a core file of the running process: 1 if one was made, 0 if not;
   under a transaction monitor the monitor's level. */
KVR2_API int32_t ZVKDUMP(void);

#ifdef __cplusplus
}
#endif
#endif
