/*
 * EXTERNAL data items and the allocators compiled code calls.
 */
#ifndef KVR2_STORAGE_H
#define KVR2_STORAGE_H

#include <stddef.h>
#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The compiler's table of a program's EXTERNAL items: a u32 count at byte
   0, then from byte 36 one 36-byte row per item (u32 length, then the
   name, NUL-terminated).  `addresses` receives one pointer per row. */
#define ZVK_EXTVAR_FIRST_ROW 36u
#define ZVK_EXTVAR_ROW 36u
#define ZVK_EXTVAR_NAME_MAX 31u
KVR2_API void _zvkExtVarInit(uint32_t* items, void** addresses);

KVR2_API void* _zvkMalloc(uint64_t size, uint32_t number, uint32_t control);
KVR2_API void* _zvkcalloc(int32_t clear, uint64_t size);
KVR2_API void _zvkcfree(void* p);
KVR2_API void* _Dmr_mem_alloc(uint64_t size);
KVR2_API void _Dmr_mem_free(void* p);

/* Tracing and checking forms of the memory routines. */
KVR2_API void* dbg_memset(void* s, int c, size_t n);
KVR2_API void* dbg_memcpy(void* s1, const void* s2, size_t n);
KVR2_API int dbg_memcmp(const void* s1, const void* s2, size_t n);
KVR2_API void* c__memcpy(void* s1, const void* s2, size_t n);
KVR2_API int c__memcmp(const void* s1, const void* s2, size_t n);
KVR2_API void* c__memset(void* s1, int c, size_t n);
KVR2_API char* c__strcpy(char* s1, const char* s2);
KVR2_API int c__strcmp(const char* s1, const char* s2);
KVR2_API size_t c__strlen(const char* s1);

#ifdef __cplusplus
}
#endif
#endif
