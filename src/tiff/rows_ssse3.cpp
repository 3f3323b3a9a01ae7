// Row split/join sixteen samples at a time; rows_scalar.cpp is the definition.
#include <tmmintrin.h>

#include "tiff/rows.h"

namespace ozr {
namespace tiff {
namespace ssse3 {

void splitRow(const uint16_t* src, uint8_t* hi, uint8_t* lo, int n) {
    const __m128i lowMask = _mm_set1_epi16(0x00FF);
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 8));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(hi + i),
                         _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(lo + i),
                         _mm_packus_epi16(_mm_and_si128(a, lowMask), _mm_and_si128(b, lowMask)));
    }
    if (i < n) scalar::splitRow(src + i, hi + i, lo + i, n - i);
}

void joinRow(const uint8_t* hi, const uint8_t* lo, uint16_t* dst, int n) {
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi + i));
        const __m128i l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lo + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(l, h));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(l, h));
    }
    if (i < n) scalar::joinRow(hi + i, lo + i, dst + i, n - i);
}

}  // namespace ssse3
}  // namespace tiff
}  // namespace ozr
