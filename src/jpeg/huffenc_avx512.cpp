// The block encoder's fast path for AVX-512 processors (F, BW, VL, CD,
// VBMI, VBMI2).
//
// Everything that does not depend on the bit position is worked out for the
// whole block before the first bit is written.  The block becomes a list:
// lane 0 the DC difference, then the non-zero AC coefficients, then the end
// of block when coefficient 63 is zero.
//   1. two word permutes put the block in zigzag order; the non-zero mask
//      and the -32768 screen come from mask compares;
//   2. a byte compress lists the positions, and a byte permute of that list
//      gives each AC coefficient's zero run;
//   3. per 16 lanes: the value by word permute, its category from a
//      leading-zero count, the magnitude bits, the table entry of
//      (run, category) by gather (symbol 0, the end of block, in the last
//      lane), and the finished field (code << category) | bits with its
//      length; lane 0 takes the DC field, worked out on its own;
//   4. neighbouring fields join into pairs, pairs into fours (at most 56
//      bits, or the block is written in pairs).
// The writer then appends one field of four lanes at a time, without a
// data-dependent branch, and puts in the stuffing zeros at the end.  A block
// with a run above 15 (ZRL codes), an entry without a usable code or a
// -32768 is declined before anything is written, and so is a buffer with
// less room than a block can ever take; the AVX2 build (or the careful
// path) takes those.
#include <immintrin.h>

#include <type_traits>

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

// A writer without data-dependent branches.  Every append shifts the field
// into the accumulator and stores the accumulator's complete bytes (eight
// bytes, the ones past the complete bytes are scratch), keeping at most 7
// pending bits.  Appends take at most 56 bits.  Stuffing comes afterwards:
// each append notes whether a complete byte was 0xFF, and finish() then
// spreads the call's bytes out (rare).
// The caller guarantees kRoom bytes of room, more than a block can take
// with every byte stuffed.
class StraightWriter {
public:
    static constexpr int kRoom = 528;

    bool begin(const OzriEncodeHuffmanState* st, Ozr8u* dst, int dstLenBytes, int pos) {
        if (pos < 0 || pos > dstLenBytes || dstLenBytes - pos < kRoom) return false;
        uint32_t pending;
        int c;
        if (!unpackState(st, &pending, &c, &last_)) return false;
        acc_ = pending;
        count_ = static_cast<uint64_t>(c);
        start_ = dst + pos;
        out_ = start_;
        return true;
    }

    // Appends the n low bits of v (n 0..56; v has no bits above them).
    __attribute__((always_inline)) inline void put(uint64_t v, uint64_t n) {
        acc_ = (acc_ << n) | v;
        count_ += n;  // 0..63
        const uint64_t word = (acc_ << 1) << (63 - count_);
        const uint64_t t = ~word;
        ff_ |= (t - 0x0101010101010101ull) & ~t;
        const uint64_t be = __builtin_bswap64(word);
        std::memcpy(out_, &be, 8);
        out_ += count_ >> 3;
        count_ &= 7;
    }

    // Appends up to 64 bits (a pair of fields: at most 63).
    __attribute__((always_inline)) inline void putLong(uint64_t v, uint64_t n) {
        if (__builtin_expect(n > 56, 0)) {
            put(v >> 32, n - 32);
            v &= 0xFFFFFFFFu;
            n = 32;
        }
        put(v, n);
    }

    void finish(OzriEncodeHuffmanState* st, int* pos) {
        const int64_t len = out_ - start_;
        if (len > 0) last_ = out_[-1];
        if (__builtin_expect((ff_ & 0x8080808080808080ull) != 0, 0)) stuff(len);
        const uint32_t low = static_cast<uint32_t>(acc_) & ((1u << count_) - 1u);
        st->accumulator = (last_ << 24) | (low << (24 - count_));
        st->count = static_cast<int32_t>(count_);
        *pos += static_cast<int>(out_ - start_);
    }

private:
    // Puts a 0 after every 0xFF of the len bytes from start_, in place.
    __attribute__((noinline)) void stuff(int64_t len) {
        int64_t extra = 0;
        for (int64_t i = 0; i < len; ++i) extra += start_[i] == 0xFF;
        out_ = start_ + len + extra;
        for (int64_t i = len - 1; extra > 0; --i) {
            const Ozr8u b = start_[i];
            if (b == 0xFF) start_[i + extra--] = 0;
            start_[i + extra] = b;
        }
    }

