// Encoder colour conversion, AVX-512 forms of the pixel-order RGB/BGR ->
// YCbCr row kernels.  color_scalar.cpp is the definition; these give the
// same bytes.
//
// 64 pixels per iteration in four registers of sixteen.  A masked load takes
// the 48 bytes of sixteen pixels (nothing past them is touched) and two byte
// permutes place them as (R, G) and (B, 1) word pairs for vpmaddwd, as the
// AVX2 kernel does eight at a time.  The packs leave the four groups
// interleaved by 128-bit lane; one dword permute per plane restores pixel
// order.  Everything past the last 64 pixels goes to the AVX2 kernel, which
// keeps the row-end rule (the 15-bit set on whole groups of 8).
#include <immintrin.h>

#include <cstddef>

#include "jpeg/color.h"

// GCC 12's AVX-512 headers make their "undefined" registers by
// self-initialisation, which -Wmaybe-uninitialized reports at every use.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozr {
namespace color {
namespace avx512 {

namespace {

struct Shuffles {
    alignas(64) uint8_t rg[64];  // pixel i: byte 4i <- R, byte 4i + 2 <- G
    alignas(64) uint8_t b[64];   // pixel i: byte 4i <- B
};

constexpr Shuffles makeShuffles(bool bgr) {
    Shuffles s{};
    const int r = bgr ? 2 : 0, b = bgr ? 0 : 2;
    for (int i = 0; i < 16; ++i) {
        s.rg[4 * i] = static_cast<uint8_t>(3 * i + r);
        s.rg[4 * i + 2] = static_cast<uint8_t>(3 * i + 1);
        s.b[4 * i] = static_cast<uint8_t>(3 * i + b);
    }
    return s;
}

alignas(64) constexpr Shuffles kRgb = makeShuffles(false);
alignas(64) constexpr Shuffles kBgr = makeShuffles(true);

inline __m512i pair16(int lo, int hi) {
    return _mm512_set1_epi32(
        static_cast<int>((static_cast<uint32_t>(hi) << 16) | (static_cast<uint32_t>(lo) & 0xFFFFu)));
}

// Sixteen pixels of the 15-bit set from p -> 32-bit Y, Cb-128, Cr-128.
inline void ycc15x16(const uint8_t* p, const Shuffles& sh, __m512i* y, __m512i* cb, __m512i* cr) {
    const __m512i px = _mm512_maskz_loadu_epi8(0x0000FFFFFFFFFFFFull, p);
    const __m512i rg = _mm512_maskz_permutexvar_epi8(0x5555555555555555ull, _mm512_load_si512(sh.rg), px);
    const __m512i b1 =
        _mm512_mask_permutexvar_epi8(_mm512_set1_epi32(0x10000), 0x1111111111111111ull, _mm512_load_si512(sh.b), px);
    *y = _mm512_srai_epi32(
        _mm512_add_epi32(_mm512_madd_epi16(rg, pair16(9798, 19235)), _mm512_madd_epi16(b1, pair16(3736, 16266))), 15);
    *cb = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(rg, pair16(-5529, -10855)),
                                             _mm512_madd_epi16(b1, pair16(16384, 16384))),
                            15);
    *cr = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(rg, pair16(16384, -13720)),
                                             _mm512_madd_epi16(b1, pair16(-2664, 16400))),
                            15);
}

inline void store64(uint8_t* p, __m512i v) {
    // Dwords come out as lane l of groups 0..3 in lane l: a 4x4 transpose.
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    _mm512_storeu_si512(p, _mm512_permutexvar_epi32(order, v));
}

template <bool Bgr>
void rgbToYCbCrRowT(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    const Shuffles& sh = Bgr ? kBgr : kRgb;
    const __m512i x80 = _mm512_set1_epi8(-128);
    std::ptrdiff_t i = 0;
    for (; i + 64 <= n; i += 64, src += 192) {
        __m512i y0, cb0, cr0, y1, cb1, cr1;
        ycc15x16(src, sh, &y0, &cb0, &cr0);
        ycc15x16(src + 48, sh, &y1, &cb1, &cr1);
        const __m512i yLo = _mm512_packs_epi32(y0, y1), cbLo = _mm512_packs_epi32(cb0, cb1),
                      crLo = _mm512_packs_epi32(cr0, cr1);
        ycc15x16(src + 96, sh, &y0, &cb0, &cr0);
        ycc15x16(src + 144, sh, &y1, &cb1, &cr1);
        store64(y + i, _mm512_packus_epi16(yLo, _mm512_packs_epi32(y0, y1)));
        // Cb-128 and Cr-128 lie in -128..128: signed saturation to bytes and
        // a flipped top bit are the clamp of v + 128 to 0..255.
        store64(cb + i, _mm512_xor_si512(_mm512_packs_epi16(cbLo, _mm512_packs_epi32(cb0, cb1)), x80));
        store64(cr + i, _mm512_xor_si512(_mm512_packs_epi16(crLo, _mm512_packs_epi32(cr0, cr1)), x80));
    }
    if (i < n) {
        // i is a multiple of 8: the rest of the row keeps its own split.
        (Bgr ? avx2::ownpj_BGRToYCbCr_JPEG_8u_C3P3R : avx2::ownpj_RGBToYCbCr_JPEG_8u_C3P3R)(
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

}  // namespace avx512
}  // namespace color
}  // namespace ozr
