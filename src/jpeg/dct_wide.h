// The AVX2 building blocks of the 8u level-shifted forward DCT with
// quantization (column pass, row pass of two rows, the two quantizers),
// shared by the AVX2 kernel (dct_avx2.cpp) and the AVX-512 one
// (dct_avx512.cpp), each of which compiles them for its own target.
// dct_scalar.cpp is the definition; both kernels give identical results.
//
// The block lives in four registers of two rows each.  The column pass is
// arranged so that its outputs come out as the row pairs that share a row
// table, (Y0, Y4), (Y1, Y7), (Y2, Y6) and (Y3, Y5), and the row pass then
// handles two rows per instruction with the table in both lanes.
//
// For 8-bit samples no step of the column pass saturates or wraps (see the
// SSSE3 form), so its sums and differences are exact; that lets one lane add
// where the other subtracts (a sign flip by vpsignw followed by an add).  The
// products enter with the same operands as in the definition.
#ifndef OZRJ_JPEG_DCT_WIDE_H
#define OZRJ_JPEG_DCT_WIDE_H

#include <immintrin.h>

#include <cstddef>

#include "jpeg/dct.h"

#define OZR_ALWAYS_INLINE inline __attribute__((always_inline))

namespace ozr {
namespace dct {
namespace wide {
namespace {

// Every constant as a full register in memory, so that each costs one load
// (the row tables with their four groups of eight in both lanes).
struct Wide {
    alignas(32) int16_t rowK[4][4][16];
    alignas(32) int16_t one[16], tg1[16], tg2[16], tg3m1[16], cos4[16], signs[16], dc[16];
    alignas(32) int16_t rowRound[16], low15[16], half[16], allOnes[16];
    alignas(32) int32_t bias[8], bit[8];
    constexpr Wide()
        : rowK(), one(), tg1(), tg2(), tg3m1(), cos4(), signs(), dc(), rowRound(), low15(), half(), allOnes(), bias(),
          bit() {
        for (int p = 0; p < 4; ++p)
            for (int g = 0; g < 4; ++g)
                for (int i = 0; i < 16; ++i) rowK[p][g][i] = kRowTables[p][8 * g + (i & 7)];
        for (int i = 0; i < 16; ++i) {
            one[i] = 1;
            tg1[i] = kTg1;
            tg2[i] = kTg2;
            tg3m1[i] = kTg3m1;
            cos4[i] = kCos4;
            signs[i] = i < 8 ? 1 : -1;
            dc[i] = i < 8 ? 8 * 8 * 128 : 0;
            rowRound[i] = 1 << (kRowShift - 9);
            low15[i] = 0x7FFF;
            half[i] = 0x4000;
            allOnes[i] = -1;
        }
        for (int i = 0; i < 8; ++i) {
            bias[i] = 16383;
            bit[i] = 1;
        }
    }
};
constexpr Wide kWide{};

// The empty asm hides the address from the optimiser, which would otherwise
// fold a uniform constant back into a move and a broadcast from a general
// register (two port-5 operations instead of a load).
template <typename T>
OZR_ALWAYS_INLINE __m256i ld(const T* p) {
    asm("" : "+r"(p));
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(p));
}

// Lanes swapped.
OZR_ALWAYS_INLINE __m256i swap(__m256i v) { return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(1, 0, 3, 2)); }

// Rows a and b of an 8-bit region as 16-bit lanes (row a low, row b high).
OZR_ALWAYS_INLINE __m256i loadRows(const uint8_t* src, std::ptrdiff_t step, int a, int b) {
    const __m256i lo = _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + step * a)));
    const __m256i hi = _mm256_broadcastq_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + step * b)));
    return _mm256_unpacklo_epi8(_mm256_blend_epi32(lo, hi, 0xF0), _mm256_setzero_si256());
}

