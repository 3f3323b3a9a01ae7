// SSSE3 forms of the DXT kernels.  dxt_scalar.cpp is their definition; every
// function here must write the same bytes.
//
// Encoding keeps a block's 16 pixels in four registers (one block row each),
// measures the distance of every pixel to every palette colour with byte
// saturating subtractions, and turns the strict comparisons into two 16-bit
// masks whose bits are interleaved into the index word.  Decoding builds the
// 16-byte RGBA palette of a block and expands each row's four 2-bit indices
// with one byte shuffle.
#include <tmmintrin.h>

#include <cstring>
#include <initializer_list>

#include "texture/dxt.h"

namespace ozr {
namespace texture {
namespace ssse3 {
namespace {

// Shuffle control that expands one byte of four 2-bit indices into four
// RGBA pixels taken from a 16-byte palette.
struct IndexShuffles {
    alignas(16) uint8_t v[256][16];
};
constexpr IndexShuffles makeIndexShuffles() {
    IndexShuffles t{};
    for (int b = 0; b < 256; ++b)
        for (int p = 0; p < 4; ++p)
            for (int c = 0; c < 4; ++c) t.v[b][4 * p + c] = static_cast<uint8_t>(4 * ((b >> (2 * p)) & 3) + c);
    return t;
}
constexpr IndexShuffles kIndexShuffles = makeIndexShuffles();

inline __m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

inline void put16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put32(uint8_t* p, uint32_t v) {
    put16(p, v);
    put16(p + 2, v >> 16);
}
inline uint32_t get16(const uint8_t* p) { return p[0] | (p[1] << 8); }
inline uint32_t get32(const uint8_t* p) { return get16(p) | (get16(p + 2) << 16); }

// Spreads the 16 bits of x to the even bit positions of a 32-bit word.
inline uint32_t spread16(uint32_t x) {
    x = (x | (x << 8)) & 0x00FF00FFu;
    x = (x | (x << 4)) & 0x0F0F0F0Fu;
    x = (x | (x << 2)) & 0x33333333u;
    x = (x | (x << 1)) & 0x55555555u;
    return x;
}

// ------------------------------------------------------------------ encoding
// Per-channel minimum and maximum over the four rows, broadcast to every pixel.
inline void blockMinMax(const __m128i r[4], __m128i* mn, __m128i* mx) {
    __m128i lo = _mm_min_epu8(_mm_min_epu8(r[0], r[1]), _mm_min_epu8(r[2], r[3]));
    __m128i hi = _mm_max_epu8(_mm_max_epu8(r[0], r[1]), _mm_max_epu8(r[2], r[3]));
    lo = _mm_min_epu8(lo, _mm_shuffle_epi32(lo, _MM_SHUFFLE(1, 0, 3, 2)));
    hi = _mm_max_epu8(hi, _mm_shuffle_epi32(hi, _MM_SHUFFLE(1, 0, 3, 2)));
    *mn = _mm_min_epu8(lo, _mm_shuffle_epi32(lo, _MM_SHUFFLE(2, 3, 0, 1)));
    *mx = _mm_max_epu8(hi, _mm_shuffle_epi32(hi, _MM_SHUFFLE(2, 3, 0, 1)));
}

// Sum over the colour bytes of |pixel - colour| for rows a and b, one 16-bit
// lane per pixel (a's four pixels, then b's).  Bytes that do not take part are
// zero in both pixel and colour.
inline __m128i distances(__m128i a, __m128i b, __m128i colour) {
    const __m128i ones = _mm_set1_epi8(1);
    const __m128i da = _mm_or_si128(_mm_subs_epu8(a, colour), _mm_subs_epu8(colour, a));
    const __m128i db = _mm_or_si128(_mm_subs_epu8(b, colour), _mm_subs_epu8(colour, b));
    return _mm_hadd_epi16(_mm_maddubs_epi16(da, ones), _mm_maddubs_epi16(db, ones));
}

struct Dist {
    __m128i d[4][2];  // palette entry, rows 0-1 / rows 2-3
};

// palette: bytes c0 c1 c2 c3, four bytes each.  px: rows with only the
// compared bytes kept.
inline Dist allDistances(const __m128i px[4], __m128i palette) {
    Dist D;
    const __m128i c[4] = {_mm_shuffle_epi32(palette, 0x00), _mm_shuffle_epi32(palette, 0x55),
                          _mm_shuffle_epi32(palette, 0xAA), _mm_shuffle_epi32(palette, 0xFF)};
    for (int j = 0; j < 4; ++j) {
        D.d[j][0] = distances(px[0], px[1], c[j]);
        D.d[j][1] = distances(px[2], px[3], c[j]);
    }
    return D;
}

// 16 lanes of 0 / 0xFF in pixel order -> bit i for pixel i.
inline uint32_t maskOf(__m128i lo, __m128i hi) {
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(lo, hi)));
}

// End points (16-bit lanes: c0 in lanes 0-3, c1 in lanes 4-7, alpha lanes
// zero) expanded with replicated high bits, then the two thirds; returns the
// byte palette c0 c1 c2 c3.
inline __m128i encoderPalette(__m128i ends) {
    const __m128i keep = _mm_set_epi16(0, 0xF8, 0xFC, 0xF8, 0, 0xF8, 0xFC, 0xF8);
    const __m128i down = _mm_set_epi16(0, 1 << 11, 1 << 10, 1 << 11, 0, 1 << 11, 1 << 10, 1 << 11);
    const __m128i c01 = _mm_or_si128(_mm_and_si128(ends, keep), _mm_mulhi_epu16(ends, down));
    const __m128i c10 = _mm_shuffle_epi32(c01, _MM_SHUFFLE(1, 0, 3, 2));
    const __m128i c23 = _mm_mulhi_epu16(_mm_add_epi16(_mm_add_epi16(c01, c01), c10),
                                        _mm_set1_epi16(static_cast<short>(kRecip3)));
    return _mm_packus_epi16(c01, c23);
}

inline uint32_t pack565(uint32_t rgba) {
    const uint32_t r = rgba & 0xFF, g = (rgba >> 8) & 0xFF, b = (rgba >> 16) & 0xFF;
    return ((r & 0xF8) << 8) | ((g >> 2) << 5) | (b >> 3);
}

inline void loadRGBA(const uint8_t* p, std::ptrdiff_t step, __m128i r[4]) {
    for (int i = 0; i < 4; ++i) r[i] = load(p + step * i);
}

// Colour half of DXT1/3/5 from the block's rows and its min/max registers.
inline void colourBlock(const __m128i r[4], __m128i mn, __m128i mx, uint8_t* out) {
    const __m128i z = _mm_setzero_si128();
    const __m128i mn16 = _mm_unpacklo_epi8(mn, z), mx16 = _mm_unpacklo_epi8(mx, z);
    const __m128i inset = _mm_srli_epi16(_mm_sub_epi16(mx16, mn16), 4);
    const __m128i hi = _mm_sub_epi16(mx16, inset), lo = _mm_add_epi16(mn16, inset);
    const __m128i ends = _mm_unpacklo_epi64(hi, lo);
    const uint32_t e = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(ends, ends)));
    const uint32_t f = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(_mm_packus_epi16(ends, ends), 4)));
    const __m128i palette = encoderPalette(ends);
    const __m128i rgb = _mm_set1_epi32(0x00FFFFFF);
    const __m128i px[4] = {_mm_and_si128(r[0], rgb), _mm_and_si128(r[1], rgb), _mm_and_si128(r[2], rgb),
                           _mm_and_si128(r[3], rgb)};
    const Dist D = allDistances(px, palette);
    __m128i bit0[2], bit1[2];
    for (int h = 0; h < 2; ++h) {
        const __m128i d0 = D.d[0][h], d1 = D.d[1][h], d2 = D.d[2][h], d3 = D.d[3][h];
        const __m128i d0gt3 = _mm_cmpgt_epi16(d0, d3);
        bit0[h] = _mm_and_si128(_mm_cmpgt_epi16(d2, d3), d0gt3);
        bit1[h] = _mm_or_si128(_mm_and_si128(_mm_cmpgt_epi16(d1, d2), _mm_cmpgt_epi16(d0, d2)),
                               _mm_and_si128(d0gt3, _mm_cmpgt_epi16(d1, d3)));
    }
    const uint32_t idx = spread16(maskOf(bit0[0], bit0[1])) | (spread16(maskOf(bit1[0], bit1[1])) << 1);
    put16(out, pack565(e));
    put16(out + 2, pack565(f));
    put32(out + 4, idx);
}

