// Quantization tables (quality scaling, forward reciprocal table) and the
// stand-alone quantizer of an already transformed block.
#include "core/frame.h"
#include "jpeg/dct.h"

using namespace ozr;

extern "C" {

OZRAPI OzrStatus ozriQuantFwdRawTableInit_JPEG_8u(Ozr8u* pQuantRawTable, int qualityFactor) {
    if (OzrStatus st = firstFailure(ptr(pQuantRawTable), failIf(qualityFactor < 1, ozrStatusBadArgument)))
        return st;
    dct::scaleRawTable(pQuantRawTable, qualityFactor);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriQuantFwdTableInit_JPEG_8u16u(const Ozr8u* pQuantRawTable, Ozr16u* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pQuantRawTable), ptr(pQuantFwdTable))) return st;
    // Widen the zigzag-ordered steps, reorder them to natural order straight
    // into the caller's table, then replace each step Q by 32768 / Q.
    Ozr16u wide[64];
    OzrStatus st = ozriConvert_8u16u_C1R(pQuantRawTable, 8, wide, 16, OzriSize{8, 8});
    if (st < 0) return st;
    st = ozriZigzagInv8x8_16s_C1(reinterpret_cast<const Ozr16s*>(wide),
                                 reinterpret_cast<Ozr16s*>(pQuantFwdTable));
    if (st < 0) return st;
    return ozrsDivCRev_16u_I(32768, pQuantFwdTable, 64);
}

OZRAPI OzrStatus ozriQuantFwd8x8_JPEG_16s_C1I(Ozr16s* pSrcDst, const Ozr16u* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pSrcDst), ptr(pQuantFwdTable))) return st;
    dct::ssse3::quantHalfUp(pSrcDst, pQuantFwdTable);
    return ozrStatusOk;
}

}  // extern "C"
