// Encoder colour conversion, SSSE3 kernels.  color_scalar.cpp is the
// definition; these give the same bytes.
//
// Pixel-order kernels shuffle four pixels into 32-bit lanes holding the pairs
// (R, G) and (B, 1), so that two pmaddwd per lane give the weighted sum with
// its rounding term.  The Cb/Cr offsets 128*2^s are multiples of the shift
// and are added after the shift (in 16-bit lanes, or as a flipped top bit
// after signed saturation to bytes), which is exact.
#include <tmmintrin.h>

#include <cstddef>
#include <cstring>

#include "jpeg/color.h"

namespace ozr {
namespace color {
namespace ssse3 {

namespace {

// One fixed-point set in pmaddwd form: (R, G) and (B, 1) coefficient pairs.
struct Set {
    __m128i yRG, yB1, cbRG, cbB1, crRG, crB1;
    int shift;
};

inline __m128i pair16(int lo, int hi) {
    return _mm_set1_epi32(static_cast<int>((static_cast<uint32_t>(hi) << 16) | (static_cast<uint32_t>(lo) & 0xFFFFu)));
}

inline Set set15() {
    return {pair16(9798, 19235),
            pair16(3736, 16266),
            pair16(-5529, -10855),
            pair16(16384, 16384),
            pair16(16384, -13720),
            pair16(-2664, 16400),
            15};
}

inline Set set14() {
    return {pair16(4899, 9617),
            pair16(1868, 8192),
            pair16(-2764, -5428),
            pair16(8192, 8192),
            pair16(8192, -6860),
            pair16(-1332, 8192),
            14};
}

inline __m128i sra(__m128i v, int s) { return _mm_sra_epi32(v, _mm_cvtsi32_si128(s)); }

// Four pixels (rg, b1 lanes) -> 32-bit Y, Cb-128, Cr-128.
inline void convert4(__m128i rg, __m128i b1, const Set& k, __m128i* y, __m128i* cb, __m128i* cr) {
    *y = sra(_mm_add_epi32(_mm_madd_epi16(rg, k.yRG), _mm_madd_epi16(b1, k.yB1)), k.shift);
    *cb = sra(_mm_add_epi32(_mm_madd_epi16(rg, k.cbRG), _mm_madd_epi16(b1, k.cbB1)), k.shift);
    *cr = sra(_mm_add_epi32(_mm_madd_epi16(rg, k.crRG), _mm_madd_epi16(b1, k.crB1)), k.shift);
}

inline __m128i luma4(__m128i rg, __m128i b1, const Set& k) {
    return sra(_mm_add_epi32(_mm_madd_epi16(rg, k.yRG), _mm_madd_epi16(b1, k.yB1)), k.shift);
}

// Shuffle masks that take four pixels of `stride` bytes from the start of a
// register into (c0, c1) and (c2, 1) pairs.
struct Shuffle {
    __m128i rg, b, one;
};

inline Shuffle makeShuffle(int stride, int r, int g, int b) {
    alignas(16) int8_t rg[16], bb[16];
    for (std::ptrdiff_t i = 0; i < 4; ++i) {
        rg[4 * i + 0] = static_cast<int8_t>(stride * i + r);
        rg[4 * i + 1] = -128;
        rg[4 * i + 2] = static_cast<int8_t>(stride * i + g);
        rg[4 * i + 3] = -128;
        bb[4 * i + 0] = static_cast<int8_t>(stride * i + b);
        bb[4 * i + 1] = -128;
        bb[4 * i + 2] = -128;
        bb[4 * i + 3] = -128;
    }
    return {_mm_load_si128(reinterpret_cast<const __m128i*>(rg)), _mm_load_si128(reinterpret_cast<const __m128i*>(bb)),
            _mm_set1_epi32(0x10000)};
}

inline void split(__m128i px, const Shuffle& s, __m128i* rg, __m128i* b1) {
    *rg = _mm_shuffle_epi8(px, s.rg);
    *b1 = _mm_or_si128(_mm_shuffle_epi8(px, s.b), s.one);
}

// Packs 32-bit results of 8 pixels to 16-bit lanes; chroma gets its +128.
inline __m128i packLuma(__m128i a, __m128i b) { return _mm_packs_epi32(a, b); }
inline __m128i packChroma(__m128i a, __m128i b) { return _mm_add_epi16(_mm_packs_epi32(a, b), _mm_set1_epi16(128)); }

inline void store4(uint8_t* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, 4);
}

inline __m128i load4(const uint8_t* p) {
    int x;
    std::memcpy(&x, p, 4);
    return _mm_cvtsi32_si128(x);
}

// 12 bytes (four RGB pixels) without reading past them.
inline __m128i load12(const uint8_t* p) {
    return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), load4(p + 8));
}

inline __m128i loadu(const void* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load8(const void* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }

// Eight pixels held in two registers of four pixels each -> 16-bit Y, Cb, Cr.
inline void convert8(__m128i g0, __m128i g1, const Shuffle& sh, const Set& k, __m128i* y, __m128i* cb, __m128i* cr) {
    __m128i rg0, b0, rg1, b1, y0, cb0, cr0, y1, cb1, cr1;
    split(g0, sh, &rg0, &b0);
    split(g1, sh, &rg1, &b1);
    convert4(rg0, b0, k, &y0, &cb0, &cr0);
    convert4(rg1, b1, k, &y1, &cb1, &cr1);
    *y = packLuma(y0, y1);
    *cb = packChroma(cb0, cb1);
    *cr = packChroma(cr0, cr1);
}

inline Shuffle rgbShuffle(bool bgr) { return bgr ? makeShuffle(3, 2, 1, 0) : makeShuffle(3, 0, 1, 2); }

// Y, Cb, Cr of the planar 16-bit set for 8 pixels in 16-bit lanes.
inline void planar8(__m128i r, __m128i g, __m128i b, __m128i* y, __m128i* cb, __m128i* cr) {
    const __m128i one = _mm_set1_epi16(1);
    // 38470 does not fit a signed 16-bit coefficient: weigh G by
    // 38470 - 65536 and add G*65536 (the G half of the (R, G) lane) back.
    const __m128i kRG = pair16(19595, 38470 - 65536);
    // The rounding term 2^15 comes in as (B, 2) . (7471, 2^14).
    const __m128i two = _mm_set1_epi16(2);
    const __m128i kB2 = pair16(7471, 16384);
    const __m128i hiMask = _mm_set1_epi32(static_cast<int>(0xFFFF0000u));
    const __m128i rgLo = _mm_unpacklo_epi16(r, g), rgHi = _mm_unpackhi_epi16(r, g);
    const __m128i bLo = _mm_unpacklo_epi16(b, two), bHi = _mm_unpackhi_epi16(b, two);
    __m128i yLo = _mm_add_epi32(_mm_madd_epi16(rgLo, kRG), _mm_madd_epi16(bLo, kB2));
    __m128i yHi = _mm_add_epi32(_mm_madd_epi16(rgHi, kRG), _mm_madd_epi16(bHi, kB2));
    yLo = _mm_srli_epi32(_mm_add_epi32(yLo, _mm_and_si128(rgLo, hiMask)), 16);
    yHi = _mm_srli_epi32(_mm_add_epi32(yHi, _mm_and_si128(rgHi, hiMask)), 16);
    const __m128i yy = _mm_packs_epi32(yLo, yHi);
    // (B - Y, 1) . (18491, 16384) and (R - Y, 1) . (23373, 16384): the
    // offset 128*2^15 is added after the shift.
    const __m128i db = _mm_sub_epi16(b, yy), dr = _mm_sub_epi16(r, yy);
    const __m128i kCb = pair16(18491, 16384), kCr = pair16(23373, 16384);
    const __m128i cbLo = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(db, one), kCb), 15);
    const __m128i cbHi = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(db, one), kCb), 15);
    const __m128i crLo = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(dr, one), kCr), 15);
    const __m128i crHi = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(dr, one), kCr), 15);
    *y = yy;
    *cb = packChroma(cbLo, cbHi);
    *cr = packChroma(crLo, crHi);
}

