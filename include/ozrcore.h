/* ozrcore.h - core support library of ozrj: aligned memory, cache size and
 * the thread count that the row-parallel functions of libozrjn8 use. */
#ifndef OZRCORE_H
#define OZRCORE_H

#include <stddef.h>

#if defined(OZRCORE_BUILDING)
#define OZRCORE_API __attribute__((visibility("default")))
#else
#define OZRCORE_API
#endif

#ifndef OZR_STATUS_DEFINED
#define OZR_STATUS_DEFINED
typedef int OzrStatus; /* signed 32-bit result code: 0 ok, <0 error, >0 warning */
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Allocates size bytes aligned to 64 bytes; null for size 0 or on failure. */
OZRCORE_API void* ozrMalloc(size_t size);
/* Releases a block from ozrMalloc; null is ignored. */
OZRCORE_API void ozrFree(void* ptr);
/* Stores the size in bytes of the largest data cache of the processor; 0 ok, -8 null, -1 unknown. */
OZRCORE_API OzrStatus ozrGetMaxCacheSizeB(int* pSizeByte);
/* Number of threads the library may use now (the application's setting, else the processor count). */
OZRCORE_API int ownGetNumThreads(void);
/* Sets the thread count for later calls; 0 ok, -6 for a count below 1. */
OZRCORE_API OzrStatus ozrSetNumThreads(int numThreads);
/* Returns the thread count that ownGetNumThreads reports. */
OZRCORE_API int ozrGetNumThreads(void);

#ifdef __cplusplus
}
#endif

#endif /* OZRCORE_H */