    uint64_t acc_ = 0;
    uint64_t count_ = 0;
    uint64_t ff_ = 0;  // a set bit 7 in a byte: some complete byte was 0xFF
    uint32_t last_ = 0;
    Ozr8u* start_ = nullptr;
    Ozr8u* out_ = nullptr;
};

// Fields of the list lanes 16j..16j+15 (lane 0 the DC difference, then the
// AC coefficients, then the end of block when there is one); coef and coded
// are the lanes of the AC coefficients and of every AC code (coefficients
// and end of block).  Stores pairs (field[8j + i]: lanes 16j + 2i and
// 16j + 2i + 1) and, in the even lanes, pairs of pairs (quad[8j + 2i]);
// tooLong collects pairs of pairs above 56 bits.  False when an AC code is
// missing (a length outside 1..16).
template <int j>
__attribute__((always_inline)) inline bool fields16(__m512i pos, __m512i run, __m512i z0, __m512i z1,
                                                    uint64_t coef, uint64_t coded, __m512i dcField,
                                                    __m512i dcLength, const OzriEncodeHuffmanSpec* ac,
                                                    uint64_t* field, uint64_t* length, uint64_t* quad,
                                                    uint64_t* quadLength, unsigned* tooLong) {
    const __m512i one = _mm512_set1_epi32(1);
    const __mmask16 isCoef = static_cast<__mmask16>(coef >> (16 * j));
    const __mmask16 isCoded = static_cast<__mmask16>(coded >> (16 * j));
    const __m512i idx = _mm512_castsi256_si512(_mm256_cvtepu8_epi16(_mm512_extracti32x4_epi32(pos, j)));
    const __m512i v = _mm512_maskz_cvtepi16_epi32(isCoef, _mm512_castsi512_si256(_mm512_permutex2var_epi16(z0, idx, z1)));
    const __m512i cat = _mm512_sub_epi32(_mm512_set1_epi32(32), _mm512_lzcnt_epi32(_mm512_abs_epi32(v)));
    const __m512i bits = _mm512_and_si512(_mm512_add_epi32(v, _mm512_srai_epi32(v, 31)),
                                          _mm512_sub_epi32(_mm512_sllv_epi32(one, cat), one));
    const __m512i sym = _mm512_add_epi32(_mm512_slli_epi32(_mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(run, j)), 4), cat);
    __m512i e;
    if (j == 0 && isCoded < 0x100)  // eight lanes or fewer: half the loads
        e = _mm512_castsi256_si512(_mm256_mmask_i32gather_epi32(_mm256_setzero_si256(), static_cast<__mmask8>(isCoded),
                                                                _mm512_castsi512_si256(sym), ac->entry, 4));
    else
        e = _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), isCoded, sym, ac->entry, 4);
    const __m512i len = _mm512_srli_epi32(e, 16);
    if (_mm512_mask_cmpgt_epu32_mask(isCoded, _mm512_sub_epi32(len, one), _mm512_set1_epi32(15))) return false;
    const __m512i code = _mm512_and_si512(e, _mm512_sub_epi32(_mm512_sllv_epi32(one, len), one));
    // Lanes past the list become empty fields, then neighbours pair up:
    // (field 2i << length 2i+1) | field 2i+1, at most 63 bits.
    __m512i f = _mm512_maskz_or_epi32(isCoded, _mm512_sllv_epi32(code, cat), bits);
    __m512i l = _mm512_maskz_add_epi32(isCoded, len, cat);
    if (j == 0) {
        f = _mm512_mask_mov_epi32(f, 1, dcField);
        l = _mm512_mask_mov_epi32(l, 1, dcLength);
    }
    const __m512i low = _mm512_set1_epi64(0xFFFFFFFF);
    const __m512i lo = _mm512_srli_epi64(l, 32);
    const __m512i pf = _mm512_or_si512(_mm512_sllv_epi64(_mm512_and_si512(f, low), lo), _mm512_srli_epi64(f, 32));
    const __m512i pl = _mm512_add_epi64(_mm512_and_si512(l, low), lo);
    _mm512_store_si512(field + 8 * j, pf);
    _mm512_store_si512(length + 8 * j, pl);
    // Pairs of pairs in the even lanes: (pair 2i << length 2i+1) | pair 2i+1.
    const __m512i plx = _mm512_shuffle_epi32(pl, _MM_PERM_BADC);
    const __m512i ql = _mm512_add_epi64(pl, plx);
    _mm512_store_si512(quad + 8 * j, _mm512_or_si512(_mm512_sllv_epi64(pf, plx), _mm512_shuffle_epi32(pf, _MM_PERM_BADC)));
    _mm512_store_si512(quadLength + 8 * j, ql);
    *tooLong |= _mm512_cmpgt_epu64_mask(ql, _mm512_set1_epi64(56));
    return true;
}

