// Lossless JPEG row coding: up to four interleaved difference rows to and
// from Huffman-coded bits.
#include "core/frame.h"
#include "jpeg/huffdec.h"
#include "jpeg/huffenc.h"
#include "jpeg/lossless.h"

namespace ozr {
namespace lossless {
namespace {

// Code and magnitude bits of one difference; false when the symbol has no
// code.  Category 16 (-32768) writes the symbol only.
inline bool fieldFor(const OzriEncodeHuffmanSpec* t, int32_t v, uint64_t* bits, int* n) {
    const int cat = huff::category(v);
    const uint32_t e = t->entry[cat];
    const int len = static_cast<int>(e >> 16);
    if (len == 0) return false;
    uint64_t f = e & 0xFFFFu;
    int total = len;
    if (cat > 0 && cat < 16) {
        f = (f << cat) | huff::magnitudeBits(v, cat);
        total += cat;
    }
    *bits = f;
    *n = total;
    return true;
}

// Whole row through the 64-bit writer; false gives the row to the careful
// path, which starts again from the unchanged state and position.
bool encodeRowFast(const Ozr16s* const* src, int width, int nc, Ozr8u* dst, int dstLen, int* pos,
                   const OzriEncodeHuffmanSpec* const* tables, OzriEncodeHuffmanState* st) {
    huff::FastBitWriter w;
    if (!w.begin(st, dst, dstLen, *pos)) return false;
    for (int i = 0; i < width; ++i) {
        for (int c = 0; c < nc; ++c) {
            uint64_t f;
            int n;
            if (!fieldFor(tables[c], src[c][i], &f, &n)) return false;
            // A code entry may carry stray bits above its length.
            if (!w.put(f & ((uint64_t(1) << n) - 1u), n)) return false;
        }
    }
    return w.finish(st, pos);
}

OzrStatus encodeRowCareful(const Ozr16s* const* src, int width, int nc, Ozr8u* dst, int dstLen,
                           int* pos, const OzriEncodeHuffmanSpec* const* tables,
                           OzriEncodeHuffmanState* st) {
    for (int i = 0; i < width; ++i) {
        for (int c = 0; c < nc; ++c) {
            const int32_t v = src[c][i];
            const int cat = huff::category(v);
            if (OzrStatus s = huff::writeCode(tables[c]->entry[cat], dst, dstLen, pos, st)) return s;
            if (cat > 0 && cat < 16) {
                if (OzrStatus s = huff::writeBits(huff::magnitudeBits(v, cat), cat, dst, dstLen, pos, st))
                    return s;
            }
        }
    }
    return ozrStatusOk;
}

}  // namespace
}  // namespace lossless
}  // namespace ozr

using namespace ozr;

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(
    const Ozr16s* pSrc[4], int width, int nComponents, Ozr8u* pDst, int dstLenBytes,
    int* pDstCurrPos, const OzriEncodeHuffmanSpec* pTables[4], OzriEncodeHuffmanState* pEncHuffState,
    int bFlushState) {
    if (OzrStatus st = firstFailure(ptr(pDst), length(dstLenBytes), ptr(pDstCurrPos), ptr(pEncHuffState)))
        return st;
    if (OzrStatus st = firstFailure(failIf(*pDstCurrPos < 0, ozrStatusBadArgument),
                                    failIf(!huff::stateCountValid(pEncHuffState), ozrStatusBadSize)))
        return st;
    if (bFlushState) return huff::flush(pDst, dstLenBytes, pDstCurrPos, pEncHuffState);
    if (OzrStatus st = firstFailure(ptr(pSrc), length(width), length(nComponents), ptr(pTables)))
        return st;
    const int nc = nComponents > lossless::kMaxComponents ? lossless::kMaxComponents : nComponents;
    for (int c = 0; c < nc; ++c)
        if (OzrStatus st = firstFailure(ptr(pSrc[c]), ptr(pTables[c]))) return st;

    if (lossless::encodeRowFast(pSrc, width, nc, pDst, dstLenBytes, pDstCurrPos, pTables,
                                pEncHuffState))
        return ozrStatusOk;
    return lossless::encodeRowCareful(pSrc, width, nc, pDst, dstLenBytes, pDstCurrPos, pTables,
                                      pEncHuffState);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst[4], int width,
    int nComponents, int* pMarker, const OzriDecodeHuffmanSpec* pTables[4],
    OzriDecodeHuffmanState* pDecHuffState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), length(srcLenBytes), ptr(pSrcCurrPos), ptr(pDst),
                                    length(width), length(nComponents), ptr(pMarker), ptr(pTables),
                                    ptr(pDecHuffState)))
        return st;
    const int nc = nComponents > lossless::kMaxComponents ? lossless::kMaxComponents : nComponents;
    for (int c = 0; c < nc; ++c)
        if (OzrStatus st = firstFailure(ptr(pDst[c]), ptr(pTables[c]))) return st;
    if (*pSrcCurrPos < 0) return ozrStatusBadArgument;
    if (pDecHuffState->count < 0 || pDecHuffState->count > 32) return ozrStatusBadSize;

    huffdec::StateReader r =
        huffdec::stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    OzrStatus status = ozrStatusOk;
    for (int i = 0; i < width && status == ozrStatusOk; ++i)
        for (int c = 0; c < nc; ++c)
            if ((status = huffdec::decodeValue(r, pTables[c], &pDst[c][i]))) break;
    huffdec::storeReader(r, pSrcCurrPos, pDecHuffState);
    return status;
}
