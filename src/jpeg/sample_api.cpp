// Level shift and sampling of planes: the exported region functions.  Each
// checks its arguments, then runs its row kernel over the destination rows,
// split over threads from 8193 destination samples on (the horizontal
// up-sampler always stays on the calling thread).
#include <cstddef>

#include "core/frame.h"
#include "jpeg/sample.h"

using namespace ozr;
namespace sk = ozr::sample::ssse3;

namespace {
// Row r of a plane, with the offset computed in pointer width (r may be
// -1 or twice a destination row).
inline const Ozr8u* srcRow(const Ozr8u* base, int step, std::ptrdiff_t r) { return base + step * r; }
}  // namespace

extern "C" {

OZRAPI OzrStatus ozriSub128_JPEG_8u16s_C1R(const Ozr8u* pSrc, int srcStep, Ozr16s* pDst, int dstStep,
                                           OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), step(srcStep), ptr(pDst), step(dstStep), size(roiSize))) return st;
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            sk::ownpj_Sub128Row(rowPtr(pSrc, srcStep, y), rowPtr(pDst, dstStep, y), roiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriAdd128_JPEG_16s8u_C1R(const Ozr16s* pSrc, int srcStep, Ozr8u* pDst, int dstStep,
                                           OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), step(srcStep), ptr(pDst), step(dstStep), size(roiSize))) return st;
    parallelRows(roiSize.width, roiSize.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            sk::ownpj_Add128Row(rowPtr(pSrc, srcStep, y), rowPtr(pDst, dstStep, y), roiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriSampleDownH2V1_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst,
                                                int dstStep, OzriSize dstRoiSize) {
    if (OzrStatus st =
            firstFailure(ptr(pSrc), step(srcStep), size(srcRoiSize), ptr(pDst), step(dstStep), size(dstRoiSize)))
        return st;
    parallelRows(dstRoiSize.width, dstRoiSize.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            sk::ownpj_DownH2V1Row(rowPtr(pSrc, srcStep, y), rowPtr(pDst, dstStep, y), dstRoiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriSampleDownH2V2_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst,
                                                int dstStep, OzriSize dstRoiSize) {
    if (OzrStatus st =
            firstFailure(ptr(pSrc), step(srcStep), size(srcRoiSize), ptr(pDst), step(dstStep), size(dstRoiSize)))
        return st;
    parallelRows(dstRoiSize.width, dstRoiSize.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            sk::ownpj_DownH2V2Row(srcRow(pSrc, srcStep, 2 * std::ptrdiff_t{y}),
                                  srcRow(pSrc, srcStep, 2 * std::ptrdiff_t{y} + 1), rowPtr(pDst, dstStep, y),
                                  dstRoiSize.width);
    });
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriSampleUpH2V1_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst,
                                              int dstStep, OzriSize dstRoiSize) {
    if (OzrStatus st =
            firstFailure(ptr(pSrc), step(srcStep), size(srcRoiSize), ptr(pDst), step(dstStep), size(dstRoiSize)))
        return st;
    for (int y = 0; y < dstRoiSize.height; ++y)
        sk::ownpj_UpH2V1Row(rowPtr(pSrc, srcStep, y), rowPtr(pDst, dstStep, y), dstRoiSize.width);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriSampleUpH2V2_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst,
                                              int dstStep, OzriSize dstRoiSize) {
    if (OzrStatus st =
            firstFailure(ptr(pSrc), step(srcStep), size(srcRoiSize), ptr(pDst), step(dstStep), size(dstRoiSize)))
        return st;
    parallelRows(dstRoiSize.width, dstRoiSize.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            // Even rows lean on the source row above, odd rows on the one below.
            const int nearRow = y >> 1, farRow = (y & 1) ? nearRow + 1 : nearRow - 1;
            sk::ownpj_UpH2V2Row(srcRow(pSrc, srcStep, nearRow), srcRow(pSrc, srcStep, farRow), rowPtr(pDst, dstStep, y),
                                dstRoiSize.width);
        }
    });
    return ozrStatusOk;
}

}  // extern "C"