// Byte 3 of every pixel of the four rows, in pixel order.
alignas(16) constexpr int8_t kByte3[4][16] = {
    {3, 7, 11, 15, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128},
    {-128, -128, -128, -128, 3, 7, 11, 15, -128, -128, -128, -128, -128, -128, -128, -128},
    {-128, -128, -128, -128, -128, -128, -128, -128, 3, 7, 11, 15, -128, -128, -128, -128},
    {-128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, 3, 7, 11, 15}};
inline __m128i gatherByte3(const __m128i r[4]) {
    const __m128i* c = reinterpret_cast<const __m128i*>(kByte3);
    return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(r[0], _mm_load_si128(c)), _mm_shuffle_epi8(r[1], _mm_load_si128(c + 1))),
                        _mm_or_si128(_mm_shuffle_epi8(r[2], _mm_load_si128(c + 2)), _mm_shuffle_epi8(r[3], _mm_load_si128(c + 3))));
}

// Eight-level alpha block from the 16 alpha bytes and end points a0 >= a1.
inline void alphaBlock(__m128i alpha, int a0, int a1, uint8_t* out) {
    const int bias = static_cast<int>(recipDiv(static_cast<uint32_t>(a0 - a1), kRecip14));
    // Thresholds t_k in lanes k = 0..6.
    const __m128i num = _mm_add_epi16(_mm_mullo_epi16(_mm_set1_epi16(static_cast<short>(a0)), _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 0)),
                                      _mm_mullo_epi16(_mm_set1_epi16(static_cast<short>(a1)), _mm_setr_epi16(7, 6, 5, 4, 3, 2, 1, 0)));
    const __m128i t16 = _mm_add_epi16(_mm_mulhi_epu16(num, _mm_set1_epi16(static_cast<short>(kRecip7))),
                                      _mm_set1_epi16(static_cast<short>(bias)));
    const __m128i t8 = _mm_packus_epi16(t16, t16);  // a threshold above 255 passes every alpha anyway
    __m128i n = _mm_setzero_si128();
    for (int k = 0; k < 7; ++k) {
        const __m128i tk = _mm_shuffle_epi8(t8, _mm_set1_epi8(static_cast<char>(k)));
        n = _mm_sub_epi8(n, _mm_cmpeq_epi8(_mm_min_epu8(alpha, tk), alpha));
    }
    const __m128i v = _mm_and_si128(_mm_add_epi8(n, _mm_set1_epi8(1)), _mm_set1_epi8(7));
    const __m128i low = _mm_and_si128(_mm_cmpgt_epi8(_mm_set1_epi8(2), v), _mm_set1_epi8(1));
    const __m128i idx = _mm_xor_si128(v, low);
    // 16 x 3 bits -> 8 x 6 -> 4 x 12 -> 2 x 24.
    const __m128i p6 = _mm_maddubs_epi16(idx, _mm_set1_epi16(0x0801));
    const __m128i p12 = _mm_madd_epi16(p6, _mm_set1_epi32(0x00400001));
    const __m128i p24 = _mm_or_si128(p12, _mm_srli_epi64(p12, 20));
    const uint64_t lo = static_cast<uint32_t>(_mm_cvtsi128_si32(p24)) & 0xFFFFFFu;
    const uint64_t hi = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(p24, 8))) & 0xFFFFFFu;
    const uint64_t bits = lo | (hi << 24);
    out[0] = static_cast<uint8_t>(a0);
    out[1] = static_cast<uint8_t>(a1);
    for (int b = 0; b < 6; ++b) out[2 + b] = static_cast<uint8_t>(bits >> (8 * b));
}

