// Encoder colour conversion: the exported region functions.  Each checks its
// arguments, then runs its row kernel over the rows, split over threads for
// regions of 8193 pixels or more (the packed 16-bit forms stay on the calling
// thread).
#include "core/frame.h"
#include "jpeg/color.h"

using namespace ozr;
namespace cv = ozr::color::ssse3;

namespace {

OzrStatus pixelToPlanes(const Ozr8u* pSrc, int srcStep, Ozr8u* pDst[3], int dstStep, OzriSize roi, bool bgr) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), planes(pDst, 3), step(srcStep), step(dstStep), size(roi)))
        return st;
    Ozr8u* const y = pDst[0];
    Ozr8u* const cb = pDst[1];
    Ozr8u* const cr = pDst[2];
    using RowKernel = void (*)(const uint8_t*, uint8_t*, uint8_t*, uint8_t*, int);
    const RowKernel kernel =
        cpuHasAvx512()
            ? (bgr ? color::avx512::ownpj_BGRToYCbCr_JPEG_8u_C3P3R : color::avx512::ownpj_RGBToYCbCr_JPEG_8u_C3P3R)
        : cpuHasAvx2()
            ? (bgr ? color::avx2::ownpj_BGRToYCbCr_JPEG_8u_C3P3R : color::avx2::ownpj_RGBToYCbCr_JPEG_8u_C3P3R)
            : (bgr ? cv::ownpj_BGRToYCbCr_JPEG_8u_C3P3R : cv::ownpj_RGBToYCbCr_JPEG_8u_C3P3R);
    parallelRows(roi.width, roi.height, [&](int y0, int y1) {
        for (int r = y0; r < y1; ++r)
            kernel(rowPtr(pSrc, srcStep, r), rowPtr(y, dstStep, r), rowPtr(cb, dstStep, r), rowPtr(cr, dstStep, r),
                   roi.width);
    });
    return ozrStatusOk;
}

OzrStatus pixelToLuma(const Ozr8u* pSrc, int srcStep, Ozr8u* pDst, int dstStep, OzriSize roi, bool bgr) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), step(srcStep), step(dstStep), size(roi))) return st;
    parallelRows(roi.width, roi.height, [&](int y0, int y1) {
        for (int r = y0; r < y1; ++r)
            (bgr ? cv::ownpj_BGRToY_JPEG_8u_C3C1R : cv::ownpj_RGBToY_JPEG_8u_C3C1R)(
                rowPtr(pSrc, srcStep, r), rowPtr(pDst, dstStep, r), roi.width);
    });
    return ozrStatusOk;
}

using PackedKernel = void (*)(const uint16_t*, uint8_t*, uint8_t*, uint8_t*, int);

OzrStatus packedToPlanes(const Ozr16u* pSrc, int srcStep, Ozr8u* pDst[3], int dstStep, OzriSize roi,
                         PackedKernel kernel) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), planes(pDst, 3), step(srcStep), step(dstStep), size(roi)))
        return st;
    for (int r = 0; r < roi.height; ++r)
        kernel(rowPtr(pSrc, srcStep, r), rowPtr(pDst[0], dstStep, r), rowPtr(pDst[1], dstStep, r),
               rowPtr(pDst[2], dstStep, r), roi.width);
    return ozrStatusOk;
}

}  // namespace