// Planar kernel body; inv = 0xFF inverts the three colour planes (CMYK).
inline void planarRow(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, uint8_t* cb, uint8_t* cr, int n,
                      uint8_t inv) {
    const __m128i z = _mm_setzero_si128();
    const __m128i x = _mm_set1_epi8(static_cast<char>(inv));
    std::ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i rv = _mm_xor_si128(loadu(r + i), x);
        const __m128i gv = _mm_xor_si128(loadu(g + i), x);
        const __m128i bv = _mm_xor_si128(loadu(b + i), x);
        __m128i y0, cb0, cr0, y1, cb1, cr1;
        planar8(_mm_unpacklo_epi8(rv, z), _mm_unpacklo_epi8(gv, z), _mm_unpacklo_epi8(bv, z), &y0, &cb0, &cr0);
        planar8(_mm_unpackhi_epi8(rv, z), _mm_unpackhi_epi8(gv, z), _mm_unpackhi_epi8(bv, z), &y1, &cb1, &cr1);
        storeu(y + i, _mm_packus_epi16(y0, y1));
        storeu(cb + i, _mm_packus_epi16(cb0, cb1));
        storeu(cr + i, _mm_packus_epi16(cr0, cr1));
    }
    for (; i + 8 <= n; i += 8) {
        __m128i yy, cbv, crv;
        planar8(_mm_unpacklo_epi8(_mm_xor_si128(load8(r + i), x), z),
                _mm_unpacklo_epi8(_mm_xor_si128(load8(g + i), x), z),
                _mm_unpacklo_epi8(_mm_xor_si128(load8(b + i), x), z), &yy, &cbv, &crv);
        store8(y + i, _mm_packus_epi16(yy, yy));
        store8(cb + i, _mm_packus_epi16(cbv, cbv));
        store8(cr + i, _mm_packus_epi16(crv, crv));
    }
    for (; i + 4 <= n; i += 4) {
        __m128i yy, cbv, crv;
        planar8(_mm_unpacklo_epi8(_mm_xor_si128(load4(r + i), x), z),
                _mm_unpacklo_epi8(_mm_xor_si128(load4(g + i), x), z),
                _mm_unpacklo_epi8(_mm_xor_si128(load4(b + i), x), z), &yy, &cbv, &crv);
        store4(y + i, _mm_packus_epi16(yy, yy));
        store4(cb + i, _mm_packus_epi16(cbv, cbv));
        store4(cr + i, _mm_packus_epi16(crv, crv));
    }
    for (; i < n; ++i) {
        if (inv) {
            const uint8_t c = static_cast<uint8_t>(r[i] ^ inv), m = static_cast<uint8_t>(g[i] ^ inv),
                          yv = static_cast<uint8_t>(b[i] ^ inv);
            scalar::ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(&c, &m, &yv, y + i, cb + i, cr + i, 1);
        } else {
            scalar::ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(r + i, g + i, b + i, y + i, cb + i, cr + i, 1);
        }
    }
}