inline int rep5(int v) { return (v & 0xF8) | (v >> 5); }
inline int rep6(int v) { return (v & 0xFC) | (v >> 6); }
inline int absv(int v) { return v < 0 ? -v : v; }

// ------------------------------------------------------------------ decoding
// Byte palette c0 c1 c2 c3 (RGBA) of a colour half; alpha bytes = alpha.
inline __m128i decoderPalette(const uint8_t* blk, bool alwaysFour, short alpha) {
    const uint32_t v0 = get16(blk), v1 = get16(blk + 2);
    const __m128i v = _mm_unpacklo_epi64(_mm_set1_epi16(static_cast<short>(v0)), _mm_set1_epi16(static_cast<short>(v1)));
    const __m128i mul = _mm_setr_epi16(1, 32, 2048, 0, 1, 32, 2048, 0);
    const __m128i keep = _mm_setr_epi16(static_cast<short>(0xF800), static_cast<short>(0xFC00), static_cast<short>(0xF800), 0,
                                        static_cast<short>(0xF800), static_cast<short>(0xFC00), static_cast<short>(0xF800), 0);
    __m128i c01 = _mm_srli_epi16(_mm_and_si128(_mm_mullo_epi16(v, mul), keep), 8);
    c01 = _mm_or_si128(c01, _mm_setr_epi16(0, 0, 0, alpha, 0, 0, 0, alpha));
    const __m128i c10 = _mm_shuffle_epi32(c01, _MM_SHUFFLE(1, 0, 3, 2));
    __m128i c23;
    if (alwaysFour || v0 > v1) {
        c23 = _mm_mulhi_epu16(_mm_add_epi16(_mm_add_epi16(c01, c01), c10), _mm_set1_epi16(static_cast<short>(kRecip3)));
    } else {
        c23 = _mm_unpacklo_epi64(_mm_srli_epi16(_mm_add_epi16(c01, c10), 1), _mm_set1_epi16(255));
    }
    return _mm_packus_epi16(c01, c23);
}

