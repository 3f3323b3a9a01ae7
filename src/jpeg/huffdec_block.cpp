// Baseline block decoding: the careful path (the definition), the fast
// kernel that must match it exactly, the Direct form and the one-value
// decoder.
#include <cstring>

#include <emmintrin.h>

#include "core/frame.h"
#include "jpeg/huffdec.h"

namespace ozr {
namespace huffdec {


OzrStatus decodeBlockCareful(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                             const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac,
                             int* position) {
    kernel::zeroBlock<0>(dst);
    int sym;
    if (OzrStatus st = r.symbol(dc, &sym)) {
        *position = 0;
        return st;
    }
    int s = sym & 15;
    if (s) {
        uint32_t v;
        if (OzrStatus st = r.bits(s, &v)) {
            *position = 0;
            return st;
        }
        *lastDC = static_cast<Ozr16s>(*lastDC + extend(v, s));
    }
    dst[0] = *lastDC;

    OzrStatus status = ozrStatusOk;
    int k = 1, open = 63;
    while (open > 0) {
        if ((status = r.symbol(ac, &sym))) break;
        const int run = sym >> 4;
        s = sym & 15;
        if (s) {
            k += run;
            open -= run + 1;
            uint32_t v;
            if ((status = r.bits(s, &v))) break;
            if (k >= kZigzagLen) return ozrStatusBlockOverrun;
            dst[kZigzag[k]] = static_cast<Ozr16s>(extend(v, s));
            ++k;
        } else if (run < 15) {
            break;  // end of block
        } else {
            k += 16;
            open -= 16;
        }
    }
    *position = 64 - open;
    return status;
}

bool decodeBlockFast(StateReader& r, Ozr16s* dst, Ozr16s* lastDC, const OzriDecodeHuffmanSpec* dc,
                     const OzriDecodeHuffmanSpec* ac, int* position) {
    return kernel::readerBlock<0>(r, dst, lastDC, dc, ac, position);
}

OzrStatus blockEntry(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst,
                     Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable,
                     const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState) {
    return kernel::blockEntry<0>(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable,
                                 pAcTable, pDecHuffState);
}

__attribute__((noinline)) OzrStatus blockChecked(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                 Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker,
                                                 const OzriDecodeHuffmanSpec* pDcTable,
                                                 const OzriDecodeHuffmanSpec* pAcTable,
                                                 OzriDecodeHuffmanState* pDecHuffState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), failIf(srcLenBytes < 0, ozrStatusBadArgument),
                                    ptr(pSrcCurrPos), ptr(pDst), ptr(pLastDC), ptr(pMarker),
                                    ptr(pDcTable), ptr(pAcTable), ptr(pDecHuffState)))
        return st;
    if (*pSrcCurrPos < 0) return ozrStatusBadArgument;
    if (pDecHuffState->count < 0 || pDecHuffState->count > 32) return ozrStatusBadSize;

    StateReader r = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    int position = pDecHuffState->position;
    const OzrStatus st = decodeBlockCareful(r, pDst, pLastDC, pDcTable, pAcTable, &position);
    storeReader(r, pSrcCurrPos, pDecHuffState);
    pDecHuffState->position = position;
    return st;
}

OzrStatus decodeBlockDirect(DirectReader& r, Ozr16s* dst, Ozr16s* lastDC,
                            const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac) {
    kernel::zeroBlock<0>(dst);
    int sym;
    if (OzrStatus st = r.symbol(dc, &sym))
        return st == ozrStatusMarkerFound ? ozrStatusOk : ozrStatusBadCodeOrValue;
    int s = sym & 15;
    if (s) {
        uint32_t v;
        if (r.bits(s, &v)) return ozrStatusBadCodeOrValue;
        *lastDC = static_cast<Ozr16s>(*lastDC + extend(v, s));
    }
    dst[0] = *lastDC;

    int k = 1;
    while (k < 64) {
        if (OzrStatus st = r.symbol(ac, &sym)) {
            if (st != ozrStatusMarkerFound) return ozrStatusBadCodeOrValue;
            r.count = 0;  // the rest before the marker is padding
            return ozrStatusOk;
        }
        const int run = sym >> 4;
        s = sym & 15;
        if (s) {
            k += run;
            uint32_t v;
            if (r.bits(s, &v)) return ozrStatusBadCodeOrValue;
            if (k >= kZigzagLen) return ozrStatusBlockOverrun;
            dst[kZigzag[k]] = static_cast<Ozr16s>(extend(v, s));
            ++k;
        } else if (run < 15) {
            break;
        } else {
            k += 16;
        }
    }
    return ozrStatusOk;
}

}  // namespace huffdec
}  // namespace ozr

using namespace ozr;
using namespace ozr::huffdec;

extern "C" OZRAPI OzrStatus ozriDecodeHuffman8x8_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, Ozr16s* pLastDC,
    int* pMarker, const OzriDecodeHuffmanSpec* pDcTable, const OzriDecodeHuffmanSpec* pAcTable,
    OzriDecodeHuffmanState* pDecHuffState) {
    // Direct calls rather than a pointer: the compiler then passes the
    // stacked arguments through untouched.
    if (cpuHasAvx2())
        return avx2::blockEntry(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable,
                                pDecHuffState);
    return blockEntry(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable,
                      pDecHuffState);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int* pSrcBitsLen, Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker,
    Ozr32u* pPrefetchedBits, int* pNumValidPrefetchedBits, const OzriDecodeHuffmanSpec* pDcTable,
    const OzriDecodeHuffmanSpec* pAcTable) {
    // The counts are read only once their pointers are known to be valid.
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pSrcBitsLen))) return st;
    if (*pSrcBitsLen < 0) return ozrStatusBadArgument;
    if (OzrStatus st = firstFailure(ptr(pDst), ptr(pLastDC), ptr(pMarker), ptr(pPrefetchedBits),
                                    ptr(pNumValidPrefetchedBits)))
        return st;
    if (*pNumValidPrefetchedBits < 0 || *pNumValidPrefetchedBits > 32) return ozrStatusBadArgument;
    if (OzrStatus st = firstFailure(ptr(pDcTable), ptr(pAcTable))) return st;

    DirectReader r;
    r.src = pSrc;
    r.len = 0;
    r.pos = *pSrcBitsLen >> 3;
    r.marker = pMarker;
    r.buf = *pPrefetchedBits;
    r.count = *pNumValidPrefetchedBits;
    const OzrStatus st = decodeBlockDirect(r, pDst, pLastDC, pDcTable, pAcTable);
    *pSrcBitsLen = static_cast<int>(static_cast<uint32_t>(r.pos) * 8u);
    *pPrefetchedBits = static_cast<Ozr32u>(r.buf);
    *pNumValidPrefetchedBits = r.count;
    return st;
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanOne_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, int* pMarker,
    const OzriDecodeHuffmanSpec* pTable, OzriDecodeHuffmanState* pDecHuffState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), length(srcLenBytes), ptr(pSrcCurrPos), ptr(pDst),
                                    ptr(pMarker), ptr(pTable), ptr(pDecHuffState)))
        return st;
    if (*pSrcCurrPos < 0) return ozrStatusBadArgument;
    if (pDecHuffState->count < 0 || pDecHuffState->count > 32) return ozrStatusBadSize;

    StateReader r = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    Ozr16s v;
    const OzrStatus st = decodeValue(r, pTable, &v);
    if (st == ozrStatusOk) *pDst = v;
    storeReader(r, pSrcCurrPos, pDecHuffState);
    return st;
}
