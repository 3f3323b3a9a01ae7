// The block encoder: its fast path (the SSSE3 zigzag non-zero mask, the walk
// over the non-zero coefficients, the 64-bit writer) and the exported entry
// point, which falls back to encodeBlockCareful (huffenc_block.cpp), the
// definition.
#include <tmmintrin.h>
#include <x86intrin.h>

#include "core/kernels.h"
#include "jpeg/huffenc.h"

namespace ozr {
namespace huff {

namespace {

// Byte shuffles that move the zero flags of natural indices 16q..16q+15
// (one byte each) to zigzag positions 16j..16j+15; -128 selects nothing.
struct FlagShuffles {
    alignas(16) int8_t m[4][4][16];  // [j][q][lane]
};

constexpr FlagShuffles makeFlagShuffles() {
    FlagShuffles t{};
    constexpr int natural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                 12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
    for (int j = 0; j < 4; ++j)
        for (int q = 0; q < 4; ++q)
            for (int lane = 0; lane < 16; ++lane) {
                const int n = natural[16 * j + lane];
                t.m[j][q][lane] = static_cast<int8_t>(n / 16 == q ? n % 16 : -128);
            }
    return t;
}

constexpr FlagShuffles kFlagShuffles = makeFlagShuffles();

// With pMin non-null, *pMin tells whether any coefficient is -32768.
inline uint64_t zigzagNonzeroMaskInline(const Ozr16s* src, bool* pMin = nullptr) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i minv = _mm_set1_epi16(-32768);
    __m128i anyMin = zero;
    __m128i flags[4];
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * q));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * q + 8));
        flags[q] = _mm_packs_epi16(_mm_cmpeq_epi16(a, zero), _mm_cmpeq_epi16(b, zero));
        if (pMin) anyMin = _mm_or_si128(anyMin, _mm_or_si128(_mm_cmpeq_epi16(a, minv), _mm_cmpeq_epi16(b, minv)));
    }
    if (pMin) *pMin = _mm_movemask_epi8(anyMin) != 0;
    // Zigzag rows 0..15 only read natural indices below 48, rows 48..63
    // only indices from 16 on.
    uint64_t isZero = 0;
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) {
        __m128i o = _mm_setzero_si128();
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) {
            if ((j == 0 && q == 3) || (j == 3 && q == 0)) continue;
            o = _mm_or_si128(o, _mm_shuffle_epi8(flags[q], _mm_load_si128(reinterpret_cast<const __m128i*>(
                                                                   kFlagShuffles.m[j][q]))));
        }
        isZero |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(o))) << (16 * j);
    }
    return ~isZero;
}

}  // namespace

uint64_t ssse3::zigzagNonzeroMask(const Ozr16s* src) { return zigzagNonzeroMaskInline(src); }

namespace {

// Category of a value with |v| <= 65535, by bit scan and without a branch:
// 2|v| + 1 has exactly one significant bit more than |v|, and is never 0.
inline int categoryOf(int32_t v) {
    const int32_t s = v >> 31;
    const uint32_t a = static_cast<uint32_t>((v ^ s) - s);
    return _bit_scan_reverse(static_cast<int>(2 * a + 1));
}

// An AC coefficient v (non-zero, not -32768, so category 1..15) after r
// zeros (0..15): its code and magnitude bits as one field of n bits.  False
// when the symbol has no code.
inline bool acField(const OzriEncodeHuffmanSpec* ac, int64_t v, unsigned r, uint64_t* field, int* n) {
    const int64_t s = v >> 63;
    const uint32_t a = static_cast<uint32_t>((v ^ s) - s);
    const int cat = _bit_scan_reverse(static_cast<int>(a));  // category - 1 (a != 0)
    const uint32_t entry = ac->entry[r * 16 + 1 + cat];
    if (__builtin_expect(entry - 0x10000u >= 0x100000u, 0)) return false;  // length not 1..16
    *field = ((static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(entry)) ^ s) << 1 << cat)) ^
             static_cast<uint64_t>(v + s);
    *n = static_cast<int>(entry >> 16) + cat + 1;
    return true;
}

// Code followed by `cat` magnitude bits, as one field: with s = 0 or -1 for
// v >= 0 or v < 0, ((code ^ s) << cat) ^ (v + s) holds the code above the
// low `cat` bits of v (or v - 1); bits above the code's length are dropped by
// the writer.  False when the entry holds no code or room ran short.
inline bool putSymbol(FastBitWriter& w, uint32_t entry, int32_t v, int cat) {
    const int len = codeLength(entry);
    if (__builtin_expect(!len, 0)) return false;
    const int32_t s = v >> 31;
    const uint64_t field = (static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(entry) ^ s)) << cat) ^
                           static_cast<uint64_t>(static_cast<int64_t>(v + s));
    return w.putField(field, len + cat);
}

}  // namespace

static inline bool encodeBlockFastInline(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes,
                                         int* pDstCurrPos, Ozr16s* pLastDC,
                                         const OzriEncodeHuffmanSpec* dc,
                                         const OzriEncodeHuffmanSpec* ac,
                                         OzriEncodeHuffmanState* st) {
    FastBitWriter w;
    if (!w.begin(st, pDst, dstLenBytes, *pDstCurrPos)) return false;

    bool anyMin;
    uint64_t mask = zigzagNonzeroMaskInline(pSrc, &anyMin) & ~uint64_t(1);  // AC positions only
    if (__builtin_expect(anyMin, 0)) return false;  // category 16: left to the careful path

    const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
    int cat = categoryOf(diff);
    if (!putSymbol(w, dc->entry[cat], diff, cat)) return false;

    int last = 0;  // zigzag position of the last coded coefficient
    while (mask) {
        const int k = __builtin_ctzll(mask);
        mask &= mask - 1;
        int r = k - last - 1;
        last = k;
        if (__builtin_expect(r > 15, 0))
            for (; r > 15; r -= 16)
                if (!putSymbol(w, ac->entry[0xF0], 0, 0)) return false;
        uint64_t field;
        int n;
        if (!acField(ac, pSrc[kZigzagGuarded[k]], static_cast<unsigned>(r), &field, &n)) return false;
        if (!w.putField(field, n)) return false;
    }
    if (last < 63)
        if (!putSymbol(w, ac->entry[0x00], 0, 0)) return false;
    if (!w.finish(st, pDstCurrPos)) return false;
    *pLastDC = pSrc[0];
    return true;
}

bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    return encodeBlockFastInline(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

}  // namespace huff
}  // namespace ozr

using namespace ozr;
using namespace ozr::huff;

extern "C" OZRAPI OzrStatus ozriEncodeHuffman8x8_JPEG_16s1u_C1(
    const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
    const OzriEncodeHuffmanSpec* pDcTable, const OzriEncodeHuffmanSpec* pAcTable,
    OzriEncodeHuffmanState* pEncHuffState, int bFlushState) {
    if (OzrStatus st = checkStreamArgs(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return st;
    if (bFlushState) return flush(pDst, dstLenBytes, pDstCurrPos, pEncHuffState);
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pLastDC), ptr(pDcTable), ptr(pAcTable))) return st;
    if (encodeBlockFastInline(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable,
                              pEncHuffState))
        return ozrStatusOk;
    return encodeBlockCareful(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable,
                              pEncHuffState);
}