// Column pass of unshifted 8-bit samples; out[0..3] = (Y0,Y4), (Y1,Y7),
// (Y2,Y6), (Y3,Y5), Y0 already lowered by the level shift 8 * 8 * 128.
OZR_ALWAYS_INLINE void columnPass(const uint8_t* src, std::ptrdiff_t step, __m256i out[4]) {
    const __m256i a01 = loadRows(src, step, 0, 1), a23 = loadRows(src, step, 2, 3);
    const __m256i b76 = loadRows(src, step, 7, 6), b54 = loadRows(src, step, 5, 4);
    // pm: +1 in the low lane, -1 in the high lane, for vpsignw.
    const __m256i pm = ld(kWide.signs), one = ld(kWide.one);
    const __m256i t01 = _mm256_slli_epi16(_mm256_adds_epi16(a01, b76), 3);  // (t0, t1)
    const __m256i t23 = _mm256_slli_epi16(_mm256_adds_epi16(a23, b54), 3);  // (t2, t3)
    const __m256i t76 = _mm256_subs_epi16(a01, b76);                        // (t7, t6), unshifted
    const __m256i t54 = _mm256_subs_epi16(a23, b54);                        // (t5, t4), unshifted
    const __m256i t56 = _mm256_slli_epi16(_mm256_blend_epi32(t54, t76, 0xF0), 4);  // (t5, t6)
    const __m256i t74 = _mm256_slli_epi16(_mm256_blend_epi32(t76, t54, 0xF0), 3);  // (t7, t4)

    // Even part.
    const __m256i t32 = swap(t23);
    const __m256i p = _mm256_adds_epi16(t01, t32);  // (p03, p12)
    const __m256i m = _mm256_subs_epi16(t01, t32);  // (m03, m12)
    // (p03 + p12, p03 - p12)
    __m256i y04 = _mm256_add_epi16(_mm256_sign_epi16(p, pm), swap(p));
    y04 = _mm256_sub_epi16(y04, ld(kWide.dc));
    const __m256i a = _mm256_or_si256(_mm256_mulhi_epi16(m, ld(kWide.tg2)), one);  // (a03, a12)
    // (m03 + a12, a03 - m12)
    out[2] = _mm256_add_epi16(_mm256_sign_epi16(m, pm), swap(a));
    out[0] = y04;

    // Odd part.
    const __m256i u = _mm256_or_si256(
        _mm256_mulhi_epi16(_mm256_add_epi16(t56, _mm256_sign_epi16(swap(t56), pm)), ld(kWide.cos4)), one);  // (u6, u5)
    const __m256i qp = _mm256_add_epi16(t74, u);  // (q7, q4)
    const __m256i qm = _mm256_sub_epi16(t74, u);  // (q6, q5)
    const __m256i h = _mm256_mulhi_epi16(qp, ld(kWide.tg1));                        // (h7, h4)
    out[1] = _mm256_add_epi16(_mm256_sign_epi16(qp, pm), swap(h));               // (q7 + h4, h7 - q4)
    const __m256i g = _mm256_add_epi16(_mm256_mulhi_epi16(qm, ld(kWide.tg3m1)), qm);  // (g6, g5)
    out[3] = _mm256_sub_epi16(qm, _mm256_sign_epi16(swap(g), pm));                // (q6 - g5, q5 + g6)
}

// Row pass of two rows sharing a row table, as the SSSE3 form does one.
OZR_ALWAYS_INLINE __m256i rowPass(__m256i y, const int16_t (*table)[16]) {
    const __m256i rev = _mm256_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1,  //
                                         14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    const __m256i yr = _mm256_shuffle_epi8(y, rev);
    const __m256i x = _mm256_unpacklo_epi32(_mm256_adds_epi16(y, yr), _mm256_subs_epi16(y, yr));
    const __m256i xs = _mm256_shuffle_epi32(x, _MM_SHUFFLE(1, 0, 3, 2));
    const __m256i k0 = ld(table[0]), k1 = ld(table[1]), k2 = ld(table[2]), k3 = ld(table[3]);
    const __m256i lo = _mm256_add_epi32(_mm256_madd_epi16(x, k0), _mm256_madd_epi16(xs, k1));
    const __m256i hi = _mm256_add_epi32(_mm256_madd_epi16(x, k2), _mm256_madd_epi16(xs, k3));
    // (S + 2^19) >> 20 as ((S >> 16) + 8) >> 4, the second step by pmulhrsw.
    const __m256i hw = _mm256_packs_epi32(_mm256_srai_epi32(lo, 16), _mm256_srai_epi32(hi, 16));
    return _mm256_mulhrs_epi16(hw, ld(kWide.rowRound));
}

