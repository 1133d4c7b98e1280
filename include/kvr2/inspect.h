/*
 * INSPECT: one call carries out a whole TALLYING, REPLACING or CONVERTING
 * statement, described by an argument block laid out by compiled code.
 */
#ifndef KVR2_INSPECT_H
#define KVR2_INSPECT_H

#include <stddef.h>
#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Operand flags: the inspected item's and each operand's. */
#define ZVK_INSP_NATIONAL_SIGNED 0x00008000u /* with 0x100000: signed national digits */
#define ZVK_INSP_DBCS            0x00010000u /* a character is 2 bytes */
#define ZVK_INSP_FIGURATIVE      0x00020000u /* one character, repeated as needed */
#define ZVK_INSP_SIGN_SEPARATE   0x00040000u
#define ZVK_INSP_SIGN_LEADING    0x00080000u
#define ZVK_INSP_SIGNED_NUMERIC  0x00300000u /* both bits: signed numeric DISPLAY */
#define ZVK_INSP_NATIONAL        0x00400000u /* a character is 2 bytes */
/* Phrase kind bits, in the flags of a phrase's result operand. */
#define ZVK_INSP_AFTER           0x00800000u
#define ZVK_INSP_BEFORE          0x01000000u
#define ZVK_INSP_FIRST           0x02000000u
#define ZVK_INSP_LEADING         0x04000000u
#define ZVK_INSP_CHARACTERS      0x10000000u
#define ZVK_INSP_CONVERTING      0x20000000u
#define ZVK_INSP_REPLACING       0x40000000u
#define ZVK_INSP_TALLYING        0x80000000u

typedef struct InspectOperand {
    uint32_t flags;     /* 0 */
    uint32_t reserved;  /* 4 */
    uint64_t length;    /* 8: bytes */
    void* data;         /* 16 */
} InspectOperand;

/* result: TALLYING: data addresses a 64-bit counter; REPLACING: the
 * replacing value; CONVERTING: the to-string.  compared: the value looked
 * for, or CONVERTING's from-string; unused with CHARACTERS. */
typedef struct InspectPhrase {
    InspectOperand result;    /* 0 */
    InspectOperand compared;  /* 24 */
    InspectOperand before;    /* 48 */
    InspectOperand after;     /* 72 */
} InspectPhrase;

typedef struct InspectBlock {
    int32_t phraseCount;      /* 0 */
    int32_t reserved;         /* 4 */
    uint64_t flags;           /* 8: the inspected item's operand flags */
    uint64_t length;          /* 16: bytes */
    uint8_t* data;            /* 24 */
    InspectPhrase phrases[1]; /* 32, one every 96 bytes */
} InspectBlock;

KVR2_API void _zvkcInspect(InspectBlock* block);

#ifdef __cplusplus
}
KVR2_STATIC_ASSERT(sizeof(InspectOperand) == 24 && offsetof(InspectOperand, data) == 16, "InspectOperand layout");
KVR2_STATIC_ASSERT(sizeof(InspectPhrase) == 96 && offsetof(InspectPhrase, after) == 72, "InspectPhrase layout");
KVR2_STATIC_ASSERT(offsetof(InspectBlock, data) == 24 && offsetof(InspectBlock, phrases) == 32, "InspectBlock layout");
#endif
#endif
