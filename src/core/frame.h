// Internal frame shared by every family: argument checks, the row-parallel
// policy and small helpers.  Not installed.
#ifndef OZRJ_CORE_FRAME_H
#define OZRJ_CORE_FRAME_H

#include <cstddef>
#include <cstdint>
#include <omp.h>
#include <type_traits>

#include "ozrj.h"

namespace ozr {

// ------------------------------------------------------------ argument checks
// Each exported function states its check order in one expression:
//
//     if (OzrStatus st = firstFailure(ptr(pSrc), step(srcStep), ptr(pDst),
//                                     step(dstStep), size(roi)))
//         return st;
//
// Each test yields 0 when it passes; the first non-zero status wins.
constexpr OzrStatus ptr(const void* p) { return p ? ozrStatusOk : ozrStatusNullPointer; }
constexpr OzrStatus step(int s) { return s >= 1 ? ozrStatusOk : ozrStatusBadStep; }
constexpr OzrStatus size(OzriSize r) {
    return (r.width >= 1 && r.height >= 1) ? ozrStatusOk : ozrStatusBadSize;
}
constexpr OzrStatus length(int n) { return n >= 1 ? ozrStatusOk : ozrStatusBadSize; }
// Any condition with the status it reports when it holds.
constexpr OzrStatus failIf(bool bad, OzrStatus st) { return bad ? st : ozrStatusOk; }

// Pointer arrays (planar images): the array itself, then every plane.
template <typename T>
constexpr OzrStatus planes(T* const* arr, int n) {
    if (!arr) return ozrStatusNullPointer;
    for (int i = 0; i < n; ++i)
        if (!arr[i]) return ozrStatusNullPointer;
    return ozrStatusOk;
}

constexpr OzrStatus firstFailure() { return ozrStatusOk; }
template <typename... Rest>
constexpr OzrStatus firstFailure(OzrStatus first, Rest... rest) {
    return first != ozrStatusOk ? first : firstFailure(rest...);
}

// ------------------------------------------------------------ records
// Records that callers obtain through GetBufSize + Init on their own memory,
// or InitAlloc (allocated with ozrsMalloc_8u) + Free.  A failed allocation
// reports a null pointer, and *pp is set before init runs, so a record that
// init finds bad is still handed to the caller to free.
template <typename Rec>
OzrStatus recordSize(int* pSize) {
    if (!pSize) return ozrStatusNullPointer;
    *pSize = static_cast<int>(sizeof(Rec));
    return ozrStatusOk;
}
template <typename Rec, typename Init>
OzrStatus recordAlloc(Rec** pp, Init&& init) {
    if (!pp) return ozrStatusNullPointer;
    Rec* r = reinterpret_cast<Rec*>(ozrsMalloc_8u(static_cast<int>(sizeof(Rec))));
    if (!r) return ozrStatusNullPointer;
    *pp = r;
    return init(r);
}
template <typename Rec>
OzrStatus recordFree(Rec* p) {
    if (!p) return ozrStatusNullPointer;
    ozrsFree(p);
    return ozrStatusOk;
}

// ------------------------------------------------------------ CPU dispatch
// The baseline is SSSE3; families may add AVX2 kernels (files *_avx2.cpp,
// which may also use BMI1/BMI2) and pick them with this test.  Every such kernel has the same scalar twin
// as its SSSE3 sibling and must give identical results.
inline bool cpuHasAvx2() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}

// AVX-512 foundation with the byte/word, vector-length, conflict-detection
// (leading-zero count) and byte-permute (VBMI, VBMI2 compress) groups, on top
// of everything cpuHasAvx2() needs.
inline bool cpuHasAvx512() {
    return cpuHasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512cd") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2");
}

// ------------------------------------------------------------ pointer helpers
template <typename T>
inline T* rowPtr(T* base, int step, int y) {
    using B = typename std::conditional<std::is_const<T>::value, const uint8_t, uint8_t>::type;
    return reinterpret_cast<T*>(reinterpret_cast<B*>(base) + static_cast<std::ptrdiff_t>(step) * y);
}

// ---------------------------------------------------------- threading policy
// Regions with width*height (as a signed 32-bit product) at or above this
// many pixels are split over threads.
constexpr int kParallelPixels = 8193;

// The signed 32-bit product the policy compares, wrapping as 32-bit math does.
inline int32_t regionPixels(int width, int height) {
    return static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
}

// Contiguous static share of rows [0, rows) for thread t of n, as an OpenMP
// static schedule without chunk size hands them out.
inline void staticShare(int rows, int n, int t, int* begin, int* end) {
    int q = rows / n, r = rows % n;
    *begin = t * q + (t < r ? t : r);
    *end = *begin + q + (t < r ? 1 : 0);
}

// Runs rowRange(y0, y1) over rows [0, height): on the calling thread when the
// region is small, only one thread is allowed, or we are already inside a
// parallel region; otherwise over ownGetNumThreads() threads, each taking one
// contiguous range.  Every row must depend only on its own inputs, so the
// output never depends on the thread count.
template <typename RowRange>
void parallelRows(int width, int height, RowRange&& rowRange) {
    const int threads = ownGetNumThreads();
    if (regionPixels(width, height) < kParallelPixels || threads <= 1 || omp_in_parallel()) {
        rowRange(0, height);
        return;
    }
#pragma omp parallel num_threads(threads)
    {
        int y0, y1;
        staticShare(height, omp_get_num_threads(), omp_get_thread_num(), &y0, &y1);
        if (y0 < y1) rowRange(y0, y1);
    }
}

}  // namespace ozr

#endif  // OZRJ_CORE_FRAME_H
