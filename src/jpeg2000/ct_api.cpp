// Exported component transforms: argument checks, then the row kernels.
// Pixel-order rows are split into (or gathered from) three short stack rows
// so that one planar kernel serves every layout.
#include "core/frame.h"
#include "jpeg2000/ct.h"

namespace ozr {
namespace ct {
namespace {

constexpr int kChunk = 256;

template <class T>
using Planar = void (*)(const T*, const T*, const T*, T*, T*, T*, int);

template <class T>
OzrStatus pixelsToPlanes(Planar<T> k, const T* pSrc, int srcStep, T* const pDst[3], int dstStep, OzriSize roi) {
    if (OzrStatus st = firstFailure(ptr(pSrc), planes(pDst, 3), step(srcStep), step(dstStep), size(roi))) return st;
    alignas(16) T c0[kChunk], c1[kChunk], c2[kChunk];
    for (int y = 0; y < roi.height; ++y) {
        const T* s = rowPtr(pSrc, srcStep, y);
        T* d0 = rowPtr(pDst[0], dstStep, y);
        T* d1 = rowPtr(pDst[1], dstStep, y);
        T* d2 = rowPtr(pDst[2], dstStep, y);
        for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
            const int n = roi.width - x0 < kChunk ? roi.width - x0 : kChunk;
            const T* p = s + 3 * x0;
            for (int i = 0; i < n; ++i) {
                c0[i] = p[3 * i];
                c1[i] = p[3 * i + 1];
                c2[i] = p[3 * i + 2];
            }
            k(c0, c1, c2, d0 + x0, d1 + x0, d2 + x0, n);
        }
    }
    return ozrStatusOk;
}

template <class T>
OzrStatus planesToPixels(Planar<T> k, const T* const pSrc[3], int srcStep, T* pDst, int dstStep, OzriSize roi) {
    if (OzrStatus st = firstFailure(planes(pSrc, 3), ptr(pDst), step(srcStep), step(dstStep), size(roi))) return st;
    alignas(16) T c0[kChunk], c1[kChunk], c2[kChunk];
    for (int y = 0; y < roi.height; ++y) {
        const T* s0 = rowPtr(pSrc[0], srcStep, y);
        const T* s1 = rowPtr(pSrc[1], srcStep, y);
        const T* s2 = rowPtr(pSrc[2], srcStep, y);
        T* d = rowPtr(pDst, dstStep, y);
        for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
            const int n = roi.width - x0 < kChunk ? roi.width - x0 : kChunk;
            k(s0 + x0, s1 + x0, s2 + x0, c0, c1, c2, n);
            T* p = d + 3 * x0;
            for (int i = 0; i < n; ++i) {
                p[3 * i] = c0[i];
                p[3 * i + 1] = c1[i];
                p[3 * i + 2] = c2[i];
            }
        }
    }
    return ozrStatusOk;
}

template <class T>
OzrStatus inPlace(Planar<T> k, T* const p[3], int step, OzriSize roi) {
    if (OzrStatus st = firstFailure(planes(p, 3), ozr::step(step), size(roi))) return st;
    for (int y = 0; y < roi.height; ++y) {
        T* r0 = rowPtr(p[0], step, y);
        T* r1 = rowPtr(p[1], step, y);
        T* r2 = rowPtr(p[2], step, y);
        k(r0, r1, r2, r0, r1, r2, roi.width);
    }
    return ozrStatusOk;
}

}  // namespace
}  // namespace ct
}  // namespace ozr

using namespace ozr::ct;
namespace vk = ozr::ct::ssse3;

extern "C" {

OZRAPI OzrStatus ozriRCTFwd_JPEG2K_16s_C3P3R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDst[3], int dstStep,
                                             OzriSize roiSize) {
    return pixelsToPlanes<Ozr16s>(vk::rctFwd<Ozr16s>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_32s_C3P3R(const Ozr32s* pSrc, int srcStep, Ozr32s* pDst[3], int dstStep,
                                             OzriSize roiSize) {
    return pixelsToPlanes<Ozr32s>(vk::rctFwd<Ozr32s>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTInv_JPEG2K_16s_P3C3R(const Ozr16s* pSrc[3], int srcStep, Ozr16s* pDst, int dstStep,
                                             OzriSize roiSize) {
    return planesToPixels<Ozr16s>(vk::rctInv<Ozr16s>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTInv_JPEG2K_32s_P3C3R(const Ozr32s* pSrc[3], int srcStep, Ozr32s* pDst, int dstStep,
                                             OzriSize roiSize) {
    return planesToPixels<Ozr32s>(vk::rctInv<Ozr32s>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr16s>(vk::rctFwd<Ozr16s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTInv_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr16s>(vk::rctInv<Ozr16s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32s>(vk::rctFwd<Ozr32s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriRCTInv_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32s>(vk::rctInv<Ozr32s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32f_C3P3R(const Ozr32f* pSrc, int srcStep, Ozr32f* pDst[3], int dstStep,
                                             OzriSize roiSize) {
    return pixelsToPlanes<Ozr32f>(vk::ictFwd<Ozr32f>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriICTInv_JPEG2K_32f_P3C3R(const Ozr32f* pSrc[3], int srcStep, Ozr32f* pDst, int dstStep,
                                             OzriSize roiSize) {
    return planesToPixels<Ozr32f>(vk::ictInv<Ozr32f>, pSrc, srcStep, pDst, dstStep, roiSize);
}
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32f_P3IR(Ozr32f* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32f>(vk::ictFwd<Ozr32f>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTInv_JPEG2K_32f_P3IR(Ozr32f* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32f>(vk::ictInv<Ozr32f>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTFwd_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr16s>(vk::ictFwd<Ozr16s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTInv_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr16s>(vk::ictInv<Ozr16s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32s>(vk::ictFwd<Ozr32s>, pSrcDst, srcDstStep, roiSize);
}
OZRAPI OzrStatus ozriICTInv_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize) {
    return inPlace<Ozr32s>(vk::ictInv<Ozr32s>, pSrcDst, srcDstStep, roiSize);
}

}  // extern "C"
