// Baseline Huffman block encoding: the state record, the careful bit writer
// and the careful block encoder (the definition the fast path in
// huffenc_fast.cpp must match), the bit-addressed direct encoder, the
// one-value encoder and the symbol statistics.
#include <cstring>

#include "core/frame.h"
#include "core/kernels.h"
#include "jpeg/huffenc.h"

namespace ozr {
namespace huff {

const uint8_t kCategory[256] = {
    0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5,
    6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6,
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7,
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
    8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8,
};


void stateInit(OzriEncodeHuffmanState* st) {
    ozrsZero_8u(reinterpret_cast<Ozr8u*>(st), static_cast<int>(sizeof(*st)));
}

OzrStatus writeBits(uint32_t value, int n, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                    OzriEncodeHuffmanState* st) {
    if (n == 0) return ozrStatusBadHuffmanTable;
    uint32_t acc = static_cast<uint32_t>(st->accumulator);
    int cnt = st->count + n;
    acc |= (value & ((1u << n) - 1u)) << (24 - cnt);
    int p = *pDstCurrPos;
    for (int nb = cnt >> 3; nb > 0; --nb) {
        if (p >= dstLenBytes) {
            *pDstCurrPos = p;
            return ozrStatusBufferExhausted;
        }
        const Ozr8u b = static_cast<Ozr8u>(acc >> 16);
        pDst[p++] = b;
        if (b == 0xFF) {
            if (p == dstLenBytes) {
                *pDstCurrPos = p;
                return ozrStatusBufferExhausted;
            }
            pDst[p++] = 0;
        }
        acc <<= 8;
        cnt -= 8;
    }
    *pDstCurrPos = p;
    st->accumulator = acc;
    st->count = cnt;
    return ozrStatusOk;
}

OzrStatus flush(Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, OzriEncodeHuffmanState* st) {
    OzrStatus s = writeBits(0x7F, 7, pDst, dstLenBytes, pDstCurrPos, st);
    stateInit(st);
    return s;
}

uint64_t scalar::zigzagNonzeroMask(const Ozr16s* src) {
    uint64_t mask = 0;
    for (int k = 0; k < 64; ++k)
        if (src[kZigzagNatural[k]]) mask |= uint64_t(1) << k;
    return mask;
}

OzrStatus encodeBlockCareful(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                             Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                             const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
    *pLastDC = pSrc[0];
    int cat = category(diff);
    if (OzrStatus s = writeCode(dc->entry[cat], pDst, dstLenBytes, pDstCurrPos, st)) return s;
    if (cat)
        if (OzrStatus s = writeBits(magnitudeBits(diff, cat), cat, pDst, dstLenBytes, pDstCurrPos, st))
            return s;
    int r = 0;
    for (int k = 1; k < 64; ++k) {
        const int32_t v = pSrc[kZigzagNatural[k]];
        if (v == 0) {
            ++r;
            continue;
        }
        for (; r > 15; r -= 16)
            if (OzrStatus s = writeCode(ac->entry[0xF0], pDst, dstLenBytes, pDstCurrPos, st))
                return s;
        cat = category(v);
        if (OzrStatus s = writeCode(acEntry(ac, r * 16 + cat), pDst, dstLenBytes, pDstCurrPos, st))
            return s;
        if (OzrStatus s = writeBits(magnitudeBits(v, cat), cat, pDst, dstLenBytes, pDstCurrPos, st))
            return s;
        r = 0;
    }
    if (r > 0) return writeCode(ac->entry[0x00], pDst, dstLenBytes, pDstCurrPos, st);
    return ozrStatusOk;
}

namespace {

// Unbounded byte-wise writer for the bit-addressed entry point.
struct DirectWriter {
    Ozr8u* out;
    uint32_t acc;  // right-aligned
    int bits;      // pending bits, < 8 between puts
    void put(uint32_t v, int n) {
        if (!n) return;
        acc = (acc << n) | (v & ((1u << n) - 1u));
        bits += n;
        while (bits >= 8) {
            bits -= 8;
            const Ozr8u b = static_cast<Ozr8u>(acc >> bits);
            *out++ = b;
            if (b == 0xFF) *out++ = 0;
        }
        acc &= (1u << bits) - 1u;
    }
    void code(uint32_t entry) { put(entry, codeLength(entry)); }
};

}  // namespace
}  // namespace huff
}  // namespace ozr

