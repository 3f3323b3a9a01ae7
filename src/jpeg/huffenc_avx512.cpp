// The block encoder's fast path for AVX-512 processors (F, BW, VL, CD,
// VBMI, VBMI2).
//
// Everything that does not depend on the bit position is worked out for the
// whole block before the first bit is written:
//   1. two word permutes put the block in zigzag order; the non-zero mask
//      and the -32768 screen come from mask compares;
//   2. a byte compress lists the positions of the non-zero AC coefficients,
//      and a byte permute of that list gives each one's zero run;
//   3. per 16 listed coefficients: the value by word permute, its category
//      from a leading-zero count, the magnitude bits, the table entry of
//      (run, category) by gather, and the finished field
//      (code << category) | bits with its length.
// The writer then only appends fields, two coefficients at a time.  A block with a run above 15 (ZRL
// codes), an entry without a usable code or a -32768 is declined before
// anything is written; the AVX2 build (or the careful path) takes it.
#include <immintrin.h>

#include "jpeg/huffenc_kernel.h"

// GCC 12's AVX-512 headers make their "undefined" registers by
// self-initialisation, which -Wmaybe-uninitialized reports at every use.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozr {
namespace huff {
namespace avx512 {

namespace {

struct Constants {
    alignas(64) uint16_t zigzag[64];  // zigzag position -> natural index (of the two loaded registers)
    alignas(64) uint8_t position[64];  // 0..63
    alignas(64) uint8_t previous[64];  // lane i -> lane i - 1
};

constexpr Constants makeConstants() {
    Constants z{};
    for (int i = 0; i < 64; ++i) {
        z.zigzag[i] = static_cast<uint16_t>(kZigzagNatural[i]);
        z.position[i] = static_cast<uint8_t>(i);
        z.previous[i] = static_cast<uint8_t>(i ? i - 1 : 0);
    }
    return z;
}

alignas(64) constexpr Constants kC = makeConstants();

// Fields and lengths of the AC coefficients 16j..16j+15 of the dense list
// (positions pos, runs run, zigzag-ordered block z0:z1), two coefficients
// to a field: field[8j + i] holds coefficients 16j + 2i and 16j + 2i + 1.
// False when one of them has no usable code (a length outside 1..16).
template <int j>
__attribute__((always_inline)) inline bool fields16(__m512i pos, __m512i run, __m512i z0, __m512i z1, int n,
                                                    const OzriEncodeHuffmanSpec* ac, uint64_t* field,
                                                    uint64_t* length) {
    const __m512i one = _mm512_set1_epi32(1);
    const __mmask16 valid = static_cast<__mmask16>(n - 16 * j >= 16 ? 0xFFFF : (1u << (n - 16 * j)) - 1);
    const __m512i idx = _mm512_castsi256_si512(_mm256_cvtepu8_epi16(_mm512_extracti32x4_epi32(pos, j)));
    const __m512i v = _mm512_cvtepi16_epi32(_mm512_castsi512_si256(_mm512_permutex2var_epi16(z0, idx, z1)));
    const __m512i cat = _mm512_sub_epi32(_mm512_set1_epi32(32), _mm512_lzcnt_epi32(_mm512_abs_epi32(v)));
    const __m512i bits = _mm512_and_si512(_mm512_add_epi32(v, _mm512_srai_epi32(v, 31)),
                                          _mm512_sub_epi32(_mm512_sllv_epi32(one, cat), one));
    const __m512i sym = _mm512_add_epi32(_mm512_slli_epi32(_mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(run, j)), 4), cat);
    const __m512i e = _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), valid, sym, ac->entry, 4);
    const __m512i len = _mm512_srli_epi32(e, 16);
    if (_mm512_mask_cmpgt_epu32_mask(valid, _mm512_sub_epi32(len, one), _mm512_set1_epi32(15))) return false;
    const __m512i code = _mm512_and_si512(e, _mm512_sub_epi32(_mm512_sllv_epi32(one, len), one));
    // Lanes past the list become empty fields, then neighbours pair up:
    // (field 2i << length 2i+1) | field 2i+1, at most 62 bits.
    const __m512i f = _mm512_maskz_or_epi32(valid, _mm512_sllv_epi32(code, cat), bits);
    const __m512i l = _mm512_maskz_add_epi32(valid, len, cat);
    const __m512i low = _mm512_set1_epi64(0xFFFFFFFF);
    const __m512i lo = _mm512_srli_epi64(l, 32);
    _mm512_store_si512(field + 8 * j,
                       _mm512_or_si512(_mm512_sllv_epi64(_mm512_and_si512(f, low), lo), _mm512_srli_epi64(f, 32)));
    _mm512_store_si512(length + 8 * j, _mm512_add_epi64(_mm512_and_si512(l, low), lo));
    return true;
}

