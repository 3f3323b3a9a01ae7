// The fast block encoder, written once and built twice: huffenc_fast.cpp
// instantiates it for the SSSE3 baseline, huffenc_avx2.cpp for AVX2
// processors, where the compiler turns the variable shifts and bit fields
// into BMI2 instructions.  The template argument keeps the two builds apart
// (no shared inline copies between translation units of different targets).
//
// Per block: one SIMD pass marks the non-zero coefficients in zigzag order
// (a 64-bit mask), stores t = v - (v < 0) for every coefficient (the value
// whose low `cat` bits are the magnitude bits) and screens for -32768; the
// walk then visits only the set bits of the mask.
#ifndef OZRJ_JPEG_HUFFENC_KERNEL_H
#define OZRJ_JPEG_HUFFENC_KERNEL_H

#include <immintrin.h>
#include <tmmintrin.h>

#include "core/kernels.h"
#include "jpeg/huffenc.h"

namespace ozr {
namespace huff {

// The walk's tables in one record, reached through one base register:
// (1 << n) - 1 for n = 0..32, zigzag position -> natural index, and the
// magnitude category of a 16-bit t (as above, read unsigned): the number of
// significant bits of |v|.
struct KernelTables {
    uint64_t lowBits[40];
    uint64_t zigzag[64];
    uint8_t category[65536];
};
extern const KernelTables kKernelTables;

// x & ((1 << n) - 1), n = 0..32.
template <int kArch>
__attribute__((always_inline)) inline uint64_t lowBits(const KernelTables* k, uint64_t x, uint64_t n) {
    if (kArch >= 1) return _bzhi_u64(x, static_cast<unsigned>(n));
    return x & k->lowBits[n];
}


// Byte shuffles that move the zero flags of natural indices 16q..16q+15
// (one byte each) to zigzag positions 16j..16j+15; -128 selects nothing.
struct FlagShuffles {
    alignas(16) int8_t m[4][4][16];  // [j][q][lane]
};

constexpr FlagShuffles makeFlagShuffles() {
    FlagShuffles t{};
    for (int j = 0; j < 4; ++j)
        for (int q = 0; q < 4; ++q)
            for (int lane = 0; lane < 16; ++lane) {
                const int n = kZigzagNatural[16 * j + lane];
                t.m[j][q][lane] = static_cast<int8_t>(n / 16 == q ? n % 16 : -128);
            }
    return t;
}

inline constexpr FlagShuffles kFlagShuffles = makeFlagShuffles();

// The zigzag non-zero mask of src.  With t non-null also stores the 64
// values t (natural order) and sets *anyMin when a coefficient is -32768.
template <int kArch>
__attribute__((always_inline)) inline uint64_t prepareBlock(const Ozr16s* src, uint16_t* t = nullptr,
                                                            bool* anyMin = nullptr) {
    const __m128i zero = _mm_setzero_si128();
    __m128i flags[4];
    __m128i low = _mm_set1_epi16(32767);
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * q));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * q + 8));
        flags[q] = _mm_packs_epi16(_mm_cmpeq_epi16(a, zero), _mm_cmpeq_epi16(b, zero));
        if (t) {
            low = _mm_min_epi16(low, _mm_min_epi16(a, b));
            _mm_store_si128(reinterpret_cast<__m128i*>(t + 16 * q), _mm_add_epi16(a, _mm_srai_epi16(a, 15)));
            _mm_store_si128(reinterpret_cast<__m128i*>(t + 16 * q + 8), _mm_add_epi16(b, _mm_srai_epi16(b, 15)));
        }
    }
    if (t) *anyMin = _mm_movemask_epi8(_mm_cmpeq_epi16(low, _mm_set1_epi16(-32768))) != 0;
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

// Code of a table entry masked to its length, or false when the entry holds
// no code (length 0 or above 16).
template <int kArch>
__attribute__((always_inline)) inline bool entryCode(const KernelTables* k, uint32_t entry, uint64_t* code,
                                                     uint64_t* len) {
    *len = entry >> 16;
    if (__builtin_expect(*len - 1u > 15u, 0)) return false;
    *code = lowBits<kArch>(k, entry, *len);
    return true;
}

template <int kArch>
__attribute__((always_inline)) inline bool encodeBlockKernel(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes,
                                                             int* pDstCurrPos, Ozr16s* pLastDC,
                                                             const OzriEncodeHuffmanSpec* dc,
                                                             const OzriEncodeHuffmanSpec* ac,
                                                             OzriEncodeHuffmanState* st) {
    BitWriter<kArch> w;
    if (!w.begin(st, pDst, dstLenBytes, *pDstCurrPos)) return false;

    // Blocks usually come in rows: fetch the ones a few calls ahead (a
    // prefetch never faults, wherever it points).
    _mm_prefetch(reinterpret_cast<const char*>(pSrc) + 1024, _MM_HINT_T0);
    _mm_prefetch(reinterpret_cast<const char*>(pSrc) + 1088, _MM_HINT_T0);
    alignas(16) uint16_t t[64];
    bool anyMin;
    const uint64_t mask = prepareBlock<kArch>(pSrc, t, &anyMin);
    if (__builtin_expect(anyMin, 0)) return false;  // category 16: left to the careful path

    const KernelTables* k = &kKernelTables;
    uint64_t code, len;
    // DC difference: |diff| <= 65535, category 0..16.
    {
        const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
        const int32_t s = diff >> 31;
        const uint32_t a = static_cast<uint32_t>((diff ^ s) - s);
        const uint64_t cat = static_cast<uint64_t>(31 - __builtin_clz(2 * a + 1));
        if (!entryCode<kArch>(k, dc->entry[cat], &code, &len)) return false;
        const uint64_t field = (code << cat) | lowBits<kArch>(k, static_cast<uint32_t>(diff + s), cat);
        if (!w.put(field, len + cat)) return false;
    }

    // AC: bit i of m is zigzag position p + 1 + i; runs come from the bit scan.
    uint64_t m = mask >> 1;
    uint64_t p = 0;
    while (m) {
        uint64_t r = static_cast<uint64_t>(__builtin_ctzll(m));  // zeros before the next coefficient
        p += r + 1;
        m >>= r + 1;  // r <= 62
        if (__builtin_expect(r > 15, 0)) {
            if (!entryCode<kArch>(k, ac->entry[0xF0], &code, &len)) return false;
            do {
                if (!w.put(code, len)) return false;
                r -= 16;
            } while (r > 15);
        }
        const uint64_t tv = t[k->zigzag[p]];
        const uint64_t cat = k->category[tv];  // 1..15
        if (!entryCode<kArch>(k, ac->entry[r * 16 + cat], &code, &len)) return false;
        const uint64_t field = (code << cat) | lowBits<kArch>(k, tv, cat);
        if (!w.put(field, len + cat)) return false;
    }
    if (p < 63) {
        if (!entryCode<kArch>(k, ac->entry[0x00], &code, &len)) return false;
        if (!w.put(code, len)) return false;
    }
    if (!w.finish(st, pDstCurrPos)) return false;
    *pLastDC = pSrc[0];
    return true;
}

}  // namespace huff
}  // namespace ozr

#endif  // OZRJ_JPEG_HUFFENC_KERNEL_H