inline __m128i expandRow(__m128i palette, uint32_t idx, int r) {
    return _mm_shuffle_epi8(palette, load(kIndexShuffles.v[(idx >> (8 * r)) & 0xFF]));
}

// Places alpha bytes 4r..4r+3 into byte 3 of four pixels.
alignas(16) constexpr int8_t kAlphaRow[4][16] = {
    {-128, -128, -128, 0, -128, -128, -128, 1, -128, -128, -128, 2, -128, -128, -128, 3},
    {-128, -128, -128, 4, -128, -128, -128, 5, -128, -128, -128, 6, -128, -128, -128, 7},
    {-128, -128, -128, 8, -128, -128, -128, 9, -128, -128, -128, 10, -128, -128, -128, 11},
    {-128, -128, -128, 12, -128, -128, -128, 13, -128, -128, -128, 14, -128, -128, -128, 15}};
inline __m128i alphaRow(__m128i alpha16, int r) {
    return _mm_shuffle_epi8(alpha16, _mm_load_si128(reinterpret_cast<const __m128i*>(kAlphaRow[r])));
}

// Decodes one block into four rows of 16 bytes.
inline void blockDXT1(const uint8_t* blk, uint8_t* dst, std::ptrdiff_t step) {
    const __m128i pal = decoderPalette(blk, false, 255);
    const uint32_t idx = get32(blk + 4);
    for (int r = 0; r < 4; ++r) store(dst + step * r, expandRow(pal, idx, r));
}

inline void blockDXT3(const uint8_t* blk, uint8_t* dst, std::ptrdiff_t step) {
    const __m128i pal = decoderPalette(blk + 8, true, 0);
    const uint32_t idx = get32(blk + 12);
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(blk));
    const __m128i f0 = _mm_set1_epi8(static_cast<char>(0xF0));
    const __m128i alpha16 = _mm_unpacklo_epi8(_mm_and_si128(_mm_slli_epi16(b, 4), f0), _mm_and_si128(b, f0));
    for (int r = 0; r < 4; ++r) store(dst + step * r, _mm_or_si128(expandRow(pal, idx, r), alphaRow(alpha16, r)));
}

inline void blockDXT5(const uint8_t* blk, uint8_t* dst, std::ptrdiff_t step) {
    const __m128i pal = decoderPalette(blk + 8, true, 0);
    const uint32_t idx = get32(blk + 12);
    const int a0 = blk[0], a1 = blk[1];
    const __m128i A0 = _mm_set1_epi16(static_cast<short>(a0)), A1 = _mm_set1_epi16(static_cast<short>(a1));
    __m128i apal;
    if (a0 > a1) {
        const __m128i num = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(A0, _mm_setr_epi16(7, 0, 6, 5, 4, 3, 2, 1)),
                                                        _mm_mullo_epi16(A1, _mm_setr_epi16(0, 7, 1, 2, 3, 4, 5, 6))),
                                          _mm_set1_epi16(3));
        apal = _mm_mulhi_epu16(num, _mm_set1_epi16(static_cast<short>(kRecip7)));
    } else {
        const __m128i num = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(A0, _mm_setr_epi16(5, 0, 4, 3, 2, 1, 0, 0)),
                                                        _mm_mullo_epi16(A1, _mm_setr_epi16(0, 5, 1, 2, 3, 4, 0, 0))),
                                          _mm_set1_epi16(2));
        apal = _mm_or_si128(_mm_mulhi_epu16(num, _mm_set1_epi16(static_cast<short>(kRecip5))),
                            _mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, 255));
    }
    apal = _mm_packus_epi16(apal, apal);
    // Pixel i's three bits start at bit 3i of bytes 2..7: take the 16-bit
    // window at byte 2 + (3i >> 3), shift left by 8 - (3i & 7), keep bits 8-10.
    const __m128i bytes = load(blk);
    const __m128i win0 = _mm_shuffle_epi8(bytes, _mm_setr_epi8(2, 3, 2, 3, 2, 3, 3, 4, 3, 4, 3, 4, 4, 5, 4, 5));
    const __m128i win1 = _mm_shuffle_epi8(bytes, _mm_setr_epi8(5, 6, 5, 6, 5, 6, 6, 7, 6, 7, 6, 7, 7, 8, 7, 8));
    const __m128i mul = _mm_setr_epi16(256, 32, 4, 128, 16, 2, 64, 8);
    const __m128i seven = _mm_set1_epi16(7);
    const __m128i i0 = _mm_and_si128(_mm_srli_epi16(_mm_mullo_epi16(win0, mul), 8), seven);
    const __m128i i1 = _mm_and_si128(_mm_srli_epi16(_mm_mullo_epi16(win1, mul), 8), seven);
    const __m128i alpha16 = _mm_shuffle_epi8(apal, _mm_packus_epi16(i0, i1));
    for (int r = 0; r < 4; ++r) store(dst + step * r, _mm_or_si128(expandRow(pal, idx, r), alphaRow(alpha16, r)));
}