__attribute__((always_inline)) inline bool encode512(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes,
                                                     int* pDstCurrPos, Ozr16s* pLastDC,
                                                     const OzriEncodeHuffmanSpec* dc,
                                                     const OzriEncodeHuffmanSpec* ac,
                                                     OzriEncodeHuffmanState* st) {
    BitWriter<2> w;
    if (!w.begin(st, pDst, dstLenBytes, *pDstCurrPos)) return false;

    // Blocks usually come in rows: fetch the ones a few calls ahead (a
    // prefetch never faults, wherever it points).
    _mm_prefetch(reinterpret_cast<const char*>(pSrc) + 1024, _MM_HINT_T0);
    _mm_prefetch(reinterpret_cast<const char*>(pSrc) + 1088, _MM_HINT_T0);
    const __m512i a = _mm512_loadu_si512(pSrc);
    const __m512i b = _mm512_loadu_si512(pSrc + 32);
    const __m512i minWord = _mm512_set1_epi16(-32768);
    if (_mm512_cmpeq_epi16_mask(a, minWord) | _mm512_cmpeq_epi16_mask(b, minWord)) return false;
    const __m512i z0 = _mm512_permutex2var_epi16(a, _mm512_load_si512(kC.zigzag), b);
    const __m512i z1 = _mm512_permutex2var_epi16(a, _mm512_load_si512(kC.zigzag + 32), b);
    const uint64_t mask = static_cast<uint64_t>(_mm512_test_epi16_mask(z0, z0)) |
                          static_cast<uint64_t>(_mm512_test_epi16_mask(z1, z1)) << 32;

    // Positions of the AC coefficients, densely, and the zero runs before them.
    const uint64_t acMask = mask & ~uint64_t(1);
    const int n = __builtin_popcountll(acMask);
    const __m512i pos = _mm512_maskz_compress_epi8(acMask, _mm512_load_si512(kC.position));
    const __m512i prev = _mm512_maskz_permutexvar_epi8(~uint64_t(1), _mm512_load_si512(kC.previous), pos);
    const __m512i run = _mm512_sub_epi8(_mm512_sub_epi8(pos, prev), _mm512_set1_epi8(1));
    const uint64_t valid = (uint64_t(1) << n) - 1;  // n <= 63
    if (_mm512_mask_cmpgt_epu8_mask(valid, run, _mm512_set1_epi8(15))) return false;

    alignas(64) uint64_t field[32];
    alignas(64) uint64_t length[32];
    if (n > 0 && !fields16<0>(pos, run, z0, z1, n, ac, field, length)) return false;
    if (__builtin_expect(n > 16, 0)) {
        if (!fields16<1>(pos, run, z0, z1, n, ac, field, length)) return false;
        if (n > 32 && !fields16<2>(pos, run, z0, z1, n, ac, field, length)) return false;
        if (n > 48 && !fields16<3>(pos, run, z0, z1, n, ac, field, length)) return false;
    }

    const KernelTables* k = &kKernelTables;
    uint64_t code, len;
    {
        const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
        const int32_t s = diff >> 31;
        const uint32_t mag = static_cast<uint32_t>((diff ^ s) - s);
        const uint64_t cat = static_cast<uint64_t>(31 - __builtin_clz(2 * mag + 1));
        if (!entryCode<2>(k, dc->entry[cat], &code, &len)) return false;
        const uint64_t f = (code << cat) | lowBits<2>(k, static_cast<uint32_t>(diff + s), cat);
        if (!w.put(f, len + cat)) return false;
    }
    uint64_t eobCode = 0, eobLen = 0;
    const bool eob = (mask >> 63) == 0;
    if (eob && !entryCode<2>(k, ac->entry[0x00], &eobCode, &eobLen)) return false;
    for (int i = 0; i < (n + 1) / 2; ++i)
        if (!w.put(field[i], length[i])) return false;
    if (eob && !w.put(eobCode, eobLen)) return false;
    if (!w.finish(st, pDstCurrPos)) return false;
    *pLastDC = pSrc[0];
    return true;
}

}  // namespace

bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
                     const OzriEncodeHuffmanSpec* dc, const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    return encode512(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
                      const OzriEncodeHuffmanSpec* dc, const OzriEncodeHuffmanSpec* ac,
                      OzriEncodeHuffmanState* st) {
    if (encode512(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st)) return ozrStatusOk;
    // Long runs and the rest: the AVX2 build, then the careful path.
    return avx2::encodeBlock(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

}  // namespace avx512
}  // namespace huff
}  // namespace ozr
