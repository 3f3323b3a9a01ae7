// The block encoder's fast path built for AVX2 processors (BMI2 variable
// shifts and bit-field extraction); chosen by the exported entry point.
#include "jpeg/huffenc_kernel.h"

namespace ozr {
namespace huff {
namespace avx2 {

bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st) {
    return encodeBlockKernel<1>(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC,
                      const OzriEncodeHuffmanSpec* dc, const OzriEncodeHuffmanSpec* ac,
                      OzriEncodeHuffmanState* st) {
    if (encodeBlockKernel<1>(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st)) return ozrStatusOk;
    return encodeBlockChecked(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, dc, ac, st);
}

}  // namespace avx2
}  // namespace huff
}  // namespace ozr
