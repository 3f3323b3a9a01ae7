// SSSE3 forms of the forward DCT and quantization kernels.  One block lives
// in registers from load to store: eight rows of eight 16-bit lanes for the
// column pass (each lane one column), then one row at a time for the
// multiply-accumulate row pass, whose output is already in natural order.
// Loads and stores are unaligned; nothing outside the 8x8 source region and
// the 64-entry destination is touched.  dct_scalar.cpp is the definition.
#include <tmmintrin.h>

#include <cstring>
#include <utility>

#include "jpeg/dct.h"

#define OZR_ALWAYS_INLINE inline __attribute__((always_inline))

namespace ozr {
namespace dct {
namespace ssse3 {
namespace {

inline __m128i set1(int16_t v) {
    return _mm_set1_epi16(v);
}

// Column pass: r[0..7] are rows, results replace them as frequencies 0..7.
OZR_ALWAYS_INLINE void columnPass(__m128i r[8]) {
    const __m128i one = set1(1);
    __m128i t0 = _mm_adds_epi16(r[0], r[7]), t7 = _mm_subs_epi16(r[0], r[7]);
    __m128i t1 = _mm_adds_epi16(r[1], r[6]), t6 = _mm_subs_epi16(r[1], r[6]);
    __m128i t2 = _mm_adds_epi16(r[2], r[5]), t5 = _mm_subs_epi16(r[2], r[5]);
    __m128i t3 = _mm_adds_epi16(r[3], r[4]), t4 = _mm_subs_epi16(r[3], r[4]);
    t0 = _mm_slli_epi16(t0, 3), t1 = _mm_slli_epi16(t1, 3);
    t2 = _mm_slli_epi16(t2, 3), t3 = _mm_slli_epi16(t3, 3);
    t4 = _mm_slli_epi16(t4, 3), t7 = _mm_slli_epi16(t7, 3);
    t5 = _mm_slli_epi16(t5, 4), t6 = _mm_slli_epi16(t6, 4);

    const __m128i p03 = _mm_adds_epi16(t0, t3), m03 = _mm_subs_epi16(t0, t3);
    const __m128i p12 = _mm_adds_epi16(t1, t2), m12 = _mm_subs_epi16(t1, t2);
    const __m128i tg2 = set1(kTg2);
    r[0] = _mm_adds_epi16(p03, p12);
    r[4] = _mm_subs_epi16(p03, p12);
    r[2] = _mm_adds_epi16(m03, _mm_or_si128(_mm_mulhi_epi16(m12, tg2), one));
    r[6] = _mm_subs_epi16(_mm_or_si128(_mm_mulhi_epi16(m03, tg2), one), m12);

    const __m128i c4 = set1(kCos4);
    const __m128i u6 = _mm_or_si128(_mm_mulhi_epi16(_mm_adds_epi16(t6, t5), c4), one);
    const __m128i u5 = _mm_or_si128(_mm_mulhi_epi16(_mm_subs_epi16(t6, t5), c4), one);
    const __m128i q4 = _mm_adds_epi16(t4, u5), q5 = _mm_subs_epi16(t4, u5);
    const __m128i q7 = _mm_adds_epi16(t7, u6), q6 = _mm_subs_epi16(t7, u6);
    const __m128i tg1 = set1(kTg1), tg3 = set1(kTg3m1);
    r[1] = _mm_adds_epi16(q7, _mm_mulhi_epi16(q4, tg1));
    r[7] = _mm_subs_epi16(_mm_mulhi_epi16(q7, tg1), q4);
    r[5] = _mm_adds_epi16(q5, _mm_adds_epi16(_mm_mulhi_epi16(q6, tg3), q6));
    r[3] = _mm_subs_epi16(q6, _mm_adds_epi16(_mm_mulhi_epi16(q5, tg3), q5));
}

// Row pass of one row of column outputs with the table of its row pair.
// With X = (e0,e1,o0,o1,e2,e3,o2,o3) and its halves swapped, the four
// groups of eight multipliers, in the order the table lays them out, give
// F0..F3 = madd(X, K0) + madd(Xs, K1) and F4..F7 = madd(X, K2) + madd(Xs, K3).
// (S + 2^19) >> 20 is taken as ((S >> 16) + 8) >> 4, the second step by
// pmulhrsw with 2^11: floor((h * 2^11 + 2^14) / 2^15) = floor((h + 8) / 16).
OZR_ALWAYS_INLINE __m128i rowPass(__m128i y, const int16_t* table) {
    const __m128i rev = _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    const __m128i yr = _mm_shuffle_epi8(y, rev);
    const __m128i x = _mm_unpacklo_epi32(_mm_adds_epi16(y, yr), _mm_subs_epi16(y, yr));
    const __m128i xs = _mm_shuffle_epi32(x, _MM_SHUFFLE(1, 0, 3, 2));
    const __m128i* k = reinterpret_cast<const __m128i*>(table);
    const __m128i lo =
        _mm_add_epi32(_mm_madd_epi16(x, _mm_load_si128(k + 0)), _mm_madd_epi16(xs, _mm_load_si128(k + 1)));
    const __m128i hi =
        _mm_add_epi32(_mm_madd_epi16(x, _mm_load_si128(k + 2)), _mm_madd_epi16(xs, _mm_load_si128(k + 3)));
    const __m128i h = _mm_packs_epi32(_mm_srai_epi32(lo, 16), _mm_srai_epi32(hi, 16));
    return _mm_mulhrs_epi16(h, _mm_set1_epi16(1 << (kRowShift - 9)));
}

// F*T/32768 rounded to nearest even, T unsigned, saturated to 16 bits.
inline __m128i quantEven8(__m128i f, __m128i t) {
    const __m128i lo = _mm_mullo_epi16(f, t);
    // High half of the signed-by-unsigned product: the signed high half plus
    // F where T has its top bit set.
    const __m128i hi = _mm_add_epi16(_mm_mulhi_epi16(f, t), _mm_and_si128(f, _mm_srai_epi16(t, 15)));
    const __m128i bias = _mm_set1_epi32(16383), bit = _mm_set1_epi32(1);
    __m128i p0 = _mm_unpacklo_epi16(lo, hi), p1 = _mm_unpackhi_epi16(lo, hi);
    p0 = _mm_add_epi32(_mm_add_epi32(p0, bias), _mm_and_si128(_mm_srli_epi32(p0, 15), bit));
    p1 = _mm_add_epi32(_mm_add_epi32(p1, bias), _mm_and_si128(_mm_srli_epi32(p1, 15), bit));
    return _mm_packs_epi32(_mm_srai_epi32(p0, 15), _mm_srai_epi32(p1, 15));
}

// The same rounding when every T is at most 32767 (every table made from
// steps of 2 and more): pmulhrsw rounds F*T/32768 half up; on an exact half
// (low 15 bits of the product 0x4000) the low bit of the result is cleared,
// which turns an odd result into the even one below and keeps an even one.
// The product fits in 16 bits here, so no saturation is needed.
inline __m128i quantEvenSmallT8(__m128i f, __m128i t) {
    const __m128i r = _mm_mulhrs_epi16(f, t);
    const __m128i tie =
        _mm_cmpeq_epi16(_mm_and_si128(_mm_mullo_epi16(f, t), _mm_set1_epi16(0x7FFF)), _mm_set1_epi16(0x4000));
    return _mm_and_si128(r, _mm_add_epi16(tie, _mm_set1_epi16(-1)));  // tie: ~1, else all ones
}

// True when every multiplier is at most 32767, so that the short rounding
// of quantEvenSmallT8 applies.
OZR_ALWAYS_INLINE bool smallMultipliers(const uint16_t* table) {
    const __m128i* t = reinterpret_cast<const __m128i*>(table);
    const __m128i a = _mm_or_si128(_mm_loadu_si128(t + 0), _mm_loadu_si128(t + 1));
    const __m128i b = _mm_or_si128(_mm_loadu_si128(t + 2), _mm_loadu_si128(t + 3));
    const __m128i c = _mm_or_si128(_mm_loadu_si128(t + 4), _mm_loadu_si128(t + 5));
    const __m128i d = _mm_or_si128(_mm_loadu_si128(t + 6), _mm_loadu_si128(t + 7));
    return (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) & 0xAAAA) == 0;
}

enum class Quant { None, SmallT, Any };

template <Quant Q>
OZR_ALWAYS_INLINE __m128i quantRow(__m128i f, const uint16_t* table, int v) {
    if (Q == Quant::None) return f;
    const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 8 * v));
    return Q == Quant::SmallT ? quantEvenSmallT8(f, t) : quantEven8(f, t);
}

// Row pass, quantization and store, one row at a time.
template <Quant Q>
OZR_ALWAYS_INLINE void rowsStore(const __m128i y[8], int16_t* dst, const uint16_t* table) {
#pragma GCC unroll 8
    for (int v = 0; v < 8; ++v) {
        const __m128i f = quantRow<Q>(rowPass(y[v], kRowTables[kRowPair[v]]), table, v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * v), f);
    }
}

