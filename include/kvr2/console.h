/*
 * The console verbs: DISPLAY, ACCEPT (from a device or the clock), ACCEPT
 * of a national item, and STOP with a literal.
 */
#ifndef KVR2_CONSOLE_H
#define KVR2_CONSOLE_H

#include <stddef.h>
#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* DisplayRequest.device */
#define ZVK_DISPLAY_SYSOUT   1
#define ZVK_DISPLAY_CONSOLE  2
#define ZVK_DISPLAY_SYSPUNCH 3
/* DisplayRequest.options */
#define ZVK_DISPLAY_NO_ADVANCING 0x01

/* The header of a DISPLAY statement, built by compiled code. */
typedef struct DisplayRequest {
    int32_t itemCount;      /* 0: number of items; 0 or less: only the line end */
    uint8_t device;         /* 4 */
    uint8_t options;        /* 5 */
    uint8_t decimalPoint;   /* 6: shown as the point of a floating-point item */
    uint8_t reserved7;
} DisplayRequest;

/* DisplayItem.kind */
#define ZVK_ITEM_FLOAT    1
#define ZVK_ITEM_ALPHA    2
#define ZVK_ITEM_BINARY   3
#define ZVK_ITEM_NATIONAL 4
#define ZVK_ITEM_DBCS     5
#define ZVK_ITEM_UBINARY  7

/* One item of a DISPLAY statement; items stand 32 bytes apart. */
typedef struct DisplayItem {
    const void* address;    /* 0: null shows "(NULL)" */
    uint64_t size;          /* 8: bytes of storage */
    uint64_t width;         /* 16: in: digits to show; out: bytes of text */
    uint32_t kind;          /* 24 */
    uint32_t reserved28;
} DisplayItem;

#ifdef __cplusplus
KVR2_STATIC_ASSERT(offsetof(DisplayRequest, device) == 4, "DisplayRequest.device");
KVR2_STATIC_ASSERT(offsetof(DisplayRequest, options) == 5, "DisplayRequest.options");
KVR2_STATIC_ASSERT(offsetof(DisplayRequest, decimalPoint) == 6, "DisplayRequest.decimalPoint");
KVR2_STATIC_ASSERT(offsetof(DisplayItem, size) == 8, "DisplayItem.size");
KVR2_STATIC_ASSERT(offsetof(DisplayItem, width) == 16, "DisplayItem.width");
KVR2_STATIC_ASSERT(offsetof(DisplayItem, kind) == 24, "DisplayItem.kind");
KVR2_STATIC_ASSERT(sizeof(DisplayItem) == 32, "DisplayItem stride");
#endif

/* ACCEPT flags */
#define ZVK_ACCEPT_DAY_OF_WEEK 0x01
#define ZVK_ACCEPT_SYSIN       0x02
#define ZVK_ACCEPT_TIME        0x04
#define ZVK_ACCEPT_DAY         0x08
#define ZVK_ACCEPT_DATE        0x10
#define ZVK_ACCEPT_CONSOLE     0x20
#define ZVK_ACCEPT_YYYY        0x40
#define ZVK_ACCEPT_DBCS        0x80

KVR2_API void _zvkcDisplay(const DisplayRequest* request, DisplayItem* items);
KVR2_API void _zvkcAccept(uint32_t flags, int64_t length, uint8_t* target);
/* *length: UTF-16 units, read as a signed 32-bit value. */
KVR2_API void _zvkAcceptUnicode(int32_t flags, const uint64_t* length, uint16_t* target);
KVR2_API void _zvkcStopLiteral(uint64_t length, const uint8_t* text);

#ifdef __cplusplus
}
#endif
#endif
