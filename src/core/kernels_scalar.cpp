// Scalar definitions of the shared kernels, the zigzag tables, and the
// dispatching entry points of the reverse division and widening conversion.
#include <algorithm>
#include <cmath>

#include "core/frame.h"
#include "core/kernels.h"

namespace ozr {

const int32_t kZigzagPos[64] = {
    0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
    3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
    10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
    21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63,
};

namespace scalar {

bool divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n) {
    bool zero = false;
    const float v = static_cast<float>(value);
    for (int i = 0; i < n; ++i) {
        const uint16_t s = src[i];
        if (s == 0) zero = true;
        if (value == 0) {
            dst[i] = 0;
        } else if (s == 0) {
            dst[i] = 0xFFFF;
        } else if (s == 1) {
            dst[i] = value;
        } else {
            // Round to nearest even in single precision, then the signed
            // saturation of the 16-bit pack.
            const float q = std::nearbyint(v / static_cast<float>(s));
            dst[i] = static_cast<uint16_t>(std::min(q, 32767.0f));
        }
    }
    return zero;
}

void convertRow8u16u(const uint8_t* src, uint16_t* dst, int n) {
    for (int i = 0; i < n; ++i) dst[i] = src[i];
}

}  // namespace scalar

OzrStatus divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n) {
    const int threads = ownGetNumThreads();
    bool zero = false;
    if (n >= kParallelDivLength && threads >= 2 && n >= threads && !omp_in_parallel()) {
        const int team = std::min(threads, 2);
#pragma omp parallel num_threads(team) reduction(|| : zero)
        {
            const int nt = omp_get_num_threads();
            const int t = omp_get_thread_num();
            const int share = n / nt, rest = n % nt;
            const int begin = t * share;
            const int count = share + (t == nt - 1 ? rest : 0);
            zero = ssse3::divCRev16u(src + begin, value, dst + begin, count);
        }
    } else {
        zero = ssse3::divCRev16u(src, value, dst, n);
    }
    return zero ? ozrStatusDivByZeroWarning : ozrStatusOk;
}

}  // namespace ozr

using namespace ozr;

extern "C" OZRAPI OzrStatus ozriConvert_8u16u_C1R(const Ozr8u* pSrc, int srcStep, Ozr16u* pDst,
                                                  int dstStep, OzriSize roiSize) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pDst), size(roiSize), step(srcStep), step(dstStep)))
        return st;
    const int64_t volume = int64_t{roiSize.width} * 3 * roiSize.height;
    bool nonTemporal = false;
    if (volume > 524288) {
        int cache = 0;
        if (ozrGetMaxCacheSizeB(&cache) == ozrStatusOk && volume >= cache) nonTemporal = true;
    }
    if (dstStep == 2 * srcStep && srcStep == roiSize.width &&
        int64_t{roiSize.width} * roiSize.height <= INT32_MAX) {
        ssse3::convertRow8u16u(pSrc, pDst, roiSize.width * roiSize.height, nonTemporal);
        return ozrStatusOk;
    }
    for (int y = 0; y < roiSize.height; ++y)
        ssse3::convertRow8u16u(rowPtr(pSrc, srcStep, y), rowPtr(pDst, dstStep, y), roiSize.width,
                               nonTemporal);
    return ozrStatusOk;
}
