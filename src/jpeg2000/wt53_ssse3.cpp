// SSSE3 5/3 kernels: 8 samples of 16 bits or 4 of 32 bits per step.  Scalar
// samples are peeled until the output is 16-byte aligned; short lengths,
// misaligned outputs and the remainder use the scalar arithmetic, so results
// never depend on the path (the scalar twins in wt53_scalar.cpp define them).
#include <tmmintrin.h>

#include "jpeg2000/wt53.h"
#include "jpeg2000/wt53_arith.h"

namespace ozr {
namespace wt53 {
namespace ssse3 {
namespace {

inline __m128i ld(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void st(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

template <class T, bool Wrap>
struct Vec;

template <bool Wrap>
struct Vec<int32_t, Wrap> {
    static constexpr int kLanes = 4;
    static __m128i avg(__m128i a, __m128i b) { return _mm_srai_epi32(_mm_add_epi32(a, b), 1); }
    static __m128i upd(__m128i a, __m128i b) {
        return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(a, b), _mm_set1_epi32(2)), 2);
    }
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
};

// 16-bit lanes giving the 32-bit-sum results without widening.
template <>
struct Vec<int16_t, false> {
    static constexpr int kLanes = 8;
    // a + b = 2 (a & b) + (a ^ b), so floor((a + b) / 2) = (a & b) + ((a ^ b) >> 1).
    static __m128i avg(__m128i a, __m128i b) {
        return _mm_add_epi16(_mm_and_si128(a, b), _mm_srai_epi16(_mm_xor_si128(a, b), 1));
    }
    static __m128i upd(__m128i a, __m128i b) {
        const __m128i s = avg(a, b);
        return _mm_sub_epi16(s, _mm_srai_epi16(s, 1));
    }
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
};

// 16-bit wrapping lanes.
template <>
struct Vec<int16_t, true> {
    static constexpr int kLanes = 8;
    static __m128i avg(__m128i a, __m128i b) { return _mm_srai_epi16(_mm_add_epi16(a, b), 1); }
    static __m128i upd(__m128i a, __m128i b) {
        return _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(a, b), _mm_set1_epi16(2)), 2);
    }
    static __m128i add(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
};

// Samples to peel so that out becomes 16-byte aligned; all of n when the
// vector loop is not worth it or out cannot be aligned.
template <class T>
inline int peelCount(const void* out, int n, int lanes) {
    if (n < 2 * lanes) return n;
    const uintptr_t a = reinterpret_cast<uintptr_t>(out);
    if (a % sizeof(T)) return n;
    const int p = static_cast<int>(((16 - (a & 15)) & 15) / sizeof(T));
    return p;
}

// Runs scalar(i) on the peeled head and the tail and vec(i) on full vectors.
template <class T, class S, class V>
inline void drive(const void* out, int n, int lanes, S&& scalarAt, V&& vecAt) {
    int i = 0;
    const int head = peelCount<T>(out, n, lanes);
    for (; i < head; ++i) scalarAt(i);
    for (; i + lanes <= n; i += lanes) vecAt(i);
    for (; i < n; ++i) scalarAt(i);
}

}  // namespace

template <class T, bool Wrap>
void predict(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(dst, n, V::kLanes, [&](int i) { dst[i] = A::sub(x[i], A::avg(a[i], b[i])); },
             [&](int i) { st(dst + i, V::sub(ld(x + i), V::avg(ld(a + i), ld(b + i)))); });
}

template <class T, bool Wrap>
void update(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(dst, n, V::kLanes, [&](int i) { dst[i] = A::add(x[i], A::upd(a[i], b[i])); },
             [&](int i) { st(dst + i, V::add(ld(x + i), V::upd(ld(a + i), ld(b + i)))); });
}

template <class T, bool Wrap>
void ipredict(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(dst, n, V::kLanes, [&](int i) { dst[i] = A::add(x[i], A::avg(a[i], b[i])); },
             [&](int i) { st(dst + i, V::add(ld(x + i), V::avg(ld(a + i), ld(b + i)))); });
}

template <class T, bool Wrap>
void iupdate(T* dst, const T* x, const T* a, const T* b, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(dst, n, V::kLanes, [&](int i) { dst[i] = A::sub(x[i], A::upd(a[i], b[i])); },
             [&](int i) { st(dst + i, V::sub(ld(x + i), V::upd(ld(a + i), ld(b + i)))); });
}

template <class T, bool Wrap>
void fwdLift(const T* x0, const T* x1, const T* x2, T* lo, const T* hp, T* hi, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(
        lo, n, V::kLanes,
        [&](int i) {
            const T s0 = x0[i], s1 = x1[i], s2 = x2[i], p = hp[i];
            const T h = A::sub(s1, A::avg(s0, s2));
            hi[i] = h;
            lo[i] = A::add(s0, A::upd(p, h));
        },
        [&](int i) {
            const __m128i s0 = ld(x0 + i), s1 = ld(x1 + i), s2 = ld(x2 + i), p = ld(hp + i);
            const __m128i h = V::sub(s1, V::avg(s0, s2));
            st(hi + i, h);
            st(lo + i, V::add(s0, V::upd(p, h)));
        });
}

template <class T, bool Wrap>
void invLift(const T* lo, const T* hp, const T* hi, const T* ep, T* od, T* ev, int n) {
    using A = Arith<T, Wrap>;
    using V = Vec<T, Wrap>;
    drive<T>(
        ev, n, V::kLanes,
        [&](int i) {
            const T l = lo[i], p = hp[i], h = hi[i], e0 = ep[i];
            const T e = A::sub(l, A::upd(p, h));
            ev[i] = e;
            od[i] = A::add(p, A::avg(e0, e));
        },
        [&](int i) {
            const __m128i l = ld(lo + i), p = ld(hp + i), h = ld(hi + i), e0 = ld(ep + i);
            const __m128i e = V::sub(l, V::upd(p, h));
            st(ev + i, e);
            st(od + i, V::add(p, V::avg(e0, e)));
        });
}

// Rows: the two phases of the signal are split (or merged) in registers and
// both lifting steps run in one pass.  With s = x - 2 + phase, p[j] = s[2j]
// and q[j] = s[2j+1]: m[j] = q[j] - avg(p[j], p[j+1]) is the high coefficient
// left of low k = j, lo[k] = p[k+1] + upd(m[k], m[k+1]), hi[k] = m[k+1-phase].
namespace {

template <class T>
struct Split;
template <>
struct Split<int32_t> {
    static void load(const int32_t* s, __m128i* p, __m128i* q) {
        const __m128 a = _mm_castsi128_ps(ld(s)), b = _mm_castsi128_ps(ld(s + 4));
        *p = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
        *q = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    static void store(int32_t* d, __m128i a, __m128i b) {
        st(d, _mm_unpacklo_epi32(a, b));
        st(d + 4, _mm_unpackhi_epi32(a, b));
    }
};
template <>
struct Split<int16_t> {
    static void load(const int16_t* s, __m128i* p, __m128i* q) {
        const __m128i split = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
        const __m128i a = _mm_shuffle_epi8(ld(s), split), b = _mm_shuffle_epi8(ld(s + 8), split);
        *p = _mm_unpacklo_epi64(a, b);
        *q = _mm_unpackhi_epi64(a, b);
    }
    static void store(int16_t* d, __m128i a, __m128i b) {
        st(d, _mm_unpacklo_epi16(a, b));
        st(d + 8, _mm_unpackhi_epi16(a, b));
    }
};


inline __m128i splat(int32_t v) { return _mm_set1_epi32(v); }
inline __m128i splat(int16_t v) { return _mm_set1_epi16(v); }

// [last lane of prev, lanes 0 .. L-2 of cur]: the vector one sample back.
template <class T>
inline __m128i backOne(__m128i cur, __m128i prev) {
    return _mm_alignr_epi8(cur, prev, 16 - sizeof(T));
}

}  // namespace

template <class T>
void rowFwd(const T* x, T* lo, T* hi, int n, int phase) {
    using A = Arith<T, false>;
    using V = Vec<T, false>;
    constexpr int L = V::kLanes;
    const int ph = phase ? 1 : 0;
    const T* s = x - 2 + ph;
    int k = 0;
    if (n > L) {
        // m[k..k+L) comes from the previous step's m[k+1-L..k+1).
        __m128i prev = splat(A::sub(s[1], A::avg(s[0], s[2])));
        // The vector step reads s[2k+2 .. 2k+2L+3]; keep it inside s[0 .. 2n+2].
        for (; k + L < n; k += L) {
            __m128i p1, q1, p2, q2;
            Split<T>::load(s + 2 * k + 2, &p1, &q1);
            Split<T>::load(s + 2 * k + 4, &p2, &q2);
            const __m128i m1 = V::sub(q1, V::avg(p1, p2));
            const __m128i m0 = backOne<T>(m1, prev);
            st(lo + k, V::add(p1, V::upd(m0, m1)));
            st(hi + k, ph ? m0 : m1);
            prev = m1;
        }
    }
    if (k < n) {
        T m = A::sub(s[2 * k + 1], A::avg(s[2 * k], s[2 * k + 2]));
        for (; k < n; ++k) {
            const T mNext = A::sub(s[2 * k + 3], A::avg(s[2 * k + 2], s[2 * k + 4]));
            lo[k] = A::add(s[2 * k + 2], A::upd(m, mNext));
            hi[k] = ph ? m : mNext;
            m = mNext;
        }
    }
}

// With l = lo - phase: e[k] = l[k] - upd(hi[k-1], hi[k]) is the even-grid
// sample left of high k, o[k] = hi[k] + avg(e[k], e[k+1]); phase 0 writes
// (e[k], o[k]), phase 1 (o[k], e[k+1]).
template <class T>
void rowInv(const T* lo, const T* hi, T* x, int n, int phase) {
    using A = Arith<T, false>;
    using V = Vec<T, false>;
    constexpr int L = V::kLanes;
    const int ph = phase ? 1 : 0;
    const T* l = lo - ph;
    int k = 0;
    if (n >= L) {
        __m128i prev = splat(A::sub(l[0], A::upd(hi[-1], hi[0])));
        for (; k + L <= n; k += L) {
            const __m128i h0 = ld(hi + k);
            const __m128i e1 = V::sub(ld(l + k + 1), V::upd(h0, ld(hi + k + 1)));
            const __m128i e0 = backOne<T>(e1, prev);
            const __m128i o = V::add(h0, V::avg(e0, e1));
            if (ph)
                Split<T>::store(x + 2 * k, o, e1);
            else
                Split<T>::store(x + 2 * k, e0, o);
            prev = e1;
        }
    }
    if (k < n) {
        T e = A::sub(l[k], A::upd(hi[k - 1], hi[k]));
        for (; k < n; ++k) {
            const T eNext = A::sub(l[k + 1], A::upd(hi[k], hi[k + 1]));
            const T o = A::add(hi[k], A::avg(e, eNext));
            x[2 * k] = ph ? o : e;
            x[2 * k + 1] = ph ? eNext : o;
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

}  // namespace ssse3
}  // namespace wt53
}  // namespace ozr
