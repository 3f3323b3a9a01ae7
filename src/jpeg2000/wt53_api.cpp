// Exported 5/3 wavelet functions: argument checks, then the kernels.
#include <climits>
#include <cstring>

#include "core/frame.h"
#include "jpeg2000/wt53.h"

namespace ozr {
namespace wt53 {
namespace {

using K = SimdKernels;
constexpr int kColChunk = 256;

template <class T>
inline const T* crow(const T* p, int step, int r) {
    return rowPtr(p, step, r);
}

template <class T>
void fwdRows(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, OzriSize roi, int phase) {
    for (int r = 0; r < roi.height; ++r)
        K::rowFwd<T>(rowPtr(src, srcStep, r), rowPtr(lo, loStep, r), rowPtr(hi, hiStep, r), roi.width, phase);
}

template <class T>
void invRows(const T* lo, int loStep, const T* hi, int hiStep, OzriSize roi, T* dst, int dstStep, int phase) {
    for (int r = 0; r < roi.height; ++r)
        K::rowInv<T>(rowPtr(lo, loStep, r), rowPtr(hi, hiStep, r), rowPtr(dst, dstStep, r), roi.width, phase);
}

// Columns: x(k) is source row k (k may be -2 .. 2h+1).
template <class T>
void fwdCols(const T* src, int srcStep, T* lo, int loStep, T* hi, int hiStep, OzriSize roi, int phase) {
    const int w = roi.width, h = roi.height;
    auto x = [&](int k) { return crow(src, srcStep, k); };
    auto L = [&](int i) { return rowPtr(lo, loStep, i); };
    auto Hr = [&](int i) { return rowPtr(hi, hiStep, i); };
    alignas(16) T tmp[kColChunk];
    if (phase == 0) {
        for (int c0 = 0; c0 < w; c0 += kColChunk) {  // the high row above the region
            const int c = w - c0 < kColChunk ? w - c0 : kColChunk;
            K::predict<T, false>(tmp, x(-1) + c0, x(-2) + c0, x(0) + c0, c);
            K::fwdLift<T, false>(x(0) + c0, x(1) + c0, x(2) + c0, L(0) + c0, tmp, Hr(0) + c0, c);
        }
        for (int i = 1; i < h; ++i) K::fwdLift<T, false>(x(2 * i), x(2 * i + 1), x(2 * i + 2), L(i), Hr(i - 1), Hr(i), w);
    } else {
        K::predict<T, false>(Hr(0), x(0), x(-1), x(1), w);
        for (int i = 0; i + 1 < h; ++i)
            K::fwdLift<T, false>(x(2 * i + 1), x(2 * i + 2), x(2 * i + 3), L(i), Hr(i), Hr(i + 1), w);
        for (int c0 = 0; c0 < w; c0 += kColChunk) {  // the high row below the region
            const int c = w - c0 < kColChunk ? w - c0 : kColChunk;
            K::predict<T, false>(tmp, x(2 * h) + c0, x(2 * h - 1) + c0, x(2 * h + 1) + c0, c);
            K::update<T, false>(L(h - 1) + c0, x(2 * h - 1) + c0, Hr(h - 1) + c0, tmp, c);
        }
    }
}

template <class T>
void invCols(const T* lo, int loStep, const T* hi, int hiStep, OzriSize roi, T* dst, int dstStep, int phase) {
    const int w = roi.width, h = roi.height;
    auto L = [&](int i) { return crow(lo, loStep, i); };
    auto Hr = [&](int i) { return crow(hi, hiStep, i); };
    auto d = [&](int k) { return rowPtr(dst, dstStep, k); };
    alignas(16) T tmp[kColChunk];
    if (phase == 0) {
        K::iupdate<T, false>(d(0), L(0), Hr(-1), Hr(0), w);
        for (int i = 0; i + 1 < h; ++i)
            K::invLift<T, false>(L(i + 1), Hr(i), Hr(i + 1), d(2 * i), d(2 * i + 1), d(2 * i + 2), w);
        for (int c0 = 0; c0 < w; c0 += kColChunk) {  // the even row below the region
            const int c = w - c0 < kColChunk ? w - c0 : kColChunk;
            K::iupdate<T, false>(tmp, L(h) + c0, Hr(h - 1) + c0, Hr(h) + c0, c);
            K::ipredict<T, false>(d(2 * h - 1) + c0, Hr(h - 1) + c0, d(2 * h - 2) + c0, tmp, c);
        }
    } else {
        for (int c0 = 0; c0 < w; c0 += kColChunk) {  // the even row above the region
            const int c = w - c0 < kColChunk ? w - c0 : kColChunk;
            K::iupdate<T, false>(tmp, L(-1) + c0, Hr(-1) + c0, Hr(0) + c0, c);
            K::invLift<T, false>(L(0) + c0, Hr(0) + c0, Hr(1) + c0, tmp, d(0) + c0, d(1) + c0, c);
        }
        for (int k = 1; k < h; ++k)
            K::invLift<T, false>(L(k), Hr(k), Hr(k + 1), d(2 * k - 1), d(2 * k), d(2 * k + 1), w);
    }
}

template <class T>
OzrStatus bufSize(const OzriRect* rect, int* pSize, bool c1r) {
    if (OzrStatus st = firstFailure(ptr(rect), ptr(pSize))) return st;
    const int64_t n = c1r ? bufSizeC1R(rect->width, rect->height, sizeof(T))
                          : bufSizeC1IR(rect->width, rect->height, sizeof(T));
    if (n > INT_MAX || n < 0) return ozrStatusBadSize;
    *pSize = static_cast<int>(n);
    return ozrStatusOk;
}

template <class T>
OzrStatus tileIR(T* p, int step, const OzriRect* rect, Ozr8u* buf, bool inverse) {
    if (OzrStatus st = firstFailure(ptr(p), ozr::step(step), ptr(rect), ptr(buf))) return st;
    if (inverse)
        tileInv<K, T>(p, step, rect->x, rect->y, rect->width, rect->height, buf);
    else
        tileFwd<K, T>(p, step, rect->x, rect->y, rect->width, rect->height, buf);
    return ozrStatusOk;
}

template <class T>
void copyRect(const T* src, int srcStep, T* dst, int dstStep, int w, int h) {
    if (w < 1 || h < 1) return;
    for (int r = 0; r < h; ++r) std::memcpy(rowPtr(dst, dstStep, r), crow(src, srcStep, r), sizeof(T) * w);
}

// The four quadrants of a W x H image split at ((W+1)>>1, (H+1)>>1):
// [0] (0,0), [1] below it, [2] right of it, [3] diagonal.
struct Quadrant {
    int x, y, w, h;
};
inline Quadrant quadrant(int band, int W, int H) {
    const int qw = (W + 1) >> 1, qh = (H + 1) >> 1;
    switch (band) {
        case 0: return {0, 0, qw, qh};
        case 1: return {0, qh, qw, H >> 1};
        case 2: return {qw, 0, W >> 1, qh};
        default: return {qw, qh, W >> 1, H >> 1};
    }
}

template <class T>
OzrStatus tileFwdR(const T* pSrc, int srcStep, const OzriRect* rect, T* pDst[4], int dstStep[4], Ozr8u* buf) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), ptr(dstStep), ptr(rect), ptr(buf), step(srcStep)))
        return st;
    if (OzrStatus st = planes(pDst, 4)) return st;
    for (int b = 0; b < 4; ++b)
        if (OzrStatus st = step(dstStep[b])) return st;
    const int W = rect->width, H = rect->height;
    if (OzrStatus st = size(OzriSize{W, H})) return st;
    const int S = static_cast<int>(c1rImageStep(W, sizeof(T)));
    T* img = reinterpret_cast<T*>(buf + (sizeof(T) - reinterpret_cast<uintptr_t>(buf) % sizeof(T)) % sizeof(T));
    copyRect(pSrc, srcStep, img, S, W, H);
    tileFwd<K, T>(img, S, rect->x, rect->y, W, H, reinterpret_cast<uint8_t*>(img) + static_cast<ptrdiff_t>(S) * H);
    for (int b = 0; b < 4; ++b) {
        const Quadrant q = quadrant(b, W, H);
        copyRect(rowPtr(img, S, q.y) + q.x, S, pDst[b], dstStep[b], q.w, q.h);
    }
    return ozrStatusOk;
}