// Four float Y values of 8-bit samples widened to 32-bit lanes.
inline __m128i lumaFloat4(__m128i r, __m128i g, __m128i b) {
    const __m128 v = _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.299f), _mm_cvtepi32_ps(r)),
                                           _mm_mul_ps(_mm_set1_ps(0.587f), _mm_cvtepi32_ps(g))),
                                _mm_mul_ps(_mm_set1_ps(0.114f), _mm_cvtepi32_ps(b)));
    return _mm_cvtps_epi32(v);
}

inline __m128i lumaFloat8(__m128i r, __m128i g, __m128i b) {
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = lumaFloat4(_mm_unpacklo_epi16(r, z), _mm_unpacklo_epi16(g, z), _mm_unpacklo_epi16(b, z));
    const __m128i hi = lumaFloat4(_mm_unpackhi_epi16(r, z), _mm_unpackhi_epi16(g, z), _mm_unpackhi_epi16(b, z));
    return _mm_packs_epi32(lo, hi);
}

// Masks taking the four pixels that start at byte Off of a register into
// (R, G) word pairs and B words (the 1 of the (B, 1) pair is or-ed in).
template <bool Bgr, int Off>
inline __m128i rgMask() {
    constexpr char r = Bgr ? 2 : 0, z = -128;
    return _mm_setr_epi8(Off + r, z, Off + 1, z, Off + 3 + r, z, Off + 4, z, Off + 6 + r, z, Off + 7, z, Off + 9 + r, z,
                         Off + 10, z);
}