template <bool Unshifted8u>
OZR_ALWAYS_INLINE void transformStore(__m128i r[8], int16_t* dst, const uint16_t* table) {
    columnPass(r);
    if (Unshifted8u) r[0] = _mm_sub_epi16(r[0], _mm_set1_epi16(8 * 8 * 128));
    if (!table)
        rowsStore<Quant::None>(r, dst, table);
    else if (smallMultipliers(table))
        rowsStore<Quant::SmallT>(r, dst, table);
    else
        rowsStore<Quant::Any>(r, dst, table);
}

// ---- single precision
// A block of floats as m[2r] (columns 0-3 of row r) and m[2r + 1] (4-7).

// The butterfly of dct_scalar.cpp across eight registers m[0], m[2], ...,
// m[14], in place: one half of the block at a time keeps it in registers.
OZR_ALWAYS_INLINE void butterfly(__m128* m) {
    const __m128 t0 = _mm_add_ps(m[0], m[14]), t7 = _mm_sub_ps(m[0], m[14]);
    const __m128 t1 = _mm_add_ps(m[2], m[12]), t6 = _mm_sub_ps(m[2], m[12]);
    const __m128 t2 = _mm_add_ps(m[4], m[10]), t5 = _mm_sub_ps(m[4], m[10]);
    const __m128 t3 = _mm_add_ps(m[6], m[8]), t4 = _mm_sub_ps(m[6], m[8]);

    const __m128 p03 = _mm_add_ps(t0, t3), m03 = _mm_sub_ps(t0, t3);
    const __m128 p12 = _mm_add_ps(t1, t2), m12 = _mm_sub_ps(t1, t2);
    m[0] = _mm_add_ps(p03, p12);
    m[8] = _mm_sub_ps(p03, p12);
    const __m128 z1 = _mm_mul_ps(_mm_add_ps(m12, m03), _mm_set1_ps(kF_Cos4));
    m[4] = _mm_add_ps(m03, z1);
    m[12] = _mm_sub_ps(m03, z1);

    const __m128 tan8 = _mm_set1_ps(kF_Tan8);
    const __m128 a10 = _mm_add_ps(t4, t5), a11 = _mm_add_ps(t5, t6), a12 = _mm_add_ps(t6, t7);
    const __m128 z2 = _mm_sub_ps(a10, _mm_mul_ps(a12, tan8));
    const __m128 z4 = _mm_add_ps(a12, _mm_mul_ps(a10, tan8));
    const __m128 z3 = _mm_mul_ps(a11, _mm_set1_ps(kF_Cos4OverCos8));
    const __m128 w = _mm_mul_ps(t7, _mm_set1_ps(kF_InvCos8));
    const __m128 z11 = _mm_add_ps(w, z3), z13 = _mm_sub_ps(w, z3);
    m[10] = _mm_add_ps(z13, z2);
    m[6] = _mm_sub_ps(z13, z2);
    m[2] = _mm_add_ps(z11, z4);
    m[14] = _mm_sub_ps(z11, z4);
}