template <class T>
OzrStatus tileInvR(const T* const pSrc[4], const int srcStep[4], T* pDst, int dstStep, const OzriRect* rect,
                   Ozr8u* buf) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(srcStep), ptr(pDst), ptr(rect), ptr(buf))) return st;
    if (OzrStatus st = planes(pSrc, 4)) return st;
    for (int b = 0; b < 4; ++b)
        if (OzrStatus st = step(srcStep[b])) return st;
    if (OzrStatus st = step(dstStep)) return st;
    const int W = rect->width, H = rect->height;
    if (OzrStatus st = size(OzriSize{W, H})) return st;
    const int S = static_cast<int>(c1rImageStep(W, sizeof(T)));
    T* img = reinterpret_cast<T*>(buf + (sizeof(T) - reinterpret_cast<uintptr_t>(buf) % sizeof(T)) % sizeof(T));
    for (int b = 0; b < 4; ++b) {
        const Quadrant q = quadrant(b, W, H);
        copyRect(pSrc[b], srcStep[b], rowPtr(img, S, q.y) + q.x, S, q.w, q.h);
    }
    tileInv<K, T>(img, S, rect->x, rect->y, W, H, reinterpret_cast<uint8_t*>(img) + static_cast<ptrdiff_t>(S) * H);
    copyRect(static_cast<const T*>(img), S, pDst, dstStep, W, H);
    return ozrStatusOk;
}

