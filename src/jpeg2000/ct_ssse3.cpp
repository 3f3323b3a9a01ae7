// SSSE3 component-transform kernels: 8 pixels of 16 bits or 4 of 32 bits per
// step, the remainder through the scalar kernels (ct_scalar.cpp), whose
// results these reproduce exactly.
#include <tmmintrin.h>

#include "jpeg2000/ct.h"

namespace ozr {
namespace ct {
namespace ssse3 {
namespace {

inline __m128i ld(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void st(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// floor((a + b) / 2) of 16-bit lanes without overflow.
// (a + b = 2 (a & b) + (a ^ b)).
inline __m128i avg16(__m128i a, __m128i b) {
    return _mm_add_epi16(_mm_and_si128(a, b), _mm_srai_epi16(_mm_xor_si128(a, b), 1));
}

// Low 32 bits of a 32 x 32-bit product (no pmulld before SSE4.1).
inline __m128i mul32(__m128i a, __m128i c) {
    const __m128i even = _mm_mul_epu32(a, c);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(c, 32));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                              _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

// 16-bit lanes to 32-bit halves, sign-extended.
inline __m128i lo32(__m128i v) { return _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16); }
inline __m128i hi32(__m128i v) { return _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16); }
// Keeps the low 16 bits of each 32-bit lane.
inline __m128i packLow16(__m128i a, __m128i b) {
    return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(a, 16), 16), _mm_srai_epi32(_mm_slli_epi32(b, 16), 16));
}
// (pairs . coef + 0) >> 14 for both halves, saturated back to 16 bits.
inline __m128i madd14(__m128i x, __m128i y, __m128i coef) {
    const __m128i l = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(x, y), coef), 14);
    const __m128i h = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(x, y), coef), 14);
    return _mm_packs_epi32(l, h);
}
inline __m128i pair16(int a, int b) {
    return _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(b) << 16) | (static_cast<uint32_t>(a) & 0xFFFFu)));
}

}  // namespace

