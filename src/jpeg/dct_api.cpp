// Exported forward DCT with quantization: level shift (8u and 16u forms),
// transform and round-to-even quantization of one 8x8 block per call.
#include "core/frame.h"
#include "jpeg/dct.h"

using namespace ozr;

extern "C" {

OZRAPI OzrStatus ozriDCTQuantFwd8x8_JPEG_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst,
                                                const Ozr16u* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), ptr(pQuantFwdTable))) return st;
    dct::ssse3::fdctQuant16s(pSrc, pDst, pQuantFwdTable);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDCTQuantFwd8x8_JPEG_16s_C1I(Ozr16s* pSrcDst, const Ozr16u* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pSrcDst), ptr(pQuantFwdTable))) return st;
    dct::ssse3::fdctQuant16s(pSrcDst, pSrcDst, pQuantFwdTable);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Ozr8u* pSrc, int srcStep, Ozr16s* pDst,
                                                     const Ozr16u* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), step(srcStep), ptr(pQuantFwdTable))) return st;
    (cpuHasAvx512() ? dct::avx512::fdctQuantLS8u : cpuHasAvx2() ? dct::avx2::fdctQuantLS8u : dct::ssse3::fdctQuantLS8u)(
        pSrc, srcStep, pDst, pQuantFwdTable);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Ozr16u* pSrc, int srcStep, Ozr16s* pDst,
                                                      const Ozr32f* pQuantFwdTable) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), step(srcStep), ptr(pQuantFwdTable))) return st;
    dct::ssse3::fdctQuantLS16u(pSrc, srcStep, pDst, pQuantFwdTable);
    return ozrStatusOk;
}

}  // extern "C"
