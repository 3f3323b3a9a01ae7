// Core support library: aligned allocation, cache size query and the
// application's thread-count setting.
#include "ozrcore.h"

#include <atomic>
#include <cpuid.h>
#include <cstdlib>
#include <omp.h>

namespace {
// The one setting of the core library: 0 means "not set, use every processor".
std::atomic<int> g_threadSetting{0};
}  // namespace

extern "C" {

void* ozrMalloc(size_t size) {
    if (size == 0) return nullptr;
    void* p = nullptr;
    if (posix_memalign(&p, 64, size) != 0) return nullptr;
    return p;
}

void ozrFree(void* ptr) { std::free(ptr); }

OzrStatus ozrGetMaxCacheSizeB(int* pSizeByte) {
    if (!pSizeByte) return -8;
    unsigned a, b, c, d;
    if (!__get_cpuid(0, &a, &b, &c, &d) || a < 4) return -1;
    long long best = 0;
    // Deterministic cache parameters: one sub-leaf per cache until type 0.
    for (unsigned sub = 0; sub < 16; ++sub) {
        __cpuid_count(4, sub, a, b, c, d);
        unsigned type = a & 31u;
        if (type == 0) break;
        if (type == 2) continue;  // instruction cache
        long long ways = ((b >> 22) & 0x3ffu) + 1;
        long long parts = ((b >> 12) & 0x3ffu) + 1;
        long long line = (b & 0xfffu) + 1;
        long long sets = (long long)c + 1;
        long long sz = ways * parts * line * sets;
        if (sz > best) best = sz;
    }
    if (best == 0) {
        // AMD processors report through the extended leaves instead.
        if (__get_cpuid(0x80000000u, &a, &b, &c, &d) && a >= 0x80000006u) {
            __cpuid(0x80000006u, a, b, c, d);
            long long l2 = (long long)(c >> 16) * 1024;
            long long l3 = (long long)(d >> 18) * 512 * 1024;
            best = l3 > l2 ? l3 : l2;
        }
    }
    if (best <= 0) return -1;
    if (best > 0x7fffffff) best = 0x7fffffff;
    *pSizeByte = (int)best;
    return 0;
}

int ownGetNumThreads(void) {
    int n = g_threadSetting.load(std::memory_order_relaxed);
    if (n > 0) return n;
    n = omp_get_num_procs();
    return n > 0 ? n : 1;
}

OzrStatus ozrSetNumThreads(int numThreads) {
    if (numThreads < 1) return -6;
    g_threadSetting.store(numThreads, std::memory_order_relaxed);
    return 0;
}

int ozrGetNumThreads(void) { return ownGetNumThreads(); }

}  // extern "C"
