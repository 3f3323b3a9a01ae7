// Exported 16-bit row split/join.  The length check reports the step status;
// the plane pointers inside the arrays are the caller's to get right.
#include "core/frame.h"
#include "tiff/rows.h"

using namespace ozr;

extern "C" {

OZRAPI OzrStatus ozriSplitRow_TIFF_16u8u_C1(const Ozr16u* pSrc, Ozr8u* pDst[2], int dstLen) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), failIf(dstLen < 1, ozrStatusBadStep))) return st;
    tiff::ssse3::splitRow(pSrc, pDst[0], pDst[1], dstLen);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriJoinRow_TIFF_8u16u_C1(const Ozr8u* pSrc[2], Ozr16u* pDst, int dstLen) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), failIf(dstLen < 1, ozrStatusBadStep))) return st;
    tiff::ssse3::joinRow(pSrc[0], pSrc[1], pDst, dstLen);
    return ozrStatusOk;
}

}  // extern "C"
