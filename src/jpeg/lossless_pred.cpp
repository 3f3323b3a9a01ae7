// Lossless JPEG row prediction, forward and inverse.
#include "core/frame.h"
#include "jpeg/lossless.h"

namespace ozr {
namespace lossless {

// The forward loops run from the right so that they also work in place
// (pDst == pSrc); the inverse loops work in place as they stand.
void diffFirstRow(const Ozr16s* src, Ozr16s* dst, int width, int32_t base) {
    for (int i = width - 1; i >= 1; --i) dst[i] = wrap16(int32_t(src[i]) - src[i - 1]);
    dst[0] = wrap16(src[0] - base);
}

void reconstructFirstRow(const Ozr16s* diff, Ozr16s* dst, int width, int32_t base) {
    int32_t prev = wrap16(diff[0] + base);
    dst[0] = static_cast<Ozr16s>(prev);
    for (int i = 1; i < width; ++i) {
        prev = wrap16(diff[i] + prev);
        dst[i] = static_cast<Ozr16s>(prev);
    }
}

namespace {
// One loop per predictor so that the forward loops (which only read inputs)
// vectorise and the inverse loops carry nothing but Ra.
template <int Pred>
void diffRowT(const Ozr16s* src, const Ozr16s* prev, Ozr16s* dst, int width) {
    for (int i = width - 1; i >= 1; --i)
        dst[i] = wrap16(int32_t(src[i]) - predict(Pred, src[i - 1], prev[i], prev[i - 1]));
    dst[0] = wrap16(int32_t(src[0]) - prev[0]);
}

template <int Pred>
void reconstructRowT(const Ozr16s* diff, const Ozr16s* prev, Ozr16s* dst, int width) {
    int32_t a = wrap16(int32_t(diff[0]) + prev[0]);
    dst[0] = static_cast<Ozr16s>(a);
    for (int i = 1; i < width; ++i) {
        a = wrap16(int32_t(diff[i]) + predict(Pred, a, prev[i], prev[i - 1]));
        dst[i] = static_cast<Ozr16s>(a);
    }
}

using RowFn = void (*)(const Ozr16s*, const Ozr16s*, Ozr16s*, int);
const RowFn kDiff[8] = {nullptr, diffRowT<1>, diffRowT<2>, diffRowT<3>,
                        diffRowT<4>, diffRowT<5>, diffRowT<6>, diffRowT<7>};
const RowFn kReconstruct[8] = {nullptr, reconstructRowT<1>, reconstructRowT<2>, reconstructRowT<3>,
                               reconstructRowT<4>, reconstructRowT<5>, reconstructRowT<6>,
                               reconstructRowT<7>};
}  // namespace

void diffRow(const Ozr16s* src, const Ozr16s* prev, Ozr16s* dst, int width, int predictor) {
    kDiff[predictor](src, prev, dst, width);
}

void reconstructRow(const Ozr16s* diff, const Ozr16s* prev, Ozr16s* dst, int width, int predictor) {
    kReconstruct[predictor](diff, prev, dst, width);
}

}  // namespace lossless
}  // namespace ozr

using namespace ozr;

static inline OzrStatus checkFirstRow(const void* src, const void* dst, int width, int P, int Pt) {
    return firstFailure(ptr(src), ptr(dst), length(width),
                        failIf(P < 2 || P > 16 || Pt < 0, ozrStatusBadArgument));
}

static inline OzrStatus checkRow(const void* src, const void* prev, const void* dst, int width,
                                 int predictor) {
    return firstFailure(ptr(src), ptr(prev), ptr(dst), length(width),
                        failIf(predictor < 1 || predictor > 7, ozrStatusBadArgument));
}

extern "C" OZRAPI OzrStatus ozriDiffPredFirstRow_JPEG_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst,
                                                           int width, int P, int Pt) {
    if (OzrStatus st = checkFirstRow(pSrc, pDst, width, P, Pt)) return st;
    lossless::diffFirstRow(pSrc, pDst, width, lossless::firstRowBase(P, Pt));
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriReconstructPredFirstRow_JPEG_16s_C1(const Ozr16s* pSrc,
                                                                  Ozr16s* pDst, int width, int P,
                                                                  int Pt) {
    if (OzrStatus st = checkFirstRow(pSrc, pDst, width, P, Pt)) return st;
    lossless::reconstructFirstRow(pSrc, pDst, width, lossless::firstRowBase(P, Pt));
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriDiffPredRow_JPEG_16s_C1(const Ozr16s* pSrc, const Ozr16s* pPrevRow,
                                                      Ozr16s* pDst, int width, int predictor) {
    if (OzrStatus st = checkRow(pSrc, pPrevRow, pDst, width, predictor)) return st;
    lossless::diffRow(pSrc, pPrevRow, pDst, width, predictor);
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriReconstructPredRow_JPEG_16s_C1(const Ozr16s* pSrc,
                                                             const Ozr16s* pPrevRow, Ozr16s* pDst,
                                                             int width, int predictor) {
    if (OzrStatus st = checkRow(pSrc, pPrevRow, pDst, width, predictor)) return st;
    lossless::reconstructRow(pSrc, pPrevRow, pDst, width, predictor);
    return ozrStatusOk;
}
