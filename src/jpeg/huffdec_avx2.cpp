// The block decoder's fast kernel (huffdec.h) built for AVX2 processors
// (BMI2 variable shifts); chosen by the exported entry point.
#include "jpeg/huffdec.h"

namespace ozr {
namespace huffdec {
namespace avx2 {

bool decodeBlockFast(StateReader& r, Ozr16s* dst, Ozr16s* lastDC, const OzriDecodeHuffmanSpec* dc,
                     const OzriDecodeHuffmanSpec* ac, int* position) {
    return kernel::readerBlock<1>(r, dst, lastDC, dc, ac, position);
}

OzrStatus blockEntry(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst,
                     Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable,
                     const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState) {
    return kernel::blockEntry<1>(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable,
                                 pAcTable, pDecHuffState);
}

}  // namespace avx2
}  // namespace huffdec
}  // namespace ozr
