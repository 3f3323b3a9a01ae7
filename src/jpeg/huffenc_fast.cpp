// The block encoder's fast path (huffenc_kernel.h) in its baseline build,
// its tables, and the exported entry point, which falls back to
// encodeBlockCareful (huffenc_block.cpp), the definition.
#include "core/frame.h"
#include "jpeg/huffenc_kernel.h"

namespace ozr {
namespace huff {

namespace {

// t >= 0 stands for v = t, t < 0 (the upper half read unsigned) for
// v = t + 1, whose magnitude is ~t.
constexpr KernelTables makeKernelTables() {
    KernelTables k{};
    for (int n = 0; n < 40; ++n) k.lowBits[n] = n >= 64 ? ~uint64_t(0) : (uint64_t(1) << n) - 1;
    for (int i = 0; i < 64; ++i) k.zigzag[i] = static_cast<uint64_t>(kZigzagNatural[i]);
    for (int n = 1; n <= 15; ++n)
        for (int a = 1 << (n - 1); a < (1 << n); ++a) {
            k.category[a] = static_cast<uint8_t>(n);
            k.category[65535 - a] = static_cast<uint8_t>(n);
        }
    return k;
}

}  // namespace

alignas(64) constexpr KernelTables kKernelTables = makeKernelTables();

uint64_t ssse3::zigzagNonzeroMask(const Ozr16s* src) { return prepareBlock<0>(src); }

bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    return encodeBlockKernel<0>(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

OzrStatus encodeBlockChecked(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                             Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                             const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    if (OzrStatus s = checkStreamArgs(pDst, dstLenBytes, pDstCurrPos, st)) return s;
    return encodeBlockCareful(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
                      const OzriEncodeHuffmanSpec* dc, const OzriEncodeHuffmanSpec* ac,
                      OzriEncodeHuffmanState* st) {
    if (encodeBlockKernel<0>(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st)) return ozrStatusOk;
    return encodeBlockChecked(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

}  // namespace huff
}  // namespace ozr

using namespace ozr;
using namespace ozr::huff;

extern "C" OZRAPI OzrStatus ozriEncodeHuffman8x8_JPEG_16s1u_C1(
    const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
    const OzriEncodeHuffmanSpec* pDcTable, const OzriEncodeHuffmanSpec* pAcTable,
    OzriEncodeHuffmanState* pEncHuffState, int bFlushState) {
    // The common call first: every pointer given, no flush.  The fast path
    // declines a short buffer, a negative position and a state this library
    // did not leave; the ordered checks after it then decide.
    if (pSrc && pDst && pDstCurrPos && pLastDC && pDcTable && pAcTable && pEncHuffState && !bFlushState)
        return (cpuHasAvx512() ? &avx512::encodeBlock : cpuHasAvx2() ? &avx2::encodeBlock : &encodeBlock)(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC,
                                                                  pDcTable, pAcTable, pEncHuffState);
    if (OzrStatus st = checkStreamArgs(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return st;
    if (bFlushState) return flush(pDst, dstLenBytes, pDstCurrPos, pEncHuffState);
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pLastDC), ptr(pDcTable), ptr(pAcTable))) return st;
    return encodeBlockCareful(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable,
                              pEncHuffState);
}
