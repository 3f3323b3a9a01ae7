// Reversible 5/3 wavelet: lifting kernels and the whole-tile transforms.
//
// Every kernel exists twice: ozr::wt53::scalar holds the definition (plain
// loops over the lifting formulas), ozr::wt53::ssse3 the vector form, which
// must give the same samples for every length, alignment and input.
//
// Arithmetic modes (template parameter Wrap):
//   32-bit samples: sums and shifts wrap in 32 bits (Wrap is ignored).
//   16-bit samples, Wrap = false: the result is what 32-bit sums would give,
//     stored in 16 bits.  The vector form gets there without widening:
//     floor((a + b) / 2) = (a & b) + ((a ^ b) >> 1) and
//     floor((a + b + 2) / 4) = s - (s >> 1) with s = floor((a + b) / 2).
//   16-bit samples, Wrap = true: every sum and shift in 16-bit wrapping
//     arithmetic (the exported ColLift pair).
//
// Notation: avg(a, b) = (a + b) >> 1, upd(a, b) = (a + b + 2) >> 2.
#ifndef OZRJ_JPEG2000_WT53_H
#define OZRJ_JPEG2000_WT53_H

#include <cstdint>

#include "ozrj.h"

namespace ozr {
namespace wt53 {

#define OZR_WT53_KERNELS                                                                           \
    /* dst = x - avg(a, b) (forward predict) */                                                    \
    template <class T, bool Wrap>                                                                  \
    void predict(T* dst, const T* x, const T* a, const T* b, int n);                               \
    /* dst = x + upd(a, b) (forward update) */                                                     \
    template <class T, bool Wrap>                                                                  \
    void update(T* dst, const T* x, const T* a, const T* b, int n);                                \
    /* dst = x + avg(a, b) (inverse predict) */                                                    \
    template <class T, bool Wrap>                                                                  \
    void ipredict(T* dst, const T* x, const T* a, const T* b, int n);                              \
    /* dst = x - upd(a, b) (inverse update) */                                                     \
    template <class T, bool Wrap>                                                                  \
    void iupdate(T* dst, const T* x, const T* a, const T* b, int n);                               \
    /* hi = x1 - avg(x0, x2); lo = x0 + upd(hp, hi).  lo may be x0, hi may be x1. */               \
    template <class T, bool Wrap>                                                                  \
    void fwdLift(const T* x0, const T* x1, const T* x2, T* lo, const T* hp, T* hi, int n);        \
    /* ev = lo - upd(hp, hi); od = hp + avg(ep, ev).  ev may be lo, od may be hp. */               \
    template <class T, bool Wrap>                                                                  \
    void invLift(const T* lo, const T* hp, const T* hi, const T* ep, T* od, T* ev, int n);        \
    /* One row, borders extended by the caller (phase 0 reads x[-2..2n], else x[-1..2n+1]). */     \
    template <class T>                                                                             \
    void rowFwd(const T* x, T* lo, T* hi, int n, int phase);                                       \
    /* One row back (phase 0 reads lo[0..n], hi[-1..n]; else lo[-1..n-1], hi[-1..n]). */           \
    template <class T>                                                                             \
    void rowInv(const T* lo, const T* hi, T* x, int n, int phase);

namespace scalar {
OZR_WT53_KERNELS
}  // namespace scalar

namespace ssse3 {
OZR_WT53_KERNELS
}  // namespace ssse3

#undef OZR_WT53_KERNELS

// Kernel sets, so that the whole-tile code can run on either.
#define OZR_WT53_FORWARD_SET(ns)                                                                    \
    template <class T, bool W>                                                                      \
    static void predict(T* d, const T* x, const T* a, const T* b, int n) { ns::predict<T, W>(d, x, a, b, n); } \
    template <class T, bool W>                                                                      \
    static void update(T* d, const T* x, const T* a, const T* b, int n) { ns::update<T, W>(d, x, a, b, n); } \
    template <class T, bool W>                                                                      \
    static void ipredict(T* d, const T* x, const T* a, const T* b, int n) { ns::ipredict<T, W>(d, x, a, b, n); } \
    template <class T, bool W>                                                                      \
    static void iupdate(T* d, const T* x, const T* a, const T* b, int n) { ns::iupdate<T, W>(d, x, a, b, n); } \
    template <class T, bool W>                                                                      \
    static void fwdLift(const T* x0, const T* x1, const T* x2, T* lo, const T* hp, T* hi, int n) {  \
        ns::fwdLift<T, W>(x0, x1, x2, lo, hp, hi, n);                                               \
    }                                                                                               \
    template <class T, bool W>                                                                      \
    static void invLift(const T* lo, const T* hp, const T* hi, const T* ep, T* od, T* ev, int n) {  \
        ns::invLift<T, W>(lo, hp, hi, ep, od, ev, n);                                               \
    }                                                                                               \
    template <class T>                                                                              \
    static void rowFwd(const T* x, T* lo, T* hi, int n, int ph) { ns::rowFwd<T>(x, lo, hi, n, ph); } \
    template <class T>                                                                              \
    static void rowInv(const T* lo, const T* hi, T* x, int n, int ph) { ns::rowInv<T>(lo, hi, x, n, ph); }

struct ScalarKernels {
    OZR_WT53_FORWARD_SET(scalar)
};
struct SimdKernels {
    OZR_WT53_FORWARD_SET(ssse3)
};
#undef OZR_WT53_FORWARD_SET

// Whole-tile transforms of one level on an image in place.  buf is the
// caller's work buffer (any alignment) of at least the C1IR size query's
// bytes.  W or H below 1: nothing is done.
template <class K, class T>
void tileFwd(T* img, int step, int x, int y, int W, int H, uint8_t* buf);
template <class K, class T>
void tileInv(T* img, int step, int x, int y, int W, int H, uint8_t* buf);

// Buffer sizes in bytes as 64-bit values (the queries report the int range).
int64_t bufSizeC1IR(int W, int H, int sampleBytes);
int64_t bufSizeC1R(int W, int H, int sampleBytes);
// Row step of the image copy that the C1R members keep in the buffer.
inline int64_t c1rImageStep(int W, int sampleBytes) {
    return (static_cast<int64_t>(sampleBytes) * W + 31) & ~static_cast<int64_t>(31);
}

}  // namespace wt53
}  // namespace ozr

#endif  // OZRJ_JPEG2000_WT53_H