extern "C" {

OZRAPI OzrStatus ozriRGBToY_JPEG_8u_C3C1R(const Ozr8u* pSrcRGB, int srcStep, Ozr8u* pDstY, int dstStep,
                                          OzriSize roiSize) {
    return pixelToLuma(pSrcRGB, srcStep, pDstY, dstStep, roiSize, false);
}

OZRAPI OzrStatus ozriBGRToY_JPEG_8u_C3C1R(const Ozr8u* pSrcBGR, int srcStep, Ozr8u* pDstY, int dstStep,
                                          OzriSize roiSize) {
    return pixelToLuma(pSrcBGR, srcStep, pDstY, dstStep, roiSize, true);
}

OZRAPI OzrStatus ozriRGBToY_JPEG_8u_P3C1R(const Ozr8u* const pSrcRGB[3], int srcStep, Ozr8u* pDstY, int dstStep,
                                          OzriSize roiSize) {
    if (OzrStatus st =
            firstFailure(ptr(pSrcRGB), ptr(pDstY), planes(pSrcRGB, 3), step(srcStep), step(dstStep), size(roiSize)))
        return st;
    const Ozr8u* const r = pSrcRGB[0];
    const Ozr8u* const g = pSrcRGB[1];
    const Ozr8u* const b = pSrcRGB[2];
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int row = y0; row < y1; ++row)
            cv::ownpj_RGBToY_JPEG_8u_P3C1R_opt(rowPtr(r, srcStep, row), rowPtr(g, srcStep, row),
                                               rowPtr(b, srcStep, row), rowPtr(pDstY, dstStep, row), roiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriRGBToYCbCr_JPEG_8u_C3P3R(const Ozr8u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep,
                                              OzriSize roiSize) {
    return pixelToPlanes(pSrcRGB, srcStep, pDstYCbCr, dstStep, roiSize, false);
}

OZRAPI OzrStatus ozriBGRToYCbCr_JPEG_8u_C3P3R(const Ozr8u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep,
                                              OzriSize roiSize) {
    return pixelToPlanes(pSrcBGR, srcStep, pDstYCbCr, dstStep, roiSize, true);
}

OZRAPI OzrStatus ozriRGBToYCbCr_JPEG_8u_P3R(const Ozr8u* const pSrcRGB[3], int srcStep, Ozr8u* pDstYCbCr[3],
                                            int dstStep, OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrcRGB), ptr(pDstYCbCr), planes(pSrcRGB, 3), planes(pDstYCbCr, 3),
                                    step(srcStep), step(dstStep), size(roiSize)))
        return st;
    const Ozr8u* const* s = pSrcRGB;
    Ozr8u* const* d = pDstYCbCr;
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int row = y0; row < y1; ++row)
            cv::ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(rowPtr(s[0], srcStep, row), rowPtr(s[1], srcStep, row),
                                                 rowPtr(s[2], srcStep, row), rowPtr(d[0], dstStep, row),
                                                 rowPtr(d[1], dstStep, row), rowPtr(d[2], dstStep, row), roiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3],
                                                    int dstStep, OzriSize roiSize) {
    return packedToPlanes(pSrcRGB, srcStep, pDstYCbCr, dstStep, roiSize, cv::ownpj_RGB555ToYCbCr_JPEG_16u8u_C3P3R);
}

OZRAPI OzrStatus ozriBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3],
                                                    int dstStep, OzriSize roiSize) {
    return packedToPlanes(pSrcBGR, srcStep, pDstYCbCr, dstStep, roiSize, cv::ownpj_BGR555ToYCbCr_JPEG_16u8u_C3P3R);
}

OZRAPI OzrStatus ozriRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3],
                                                    int dstStep, OzriSize roiSize) {
    return packedToPlanes(pSrcRGB, srcStep, pDstYCbCr, dstStep, roiSize, cv::ownpj_RGB565ToYCbCr_JPEG_16u8u_C3P3R);
}

OZRAPI OzrStatus ozriBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3],
                                                    int dstStep, OzriSize roiSize) {
    return packedToPlanes(pSrcBGR, srcStep, pDstYCbCr, dstStep, roiSize, cv::ownpj_BGR565ToYCbCr_JPEG_16u8u_C3P3R);
}

OZRAPI OzrStatus ozriCMYKToYCCK_JPEG_8u_C4P4R(const Ozr8u* pSrcCMYK, int srcStep, Ozr8u* pDstYCCK[4], int dstStep,
                                              OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrcCMYK), ptr(pDstYCCK), planes(pDstYCCK, 4), step(srcStep), step(dstStep),
                                    size(roiSize)))
        return st;
    Ozr8u* const* d = pDstYCCK;
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int row = y0; row < y1; ++row)
            cv::ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(rowPtr(pSrcCMYK, srcStep, row), rowPtr(d[0], dstStep, row),
                                                   rowPtr(d[1], dstStep, row), rowPtr(d[2], dstStep, row),
                                                   rowPtr(d[3], dstStep, row), roiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriCMYKToYCCK_JPEG_8u_P4R(const Ozr8u* const pSrcCMYK[4], int srcStep, Ozr8u* pDstYCCK[4],
                                            int dstStep, OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrcCMYK), ptr(pDstYCCK), planes(pSrcCMYK, 4), planes(pDstYCCK, 4),
                                    step(srcStep), step(dstStep), size(roiSize)))
        return st;
    const Ozr8u* const* s = pSrcCMYK;
    Ozr8u* const* d = pDstYCCK;
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int row = y0; row < y1; ++row)
            cv::ownpj_CMYKToYCCK_JPEG_8u_P4R_opt(rowPtr(s[0], srcStep, row), rowPtr(s[1], srcStep, row),
                                                 rowPtr(s[2], srcStep, row), rowPtr(s[3], srcStep, row),
                                                 rowPtr(d[0], dstStep, row), rowPtr(d[1], dstStep, row),
                                                 rowPtr(d[2], dstStep, row), rowPtr(d[3], dstStep, row), roiSize.width);
    });
    return ozrStatusOk;
}

}  // extern "C"
