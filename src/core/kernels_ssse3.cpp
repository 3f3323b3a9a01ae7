// SSSE3 forms of the shared kernels; kernels_scalar.cpp holds their definitions.
#include <tmmintrin.h>

#include <cstring>

#include "core/kernels.h"

namespace ozr {
namespace ssse3 {

bool divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n) {
    if (value == 0) {
        bool zero = false;
        for (int i = 0; i < n; ++i) zero |= src[i] == 0;
        std::memset(dst, 0, sizeof(uint16_t) * static_cast<size_t>(n));
        return zero;
    }
    const __m128i zeroV = _mm_setzero_si128();
    const __m128i oneV = _mm_set1_epi16(1);
    const __m128i valueV = _mm_set1_epi16(static_cast<short>(value));
    const __m128 vf = _mm_set1_ps(static_cast<float>(value));
    __m128i anyZero = zeroV;
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128 lo = _mm_cvtepi32_ps(_mm_unpacklo_epi16(s, zeroV));
        const __m128 hi = _mm_cvtepi32_ps(_mm_unpackhi_epi16(s, zeroV));
        // A zero divisor gives infinity here; its lane is replaced below.
        const __m128i qlo = _mm_cvtps_epi32(_mm_div_ps(vf, lo));
        const __m128i qhi = _mm_cvtps_epi32(_mm_div_ps(vf, hi));
        __m128i q = _mm_packs_epi32(qlo, qhi);
        const __m128i isZero = _mm_cmpeq_epi16(s, zeroV);
        const __m128i isOne = _mm_cmpeq_epi16(s, oneV);
        q = _mm_or_si128(_mm_andnot_si128(isOne, q), _mm_and_si128(isOne, valueV));
        q = _mm_or_si128(q, isZero);  // 0xFFFF where the divisor is 0
        anyZero = _mm_or_si128(anyZero, isZero);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), q);
    }
    bool zero = _mm_movemask_epi8(anyZero) != 0;
    if (i < n) zero |= scalar::divCRev16u(src + i, value, dst + i, n - i);
    return zero;
}

void convertRow8u16u(const uint8_t* src, uint16_t* dst, int n, bool nonTemporal) {
    const __m128i z = _mm_setzero_si128();
    int i = 0;
    const bool canStream = nonTemporal && (reinterpret_cast<uintptr_t>(dst) & 1) == 0;
    if (canStream) {
        // Peel until the destination is 16-byte aligned.
        while (i < n && (reinterpret_cast<uintptr_t>(dst + i) & 15) != 0) {
            dst[i] = src[i];
            ++i;
        }
        for (; i + 16 <= n; i += 16) {
            const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
            _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(s, z));
            _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(s, z));
        }
        _mm_sfence();
    } else {
        for (; i + 16 <= n; i += 16) {
            const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(s, z));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(s, z));
        }
    }
    if (i < n) scalar::convertRow8u16u(src + i, dst + i, n - i);
}

}  // namespace ssse3
}  // namespace ozr
