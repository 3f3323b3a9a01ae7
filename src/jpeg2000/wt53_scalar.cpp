// Scalar 5/3 kernels: the definition of every vector kernel in wt53_ssse3.cpp.
#include "jpeg2000/wt53.h"
#include "jpeg2000/wt53_arith.h"

namespace ozr {
namespace wt53 {
namespace scalar {

template <class T, bool Wrap>
void predict(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) dst[i] = A::sub(x[i], A::avg(a[i], b[i]));
}

template <class T, bool Wrap>
void update(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) dst[i] = A::add(x[i], A::upd(a[i], b[i]));
}

template <class T, bool Wrap>
void ipredict(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) dst[i] = A::add(x[i], A::avg(a[i], b[i]));
}

template <class T, bool Wrap>
void iupdate(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) dst[i] = A::sub(x[i], A::upd(a[i], b[i]));
}

template <class T, bool Wrap>
void fwdLift(const T* x0, const T* x1, const T* x2, T* lo, const T* hp, T* hi, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) {
        const T s0 = x0[i], s1 = x1[i], s2 = x2[i], p = hp[i];
        const T h = A::sub(s1, A::avg(s0, s2));
        hi[i] = h;
        lo[i] = A::add(s0, A::upd(p, h));
    }
}

template <class T, bool Wrap>
void invLift(const T* lo, const T* hp, const T* hi, const T* ep, T* od, T* ev, int n) {
    using A = Arith<T, Wrap>;
    for (int i = 0; i < n; ++i) {
        const T l = lo[i], p = hp[i], h = hi[i], e0 = ep[i];
        const T e = A::sub(l, A::upd(p, h));
        ev[i] = e;
        od[i] = A::add(p, A::avg(e0, e));
    }
}

// The row filters, written as the lifting formulas of each phase.
template <class T>
void rowFwd(const T* x, T* lo, T* hi, int n, int phase) {
    using A = Arith<T, false>;
    if (phase == 0) {
        T hPrev = A::sub(x[-1], A::avg(x[-2], x[0]));
        for (int i = 0; i < n; ++i) {
            const T h = A::sub(x[2 * i + 1], A::avg(x[2 * i], x[2 * i + 2]));
            lo[i] = A::add(x[2 * i], A::upd(hPrev, h));
            hi[i] = h;
            hPrev = h;
        }
    } else {
        T h = A::sub(x[0], A::avg(x[-1], x[1]));
        for (int i = 0; i < n; ++i) {
            const T hNext = A::sub(x[2 * i + 2], A::avg(x[2 * i + 1], x[2 * i + 3]));
            hi[i] = h;
            lo[i] = A::add(x[2 * i + 1], A::upd(h, hNext));
            h = hNext;
        }
    }
}

template <class T>
void rowInv(const T* lo, const T* hi, T* x, int n, int phase) {
    using A = Arith<T, false>;
    if (phase == 0) {
        T e = A::sub(lo[0], A::upd(hi[-1], hi[0]));
        for (int i = 0; i < n; ++i) {
            const T eNext = A::sub(lo[i + 1], A::upd(hi[i], hi[i + 1]));
            x[2 * i] = e;
            x[2 * i + 1] = A::add(hi[i], A::avg(e, eNext));
            e = eNext;
        }
    } else {
        T e = A::sub(lo[-1], A::upd(hi[-1], hi[0]));  // even sample left of the row
        for (int i = 0; i < n; ++i) {
            const T eNext = A::sub(lo[i], A::upd(hi[i], hi[i + 1]));
            x[2 * i] = A::add(hi[i], A::avg(e, eNext));
            x[2 * i + 1] = eNext;
            e = eNext;
        }
    }
}

#define OZR_INST(T, W)                                                                     \
    template void predict<T, W>(T*, const T*, const T*, const T*, int);                    \
    template void update<T, W>(T*, const T*, const T*, const T*, int);                     \
    template void ipredict<T, W>(T*, const T*, const T*, const T*, int);                   \
    template void iupdate<T, W>(T*, const T*, const T*, const T*, int);                    \
    template void fwdLift<T, W>(const T*, const T*, const T*, T*, const T*, T*, int);      \
    template void invLift<T, W>(const T*, const T*, const T*, const T*, T*, T*, int);
OZR_INST(int16_t, false)
OZR_INST(int16_t, true)
OZR_INST(int32_t, false)
#undef OZR_INST
template void rowFwd<int16_t>(const int16_t*, int16_t*, int16_t*, int, int);
template void rowFwd<int32_t>(const int32_t*, int32_t*, int32_t*, int, int);
template void rowInv<int16_t>(const int16_t*, const int16_t*, int16_t*, int, int);
template void rowInv<int32_t>(const int32_t*, const int32_t*, int32_t*, int, int);

}  // namespace scalar
}  // namespace wt53
}  // namespace ozr
