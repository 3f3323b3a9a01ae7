// DXT block coders and decoders, plain C++: the definition of every kernel.
// The SSSE3 forms in dxt_ssse3.cpp must produce the same bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "texture/dxt.h"

namespace ozr {
namespace texture {
namespace scalar {
namespace {

void put16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void put32(uint8_t* p, uint32_t v) {
    put16(p, v);
    put16(p + 2, v >> 16);
}
uint32_t get16(const uint8_t* p) { return p[0] | (p[1] << 8); }
uint32_t get32(const uint8_t* p) { return get16(p) | (get16(p + 2) << 16); }

// 5:6:5 by truncation.
uint32_t pack565(int r, int g, int b) { return ((r & 0xF8) << 8) | ((g >> 2) << 5) | (b >> 3); }
// Back to 8 bits with the high bits replicated into the low ones.
int rep5(int v) { return (v & 0xF8) | (v >> 5); }
int rep6(int v) { return (v & 0xFC) | (v >> 6); }

// The colour half shared by DXT1, DXT3 and DXT5.  px: 16 RGBA pixels.
void colourBlock(const uint8_t px[64], uint8_t* out) {
    int mn[3] = {255, 255, 255}, mx[3] = {0, 0, 0};
    for (int i = 0; i < 16; ++i)
        for (int c = 0; c < 3; ++c) {
            mn[c] = std::min<int>(mn[c], px[4 * i + c]);
            mx[c] = std::max<int>(mx[c], px[4 * i + c]);
        }
    int hi[3], lo[3];
    for (int c = 0; c < 3; ++c) {
        const int inset = (mx[c] - mn[c]) >> 4;
        hi[c] = std::max(mx[c] - inset, 0);
        lo[c] = std::min(mn[c] + inset, 255);
    }
    int pal[4][3] = {{rep5(hi[0]), rep6(hi[1]), rep5(hi[2])},
                     {rep5(lo[0]), rep6(lo[1]), rep5(lo[2])}};
    for (int c = 0; c < 3; ++c) {
        pal[2][c] = (2 * pal[0][c] + pal[1][c]) / 3;
        pal[3][c] = (pal[0][c] + 2 * pal[1][c]) / 3;
    }
    uint32_t idx = 0;
    for (int i = 0; i < 16; ++i) {
        int d[4];
        for (int j = 0; j < 4; ++j)
            d[j] = std::abs(px[4 * i] - pal[j][0]) + std::abs(px[4 * i + 1] - pal[j][1]) +
                   std::abs(px[4 * i + 2] - pal[j][2]);
        const uint32_t b0 = (d[2] > d[3]) && (d[0] > d[3]);
        const uint32_t b1 = ((d[1] > d[2]) && (d[0] > d[2])) || ((d[0] > d[3]) && (d[1] > d[3]));
        idx |= (b0 | (b1 << 1)) << (2 * i);
    }
    put16(out, pack565(hi[0], hi[1], hi[2]));
    put16(out + 2, pack565(lo[0], lo[1], lo[2]));
    put32(out + 4, idx);
}

// Eight-level alpha block (DXT5 alpha, YCoCg luma) from end points a0 >= a1.
void alphaBlock(const uint8_t a[16], int a0, int a1, uint8_t* out) {
    const int bias = (a0 - a1) / 14;
    int t[7];
    for (int k = 0; k < 7; ++k) t[k] = bias + (k * a0 + (7 - k) * a1) / 7;
    uint64_t bits = 0;
    for (int i = 0; i < 16; ++i) {
        int n = 0;
        for (int k = 0; k < 7; ++k) n += a[i] <= t[k];
        const int v = (n + 1) & 7;
        const int index = v < 2 ? (v ^ 1) : v;
        bits |= static_cast<uint64_t>(index) << (3 * i);
    }
    out[0] = static_cast<uint8_t>(a0);
    out[1] = static_cast<uint8_t>(a1);
    for (int b = 0; b < 6; ++b) out[2 + b] = static_cast<uint8_t>(bits >> (8 * b));
}

void gather(const uint8_t* p, std::ptrdiff_t step, int bpp, uint8_t* block) {
    for (int r = 0; r < 4; ++r) std::memcpy(block + 4 * bpp * r, p + step * r, 4 * bpp);
}

// ------------------------------------------------------------------ decoding
// 5:6:5 to 8 bits with the low bits left zero.
void expand565(uint32_t v, uint8_t* rgb) {
    rgb[0] = static_cast<uint8_t>((v & 0xF800) >> 8);
    rgb[1] = static_cast<uint8_t>((v & 0x07E0) >> 3);
    rgb[2] = static_cast<uint8_t>((v << 3) & 0xFF);
}

// Colour half -> 16 RGBA pixels with alpha 255.
void decodeColour(const uint8_t* blk, bool alwaysFour, uint8_t out[64]) {
    const uint32_t v0 = get16(blk), v1 = get16(blk + 2);
    uint8_t pal[4][4];
    expand565(v0, pal[0]);
    expand565(v1, pal[1]);
    for (int j = 0; j < 4; ++j) pal[j][3] = 255;
    for (int c = 0; c < 3; ++c) {
        if (alwaysFour || v0 > v1) {
            pal[2][c] = static_cast<uint8_t>((2 * pal[0][c] + pal[1][c]) / 3);
            pal[3][c] = static_cast<uint8_t>((pal[0][c] + 2 * pal[1][c]) / 3);
        } else {
            pal[2][c] = static_cast<uint8_t>((pal[0][c] + pal[1][c]) >> 1);
            pal[3][c] = 255;
        }
    }
    const uint32_t idx = get32(blk + 4);
    for (int i = 0; i < 16; ++i) std::memcpy(out + 4 * i, pal[(idx >> (2 * i)) & 3], 4);
}

void decodeBlockDXT1(const uint8_t* blk, uint8_t out[64]) { decodeColour(blk, false, out); }

void decodeBlockDXT3(const uint8_t* blk, uint8_t out[64]) {
    decodeColour(blk + 8, true, out);
    for (int i = 0; i < 16; ++i) {
        const uint32_t word = get16(blk + 2 * (i >> 2));
        out[4 * i + 3] = static_cast<uint8_t>(((word >> (4 * (i & 3))) & 0xF) << 4);
    }
}

void decodeBlockDXT5(const uint8_t* blk, uint8_t out[64]) {
    decodeColour(blk + 8, true, out);
    const int a0 = blk[0], a1 = blk[1];
    int pal[8] = {a0, a1};
    if (a0 > a1) {
        for (int k = 2; k < 8; ++k) pal[k] = ((8 - k) * a0 + (k - 1) * a1 + 3) / 7;
    } else {
        for (int k = 2; k < 6; ++k) pal[k] = ((6 - k) * a0 + (k - 1) * a1 + 2) / 5;
        pal[6] = 0;
        pal[7] = 255;
    }
    uint64_t bits = 0;
    for (int b = 0; b < 6; ++b) bits |= static_cast<uint64_t>(blk[2 + b]) << (8 * b);
    for (int i = 0; i < 16; ++i) out[4 * i + 3] = static_cast<uint8_t>(pal[(bits >> (3 * i)) & 7]);
}

void copyOut(const uint8_t px[64], uint8_t* dst, std::ptrdiff_t dstStep, int w, int h) {
    for (int r = 0; r < h; ++r) std::memcpy(dst + dstStep * r, px + 16 * r, 4 * w);
}

}  // namespace

// ------------------------------------------------------------------ encoders
void encode_block_rgba_dxt1(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    uint8_t px[64];
    gather(p, step, 4, px);
    colourBlock(px, out);
}

void encode_block_rgba_dxt3(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    uint8_t px[64];
    gather(p, step, 4, px);
    for (int r = 0; r < 4; ++r) {
        const uint8_t* a = px + 16 * r + 3;
        put16(out + 2 * r, ((a[12] & 0xF0) << 8) | ((a[8] & 0xF0) << 4) | (a[4] & 0xF0) | (a[0] >> 4));
    }
    colourBlock(px, out + 8);
}

void encode_block_rgba_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    uint8_t px[64], a[16];
    gather(p, step, 4, px);
    for (int i = 0; i < 16; ++i) a[i] = px[4 * i + 3];
    const int mn = *std::min_element(a, a + 16), mx = *std::max_element(a, a + 16);
    const int inset = (mx - mn) >> 4;
    alphaBlock(a, std::max(mx - inset, 0), std::min(mn + inset, 255), out);
    colourBlock(px, out + 8);
}

void encode_block_ycocg_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out) {
    uint8_t px[48], y[16];
    gather(p, step, 3, px);
    for (int i = 0; i < 16; ++i) y[i] = px[3 * i];
    alphaBlock(y, *std::max_element(y, y + 16), *std::min_element(y, y + 16), out);

    int mn[2] = {255, 255}, mx[2] = {0, 0};
    for (int i = 0; i < 16; ++i)
        for (int c = 0; c < 2; ++c) {
            mn[c] = std::min<int>(mn[c], px[3 * i + 1 + c]);
            mx[c] = std::max<int>(mx[c], px[3 * i + 1 + c]);
        }
    int m = 0;
    for (int c = 0; c < 2; ++c) m = std::max({m, std::abs(mn[c] - 128), std::abs(mx[c] - 128)});
    const int s = 1 + (m < 64) + 2 * (m < 32);
    auto scale = [s](int x) { return ((x - 128) * s + 128) & 0xFF; };
    int hi[2], lo[2];
    for (int c = 0; c < 2; ++c) {
        const int smn = scale(mn[c]), smx = scale(mx[c]);
        const int inset = (smx - smn) - 7;
        hi[c] = std::min((16 * smx - inset) >> 4, 255);
        lo[c] = std::max((16 * smn + inset) >> 4, 0);
    }
    const int midR = (rep5(lo[0]) + rep5(hi[0]) + 1) >> 1;
    const int midG = (rep6(lo[1]) + rep6(hi[1]) + 1) >> 1;
    int sc[16][2];
    int side = 0;
    for (int i = 0; i < 16; ++i) {
        sc[i][0] = scale(px[3 * i + 1]);
        sc[i][1] = scale(px[3 * i + 2]);
        side += (sc[i][0] >= midR) != (sc[i][1] >= midG);
    }
    const int g0 = side > 8 ? lo[1] : hi[1];
    const int g1 = side > 8 ? hi[1] : lo[1];
    put16(out + 8, ((hi[0] >> 3) << 11) | ((g0 >> 2) << 5) | (s - 1));
    put16(out + 10, ((lo[0] >> 3) << 11) | ((g1 >> 2) << 5) | (s - 1));
    int pal[4][2] = {{rep5(hi[0]), rep6(g0)}, {rep5(lo[0]), rep6(g1)}};
    for (int c = 0; c < 2; ++c) {
        pal[2][c] = (2 * pal[0][c] + pal[1][c]) / 3;
        pal[3][c] = (pal[0][c] + 2 * pal[1][c]) / 3;
    }
    uint32_t idx = 0;
    for (int i = 0; i < 16; ++i) {
        int d[4];
        for (int j = 0; j < 4; ++j) d[j] = std::abs(sc[i][0] - pal[j][0]) + std::abs(sc[i][1] - pal[j][1]);
        const uint32_t A = (d[0] > d[3]) && (d[1] > d[3]);
        const uint32_t B = (d[1] > d[2]) && (d[0] > d[2]);
        idx |= (A + 2 * (A || B)) << (2 * i);
    }
    put32(out + 12, idx);
}

// ------------------------------------------------------------------ decoders
#define OZR_DXT_DECODERS(F)                                                                 \
    void decodeRow##F(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep) {        \
        for (int b = 0; b < 4; ++b) {                                                       \
            uint8_t px[64];                                                                 \
            decodeBlock##F(blocks + b * kBlockBytes##F, px);                                \
            copyOut(px, dst + 16 * b, dstStep, 4, 4);                                       \
        }                                                                                   \
    }                                                                                       \
    void decodePad##F(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w,    \
                      int h) {                                                              \
        uint8_t px[64];                                                                     \
        decodeBlock##F(block, px);                                                          \
        copyOut(px, dst, dstStep, w, h);                                                    \
    }
constexpr int kBlockBytesDXT1 = 8, kBlockBytesDXT3 = 16, kBlockBytesDXT5 = 16;
OZR_DXT_DECODERS(DXT1)
OZR_DXT_DECODERS(DXT3)
OZR_DXT_DECODERS(DXT5)
#undef OZR_DXT_DECODERS

}  // namespace scalar

}  // namespace texture
}  // namespace ozr
