// Encoder colour conversion, AVX2 forms of the pixel-order RGB/BGR -> YCbCr
// row kernels.  color_scalar.cpp is the definition; these give the same bytes.
//
// 32 pixels (96 bytes) per iteration in four registers of eight pixels: the
// low lane takes pixels 0-3 of the group from its first byte, the high lane
// pixels 4-7 from byte 8 (so the last group reads nothing past the 96 bytes),
// and the per-lane shuffle masks place them as (R, G) and (B, 1) word pairs
// for vpmaddwd, as the SSSE3 kernel does four pixels at a time.  The packs
// leave the four groups interleaved by lane; one vpermd per plane restores
// pixel order.  Everything past the last 32 pixels goes to the SSSE3 kernel,
// which keeps the row-end rule (the 15-bit set on whole groups of 8).
#include <immintrin.h>

#include <cstddef>

#include "jpeg/color.h"

namespace ozr {
namespace color {
namespace avx2 {

namespace {

inline __m256i pair16(int lo, int hi) {
    return _mm256_set1_epi32(
        static_cast<int>((static_cast<uint32_t>(hi) << 16) | (static_cast<uint32_t>(lo) & 0xFFFFu)));
}

// Masks for four pixels from byte 0 (low lane) and from byte 4 (high lane).
template <bool Bgr>
inline __m256i rgMask() {
    constexpr char r = Bgr ? 2 : 0, z = -128;
    return _mm256_setr_epi8(r, z, 1, z, 3 + r, z, 4, z, 6 + r, z, 7, z, 9 + r, z, 10, z,  //
                            4 + r, z, 5, z, 7 + r, z, 8, z, 10 + r, z, 11, z, 13 + r, z, 14, z);
}

template <bool Bgr>
inline __m256i bMask() {
    constexpr char b = Bgr ? 0 : 2, z = -128;
    return _mm256_setr_epi8(b, z, z, z, 3 + b, z, z, z, 6 + b, z, z, z, 9 + b, z, z, z,  //
                            4 + b, z, z, z, 7 + b, z, z, z, 10 + b, z, z, z, 13 + b, z, z, z);
}

// Eight pixels starting at p: bytes 0-15 in the low lane, 8-23 in the high.
inline __m256i load8px(const uint8_t* p) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8)), 1);
}

// Eight pixels of the 15-bit set -> 32-bit Y, Cb-128, Cr-128.
inline void ycc15x8(__m256i px, __m256i rgM, __m256i bM, __m256i* y, __m256i* cb, __m256i* cr) {
    const __m256i rg = _mm256_shuffle_epi8(px, rgM);
    const __m256i b1 = _mm256_or_si256(_mm256_shuffle_epi8(px, bM), _mm256_set1_epi32(0x10000));
    *y = _mm256_srai_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(rg, pair16(9798, 19235)), _mm256_madd_epi16(b1, pair16(3736, 16266))), 15);
    *cb = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(rg, pair16(-5529, -10855)),
                                             _mm256_madd_epi16(b1, pair16(16384, 16384))),
                            15);
    *cr = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(rg, pair16(16384, -13720)),
                                             _mm256_madd_epi16(b1, pair16(-2664, 16400))),
                            15);
}

inline void store32(uint8_t* p, __m256i v) {
    // Dwords come out as pixels 0-3, 8-11, 16-19, 24-27 | 4-7, 12-15, ...
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_permutevar8x32_epi32(v, order));
}

template <bool Bgr>
void rgbToYCbCrRowT(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    const __m256i rgM = rgMask<Bgr>(), bM = bMask<Bgr>();
    const __m256i x80 = _mm256_set1_epi8(-128);
    std::ptrdiff_t i = 0;
    for (; i + 32 <= n; i += 32, src += 96) {
        __m256i y0, cb0, cr0, y1, cb1, cr1;
        ycc15x8(load8px(src), rgM, bM, &y0, &cb0, &cr0);
        ycc15x8(load8px(src + 24), rgM, bM, &y1, &cb1, &cr1);
        const __m256i yLo = _mm256_packs_epi32(y0, y1), cbLo = _mm256_packs_epi32(cb0, cb1),
                      crLo = _mm256_packs_epi32(cr0, cr1);
        ycc15x8(load8px(src + 48), rgM, bM, &y0, &cb0, &cr0);
        ycc15x8(load8px(src + 72), rgM, bM, &y1, &cb1, &cr1);
        store32(y + i, _mm256_packus_epi16(yLo, _mm256_packs_epi32(y0, y1)));
        // Cb-128 and Cr-128 lie in -128..128: signed saturation to bytes and
        // a flipped top bit are the clamp of v + 128 to 0..255.
        store32(cb + i, _mm256_xor_si256(_mm256_packs_epi16(cbLo, _mm256_packs_epi32(cb0, cb1)), x80));
        store32(cr + i, _mm256_xor_si256(_mm256_packs_epi16(crLo, _mm256_packs_epi32(cr0, cr1)), x80));
    }
    if (i < n) {
        // i is a multiple of 8: the rest of the row keeps its own split.
        (Bgr ? ssse3::ownpj_BGRToYCbCr_JPEG_8u_C3P3R : ssse3::ownpj_RGBToYCbCr_JPEG_8u_C3P3R)(
            src, y + i, cb + i, cr + i, static_cast<int>(n - i));
    }
}

}  // namespace

void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRowT<false>(src, y, cb, cr, n);
}

void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRowT<true>(src, y, cb, cr, n);
}

}  // namespace avx2
}  // namespace color
}  // namespace ozr
