// AVX-512 form of the 8u level-shifted forward DCT with quantization.
// dct_scalar.cpp is the definition; this gives identical results.
//
// The column pass is the AVX2 one (dct_wide.h).  Its four row pairs are
// joined into two registers, rows (0, 4, 1, 7) and (2, 6, 3, 5), so that the
// row pass handles four rows per instruction with each pair's table in its
// two lanes; two qword permutes then restore natural row order, and the
// quantization works on rows 0-3 and 4-7 with the table as it lies.
#include "jpeg/dct_wide.h"

// GCC 12's AVX-512 headers make their "undefined" registers by
// self-initialisation, which -W(maybe-)uninitialized reports at every use.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

namespace ozr {
namespace dct {
namespace avx512 {

namespace {

using namespace wide;

constexpr int kRegRows[2][4] = {{0, 4, 1, 7}, {2, 6, 3, 5}};

struct Wide512 {
    alignas(64) int16_t rowK[2][4][32];  // [register][group]: the row tables of its two pairs
    alignas(64) int16_t rowRound[32], low15[32], half[32], clearLow[32];
    alignas(64) int32_t bias[16], bit[16];
    alignas(64) int64_t naturalLo[8], naturalHi[8];
    constexpr Wide512() : rowK(), rowRound(), low15(), half(), clearLow(), bias(), bit(), naturalLo(), naturalHi() {
        for (int r = 0; r < 2; ++r)
            for (int g = 0; g < 4; ++g)
                for (int i = 0; i < 32; ++i) rowK[r][g][i] = kRowTables[kRowPair[kRegRows[r][2 * (i / 16)]]][8 * g + (i & 7)];
        for (int i = 0; i < 32; ++i) {
            rowRound[i] = 1 << (kRowShift - 9);
            low15[i] = 0x7FFF;
            half[i] = 0x4000;
            clearLow[i] = -2;
        }
        for (int i = 0; i < 16; ++i) {
            bias[i] = 16383;
            bit[i] = 1;
        }
        // Where row v lies (register, 128-bit lane) -> its qwords in order.
        for (int v = 0; v < 8; ++v)
            for (int r = 0; r < 2; ++r)
                for (int lane = 0; lane < 4; ++lane)
                    if (kRegRows[r][lane] == v) {
                        int64_t* dst = v < 4 ? naturalLo : naturalHi;
                        dst[2 * (v % 4)] = 8 * r + 2 * lane;
                        dst[2 * (v % 4) + 1] = 8 * r + 2 * lane + 1;
                    }
    }
};
constexpr Wide512 kWide512{};

template <typename T>
OZR_ALWAYS_INLINE __m512i ld512(const T* p) {
    asm("" : "+r"(p));
    return _mm512_load_si512(p);
}

// Row pass of four rows, two pairs each sharing a row table.
OZR_ALWAYS_INLINE __m512i rowPass4(__m512i y, const int16_t (*table)[32]) {
    const __m512i rev = _mm512_broadcast_i32x4(_mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
    const __m512i yr = _mm512_shuffle_epi8(y, rev);
    const __m512i x = _mm512_unpacklo_epi32(_mm512_adds_epi16(y, yr), _mm512_subs_epi16(y, yr));
    const __m512i xs = _mm512_shuffle_epi32(x, _MM_PERM_BADC);
    const __m512i k0 = ld512(table[0]), k1 = ld512(table[1]), k2 = ld512(table[2]), k3 = ld512(table[3]);
    const __m512i lo = _mm512_add_epi32(_mm512_madd_epi16(x, k0), _mm512_madd_epi16(xs, k1));
    const __m512i hi = _mm512_add_epi32(_mm512_madd_epi16(x, k2), _mm512_madd_epi16(xs, k3));
    const __m512i hw = _mm512_packs_epi32(_mm512_srai_epi32(lo, 16), _mm512_srai_epi32(hi, 16));
    return _mm512_mulhrs_epi16(hw, ld512(kWide512.rowRound));
}

OZR_ALWAYS_INLINE __m512i quantEven(__m512i f, __m512i t) {
    const __m512i lo = _mm512_mullo_epi16(f, t);
    const __m512i hi = _mm512_add_epi16(_mm512_mulhi_epi16(f, t), _mm512_and_si512(f, _mm512_srai_epi16(t, 15)));
    const __m512i bias = ld512(kWide512.bias), bit = ld512(kWide512.bit);
    __m512i p0 = _mm512_unpacklo_epi16(lo, hi), p1 = _mm512_unpackhi_epi16(lo, hi);
    p0 = _mm512_add_epi32(_mm512_add_epi32(p0, bias), _mm512_and_si512(_mm512_srli_epi32(p0, 15), bit));
    p1 = _mm512_add_epi32(_mm512_add_epi32(p1, bias), _mm512_and_si512(_mm512_srli_epi32(p1, 15), bit));
    return _mm512_packs_epi32(_mm512_srai_epi32(p0, 15), _mm512_srai_epi32(p1, 15));
}

// Every T at most 32767: pmulhrsw rounds half up, and an exact half (low 15
// bits of the product 0x4000) clears the low bit.
OZR_ALWAYS_INLINE __m512i quantEvenSmallT(__m512i f, __m512i t) {
    const __m512i r = _mm512_mulhrs_epi16(f, t);
    const __mmask32 tie =
        _mm512_cmpeq_epi16_mask(_mm512_and_si512(_mm512_mullo_epi16(f, t), ld512(kWide512.low15)), ld512(kWide512.half));
    return _mm512_mask_mov_epi16(r, tie, _mm512_and_si512(r, ld512(kWide512.clearLow)));
}

template <Quant Q>
OZR_ALWAYS_INLINE void finish(__m512i a, __m512i b, int16_t* dst, const uint16_t* table) {
    a = rowPass4(a, kWide512.rowK[0]);
    b = rowPass4(b, kWide512.rowK[1]);
    __m512i lo = _mm512_permutex2var_epi64(a, ld512(kWide512.naturalLo), b);
    __m512i hi = _mm512_permutex2var_epi64(a, ld512(kWide512.naturalHi), b);
    if (Q != Quant::None) {
        const __m512i t0 = _mm512_loadu_si512(table), t1 = _mm512_loadu_si512(table + 32);
        lo = Q == Quant::SmallT ? quantEvenSmallT(lo, t0) : quantEven(lo, t0);
        hi = Q == Quant::SmallT ? quantEvenSmallT(hi, t1) : quantEven(hi, t1);
    }
    _mm512_storeu_si512(dst, lo);
    _mm512_storeu_si512(dst + 32, hi);
}

}  // namespace

void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
    __m256i y[4];
    columnPass(src, srcStep, y);
    const __m512i a = _mm512_inserti64x4(_mm512_castsi256_si512(y[0]), y[1], 1);  // rows 0, 4, 1, 7
    const __m512i b = _mm512_inserti64x4(_mm512_castsi256_si512(y[2]), y[3], 1);  // rows 2, 6, 3, 5
    if (!table)
        finish<Quant::None>(a, b, dst, table);
    else if (smallMultipliers(table))
        finish<Quant::SmallT>(a, b, dst, table);
    else
        finish<Quant::Any>(a, b, dst, table);
}

}  // namespace avx512
}  // namespace dct
}  // namespace ozr
