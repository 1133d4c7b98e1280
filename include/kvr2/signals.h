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

/* Strict ISO C declares no siginfo_t: there the handlers take its address
   as a plain pointer, which is what a C caller passes anyway. */
#if defined(__cplusplus) || (defined(_POSIX_C_SOURCE) && _POSIX_C_SOURCE >= 199309L)
typedef siginfo_t zvkSigInfo;
#else
typedef void zvkSigInfo;
#endif

/* The handler installed for every signal of the table. */
KVR2_API void default_sigrtn(int signal, zvkSigInfo* info, void* context);
/* What a run unit does on a signal (run by default_sigrtn). */
KVR2_API void _zvkSignal(int32_t signal, zvkSigInfo* info, void* context);
/* Writes a core file of the running process: 1 if one was made, 0 if not;
   under a transaction monitor the monitor's level. */
KVR2_API int32_t ZVKDUMP(void);

#ifdef __cplusplus
}
#endif
#endif