template <class T>
OzrStatus fwdRowApi(const T* pSrc, int srcStep, T* lo, int loStep, T* hi, int hiStep, OzriSize roi, int phase,
                    bool cols) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(lo), ptr(hi), step(srcStep), step(loStep), step(hiStep), size(roi)))
        return st;
    if (cols)
        fwdCols(pSrc, srcStep, lo, loStep, hi, hiStep, roi, phase);
    else
        fwdRows(pSrc, srcStep, lo, loStep, hi, hiStep, roi, phase);
    return ozrStatusOk;
}

template <class T>
OzrStatus invRowApi(const T* lo, int loStep, const T* hi, int hiStep, OzriSize roi, T* pDst, int dstStep, int phase,
                    bool cols) {
    if (OzrStatus st = firstFailure(ptr(lo), ptr(hi), ptr(pDst), step(loStep), step(hiStep), step(dstStep), size(roi)))
        return st;
    if (cols)
        invCols(lo, loStep, hi, hiStep, roi, pDst, dstStep, phase);
    else
        invRows(lo, loStep, hi, hiStep, roi, pDst, dstStep, phase);
    return ozrStatusOk;
}

template <class T, bool Wrap>
OzrStatus fwdLiftApi(const T* s0, const T* s1, const T* s2, T* lo, const T* hp, T* hi, int width) {
    if (OzrStatus st = firstFailure(ptr(s0), ptr(s1), ptr(s2), ptr(lo), ptr(hp), ptr(hi), length(width))) return st;
    K::fwdLift<T, Wrap>(s0, s1, s2, lo, hp, hi, width);
    return ozrStatusOk;
}

template <class T, bool Wrap>
OzrStatus invLiftApi(const T* lo, const T* hp, const T* hi, const T* ep, T* od, T* ev, int width) {
    if (OzrStatus st = firstFailure(ptr(lo), ptr(hp), ptr(hi), ptr(ep), ptr(od), ptr(ev), length(width))) return st;
    K::invLift<T, Wrap>(lo, hp, hi, ep, od, ev, width);
    return ozrStatusOk;
}

}  // namespace
}  // namespace wt53
}  // namespace ozr