template <>
void rctFwd<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i r = ld(s0 + i), g = ld(s1 + i), b = ld(s2 + i);
        st(d0 + i, avg16(avg16(r, b), g));  // floor((r + b + 2g) / 4)
        st(d1 + i, _mm_sub_epi16(b, g));
        st(d2 + i, _mm_sub_epi16(r, g));
    }
    scalar::rctFwd<int16_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void rctFwd<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i r = ld(s0 + i), g = ld(s1 + i), b = ld(s2 + i);
        st(d0 + i, _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(r, _mm_add_epi32(g, g)), b), 2));
        st(d1 + i, _mm_sub_epi32(b, g));
        st(d2 + i, _mm_sub_epi32(r, g));
    }
    scalar::rctFwd<int32_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void rctInv<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i y = ld(s0 + i), cb = ld(s1 + i), cr = ld(s2 + i);
        const __m128i g = _mm_sub_epi16(y, _mm_srai_epi16(avg16(cb, cr), 1));  // floor((cb + cr) / 4)
        st(d0 + i, _mm_add_epi16(cr, g));
        st(d1 + i, g);
        st(d2 + i, _mm_add_epi16(cb, g));
    }
    scalar::rctInv<int16_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void rctInv<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i y = ld(s0 + i), cb = ld(s1 + i), cr = ld(s2 + i);
        const __m128i g = _mm_sub_epi32(y, _mm_srai_epi32(_mm_add_epi32(cb, cr), 2));
        st(d0 + i, _mm_add_epi32(cr, g));
        st(d1 + i, g);
        st(d2 + i, _mm_add_epi32(cb, g));
    }
    scalar::rctInv<int32_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictFwd<float>(const float* s0, const float* s1, const float* s2, float* d0, float* d1, float* d2, int n) {
    int i = 0;
    const __m128 c00 = _mm_set1_ps(0.299f), c01 = _mm_set1_ps(0.587f), c02 = _mm_set1_ps(0.114f);
    const __m128 c10 = _mm_set1_ps(-0.16875f), c11 = _mm_set1_ps(-0.33126f), c12 = _mm_set1_ps(0.5f);
    const __m128 c20 = _mm_set1_ps(0.5f), c21 = _mm_set1_ps(-0.41869f), c22 = _mm_set1_ps(-0.08131f);
    for (; i + 4 <= n; i += 4) {
        const __m128 r = _mm_loadu_ps(s0 + i), g = _mm_loadu_ps(s1 + i), b = _mm_loadu_ps(s2 + i);
        const __m128 y = _mm_add_ps(_mm_add_ps(_mm_mul_ps(c00, r), _mm_mul_ps(c01, g)), _mm_mul_ps(c02, b));
        const __m128 cb = _mm_add_ps(_mm_add_ps(_mm_mul_ps(c10, r), _mm_mul_ps(c11, g)), _mm_mul_ps(c12, b));
        const __m128 cr = _mm_add_ps(_mm_add_ps(_mm_mul_ps(c20, r), _mm_mul_ps(c21, g)), _mm_mul_ps(c22, b));
        _mm_storeu_ps(d0 + i, y);
        _mm_storeu_ps(d1 + i, cb);
        _mm_storeu_ps(d2 + i, cr);
    }
    scalar::ictFwd<float>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictInv<float>(const float* s0, const float* s1, const float* s2, float* d0, float* d1, float* d2, int n) {
    int i = 0;
    const __m128 kr = _mm_set1_ps(1.402f), kgb = _mm_set1_ps(-0.34413f), kgr = _mm_set1_ps(-0.71414f),
                 kb = _mm_set1_ps(1.772f);
    for (; i + 4 <= n; i += 4) {
        const __m128 y = _mm_loadu_ps(s0 + i), cb = _mm_loadu_ps(s1 + i), cr = _mm_loadu_ps(s2 + i);
        _mm_storeu_ps(d0 + i, _mm_add_ps(y, _mm_mul_ps(kr, cr)));
        _mm_storeu_ps(d1 + i, _mm_add_ps(_mm_add_ps(_mm_mul_ps(cb, kgb), _mm_mul_ps(cr, kgr)), y));
        _mm_storeu_ps(d2 + i, _mm_add_ps(y, _mm_mul_ps(kb, cb)));
    }
    scalar::ictInv<float>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictFwd<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    int i = 0;
    const __m128i half = _mm_set1_epi32(8192);
    auto row = [&](__m128i r, __m128i g, __m128i b, int cr, int cg, int cbb) {
        const __m128i s = _mm_add_epi32(_mm_add_epi32(mul32(r, _mm_set1_epi32(cr)), mul32(g, _mm_set1_epi32(cg))),
                                        mul32(b, _mm_set1_epi32(cbb)));
        return _mm_srai_epi32(_mm_add_epi32(s, half), 14);
    };
    for (; i + 4 <= n; i += 4) {
        const __m128i r = ld(s0 + i), g = ld(s1 + i), b = ld(s2 + i);
        const __m128i y = row(r, g, b, 4899, 9617, 1868);
        const __m128i cb = row(r, g, b, -2765, -5427, 8192);
        const __m128i cr = row(r, g, b, 8192, -6860, -1332);
        st(d0 + i, y);
        st(d1 + i, cb);
        st(d2 + i, cr);
    }
    scalar::ictFwd<int32_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictInv<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    int i = 0;
    const __m128i half = _mm_set1_epi32(8192);
    for (; i + 4 <= n; i += 4) {
        const __m128i y = ld(s0 + i), cb = ld(s1 + i), cr = ld(s2 + i);
        const __m128i r = _mm_add_epi32(y, _mm_srai_epi32(_mm_add_epi32(mul32(cr, _mm_set1_epi32(22970)), half), 14));
        const __m128i gs = _mm_add_epi32(mul32(cb, _mm_set1_epi32(-5638)), mul32(cr, _mm_set1_epi32(-11700)));
        const __m128i g = _mm_add_epi32(y, _mm_srai_epi32(_mm_add_epi32(gs, half), 14));
        const __m128i b = _mm_add_epi32(y, _mm_srai_epi32(_mm_add_epi32(mul32(cb, _mm_set1_epi32(29032)), half), 14));
        st(d0 + i, r);
        st(d1 + i, g);
        st(d2 + i, b);
    }
    scalar::ictInv<int32_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictFwd<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    int i = 0;
    const __m128i one = _mm_set1_epi16(1);
    const __m128i kRG = pair16(4899, 9617), kB = pair16(1868, 8192);
    const __m128i kCb = pair16(9246, 8192), kCr = pair16(11686, 8192);
    const __m128i round2 = _mm_set1_epi32(16384);
    for (; i + 8 <= n; i += 8) {
        const __m128i r = ld(s0 + i), g = ld(s1 + i), b = ld(s2 + i);
        // S + 8192 in two halves of 32-bit lanes.
        const __m128i sl = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(r, g), kRG),
                                         _mm_madd_epi16(_mm_unpacklo_epi16(b, one), kB));
        const __m128i sh = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(r, g), kRG),
                                         _mm_madd_epi16(_mm_unpackhi_epi16(b, one), kB));
        const __m128i y = _mm_packs_epi32(_mm_srai_epi32(sl, 14), _mm_srai_epi32(sh, 14));
        // (c << 14) - S + 8192 = (c << 14) - (S + 8192) + 16384
        auto diff = [&](__m128i c) {
            const __m128i l = _mm_srai_epi32(_mm_add_epi32(_mm_sub_epi32(_mm_slli_epi32(lo32(c), 14), sl), round2), 14);
            const __m128i h = _mm_srai_epi32(_mm_add_epi32(_mm_sub_epi32(_mm_slli_epi32(hi32(c), 14), sh), round2), 14);
            return packLow16(l, h);
        };
        st(d0 + i, y);
        st(d1 + i, madd14(diff(b), one, kCb));
        st(d2 + i, madd14(diff(r), one, kCr));
    }
    scalar::ictFwd<int16_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