template <void (*Block)(const uint8_t*, uint8_t*, std::ptrdiff_t)>
inline void padOut(const uint8_t* blk, uint8_t* dst, std::ptrdiff_t dstStep, int w, int h) {
    alignas(16) uint8_t px[64];
    Block(blk, px, 16);
    for (int r = 0; r < h; ++r) std::memcpy(dst + dstStep * r, px + 16 * r, 4 * w);
}

}  // namespace

// ------------------------------------------------------------------ encoders
void encode_block_rgba_dxt1(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    __m128i r[4], mn, mx;
    loadRGBA(p, step, r);
    blockMinMax(r, &mn, &mx);
    colourBlock(r, mn, mx, out);
}

void encode_block_rgba_dxt3(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    __m128i r[4], mn, mx;
    loadRGBA(p, step, r);
    blockMinMax(r, &mn, &mx);
    const __m128i nib = _mm_and_si128(_mm_srli_epi16(gatherByte3(r), 4), _mm_set1_epi8(0x0F));
    const __m128i packed = _mm_maddubs_epi16(nib, _mm_set1_epi16(0x1001));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(packed, packed));
    colourBlock(r, mn, mx, out + 8);
}

void encode_block_rgba_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    __m128i r[4], mn, mx;
    loadRGBA(p, step, r);
    blockMinMax(r, &mn, &mx);
    const int amin = static_cast<uint32_t>(_mm_cvtsi128_si32(mn)) >> 24;
    const int amax = static_cast<uint32_t>(_mm_cvtsi128_si32(mx)) >> 24;
    const int inset = (amax - amin) >> 4;
    alphaBlock(gatherByte3(r), amax - inset, amin + inset, out);
    colourBlock(r, mn, mx, out + 8);
}