template <bool Bgr, int Off>
inline __m128i bMask() {
    constexpr char b = Bgr ? 0 : 2, z = -128;
    return _mm_setr_epi8(Off + b, z, z, z, Off + 3 + b, z, z, z, Off + 6 + b, z, z, z, Off + 9 + b, z, z, z);
}

// Four pixels of the 15-bit set -> 32-bit Y, Cb-128, Cr-128.
inline void ycc15x4(__m128i px, __m128i rgM, __m128i bM, __m128i one, __m128i* y, __m128i* cb, __m128i* cr) {
    const __m128i rg = _mm_shuffle_epi8(px, rgM);
    const __m128i b1 = _mm_or_si128(_mm_shuffle_epi8(px, bM), one);
    *y = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rg, pair16(9798, 19235)), _mm_madd_epi16(b1, pair16(3736, 16266))),
                        15);
    *cb = _mm_srai_epi32(
        _mm_add_epi32(_mm_madd_epi16(rg, pair16(-5529, -10855)), _mm_madd_epi16(b1, pair16(16384, 16384))), 15);
    *cr = _mm_srai_epi32(
        _mm_add_epi32(_mm_madd_epi16(rg, pair16(16384, -13720)), _mm_madd_epi16(b1, pair16(-2664, 16400))), 15);
}

// Cb-128 or Cr-128 of 16 pixels (-128..128 each) -> bytes: signed saturation
// to -128..127 and a flipped top bit are the clamp of v + 128 to 0..255.
inline __m128i chromaBytes(__m128i a, __m128i b, __m128i c, __m128i d) {
    return _mm_xor_si128(_mm_packs_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)), _mm_set1_epi8(-128));
}

template <bool Bgr>
void rgbToYCbCrRowT(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    const __m128i one = _mm_set1_epi32(0x10000);
    const __m128i rg0 = rgMask<Bgr, 0>(), b0 = bMask<Bgr, 0>(), rg4 = rgMask<Bgr, 4>(), b4 = bMask<Bgr, 4>();
    std::ptrdiff_t i = 0;
    // 16 pixels from loads at 0, 12, 24 and 32: the last takes its pixels
    // from byte 4 so that nothing past the 48 bytes is read.
    for (; i + 16 <= n; i += 16, src += 48) {
        __m128i y0, cb0, cr0, y1, cb1, cr1;
        ycc15x4(loadu(src), rg0, b0, one, &y0, &cb0, &cr0);
        ycc15x4(loadu(src + 12), rg0, b0, one, &y1, &cb1, &cr1);
        const __m128i yLo = _mm_packs_epi32(y0, y1), cbLo = _mm_packs_epi32(cb0, cb1), crLo = _mm_packs_epi32(cr0, cr1);
        ycc15x4(loadu(src + 24), rg0, b0, one, &y0, &cb0, &cr0);
        ycc15x4(loadu(src + 32), rg4, b4, one, &y1, &cb1, &cr1);
        const __m128i x80 = _mm_set1_epi8(-128);
        storeu(y + i, _mm_packus_epi16(yLo, _mm_packs_epi32(y0, y1)));
        storeu(cb + i, _mm_xor_si128(_mm_packs_epi16(cbLo, _mm_packs_epi32(cb0, cb1)), x80));
        storeu(cr + i, _mm_xor_si128(_mm_packs_epi16(crLo, _mm_packs_epi32(cr0, cr1)), x80));
    }
    if (i + 8 <= n) {
        __m128i y0, cb0, cr0, y1, cb1, cr1;
        ycc15x4(loadu(src), rg0, b0, one, &y0, &cb0, &cr0);
        ycc15x4(loadu(src + 8), rg4, b4, one, &y1, &cb1, &cr1);
        const __m128i yy = _mm_packs_epi32(y0, y1);
        store8(y + i, _mm_packus_epi16(yy, yy));
        store8(cb + i, chromaBytes(cb0, cb1, cb0, cb1));
        store8(cr + i, chromaBytes(cr0, cr1, cr0, cr1));
        i += 8;
        src += 24;
    }
    if (i + 4 <= n) {
        const __m128i px = load12(src);
        __m128i yv, cbv, crv;
        convert4(_mm_shuffle_epi8(px, rg0), _mm_or_si128(_mm_shuffle_epi8(px, b0), one), set14(), &yv, &cbv, &crv);
        const __m128i yy = packLuma(yv, yv), cc = packChroma(cbv, crv);
        store4(y + i, _mm_packus_epi16(yy, yy));
        const __m128i c8 = _mm_packus_epi16(cc, cc);
        store4(cb + i, c8);
        store4(cr + i, _mm_srli_si128(c8, 4));
        i += 4;
        src += 12;
    }
    if (i < n) scalar::rgbToYCbCrRow(src, y + i, cb + i, cr + i, n - i, Bgr);  // fewer than 4: 14-bit
}

}  // namespace

