/*
 * Dynamic CALL and CANCEL, and the process-wide program cache.
 */
#ifndef KVR2_PROGRAMS_H
#define KVR2_PROGRAMS_H

#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* CALL identifier.  names: the caller's table of nested programs (int32
   count, then rows of index, length, offset, then the names); entries: the
   entry address of each row.  Result: the address of a record whose first
   word is the program's entry address, or null when the CALL failed (then
   *failures was counted if it was nonzero, else message 96 was raised). */
KVR2_API void* _zvkDynLd(int32_t* names, int64_t length, uint8_t* name, PCB* caller, uint64_t* entries,
                         uint32_t* failures);
/* CANCEL: 1 when the program is active and was left alone, else 0. */
KVR2_API int32_t _zvkCancel(int32_t* names, int64_t length, uint8_t* name, PCB* caller);
/* Resets a program (its IPCB array) to its initial state. */
KVR2_API void _zvkCloseReset(int32_t* ipcb);

/* The program cache. */
KVR2_API void _zvk_cpm_create(void);
KVR2_API void _zvk_cpm_destroy(void);
KVR2_API void ZVK_CPM_ENABLE(void);
KVR2_API void _zvk_cpm_enable(void);
KVR2_API void ZVK_CPM_DISABLE(void);
KVR2_API void _zvk_cpm_disable(void);
KVR2_API int32_t ZVK_CPM_UNLOAD(const char* name);
KVR2_API int32_t _zvk_cpm_unload(const char* name);
KVR2_API void ZVK_CPM_UNLOAD_ALL(void);
KVR2_API void _zvk_cpm_unload_all(void);
KVR2_API void ZVK_CPM_STATS(void);
KVR2_API void _zvk_cpm_stats(void);
KVR2_API void _zvk_cpm_print(void);

#ifdef __cplusplus
}
#endif
#endif