template <>
void ictInv<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    int i = 0;
    const __m128i one = _mm_set1_epi16(1);
    const __m128i kR = pair16(22970, 8192), kB = pair16(29032, 8192), kG = pair16(5638, 11700);
    const __m128i half = _mm_set1_epi32(8192);
    for (; i + 8 <= n; i += 8) {
        const __m128i y = ld(s0 + i), cb = ld(s1 + i), cr = ld(s2 + i);
        const __m128i yl = lo32(y), yh = hi32(y);
        auto term = [&](__m128i a, __m128i b, __m128i k, bool lowHalf) {
            const __m128i p = lowHalf ? _mm_unpacklo_epi16(a, b) : _mm_unpackhi_epi16(a, b);
            return _mm_srai_epi32(_mm_madd_epi16(p, k), 14);
        };
        const __m128i r = _mm_packs_epi32(_mm_add_epi32(yl, term(cr, one, kR, true)),
                                          _mm_add_epi32(yh, term(cr, one, kR, false)));
        const __m128i gl = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(cb, cr), kG), half), 14);
        const __m128i gh = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(cb, cr), kG), half), 14);
        const __m128i g = _mm_packs_epi32(_mm_sub_epi32(yl, gl), _mm_sub_epi32(yh, gh));
        const __m128i b = _mm_packs_epi32(_mm_add_epi32(yl, term(cb, one, kB, true)),
                                          _mm_add_epi32(yh, term(cb, one, kB, false)));
        st(d0 + i, r);
        st(d1 + i, g);
        st(d2 + i, b);
    }
    scalar::ictInv<int16_t>(s0 + i, s1 + i, s2 + i, d0 + i, d1 + i, d2 + i, n - i);
}

}  // namespace ssse3
}  // namespace ct
}  // namespace ozr