__attribute__((always_inline)) inline bool encode512(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes,
                                                     int* pDstCurrPos, Ozr16s* pLastDC,
                                                     const OzriEncodeHuffmanSpec* dc,
                                                     const OzriEncodeHuffmanSpec* ac,
                                                     OzriEncodeHuffmanState* st) {
    StraightWriter w;
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

    // The list: the DC difference in lane 0, the AC coefficients densely in
    // lanes 1..n with the zero runs before them, then the end of block.
    const int n = __builtin_popcountll(mask & ~uint64_t(1));
    const uint64_t eob = ~mask >> 63;
    const int lanes = n + 1 + static_cast<int>(eob);  // at most 64
    const uint64_t coef = _bzhi_u64(~uint64_t(0), static_cast<unsigned>(n + 1)) & ~uint64_t(1);
    const uint64_t coded = _bzhi_u64(~uint64_t(0), static_cast<unsigned>(lanes)) & ~uint64_t(1);
    const __m512i pos = _mm512_maskz_compress_epi8(mask | 1, _mm512_load_si512(kC.position));
    const __m512i prev = _mm512_maskz_permutexvar_epi8(~uint64_t(1), _mm512_load_si512(kC.previous), pos);
    const __m512i run = _mm512_maskz_sub_epi8(coef, _mm512_sub_epi8(pos, prev), _mm512_set1_epi8(1));
    if (_mm512_cmpgt_epu8_mask(run, _mm512_set1_epi8(15))) return false;

    __m512i dcField, dcLength;
    {
        const KernelTables* k = &kKernelTables;
        uint64_t code, len;
        const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
        const int32_t s = diff >> 31;
        const uint32_t mag = static_cast<uint32_t>((diff ^ s) - s);
        const uint64_t cat = static_cast<uint64_t>(31 - __builtin_clz(2 * mag + 1));
        if (!entryCode<2>(k, dc->entry[cat], &code, &len)) return false;
        dcField = _mm512_set1_epi32(static_cast<int>((code << cat) | lowBits<2>(k, static_cast<uint32_t>(diff + s), cat)));
        dcLength = _mm512_set1_epi32(static_cast<int>(len + cat));
    }

    alignas(64) uint64_t field[32];
    alignas(64) uint64_t length[32];
    alignas(64) uint64_t quad[32];
    alignas(64) uint64_t quadLength[32];
    unsigned tooLong = 0;
    auto group = [&](auto j) {
        return fields16<decltype(j)::value>(pos, run, z0, z1, coef, coded, dcField, dcLength, ac, field, length,
                                            quad, quadLength, &tooLong);
    };
    if (!group(std::integral_constant<int, 0>())) return false;
    if (lanes > 16) {
        if (!group(std::integral_constant<int, 1>())) return false;
        if (lanes > 32 && !group(std::integral_constant<int, 2>())) return false;
        if (lanes > 48 && !group(std::integral_constant<int, 3>())) return false;
    }
    if (__builtin_expect(tooLong == 0, 1)) {
        for (int i = 0; i < (lanes + 3) / 4; ++i) w.put(quad[2 * i], quadLength[2 * i]);
    } else {
        for (int i = 0; i < (lanes + 1) / 2; ++i) w.putLong(field[i], length[i]);
    }
    w.finish(st, pDstCurrPos);
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
