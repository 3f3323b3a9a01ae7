// Library frame: version record, memory wrappers and the small exported
// vector and region kernels.
#include <cstring>

#include "core/frame.h"
#include "core/kernels.h"

using namespace ozr;

namespace {
const OzrLibraryVersion kVersion = {
    6, 1, 137, 823, {'n', '8', '\0', '\0'}, "libozrjn8.so.6.1", "6.1 build 137.56", "Mar 17 2010",
};

template <typename T>
void copyRegion(const T* src, int srcStep, T* dst, int dstStep, OzriSize roi) {
    const size_t rowBytes = sizeof(T) * static_cast<size_t>(roi.width);
    if (srcStep == dstStep && static_cast<size_t>(srcStep) == rowBytes) {
        std::memmove(dst, src, rowBytes * static_cast<size_t>(roi.height));
        return;
    }
    for (int y = 0; y < roi.height; ++y)
        std::memmove(rowPtr(dst, dstStep, y), rowPtr(src, srcStep, y), rowBytes);
}
}  // namespace

extern "C" {

OZRAPI const OzrLibraryVersion* ozrjGetLibVersion(void) { return &kVersion; }

OZRAPI Ozr8u* ozrsMalloc_8u(int len) {
    if (len < 1) return nullptr;
    return static_cast<Ozr8u*>(ozrMalloc(static_cast<size_t>(len)));
}

OZRAPI void ozrsFree(void* ptr) { ozrFree(ptr); }

OZRAPI OzrStatus ozrsCopy_8u(const Ozr8u* pSrc, Ozr8u* pDst, int len) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), length(len))) return st;
    std::memmove(pDst, pSrc, static_cast<size_t>(len));
    return ozrStatusOk;
}

OZRAPI OzrStatus ozrsSet_8u(Ozr8u val, Ozr8u* pDst, int len) {
    if (OzrStatus st = firstFailure(ptr(pDst), length(len))) return st;
    std::memset(pDst, val, static_cast<size_t>(len));
    return ozrStatusOk;
}

OZRAPI OzrStatus ozrsZero_8u(Ozr8u* pDst, int len) { return ozrsSet_8u(0, pDst, len); }

OZRAPI OzrStatus ozrsZero_16s(Ozr16s* pDst, int len) {
    if (OzrStatus st = firstFailure(ptr(pDst), length(len))) return st;
    std::memset(pDst, 0, sizeof(Ozr16s) * static_cast<size_t>(len));
    return ozrStatusOk;
}

OZRAPI OzrStatus ozrsDivCRev_16u(const Ozr16u* pSrc, Ozr16u value, Ozr16u* pDst, int len) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), length(len))) return st;
    return divCRev16u(pSrc, value, pDst, len);
}

OZRAPI OzrStatus ozrsDivCRev_16u_I(Ozr16u value, Ozr16u* pSrcDst, int len) {
    if (OzrStatus st = firstFailure(ptr(pSrcDst), length(len))) return st;
    return divCRev16u(pSrcDst, value, pSrcDst, len);
}

OZRAPI OzrStatus ozriCopy_16s_C1R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDst, int dstStep,
                                  OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), size(roiSize))) return st;
    copyRegion(pSrc, srcStep, pDst, dstStep, roiSize);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriCopy_32f_C1R(const Ozr32f* pSrc, int srcStep, Ozr32f* pDst, int dstStep,
                                  OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), size(roiSize))) return st;
    copyRegion(pSrc, srcStep, pDst, dstStep, roiSize);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriZigzagInv8x8_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst))) return st;
    Ozr16s tmp[64];  // the source may be the destination
    for (int i = 0; i < 64; ++i) tmp[i] = pSrc[kZigzagPos[i]];
    std::memcpy(pDst, tmp, sizeof tmp);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriAndC_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s value, Ozr32s* pDst,
                                  int dstStep, OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), step(srcStep), step(dstStep), size(roiSize)))
        return st;
    return ownpi_AndC_32s_C1R(pSrc, srcStep, value, pDst, dstStep, roiSize);
}

OZRAPI OzrStatus ozriAndC_32s_C1IR(Ozr32s value, Ozr32s* pSrcDst, int srcDstStep, OzriSize roiSize) {
    return ozriAndC_32s_C1R(pSrcDst, srcDstStep, value, pSrcDst, srcDstStep, roiSize);
}

}  // extern "C"