using namespace ozr;
using namespace ozr::huff;

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
    return recordSize<OzriEncodeHuffmanState>(pSize);
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanStateInit_JPEG_8u(OzriEncodeHuffmanState* pState) {
    if (OzrStatus st = firstFailure(ptr(pState))) return st;
    stateInit(pState);
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanStateInitAlloc_JPEG_8u(OzriEncodeHuffmanState** ppState) {
    return recordAlloc(ppState, [](OzriEncodeHuffmanState* s) {
        stateInit(s);
        return ozrStatusOk;
    });
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanStateFree_JPEG_8u(OzriEncodeHuffmanState* pState) {
    return recordFree(pState);
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffman8x8_Direct_JPEG_16s1u_C1(
    const Ozr16s* pSrc, Ozr8u* pDst, int* pDstBitsLen, Ozr16s* pLastDC,
    const OzriEncodeHuffmanSpec* pDcTable, const OzriEncodeHuffmanSpec* pAcTable) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), ptr(pDstBitsLen), ptr(pLastDC),
                                    ptr(pDcTable), ptr(pAcTable)))
        return st;
    if (*pDstBitsLen < 0) return ozrStatusBadArgument;
    const int pos = *pDstBitsLen;
    DirectWriter w{pDst + (pos >> 3), 0, pos & 7};
    if (w.bits) w.acc = static_cast<uint32_t>(*w.out >> (8 - w.bits));

    const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
    *pLastDC = pSrc[0];
    int cat = category(diff);
    w.code(pDcTable->entry[cat]);
    w.put(magnitudeBits(diff, cat), cat);
    int r = 0;
    for (int k = 1; k < 64; ++k) {
        const int32_t v = pSrc[kZigzagNatural[k]];
        if (v == 0) {
            ++r;
            continue;
        }
        for (; r > 15; r -= 16) w.code(pAcTable->entry[0xF0]);
        cat = category(v);
        w.code(acEntry(pAcTable, r * 16 + cat));
        w.put(magnitudeBits(v, cat), cat);
        r = 0;
    }
    if (r > 0) w.code(pAcTable->entry[0x00]);
    if (w.bits) *w.out = static_cast<Ozr8u>(w.acc << (8 - w.bits));
    *pDstBitsLen = static_cast<int>(8 * (w.out - pDst) + w.bits);
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanOne_JPEG_16s1u_C1(
    const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
    const OzriEncodeHuffmanSpec* pTable, OzriEncodeHuffmanState* pEncHuffState, int bFlushState) {
    if (OzrStatus st = checkStreamArgs(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return st;
    if (bFlushState) return flush(pDst, dstLenBytes, pDstCurrPos, pEncHuffState);
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pTable))) return st;
    const int32_t v = *pSrc;
    const int cat = category(v);
    if (OzrStatus st = writeCode(pTable->entry[cat], pDst, dstLenBytes, pDstCurrPos, pEncHuffState))
        return st;
    if (cat > 0 && cat < 16)
        return writeBits(magnitudeBits(v, cat), cat, pDst, dstLenBytes, pDstCurrPos, pEncHuffState);
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriGetHuffmanStatistics8x8_JPEG_16s_C1(const Ozr16s* pSrc,
                                                                   int pDcStatistics[256],
                                                                   int pAcStatistics[256],
                                                                   Ozr16s* pLastDC) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDcStatistics), ptr(pAcStatistics), ptr(pLastDC)))
        return st;
    const int32_t diff = int32_t(pSrc[0]) - int32_t(*pLastDC);
    *pLastDC = pSrc[0];
    int cat = category(diff);
    if (cat > 15) return ozrStatusBadCodeOrValue;
    ++pDcStatistics[cat];
    int r = 0;
    for (int k = 1; k < 64; ++k) {
        const int32_t v = pSrc[kZigzagNatural[k]];
        if (v == 0) {
            ++r;
            continue;
        }
        for (; r > 15; r -= 16) ++pAcStatistics[0xF0];
        cat = category(v);
        if (cat > 14) return ozrStatusBadCodeOrValue;
        ++pAcStatistics[r * 16 + cat];
        r = 0;
    }
    if (r > 0) ++pAcStatistics[0];
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriGetHuffmanStatisticsOne_JPEG_16s_C1(const Ozr16s* pSrc,
                                                                   int pStatistics[256]) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pStatistics))) return st;
    const int cat = category(*pSrc);
    if (cat > 16) return ozrStatusValueTooLarge;
    ++pStatistics[cat];
    return ozrStatusOk;
}