using namespace ozr::wt53;

#define OZR_WT53_EXPORTS(S, T, Wrap)                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTFwdRow_B53_JPEG2K_##S##_C1R(const T* pSrc, int srcStep, T* pDstLow,          \
                                                                  int dstLowStep, T* pDstHigh, int dstHighStep,    \
                                                                  OzriSize dstRoiSize, int phase) {                \
        return fwdRowApi<T>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, false);  \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTInvRow_B53_JPEG2K_##S##_C1R(const T* pSrcLow, int srcLowStep,                \
                                                                  const T* pSrcHigh, int srcHighStep,              \
                                                                  OzriSize srcRoiSize, T* pDst, int dstStep,       \
                                                                  int phase) {                                     \
        return invRowApi<T>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, false);  \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTFwdCol_B53_JPEG2K_##S##_C1R(const T* pSrc, int srcStep, T* pDstLow,          \
                                                                  int dstLowStep, T* pDstHigh, int dstHighStep,    \
                                                                  OzriSize dstRoiSize, int phase) {                \
        return fwdRowApi<T>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase, true);   \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTInvCol_B53_JPEG2K_##S##_C1R(const T* pSrcLow, int srcLowStep,                \
                                                                  const T* pSrcHigh, int srcHighStep,              \
                                                                  OzriSize srcRoiSize, T* pDst, int dstStep,       \
                                                                  int phase) {                                     \
        return invRowApi<T>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase, true);   \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTFwdColLift_B53_JPEG2K_##S##_C1(const T* pSrc0, const T* pSrc1,               \
                                                                     const T* pSrc2, T* pDstLow,                   \
                                                                     const T* pSrcHighPrev, T* pDstHigh,           \
                                                                     int width) {                                  \
        return fwdLiftApi<T, Wrap>(pSrc0, pSrc1, pSrc2, pDstLow, pSrcHighPrev, pDstHigh, width);                   \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTInvColLift_B53_JPEG2K_##S##_C1(const T* pSrcLow, const T* pSrcHighPrev,      \
                                                                     const T* pSrcHigh, const T* pSrcEvenPrev,     \
                                                                     T* pDstOdd, T* pDstEven, int width) {         \
        return invLiftApi<T, Wrap>(pSrcLow, pSrcHighPrev, pSrcHigh, pSrcEvenPrev, pDstOdd, pDstEven, width);       \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_##S##_C1IR(const OzriRect* pTileRect, int* pSize) {    \
        return bufSize<T>(pTileRect, pSize, false);                                                                \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_##S##_C1R(const OzriRect* pTileRect, int* pSize) {     \
        return bufSize<T>(pTileRect, pSize, true);                                                                 \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_##S##_C1IR(T* pSrcDst, int srcDstStep,                        \
                                                                const OzriRect* pTileRect, Ozr8u* pBuffer) {       \
        return tileIR<T>(pSrcDst, srcDstStep, pTileRect, pBuffer, false);                                          \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_##S##_C1IR(T* pSrcDst, int srcDstStep,                        \
                                                                const OzriRect* pTileRect, Ozr8u* pBuffer) {       \
        return tileIR<T>(pSrcDst, srcDstStep, pTileRect, pBuffer, true);                                           \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_##S##_C1R(const T* pSrc, int srcStep,                         \
                                                               const OzriRect* pTileRect, T* pDst[4],              \
                                                               int dstStep[4], Ozr8u* pBuffer) {                   \
        return tileFwdR<T>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);                                      \
    }                                                                                                              \
    extern "C" OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_##S##_C1R(const T* pSrc[4], const int srcStep[4], T* pDst,    \
                                                               int dstStep, const OzriRect* pTileRect,             \
                                                               Ozr8u* pBuffer) {                                   \
        return tileInvR<T>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);                                      \
    }

OZR_WT53_EXPORTS(16s, Ozr16s, true)
OZR_WT53_EXPORTS(32s, Ozr32s, false)