void encode_block_ycocg_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    // Rows of four 3-byte pixels, read as 8 + 4 bytes, rearranged to
    // (chroma 1, chroma 2, 0, luma) per pixel.
    const __m128i ctl = _mm_setr_epi8(1, 2, -128, 0, 4, 5, -128, 3, 7, 8, -128, 6, 10, 11, -128, 9);
    __m128i r[4];
    for (int i = 0; i < 4; ++i) {
        const uint8_t* row = p + step * i;
        int32_t tail;
        std::memcpy(&tail, row + 8, 4);
        const __m128i raw = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row)), _mm_cvtsi32_si128(tail));
        r[i] = _mm_shuffle_epi8(raw, ctl);
    }
    __m128i mn, mx;
    blockMinMax(r, &mn, &mx);
    const uint32_t lo4 = static_cast<uint32_t>(_mm_cvtsi128_si32(mn));
    const uint32_t hi4 = static_cast<uint32_t>(_mm_cvtsi128_si32(mx));
    alphaBlock(gatherByte3(r), static_cast<int>(hi4 >> 24), static_cast<int>(lo4 >> 24), out);

    const int mn1 = lo4 & 0xFF, mn2 = (lo4 >> 8) & 0xFF, mx1 = hi4 & 0xFF, mx2 = (hi4 >> 8) & 0xFF;
    int m = absv(mn1 - 128);
    for (int v : {absv(mx1 - 128), absv(mn2 - 128), absv(mx2 - 128)}) m = v > m ? v : m;
    const int s = 1 + (m < 64) + 2 * (m < 32);
    const __m128i chroma = _mm_set1_epi32(0x0000FFFF);
    for (int i = 0; i < 4; ++i) {
        __m128i c = _mm_and_si128(r[i], chroma);
        // (x - 128) * s + 128 in 8-bit arithmetic (the result never leaves 0..255).
        if (s >= 2) c = _mm_add_epi8(c, c);
        if (s == 4) c = _mm_add_epi8(c, c);
        if (s >= 2) c = _mm_and_si128(_mm_xor_si128(c, _mm_set1_epi8(static_cast<char>(0x80))), chroma);
        r[i] = c;
    }
    auto scale = [s](int x) { return ((x - 128) * s + 128) & 0xFF; };
    const int smn[2] = {scale(mn1), scale(mn2)}, smx[2] = {scale(mx1), scale(mx2)};
    int hi[2], lo[2];
    for (int c = 0; c < 2; ++c) {
        const int inset = (smx[c] - smn[c]) - 7;
        hi[c] = (16 * smx[c] - inset) >> 4;
        hi[c] = hi[c] > 255 ? 255 : hi[c];
        lo[c] = (16 * smn[c] + inset) >> 4;
        lo[c] = lo[c] < 0 ? 0 : lo[c];
    }
    const int midR = (rep5(lo[0]) + rep5(hi[0]) + 1) >> 1;
    const int midG = (rep6(lo[1]) + rep6(hi[1]) + 1) >> 1;
    const __m128i mid = _mm_set1_epi32(midR | (midG << 8));
    int side = 0;
    for (int i = 0; i < 4; ++i) {
        const __m128i ge = _mm_cmpeq_epi8(_mm_max_epu8(r[i], mid), r[i]);  // byte >= mid
        const uint32_t bits = static_cast<uint32_t>(_mm_movemask_epi8(ge));
        const uint32_t x = (bits ^ (bits >> 1)) & 0x1111u;  // bit 4p: pixel p on one side
        side += static_cast<int>(((x * 0x1111u) >> 12) & 0xF);
    }
    const int g0 = side > 8 ? lo[1] : hi[1];
    const int g1 = side > 8 ? hi[1] : lo[1];
    put16(out + 8, ((hi[0] >> 3) << 11) | ((g0 >> 2) << 5) | (s - 1));
    put16(out + 10, ((lo[0] >> 3) << 11) | ((g1 >> 2) << 5) | (s - 1));
    const __m128i ends = _mm_setr_epi16(static_cast<short>(hi[0]), static_cast<short>(g0), 0, 0,
                                        static_cast<short>(lo[0]), static_cast<short>(g1), 0, 0);
    const Dist D = allDistances(r, encoderPalette(ends));
    __m128i bit0[2], bit1[2];
    for (int h = 0; h < 2; ++h) {
        const __m128i d0 = D.d[0][h], d1 = D.d[1][h], d2 = D.d[2][h], d3 = D.d[3][h];
        const __m128i a = _mm_and_si128(_mm_cmpgt_epi16(d0, d3), _mm_cmpgt_epi16(d1, d3));
        const __m128i b = _mm_and_si128(_mm_cmpgt_epi16(d1, d2), _mm_cmpgt_epi16(d0, d2));
        bit0[h] = a;
        bit1[h] = _mm_or_si128(a, b);
    }
    put32(out + 12, spread16(maskOf(bit0[0], bit0[1])) | (spread16(maskOf(bit1[0], bit1[1])) << 1));
}

// ------------------------------------------------------------------ decoders
void decodeRowDXT1(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep) {
    for (int b = 0; b < 4; ++b) blockDXT1(blocks + 8 * b, dst + 16 * b, dstStep);
}
void decodeRowDXT3(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep) {
    for (int b = 0; b < 4; ++b) blockDXT3(blocks + 16 * b, dst + 16 * b, dstStep);
}
void decodeRowDXT5(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep) {
    for (int b = 0; b < 4; ++b) blockDXT5(blocks + 16 * b, dst + 16 * b, dstStep);
}
void decodePadDXT1(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w, int h) {
    padOut<blockDXT1>(block, dst, dstStep, w, h);
}
void decodePadDXT3(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w, int h) {
    padOut<blockDXT3>(block, dst, dstStep, w, h);
}
void decodePadDXT5(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w, int h) {
    padOut<blockDXT5>(block, dst, dstStep, w, h);
}

}  // namespace ssse3
}  // namespace texture
}  // namespace ozr
