/*
 * Entry points and data of libkvr2_64r.so, as compiled COBOL programs and
 * hosts call them.  Each subsystem keeps its declarations in its own header
 * (kvr2/<subsystem>.h); this one declares the frame and includes the rest.
 */
#ifndef KVR2_KVR2_H
#define KVR2_KVR2_H

#include "kvr2/records.h"
#include "kvr2/classcmp.h"
#include "kvr2/unstring.h"
#include "kvr2/search.h"
#include "kvr2/edit.h"
#include "kvr2/inspect.h"
#include "kvr2/intrinsics.h"
#include "kvr2/programs.h"
#include "kvr2/signals.h"
#include "kvr2/storage.h"
#include "kvr2/codepage.h"
#include "kvr2/console.h"
#include "kvr2/decimal.h"
#include "kvr2/decimal_muldiv.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- exported data ---- */
extern KVR2_API Proccom* _zvkProccom;
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

/* ---- messages ---- */
#define ZVK_MSG_OPEN        0x0100u
#define ZVK_MSG_CLOSE       0x0101u
#define ZVK_MSG_NOTRACEBACK 0x0400u
#define ZVK_MSG_SEVERE      0x0800u
#define ZVK_MSG_INFO        0x1000u
#define ZVK_MSG_STRING      0x2000u
KVR2_API uint32_t _zvkWriteERRmsg(uint32_t number, uint32_t control, ...);
KVR2_API void ZVKABEND(void);
KVR2_API void ZVKABORT(void);
KVR2_API void _Dmr_issue_Mod_ErrMsg(void);
KVR2_API void _Dmr_issue_Rem_ErrMsg(void);
KVR2_API void _Dmr_char_msg(void);
KVR2_API void _Dmr_ord_msg(void);

#ifdef __cplusplus
}
#endif
#endif
