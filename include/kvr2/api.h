/*
 * What every public header shares: the mark of an exported entry point and
 * the compile-time check of a shared record's layout, in C and C++ alike.
 */
#ifndef KVR2_API_H
#define KVR2_API_H

#define KVR2_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define KVR2_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define KVR2_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif

#endif