static void rgbToYCbCrRow(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, bool bgr) {
    if (bgr)
        rgbToYCbCrRowT<true>(src, y, cb, cr, n);
    else
        rgbToYCbCrRowT<false>(src, y, cb, cr, n);
}

static void rgbToYRow(const uint8_t* src, uint8_t* y, int n, bool bgr) {
    const Shuffle sh = rgbShuffle(bgr);
    const Set k15 = set15();
    std::ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16, src += 48) {
        const __m128i a = loadu(src), b = loadu(src + 16), c = loadu(src + 32);
        __m128i rg, b1;
        split(a, sh, &rg, &b1);
        const __m128i y0 = luma4(rg, b1, k15);
        split(_mm_alignr_epi8(b, a, 12), sh, &rg, &b1);
        const __m128i y1 = luma4(rg, b1, k15);
        split(_mm_alignr_epi8(c, b, 8), sh, &rg, &b1);
        const __m128i y2 = luma4(rg, b1, k15);
        split(_mm_srli_si128(c, 4), sh, &rg, &b1);
        const __m128i y3 = luma4(rg, b1, k15);
        storeu(y + i, _mm_packus_epi16(_mm_packs_epi32(y0, y1), _mm_packs_epi32(y2, y3)));
    }
    for (; i + 4 <= n; i += 4, src += 12) {
        __m128i rg, b1;
        split(load12(src), sh, &rg, &b1);
        const __m128i yy = _mm_packs_epi32(luma4(rg, b1, k15), _mm_setzero_si128());
        store4(y + i, _mm_packus_epi16(yy, yy));
    }
    if (i < n) scalar::rgbToYRow(src, y + i, n - i, bgr);
}

void ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, uint8_t* cb,
                                      uint8_t* cr, int n) {
    planarRow(r, g, b, y, cb, cr, n, 0);
}

void ownpj_CMYKToYCCK_JPEG_8u_P4R_opt(const uint8_t* c, const uint8_t* m, const uint8_t* ye, const uint8_t* k,
                                      uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* kOut, int n) {
    // K first: a caller converting in place may share the K plane.
    if (kOut != k) std::memmove(kOut, k, static_cast<size_t>(n));
    planarRow(c, m, ye, y, cb, cr, n, 0xFF);
}

void ownpj_RGBToY_JPEG_8u_P3C1R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, int n) {
    const __m128i z = _mm_setzero_si128();
    std::ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i rv = loadu(r + i), gv = loadu(g + i), bv = loadu(b + i);
        const __m128i lo = lumaFloat8(_mm_unpacklo_epi8(rv, z), _mm_unpacklo_epi8(gv, z), _mm_unpacklo_epi8(bv, z));
        const __m128i hi = lumaFloat8(_mm_unpackhi_epi8(rv, z), _mm_unpackhi_epi8(gv, z), _mm_unpackhi_epi8(bv, z));
        storeu(y + i, _mm_packus_epi16(lo, hi));
    }
    for (; i + 4 <= n; i += 4) {
        const __m128i v = lumaFloat8(_mm_unpacklo_epi8(load4(r + i), z), _mm_unpacklo_epi8(load4(g + i), z),
                                     _mm_unpacklo_epi8(load4(b + i), z));
        store4(y + i, _mm_packus_epi16(v, v));
    }
    if (i < n) scalar::ownpj_RGBToY_JPEG_8u_P3C1R_opt(r + i, g + i, b + i, y + i, n - i);
}

void ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* k, int n) {
    const Shuffle sh = makeShuffle(4, 0, 1, 2);
    const Set k14 = set14();
    const __m128i inv = _mm_set1_epi32(0x00FFFFFF);  // C, M, Y inverted, K kept
    const __m128i kMask =
        _mm_setr_epi8(3, 7, 11, 15, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128);
    std::ptrdiff_t i = 0;
    for (; i + 8 <= n; i += 8, src += 32) {
        const __m128i a = _mm_xor_si128(loadu(src), inv), b = _mm_xor_si128(loadu(src + 16), inv);
        __m128i yy, cbv, crv;
        convert8(a, b, sh, k14, &yy, &cbv, &crv);
        store8(y + i, _mm_packus_epi16(yy, yy));
        store8(cb + i, _mm_packus_epi16(cbv, cbv));
        store8(cr + i, _mm_packus_epi16(crv, crv));
        // K bytes were xored with 0: gather them unchanged.
        store8(k + i, _mm_unpacklo_epi32(_mm_shuffle_epi8(a, kMask), _mm_shuffle_epi8(b, kMask)));
    }
    if (i < n) scalar::ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(src, y + i, cb + i, cr + i, k + i, n - i);
}

static void packedToYCbCrRow(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, Packed fmt) {
    const bool is565 = fmt == Packed::RGB565 || fmt == Packed::BGR565;
    const bool redHigh = fmt == Packed::RGB555 || fmt == Packed::RGB565;
    const Set k14 = set14();
    const __m128i lowMask = _mm_set1_epi16(31);
    const __m128i midMask = _mm_set1_epi16(static_cast<short>(is565 ? 2016 : 992));
    const __m128i highMask = _mm_set1_epi16(static_cast<short>(is565 ? 63488 : 31744));
    const __m128i midShift = _mm_cvtsi32_si128(is565 ? 3 : 2);
    const __m128i highShift = _mm_cvtsi32_si128(is565 ? 8 : 7);
    const __m128i one = _mm_set1_epi16(1);
    std::ptrdiff_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i p = loadu(src + i);
        const __m128i low = _mm_slli_epi16(_mm_and_si128(p, lowMask), 3);
        const __m128i mid = _mm_srl_epi16(_mm_and_si128(p, midMask), midShift);
        const __m128i high = _mm_srl_epi16(_mm_and_si128(p, highMask), highShift);
        const __m128i r = redHigh ? high : low, b = redHigh ? low : high;
        __m128i y0, cb0, cr0, y1, cb1, cr1;
        convert4(_mm_unpacklo_epi16(r, mid), _mm_unpacklo_epi16(b, one), k14, &y0, &cb0, &cr0);
        convert4(_mm_unpackhi_epi16(r, mid), _mm_unpackhi_epi16(b, one), k14, &y1, &cb1, &cr1);
        const __m128i yy = packLuma(y0, y1), cbv = packChroma(cb0, cb1), crv = packChroma(cr0, cr1);
        store8(y + i, _mm_packus_epi16(yy, yy));
        store8(cb + i, _mm_packus_epi16(cbv, cbv));
        store8(cr + i, _mm_packus_epi16(crv, crv));
    }
    if (i < n) scalar::packedToYCbCrRow(src + i, y + i, cb + i, cr + i, n - i, fmt);
}

// ------------------------------------------------------------- named kernels
void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRow(src, y, cb, cr, n, false);
}
void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRow(src, y, cb, cr, n, true);
}
void ownpj_RGBToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n) { rgbToYRow(src, y, n, false); }
void ownpj_BGRToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n) { rgbToYRow(src, y, n, true); }
void ownpj_RGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::RGB555);
}
void ownpj_BGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::BGR555);
}
void ownpj_RGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::RGB565);
}
void ownpj_BGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::BGR565);
}

}  // namespace ssse3
}  // namespace color
}  // namespace ozr