// F*T/32768 rounded to nearest even, T unsigned, saturated to 16 bits.
inline __m256i quantEven16(__m256i f, __m256i t) {
    const __m256i lo = _mm256_mullo_epi16(f, t);
    const __m256i hi = _mm256_add_epi16(_mm256_mulhi_epi16(f, t), _mm256_and_si256(f, _mm256_srai_epi16(t, 15)));
    const __m256i bias = ld(kWide.bias), bit = ld(kWide.bit);
    __m256i p0 = _mm256_unpacklo_epi16(lo, hi), p1 = _mm256_unpackhi_epi16(lo, hi);
    p0 = _mm256_add_epi32(_mm256_add_epi32(p0, bias), _mm256_and_si256(_mm256_srli_epi32(p0, 15), bit));
    p1 = _mm256_add_epi32(_mm256_add_epi32(p1, bias), _mm256_and_si256(_mm256_srli_epi32(p1, 15), bit));
    return _mm256_packs_epi32(_mm256_srai_epi32(p0, 15), _mm256_srai_epi32(p1, 15));
}

// The same when every T is at most 32767: pmulhrsw rounds half up, and an
// exact half (low 15 bits of the product 0x4000) clears the low bit.
inline __m256i quantEvenSmallT16(__m256i f, __m256i t) {
    const __m256i r = _mm256_mulhrs_epi16(f, t);
    const __m256i tie = _mm256_cmpeq_epi16(_mm256_and_si256(_mm256_mullo_epi16(f, t), ld(kWide.low15)), ld(kWide.half));
    return _mm256_and_si256(r, _mm256_add_epi16(tie, ld(kWide.allOnes)));
}

OZR_ALWAYS_INLINE bool smallMultipliers(const uint16_t* table) {
    const __m256i* t = reinterpret_cast<const __m256i*>(table);
    const __m256i a = _mm256_or_si256(_mm256_loadu_si256(t + 0), _mm256_loadu_si256(t + 1));
    const __m256i b = _mm256_or_si256(_mm256_loadu_si256(t + 2), _mm256_loadu_si256(t + 3));
    return (_mm256_movemask_epi8(_mm256_or_si256(a, b)) & 0xAAAAAAAA) == 0;
}

enum class Quant { None, SmallT, Any };

// Row pass, quantization and store of rows a (low lane) and b (high lane).
template <Quant Q>
OZR_ALWAYS_INLINE void pairStore(__m256i y, int a, int b, int16_t* dst, const uint16_t* table) {
    __m256i f = rowPass(y, kWide.rowK[kRowPair[a]]);
    if (Q != Quant::None) {
        const __m256i t = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 8 * a))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 8 * b)), 1);
        f = Q == Quant::SmallT ? quantEvenSmallT16(f, t) : quantEven16(f, t);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * a), _mm256_castsi256_si128(f));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * b), _mm256_extracti128_si256(f, 1));
}

template <Quant Q>
OZR_ALWAYS_INLINE void rowsStore(const __m256i y[4], int16_t* dst, const uint16_t* table) {
    pairStore<Q>(y[0], 0, 4, dst, table);
    pairStore<Q>(y[1], 1, 7, dst, table);
    pairStore<Q>(y[2], 2, 6, dst, table);
    pairStore<Q>(y[3], 3, 5, dst, table);
}

}  // namespace
}  // namespace wide
}  // namespace dct
}  // namespace ozr

#endif  // OZRJ_JPEG_DCT_WIDE_H
