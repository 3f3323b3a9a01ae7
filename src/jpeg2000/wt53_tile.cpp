// Whole-tile 5/3 transforms of one decomposition level, in place.
//
// Forward: the vertical lifting runs down the rows in one sweep (each step
// lifts a pair of whole rows, so memory is read in row order), then one
// sweep moves every row to its de-interleaved place (low rows first) along
// the cycles of that row permutation, filtering it horizontally on the way.
// Inverse: the same two sweeps in reverse order.  The caller's work buffer
// holds one row: the first row of each permutation cycle, or a row that stays
// in place.  Symmetric extension mirrors rows (and samples) about the edge
// samples; the mirrored high coefficients equal interior ones, so no extended
// copies are needed except a few samples at the ends of each row.
#include <xmmintrin.h>

#include <cstring>

#include "core/frame.h"
#include "jpeg2000/wt53.h"
#include "jpeg2000/wt53_arith.h"

namespace ozr {
namespace wt53 {
namespace {

// Whole-sample symmetric extension of [0, n), repeated as often as needed.
inline int mirror(int i, int n) {
    if (n == 1) return 0;
    const int period = 2 * (n - 1);
    i %= period;
    if (i < 0) i += period;
    return i < n ? i : period - i;
}

template <class T>
inline T* rowAt(T* img, int step, int r) {
    return rowPtr(img, step, r);
}

template <class T>
T* alignedBuffer(uint8_t* buf) {
    const uintptr_t a = reinterpret_cast<uintptr_t>(buf);
    const uintptr_t pad = (sizeof(T) - a % sizeof(T)) % sizeof(T);
    return reinterpret_cast<T*>(buf + pad);
}

// ------------------------------------------------------------- horizontal
constexpr int kEdgePairs = 8;

// Row of W >= 3 samples (phase px) -> nL low then nH high, src != dst.
template <class K, class T>
void hFwd(const T* src, T* dst, int W, int px) {
    const int nL = (W + 1 - px) >> 1, nH = W - nL;
    const int pairs = (W + 1) >> 1;
    T* lo = dst;
    T* hi = dst + nL;
    int kB = (W - 1 - px) >> 1;
    if (kB > nL) kB = nL;
    if (kB > nH) kB = nH;
    const int kA = kB > 1 ? 1 : kB;
    if (kB > kA) K::template rowFwd<T>(src + 2 * kA, lo + kA, hi + kA, kB - kA, px);
    auto edge = [&](int k0, int k1) {
        for (; k0 < k1; k0 += kEdgePairs) {
            const int c = k1 - k0 < kEdgePairs ? k1 - k0 : kEdgePairs;
            T ext[2 * kEdgePairs + 3], tLo[kEdgePairs], tHi[kEdgePairs];
            const int lower = 2 * k0 - 2 + px, upper = 2 * k0 + 2 * c + px;
            for (int j = 0; j <= upper - lower; ++j) ext[j] = src[mirror(lower + j, W)];
            K::template rowFwd<T>(ext + 2 - px, tLo, tHi, c, px);
            for (int j = 0; j < c && k0 + j < nL; ++j) lo[k0 + j] = tLo[j];
            for (int j = 0; j < c && k0 + j < nH; ++j) hi[k0 + j] = tHi[j];
        }
    };
    edge(0, kA);
    edge(kB, pairs);
}

// nL low and nH high coefficients -> row of W >= 3 samples; dst differs
// from both sources.
template <class K, class T>
void hInv(const T* lo, const T* hi, T* dst, int W, int px) {
    const int nL = (W + 1 - px) >> 1, nH = W - nL;
    const int pairs = (W + 1) >> 1;
    int kB = nL - 1 + px;
    if (kB > nH - 1) kB = nH - 1;
    if (kB > (W >> 1)) kB = W >> 1;
    const int kA = kB > 1 ? 1 : (kB > 0 ? kB : 0);
    if (kB > kA) K::template rowInv<T>(lo + kA, hi + kA, dst + 2 * kA, kB - kA, px);
    // Coefficient at interleaved position i of the mirrored signal.
    auto coef = [&](int i) {
        i = mirror(i, W);
        return ((i ^ px) & 1) == 0 ? lo[i >> 1] : hi[i >> 1];
    };
    auto edge = [&](int k0, int k1) {
        for (; k0 < k1; k0 += kEdgePairs) {
            const int c = k1 - k0 < kEdgePairs ? k1 - k0 : kEdgePairs;
            T eLo[kEdgePairs + 2], eHi[kEdgePairs + 2], out[2 * kEdgePairs];
            for (int j = 0; j < c + 2; ++j) {
                const int k = k0 - 1 + j;
                eLo[j] = coef(2 * k + px);
                eHi[j] = coef(2 * k + 1 - px);
            }
            K::template rowInv<T>(eLo + 1, eHi + 1, out, c, px);
            for (int j = 0; j < 2 * c && 2 * k0 + j < W; ++j) dst[2 * k0 + j] = out[j];
        }
    };
    edge(0, kA);
    edge(kB < kA ? kA : kB, pairs);
}

// W of 1 or 2, in place.
template <class T>
void narrowFwd(T* r, int W, int px) {
    using A = Arith<T, false>;
    if (W == 1) {
        if (px) r[0] = A::add(r[0], r[0]);
        return;
    }
    const T a = r[px], b = r[1 - px];
    const T h = A::sub(b, a);
    r[1] = h;
    r[0] = A::add(a, A::avg(h, 1));
}

template <class T>
void narrowInv(T* r, int W, int px) {
    using A = Arith<T, false>;
    if (W == 1) {
        if (px) r[0] = static_cast<T>(r[0] / 2);
        return;
    }
    const T low = r[0], high = r[1];
    const T e = A::sub(low, A::avg(high, 1));
    const T o = A::add(high, e);
    r[px] = e;
    r[1 - px] = o;
}

// --------------------------------------------------------------- vertical
// Rows hold the signal interleaved; lift it in place, top to bottom.
template <class K, class T>
void vFwd(T* img, int step, int W, int H, int py) {
    auto R = [&](int r) { return rowAt(img, step, r); };
    int i;
    if (py == 0) {
        K::template predict<T, false>(R(1), R(1), R(0), R(2), W);
        K::template update<T, false>(R(0), R(0), R(1), R(1), W);
        i = 3;
    } else {
        K::template predict<T, false>(R(0), R(0), R(1), R(1), W);
        i = 2;
    }
    for (; i < H; i += 2) {
        T* x2 = i + 1 < H ? R(i + 1) : R(i - 1);
        K::template fwdLift<T, false>(R(i - 1), R(i), x2, R(i - 1), R(i - 2), R(i), W);
    }
    if (((H - 1 + py) & 1) == 0) K::template update<T, false>(R(H - 1), R(H - 1), R(H - 2), R(H - 2), W);
}

template <class K, class T>
void vInv(T* img, int step, int W, int H, int py) {
    auto R = [&](int r) { return rowAt(img, step, r); };
    int i;
    if (py == 0) {
        K::template iupdate<T, false>(R(0), R(0), R(1), R(1), W);
        i = 2;
    } else {
        K::template iupdate<T, false>(R(1), R(1), R(0), R(2), W);
        K::template ipredict<T, false>(R(0), R(0), R(1), R(1), W);
        i = 3;
    }
    for (; i < H; i += 2) {
        T* hi = i + 1 < H ? R(i + 1) : R(i - 1);
        K::template invLift<T, false>(R(i), R(i - 1), hi, R(i - 2), R(i - 1), R(i), W);
    }
    if (((H - 1 + py) & 1) == 1) K::template ipredict<T, false>(R(H - 1), R(H - 1), R(H - 2), R(H - 2), W);
}

// Rows 0..H-1 of one column, H of 1 or 2, in place across the whole row.
template <class T>
void shortFwd(T* img, int step, int W, int H, int py) {
    using A = Arith<T, false>;
    T* r0 = rowAt(img, step, 0);
    if (H == 1) {
        if (py)
            for (int j = 0; j < W; ++j) r0[j] = A::add(r0[j], r0[j]);
        return;
    }
    T* r1 = rowAt(img, step, 1);
    T* ra = py ? r1 : r0;
    T* rb = py ? r0 : r1;
    for (int j = 0; j < W; ++j) {
        const T a = ra[j], b = rb[j];
        const T h = A::sub(b, a);
        r1[j] = h;
        r0[j] = A::add(a, A::avg(h, 1));
    }
}

template <class T>
void shortInv(T* img, int step, int W, int H, int py) {
    using A = Arith<T, false>;
    T* r0 = rowAt(img, step, 0);
    if (H == 1) {
        if (py)
            for (int j = 0; j < W; ++j) r0[j] = static_cast<T>(r0[j] / 2);
        return;
    }
    T* r1 = rowAt(img, step, 1);
    T* re = py ? r1 : r0;
    T* ro = py ? r0 : r1;
    for (int j = 0; j < W; ++j) {
        const T low = r0[j], high = r1[j];
        const T e = A::sub(low, A::avg(high, 1));
        re[j] = e;
        ro[j] = A::add(high, e);
    }
}

// ------------------------------------------------------------ permutation
// Rows are visited out of order; start fetching the head of the next one.
template <class T>
inline void prefetchRow(const T* row, int W) {
    const char* p = reinterpret_cast<const char*>(row);
    const size_t bytes = sizeof(T) * static_cast<size_t>(W) < 1024 ? sizeof(T) * static_cast<size_t>(W) : 1024;
    for (size_t i = 0; i < bytes; i += 64) _mm_prefetch(p + i, _MM_HINT_T0);
}

// Moves row srcOf(p) to row p for every p, applying move(src, dst) on the way
// (src != dst); rows that stay put get moveInPlace(row).  tmp holds one row.
template <class T, class SrcOf, class Move, class MoveInPlace>
void permuteRows(T* img, int step, int W, int H, T* tmp, SrcOf srcOf, Move move, MoveInPlace moveInPlace) {
    for (int s = 0; s < H; ++s) {
        int q = srcOf(s);
        if (q == s) {
            moveInPlace(rowAt(img, step, s));
            continue;
        }
        while (q > s) q = srcOf(q);
        if (q != s) continue;  // the cycle holds a smaller row: done already
        std::memcpy(tmp, rowAt(img, step, s), sizeof(T) * static_cast<size_t>(W));
        int p = s;
        for (;;) {
            q = srcOf(p);
            if (q == s) {
                move(static_cast<const T*>(tmp), rowAt(img, step, p));
                break;
            }
            prefetchRow(rowAt(img, step, srcOf(q)), W);  // the row after this one
            move(static_cast<const T*>(rowAt(img, step, q)), rowAt(img, step, p));
            p = q;
        }
    }
}

}  // namespace

template <class K, class T>
void tileFwd(T* img, int step, int x, int y, int W, int H, uint8_t* buf) {
    if (W < 1 || H < 1) return;
    const int px = x & 1, py = y & 1;
    T small[2];
    T* tmp = W <= 2 ? small : alignedBuffer<T>(buf);
    auto move = [&](const T* src, T* dst) {
        if (W <= 2) {
            std::memmove(dst, src, sizeof(T) * W);
            narrowFwd(dst, W, px);
        } else {
            hFwd<K, T>(src, dst, W, px);
        }
    };
    auto moveInPlace = [&](T* row) {
        if (W <= 2) {
            narrowFwd(row, W, px);
        } else {
            std::memcpy(tmp, row, sizeof(T) * W);
            hFwd<K, T>(tmp, row, W, px);
        }
    };
    if (H <= 2) {
        shortFwd(img, step, W, H, py);
        for (int r = 0; r < H; ++r) moveInPlace(rowAt(img, step, r));
        return;
    }
    vFwd<K, T>(img, step, W, H, py);
    const int nL = (H + 1 - py) >> 1;
    permuteRows(img, step, W, H, tmp,
                [&](int p) { return p < nL ? 2 * p + py : 2 * (p - nL) + 1 - py; }, move, moveInPlace);
}

template <class K, class T>
void tileInv(T* img, int step, int x, int y, int W, int H, uint8_t* buf) {
    if (W < 1 || H < 1) return;
    const int px = x & 1, py = y & 1;
    const int nLx = (W + 1 - px) >> 1;
    T small[2];
    T* tmp = W <= 2 ? small : alignedBuffer<T>(buf);
    auto move = [&](const T* src, T* dst) {
        if (W <= 2) {
            std::memmove(dst, src, sizeof(T) * W);
            narrowInv(dst, W, px);
        } else {
            hInv<K, T>(src, src + nLx, dst, W, px);
        }
    };
    auto moveInPlace = [&](T* row) {
        if (W <= 2) {
            narrowInv(row, W, px);
        } else {
            std::memcpy(tmp, row, sizeof(T) * W);
            hInv<K, T>(tmp, tmp + nLx, row, W, px);
        }
    };
    if (H <= 2) {
        for (int r = 0; r < H; ++r) moveInPlace(rowAt(img, step, r));
        shortInv(img, step, W, H, py);
        return;
    }
    const int nL = (H + 1 - py) >> 1;
    permuteRows(img, step, W, H, tmp,
                [&](int r) { return (((r + py) & 1) ? nL : 0) + (r >> 1); }, move, moveInPlace);
    vInv<K, T>(img, step, W, H, py);
}

int64_t bufSizeC1IR(int W, int H, int sampleBytes) {
    if (W < 3 && H < 3) return 0;
    const int64_t m = W > H ? W : H;
    return static_cast<int64_t>(sampleBytes) * m + 4 * sampleBytes;
}

int64_t bufSizeC1R(int W, int H, int sampleBytes) {
    return bufSizeC1IR(W, H, sampleBytes) + c1rImageStep(W, sampleBytes) * H;
}

#define OZR_INST(K, T)                                                     \
    template void tileFwd<K, T>(T*, int, int, int, int, int, uint8_t*);    \
    template void tileInv<K, T>(T*, int, int, int, int, int, uint8_t*);
OZR_INST(ScalarKernels, int16_t)
OZR_INST(ScalarKernels, int32_t)
OZR_INST(SimdKernels, int16_t)
OZR_INST(SimdKernels, int32_t)
#undef OZR_INST

}  // namespace wt53
}  // namespace ozr
