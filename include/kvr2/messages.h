/*
 * Run-time messages: the control bits of a message request and the
 * message entries compiled code and hosts call.
 */
#ifndef KVR2_MESSAGES_H
#define KVR2_MESSAGES_H

#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

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
