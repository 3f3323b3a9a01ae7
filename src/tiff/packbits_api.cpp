// Exported PackBits row functions.
#include "core/frame.h"
#include "tiff/packbits.h"

namespace ozr {
namespace tiff {

OzrStatus unpackBitsRow(const uint8_t* src, int* pos, int srcLen, uint8_t* dst, int dstLen) {
    int i = *pos;
    if (i < 0) return ozrStatusRowOverrun;  // outside the source: read nothing
    int out = 0;
    for (;;) {
        if (i >= srcLen) {
            *pos = i;
            return ozrStatusRowOverrun;
        }
        const int header = static_cast<int8_t>(src[i++]);
        if (header == -128) continue;  // no-op
        if (header < 0) {
            const int count = 1 - header;
            if (count > dstLen - out || i >= srcLen) {
                *pos = i;  // at the value byte
                return ozrStatusRowOverrun;
            }
            ozrsSet_8u(src[i], dst + out, count);
            ++i;
            out += count;
        } else {
            const int count = header + 1;
            if (count > srcLen - i || count > dstLen - out) {
                *pos = i;  // just after the header
                return ozrStatusRowOverrun;
            }
            ozrsCopy_8u(src + i, dst + out, count);
            i += count;
            out += count;
        }
        if (out == dstLen) {
            *pos = i;
            return ozrStatusOk;
        }
    }
}

}  // namespace tiff
}  // namespace ozr

using namespace ozr;

extern "C" {

OZRAPI OzrStatus ozriPackBitsRow_TIFF_8u_C1(const Ozr8u* pSrc, int srcLenBytes, Ozr8u* pDst, int* pDstCurrPos,
                                            int dstLenBytes) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDstCurrPos), ptr(pDst), length(srcLenBytes),
                                    length(dstLenBytes)))
        return st;
    return tiff::packBitsRow(pSrc, srcLenBytes, pDst, pDstCurrPos, dstLenBytes);
}

OZRAPI OzrStatus ozriUnpackBitsRow_TIFF_8u_C1(const Ozr8u* pSrc, int* pSrcCurrPos, int srcLenBytes, Ozr8u* pDst,
                                              int dstLenBytes) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pSrcCurrPos), ptr(pDst), length(srcLenBytes),
                                    length(dstLenBytes)))
        return st;
    return tiff::unpackBitsRow(pSrc, pSrcCurrPos, srcLenBytes, pDst, dstLenBytes);
}

}  // extern "C"
