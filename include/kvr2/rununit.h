/*
 * Program entry and exit, run units and hosts: the calls every compiled
 * program makes at its start and end, and those of a host that embeds
 * COBOL run units.
 */
#ifndef KVR2_RUNUNIT_H
#define KVR2_RUNUNIT_H

#include <stdint.h>
#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- exported data ---- */
extern KVR2_API uint8_t _Dmr_rut[168];
extern KVR2_API char* _zvkDebugBuf;
extern KVR2_API uint32_t _zvkDebugBufLen;

/* ---- program entry and exit ---- */
KVR2_API void _zvkPgmInit(PCB* pcb);
KVR2_API void _zvkPgmEnterLock(int32_t* ipcb);
KVR2_API void _zvkPgmEnterUnlock(void);
KVR2_API void _zvkPgmExit(int32_t* ipcb);
KVR2_API zvkJmpBuf* _zvkGetJmpBuffer(void);
KVR2_API void _zvkPgmTerm(PCB* pcb);
KVR2_API void _zvkRunUnitTerm(int32_t status) __attribute__((noreturn));

/* ---- hosts ---- */
KVR2_API void _zvkCOBOLInit(uint32_t function, zvkHostStop stop, uint32_t* rc, uint64_t token);
KVR2_API void ZVKCOBOLINIT(uint32_t function, zvkHostStop stop, uint32_t* rc, uint64_t token);
KVR2_API void _zvkCOBOLInit1(int32_t function, zvkHostStop stop, uint32_t* rc, uint64_t token,
                             zvkHostMsg msg, zvkHostStop abrt, uint64_t context);
KVR2_API void _zvkCOBOLHostInit(uint32_t* rc);
KVR2_API void _zvkCOBOLLink(void);
KVR2_API void _zvk_cpm_init(zvkHostMsg msg, uint64_t context);
KVR2_API void _zvkCleanUp(void);
KVR2_API void _zvkCOBOLTerm(uint32_t function, uint32_t* rc);
KVR2_API void ZVKCOBOLTERM(uint32_t function, uint32_t* rc);
KVR2_API void _zvk_cpm_exit(void);
KVR2_API void _zvk_cpm_cancel(void);
KVR2_API void _zvkAbort(int32_t cored);

#ifdef __cplusplus
}
#endif
#endif