// Transposes the 4x4 block of rows r0..r0+3 at half h in place.
OZR_ALWAYS_INLINE void transpose4(__m128* m, int r0, int h) {
    _MM_TRANSPOSE4_PS(m[2 * r0 + h], m[2 * r0 + 2 + h], m[2 * r0 + 4 + h], m[2 * r0 + 6 + h]);
}

OZR_ALWAYS_INLINE void transpose(__m128* m) {
    transpose4(m, 0, 0);
    transpose4(m, 0, 1);
    transpose4(m, 4, 0);
    transpose4(m, 4, 1);
    for (int i = 0; i < 4; ++i) std::swap(m[2 * i + 1], m[2 * i + 8]);  // off-diagonal quadrants
}

// Level shift, vertical then horizontal pass, normalisation: m as above.
OZR_ALWAYS_INLINE void transform32f(const uint16_t* src, int srcStep, __m128* m) {
    const __m128 shift = _mm_set1_ps(2048.0f);
#pragma GCC unroll 8
    for (int r = 0; r < 8; ++r) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(
            reinterpret_cast<const uint8_t*>(src) + static_cast<std::ptrdiff_t>(srcStep) * r));
        m[2 * r] = _mm_sub_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(s, s), 16)), shift);
        m[2 * r + 1] = _mm_sub_ps(_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(s, s), 16)), shift);
    }
    butterfly(m);  // vertical: register = row, lane = column
    butterfly(m + 1);
    transpose(m);
    butterfly(m);  // horizontal: register = column, lane = vertical frequency
    butterfly(m + 1);
    transpose(m);
#pragma GCC unroll 16
    for (int i = 0; i < 16; ++i) m[i] = _mm_mul_ps(m[i], _mm_loadu_ps(kNorm2D.v + 4 * i));
}

inline __m128i roundPack(__m128 a, __m128 b) {
    const __m128 top = _mm_set1_ps(32767.0f), bottom = _mm_set1_ps(-32768.0f);
    a = _mm_max_ps(_mm_min_ps(a, top), bottom);
    b = _mm_max_ps(_mm_min_ps(b, top), bottom);
    return _mm_packs_epi32(_mm_cvtps_epi32(a), _mm_cvtps_epi32(b));
}

}  // namespace

void quantHalfUp(int16_t* blk, const uint16_t* table) {
    const __m128i one = _mm_set1_epi16(1);
    for (int i = 0; i < 64; i += 8) {
        __m128i* p = reinterpret_cast<__m128i*>(blk + i);
        const __m128i a = _mm_slli_epi16(_mm_loadu_si128(p), 3);
        const __m128i b = _mm_srli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + i)), 1);
        const __m128i r = _mm_srai_epi16(_mm_add_epi16(_mm_mulhi_epi16(a, b), one), 1);
        _mm_storeu_si128(p, r);
    }
}

void quantEven(int16_t* blk, const uint16_t* table) {
    const bool small = smallMultipliers(table);
    for (int v = 0; v < 8; ++v) {
        __m128i* p = reinterpret_cast<__m128i*>(blk + 8 * v);
        const __m128i f = _mm_loadu_si128(p);
        _mm_storeu_si128(p, small ? quantRow<Quant::SmallT>(f, table, v) : quantRow<Quant::Any>(f, table, v));
    }
}

// For 8-bit samples no step of the column pass saturates or wraps, with or
// without the level shift, and the shift of -128 on every sample cancels in
// every difference: it only lowers each column's DC output by 8 * 8 * 128.
// So the samples enter unshifted and the DC row is corrected once.
void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
    const __m128i zero = _mm_setzero_si128();
    __m128i r[8];
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) {
        const __m128i b =
            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + static_cast<std::ptrdiff_t>(srcStep) * y));
        r[y] = _mm_unpacklo_epi8(b, zero);
    }
    transformStore<true>(r, dst, table);
}

void fdctQuant16s(const int16_t* src, int16_t* dst, const uint16_t* table) {
    __m128i r[8];
#pragma GCC unroll 8
    for (int y = 0; y < 8; ++y) r[y] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8 * y));
    transformStore<false>(r, dst, table);
}

void fdctLS16u(const uint16_t* src, int srcStep, float* out) {
    __m128 m[16];
    transform32f(src, srcStep, m);
    for (int i = 0; i < 16; ++i) _mm_storeu_ps(out + 4 * i, m[i]);
}

void fdctQuantLS16u(const uint16_t* src, int srcStep, int16_t* dst, const float* table) {
    __m128 m[16];
    transform32f(src, srcStep, m);
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k) {
        const __m128 a = _mm_mul_ps(m[2 * k], _mm_loadu_ps(table + 8 * k));
        const __m128 b = _mm_mul_ps(m[2 * k + 1], _mm_loadu_ps(table + 8 * k + 4));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * k), roundPack(a, b));
    }
}

}  // namespace ssse3
}  // namespace dct
}  // namespace ozr
