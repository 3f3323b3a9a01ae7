// DXT texture blocks: encoders and decoders against a plain model written
// from the format rules, the fast kernels against their scalar twins, the
// argument checks, edge padding and the region guards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "test_util.h"
#include "texture/dxt.h"

using namespace ozrtest;
namespace tx = ozr::texture;

namespace {

enum Format { kDXT1, kDXT3, kDXT5, kYCoCg };
const char* const kNames[] = {"DXT1", "DXT3", "DXT5", "YCoCg-DXT5"};
int blockBytes(Format f) { return f == kDXT1 ? 8 : 16; }
int pixelBytes(Format f) { return f == kYCoCg ? 3 : 4; }
size_t encodedSize(Format f, int w, int h) {
    return static_cast<size_t>((w + 3) / 4) * ((h + 3) / 4) * blockBytes(f);
}

using EncodeFn = OzrStatus (*)(const Ozr8u*, int, OzriSize, Ozr8u*);
using DecodeFn = OzrStatus (*)(const Ozr8u*, Ozr8u*, int, OzriSize);
const EncodeFn kEncode[] = {ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R,
                            ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R};
const DecodeFn kDecode[] = {ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R,
                            ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R};

// ---------------------------------------------------------------- the model
// Written pixel by pixel from the format rules, sharing nothing with the library.
struct Model {
    static void le(std::vector<uint8_t>& o, uint64_t v, int bytes) {
        for (int i = 0; i < bytes; ++i) o.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    static int up5(int v) { return (v & 0xF8) | (v >> 5); }
    static int up6(int v) { return (v & 0xFC) | (v >> 6); }

    static void alpha8(const int* a, int a0, int a1, std::vector<uint8_t>& o) {
        uint64_t bits = 0;
        for (int i = 0; i < 16; ++i) {
            int n = 0;
            for (int k = 0; k < 7; ++k) n += a[i] <= (a0 - a1) / 14 + (k * a0 + (7 - k) * a1) / 7;
            int v = (n + 1) % 8;
            bits |= static_cast<uint64_t>(v == 0 ? 1 : v == 1 ? 0 : v) << (3 * i);
        }
        o.push_back(static_cast<uint8_t>(a0));
        o.push_back(static_cast<uint8_t>(a1));
        le(o, bits, 6);
    }

    // px[i][c]: the block's 16 pixels.
    static void colour(const int px[16][4], std::vector<uint8_t>& o) {
        int e[2][3];
        for (int c = 0; c < 3; ++c) {
            int lo = 255, hi = 0;
            for (int i = 0; i < 16; ++i) lo = std::min(lo, px[i][c]), hi = std::max(hi, px[i][c]);
            e[0][c] = hi - (hi - lo) / 16;
            e[1][c] = lo + (hi - lo) / 16;
        }
        int pal[4][3];
        for (int j = 0; j < 2; ++j) {
            le(o, (e[j][0] >> 3) * 2048 + (e[j][1] >> 2) * 32 + (e[j][2] >> 3), 2);
            pal[j][0] = up5(e[j][0]), pal[j][1] = up6(e[j][1]), pal[j][2] = up5(e[j][2]);
        }
        for (int c = 0; c < 3; ++c) {
            pal[2][c] = (2 * pal[0][c] + pal[1][c]) / 3;
            pal[3][c] = (pal[0][c] + 2 * pal[1][c]) / 3;
        }
        uint32_t word = 0;
        for (int i = 0; i < 16; ++i) {
            int d[4] = {0, 0, 0, 0};
            for (int j = 0; j < 4; ++j)
                for (int c = 0; c < 3; ++c) d[j] += std::abs(px[i][c] - pal[j][c]);
            bool b0 = d[2] > d[3] && d[0] > d[3];
            bool b1 = (d[1] > d[2] && d[0] > d[2]) || (d[0] > d[3] && d[1] > d[3]);
            word |= (b0 + 2u * b1) << (2 * i);
        }
        le(o, word, 4);
    }

    static void ycocg(const int px[16][4], std::vector<uint8_t>& o) {
        int y[16], lo[3] = {255, 255, 255}, hi[3] = {0, 0, 0};
        for (int i = 0; i < 16; ++i) {
            y[i] = px[i][0];
            for (int c = 0; c < 3; ++c) lo[c] = std::min(lo[c], px[i][c]), hi[c] = std::max(hi[c], px[i][c]);
        }
        alpha8(y, hi[0], lo[0], o);
        int m = 0;
        for (int c = 1; c < 3; ++c) m = std::max({m, std::abs(lo[c] - 128), std::abs(hi[c] - 128)});
        const int s = m < 32 ? 4 : m < 64 ? 2 : 1;
        int q[16][2], e[2][2];  // scaled chroma; end points [max, min][channel]
        for (int i = 0; i < 16; ++i)
            for (int c = 0; c < 2; ++c) q[i][c] = (px[i][c + 1] - 128) * s + 128;
        for (int c = 0; c < 2; ++c) {
            int smin = (lo[c + 1] - 128) * s + 128, smax = (hi[c + 1] - 128) * s + 128;
            int inset = smax - smin - 7;
            e[0][c] = std::min((16 * smax - inset) >> 4, 255);
            e[1][c] = std::max((16 * smin + inset) >> 4, 0);
        }
        const int midR = (up5(e[0][0]) + up5(e[1][0]) + 1) / 2, midG = (up6(e[0][1]) + up6(e[1][1]) + 1) / 2;
        int count = 0;
        for (int i = 0; i < 16; ++i) count += (q[i][0] >= midR) != (q[i][1] >= midG);
        if (count > 8) std::swap(e[0][1], e[1][1]);
        int pal[4][2];
        for (int j = 0; j < 2; ++j) {
            le(o, (e[j][0] >> 3) * 2048 + (e[j][1] >> 2) * 32 + (s - 1), 2);
            pal[j][0] = up5(e[j][0]), pal[j][1] = up6(e[j][1]);
        }
        for (int c = 0; c < 2; ++c) {
            pal[2][c] = (2 * pal[0][c] + pal[1][c]) / 3;
            pal[3][c] = (pal[0][c] + 2 * pal[1][c]) / 3;
        }
        uint32_t word = 0;
        for (int i = 0; i < 16; ++i) {
            int d[4];
            for (int j = 0; j < 4; ++j) d[j] = std::abs(q[i][0] - pal[j][0]) + std::abs(q[i][1] - pal[j][1]);
            bool A = d[0] > d[3] && d[1] > d[3], B = d[1] > d[2] && d[0] > d[2];
            word |= (A + 2u * (A || B)) << (2 * i);
        }
        le(o, word, 4);
    }

    static std::vector<uint8_t> encode(Format f, const uint8_t* img, int step, int w, int h) {
        std::vector<uint8_t> o;
        const int bpp = pixelBytes(f);
        for (int by = 0; by < h; by += 4)
            for (int bx = 0; bx < w; bx += 4) {
                int px[16][4];
                for (int i = 0; i < 16; ++i) {
                    const int x = std::min(bx + i % 4, w - 1), y = std::min(by + i / 4, h - 1);
                    for (int c = 0; c < bpp; ++c) px[i][c] = img[static_cast<ptrdiff_t>(y) * step + x * bpp + c];
                }
                if (f == kYCoCg) {
                    ycocg(px, o);
                    continue;
                }
                if (f == kDXT3)
                    for (int r = 0; r < 4; ++r) {
                        uint32_t word = 0;
                        for (int k = 0; k < 4; ++k) word |= (px[4 * r + k][3] / 16u) << (4 * k);
                        le(o, word, 2);
                    }
                if (f == kDXT5) {
                    int a[16], lo = 255, hi = 0;
                    for (int i = 0; i < 16; ++i) a[i] = px[i][3], lo = std::min(lo, a[i]), hi = std::max(hi, a[i]);
                    alpha8(a, hi - (hi - lo) / 16, lo + (hi - lo) / 16, o);
                }
                colour(px, o);
            }
        return o;
    }

    // RGBA of pixel i of a block.
    static void pixel(Format f, const uint8_t* b, int i, uint8_t rgba[4]) {
        const uint8_t* cb = f == kDXT1 ? b : b + 8;
        const int v[2] = {cb[0] + 256 * cb[1], cb[2] + 256 * cb[3]};
        int pal[4][4];
        for (int j = 0; j < 2; ++j) {
            pal[j][0] = (v[j] >> 11) * 8, pal[j][1] = ((v[j] >> 5) & 63) * 4, pal[j][2] = (v[j] & 31) * 8;
            pal[j][3] = 255;
        }
        const bool four = f != kDXT1 || v[0] > v[1];
        for (int c = 0; c < 3; ++c) {
            pal[2][c] = four ? (2 * pal[0][c] + pal[1][c]) / 3 : (pal[0][c] + pal[1][c]) / 2;
            pal[3][c] = four ? (pal[0][c] + 2 * pal[1][c]) / 3 : 255;
        }
        pal[2][3] = pal[3][3] = 255;
        const int k = (cb[4 + i / 4] >> (2 * (i % 4))) & 3;
        for (int c = 0; c < 4; ++c) rgba[c] = static_cast<uint8_t>(pal[k][c]);
        if (f == kDXT3) rgba[3] = static_cast<uint8_t>(((b[i / 2] >> (4 * (i % 2))) & 15) * 16);
        if (f == kDXT5) {
            int a0 = b[0], a1 = b[1], bitpos = 16 + 3 * i, k3 = 0;
            for (int t = 0; t < 3; ++t) k3 |= ((b[(bitpos + t) / 8] >> ((bitpos + t) % 8)) & 1) << t;
            int a = k3 == 0 ? a0 : k3 == 1 ? a1 : 0;
            if (k3 >= 2 && a0 > a1) a = ((8 - k3) * a0 + (k3 - 1) * a1 + 3) / 7;
            if (k3 >= 2 && a0 <= a1) a = k3 == 6 ? 0 : k3 == 7 ? 255 : ((6 - k3) * a0 + (k3 - 1) * a1 + 2) / 5;
            rgba[3] = static_cast<uint8_t>(a);
        }
    }

    static std::vector<uint8_t> decode(Format f, const uint8_t* blocks, int w, int h) {
        std::vector<uint8_t> img(static_cast<size_t>(w) * h * 4);
        const int perRow = (w + 3) / 4;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                pixel(f, blocks + ((y / 4) * perRow + x / 4) * blockBytes(f), (y % 4) * 4 + x % 4,
                      &img[(static_cast<size_t>(y) * w + x) * 4]);
        return img;
    }
};

// Test images: pure noise, and blocks of small spread around a base (many
// equal distances, so every tie-break is exercised), and few distinct levels.
void makeImage(Rng& rng, uint8_t* p, size_t n, int kind) {
    switch (kind % 4) {
        case 0: rng.bytes(p, n); break;
        case 1: {
            const int base = rng.range(0, 255), spread = rng.range(1, 12);
            for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(std::min(255, base + rng.range(0, spread)));
            break;
        }
        case 2: {
            const uint8_t lv[4] = {0, 255, static_cast<uint8_t>(rng.range(0, 255)), 128};
            for (size_t i = 0; i < n; ++i) p[i] = lv[rng.range(0, 3)];
            break;
        }
        default:
            for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(i * 7 + (rng.u32() & 15));
    }
}

std::string hexDiff(const std::vector<uint8_t>& a, const uint8_t* b) {
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return "first difference at byte " + std::to_string(i);
    return "";
}

}  // namespace

// ------------------------------------------------------------ argument checks
TEST(DxtArguments, EveryFunctionChecksInItsOrder) {
    // Order: source null, destination null, step 0, width, height.  Negative
    // steps are accepted.  Nothing is written on an error.
    static uint8_t src[16 * 16 * 4];
    const std::vector<OzrStatus> order = {-8, -8, -14, -6, -6};
    for (int f = 0; f < 7; ++f) {
        auto call = [&](const std::vector<bool>& bad, uint8_t* dst, int goodStep) {
            const uint8_t* s = bad[0] ? nullptr : src + (goodStep < 0 ? 3 * 64 : 0);
            uint8_t* d = bad[1] ? nullptr : dst + (f >= 4 && goodStep < 0 ? 3 * 64 : 0);
            const int step = bad[2] ? 0 : goodStep;
            const OzriSize roi = {bad[3] ? 0 : 4, bad[4] ? -3 : 4};
            if (f < 4) return kEncode[f](s, step, roi, d);
            return kDecode[f - 4](s, d, step, roi);
        };
        for (int goodStep : {64, -64}) {
            for (size_t k = 0; k < order.size(); ++k) {
                std::vector<bool> bad(order.size(), false);
                for (size_t j = k; j < order.size(); ++j) bad[j] = true;
                std::vector<uint8_t> dst(1024, 0xC3);
                EXPECT_EQ(call(bad, dst.data(), goodStep), order[k]) << "function " << f << " check " << k;
                EXPECT_EQ(std::count(dst.begin(), dst.end(), 0xC3), 1024) << "function " << f << " wrote on error";
            }
            std::vector<uint8_t> dst(1024, 0xC3);
            EXPECT_EQ(call(std::vector<bool>(order.size(), false), dst.data(), goodStep), ozrStatusOk) << f;
        }
    }
}

// ------------------------------------------------------------------ encoding
TEST(DxtEncode, MatchesModelOnEverySizeUpTo17) {
    Rng rng(71);
    for (int f = kDXT1; f <= kYCoCg; ++f)
        for (int h = 1; h <= 17; ++h)
            for (int w = 1; w <= 17; ++w) {
                const Format F = static_cast<Format>(f);
                const int step = w * pixelBytes(F) + (w % 3);
                std::vector<uint8_t> img(static_cast<size_t>(step) * h);
                makeImage(rng, img.data(), img.size(), w + h);
                const std::vector<uint8_t> want = Model::encode(F, img.data(), step, w, h);
                ASSERT_EQ(want.size(), encodedSize(F, w, h));
                std::vector<uint8_t> out(want.size() + 32, 0x5A);
                ASSERT_EQ(kEncode[f](img.data(), step, {w, h}, out.data()), ozrStatusOk);
                ASSERT_EQ(hexDiff(want, out.data()), "") << kNames[f] << " " << w << "x" << h;
                EXPECT_EQ(std::count(out.begin() + want.size(), out.end(), 0x5A), 32) << "wrote past the blocks";
            }
}

TEST(DxtEncode, LargeImagesAndBottomUpSteps) {
    Rng rng(5);
    const int w = 93, h = 61;
    for (int f = kDXT1; f <= kYCoCg; ++f) {
        const Format F = static_cast<Format>(f);
        const int step = w * pixelBytes(F) + 5;
        std::vector<uint8_t> img(static_cast<size_t>(step) * h);
        for (int kind = 0; kind < 4; ++kind) {
            makeImage(rng, img.data(), img.size(), kind);
            const std::vector<uint8_t> want = Model::encode(F, img.data(), step, w, h);
            std::vector<uint8_t> out(want.size());
            ASSERT_EQ(kEncode[f](img.data(), step, {w, h}, out.data()), ozrStatusOk);
            EXPECT_EQ(hexDiff(want, out.data()), "") << kNames[f] << " kind " << kind;
            // The same rows stored bottom-up and walked with a negative step.
            std::vector<uint8_t> flipped(img.size());
            for (int y = 0; y < h; ++y)
                std::memcpy(&flipped[static_cast<size_t>(h - 1 - y) * step], &img[static_cast<size_t>(y) * step], step);
            std::vector<uint8_t> out2(want.size());
            ASSERT_EQ(kEncode[f](&flipped[static_cast<size_t>(h - 1) * step], -step, {w, h}, out2.data()), ozrStatusOk);
            EXPECT_EQ(out2, out) << kNames[f];
        }
    }
}

TEST(DxtEncode, FlatBlocksAndTheYCoCgIndexSet) {
    // A 1x1 image is a flat block: equal end points, all indices 0; alpha 200
    // everywhere gives every DXT5 alpha index 1, every DXT3 nibble 12.
    const uint8_t pixel[4] = {200, 100, 50, 200};
    for (int f = kDXT1; f <= kDXT5; ++f) {
        uint8_t a[16];
        ASSERT_EQ(kEncode[f](pixel, 4, {1, 1}, a), ozrStatusOk);
        const uint8_t* c = f == kDXT1 ? a : a + 8;
        const uint8_t colour[8] = {0x26, 0xCB, 0x26, 0xCB, 0, 0, 0, 0};  // 565 of (200, 100, 50), twice
        EXPECT_EQ(0, std::memcmp(c, colour, 8)) << kNames[f];
        const uint8_t alpha[2][8] = {{0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC},
                                     {200, 200, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24}};
        if (f != kDXT1) {
            EXPECT_EQ(0, std::memcmp(a, alpha[f - kDXT3], 8)) << kNames[f];
        }
    }
    // The YCoCg member never emits index 1, and puts s - 1 in both blue fields.
    Rng rng(3);
    for (int trial = 0; trial < 300; ++trial) {
        const int m = trial % 3 == 0 ? 31 : trial % 3 == 1 ? 63 : 127;
        uint8_t blk[48], out[16];
        for (int i = 0; i < 48; ++i) blk[i] = static_cast<uint8_t>(i % 3 ? 128 + rng.range(-m, std::min(m, 127)) : rng.range(0, 255));
        blk[1] = static_cast<uint8_t>(128 - m);
        ASSERT_EQ(ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(blk, 12, {4, 4}, out), ozrStatusOk);
        const int s = m == 31 ? 4 : m == 63 ? 2 : 1;
        EXPECT_EQ(out[8] & 31, s - 1);
        EXPECT_EQ(out[10] & 31, s - 1);
        for (int i = 0; i < 16; ++i) EXPECT_NE((out[12 + i / 4] >> (2 * (i % 4))) & 3, 1);
    }
    // A chroma channel spanning less than 7 levels next to 0: the minimum end point stays 0.
    uint8_t blk[48], out[16];
    for (int i = 0; i < 16; ++i) blk[3 * i] = 90, blk[3 * i + 1] = static_cast<uint8_t>(i % 4), blk[3 * i + 2] = 250;
    ASSERT_EQ(ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(blk, 12, {4, 4}, out), ozrStatusOk);
    EXPECT_EQ(out[11] >> 3, 0);
    EXPECT_EQ(Model::encode(kYCoCg, blk, 12, 4, 4), std::vector<uint8_t>(out, out + 16));
}

// ------------------------------------------------------------------ decoding
TEST(DxtDecode, MatchesModelOnEverySizeAndNeverWritesOutsideTheRegion) {
    Rng rng(17);
    std::vector<std::pair<int, int>> sizes;
    for (int h = 1; h <= 17; ++h)
        for (int w = 1; w <= 17; ++w) sizes.push_back({w, h});
    for (auto s : {std::make_pair(64, 9), std::make_pair(83, 38), std::make_pair(131, 5)}) sizes.push_back(s);
    for (int f = kDXT1; f <= kDXT5; ++f)
        for (auto [w, h] : sizes) {
            const Format F = static_cast<Format>(f);
            std::vector<uint8_t> blocks(encodedSize(F, w, h));
            rng.bytes(blocks.data(), blocks.size());
            if (w == h) std::memcpy(&blocks[2], &blocks[0], 2);  // equal end points
            const std::vector<uint8_t> want = Model::decode(F, blocks.data(), w, h);
            const int extra = (w + h) % 3 * 4 + 1, mis = (w * h) % 3;
            GuardedImage img(w * 4, h, extra, mis);
            ASSERT_EQ(kDecode[f](blocks.data(), img.data(), img.step, {w, h}), ozrStatusOk);
            for (size_t i = 0; i < img.mem.size(); ++i) {
                const ptrdiff_t off = static_cast<ptrdiff_t>(i) - img.offset;
                const ptrdiff_t y = off >= 0 ? off / img.step : -1, x = off >= 0 ? off % img.step : -1;
                if (y >= 0 && y < h && x < w * 4)
                    ASSERT_EQ(img.mem[i], want[y * w * 4 + x]) << kNames[f] << " " << w << "x" << h << " at " << x / 4 << "," << y;
                else
                    ASSERT_EQ(img.mem[i], 0xA5) << kNames[f] << " " << w << "x" << h << " wrote outside at byte " << off;
            }
        }
}

TEST(DxtDecode, NegativeStepWritesBottomUp) {
    Rng rng(23);
    const int w = 37, h = 22;
    for (int f = kDXT1; f <= kDXT5; ++f) {
        std::vector<uint8_t> blocks(encodedSize(static_cast<Format>(f), w, h));
        rng.bytes(blocks.data(), blocks.size());
        std::vector<uint8_t> up(w * 4 * h), down(w * 4 * h);
        ASSERT_EQ(kDecode[f](blocks.data(), up.data(), w * 4, {w, h}), ozrStatusOk);
        ASSERT_EQ(kDecode[f](blocks.data(), &down[(h - 1) * w * 4], -w * 4, {w, h}), ozrStatusOk);
        for (int y = 0; y < h; ++y) ASSERT_EQ(0, std::memcmp(&up[y * w * 4], &down[(h - 1 - y) * w * 4], w * 4)) << y;
    }
}

TEST(DxtDecode, DefinedColoursAndAlphaPalettes) {
    auto px = [](DecodeFn fn, const uint8_t* blk, int i) {
        uint8_t out[64];
        EXPECT_EQ(fn(blk, out, 16, {4, 4}), ozrStatusOk);
        return std::vector<int>(out + 4 * i, out + 4 * i + 4);
    };
    // 0xFFFF keeps its low bits zero.
    const uint8_t white[8] = {0xFF, 0xFF, 0x00, 0x00, 0, 0, 0, 0};
    EXPECT_EQ(px(kDecode[kDXT1], white, 0), (std::vector<int>{248, 252, 248, 255}));
    // colour0 == colour1: three colours, index 2 the end point, index 3 opaque white.
    const uint8_t three[8] = {0x1F, 0x84, 0x1F, 0x84, 0xE4, 0, 0, 0};  // indices 0,1,2,3
    EXPECT_EQ(px(kDecode[kDXT1], three, 2), (std::vector<int>{128, 128, 248, 255}));
    EXPECT_EQ(px(kDecode[kDXT1], three, 3), (std::vector<int>{255, 255, 255, 255}));
    // DXT3 always four colours (colour0 < colour1 here) and nibble 15 -> 240.
    const uint8_t dxt3[16] = {0x0F, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0xFF, 0xFF, 0x03, 0, 0, 0};
    EXPECT_EQ(px(kDecode[kDXT3], dxt3, 0), (std::vector<int>{165, 168, 165, 240}));
    EXPECT_EQ(px(kDecode[kDXT3], dxt3, 1), (std::vector<int>{0, 0, 0, 0}));
    // DXT5: 255/0 gives entry 2 = 219; the six-level form ends with 0 and 255.
    uint8_t dxt5[16] = {255, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(px(kDecode[kDXT5], dxt5, 0)[3], 219);
    dxt5[0] = 10, dxt5[1] = 60, dxt5[2] = (6 | (7 << 3) | (5 << 6)) & 0xFF, dxt5[3] = 5 >> 2;
    EXPECT_EQ(px(kDecode[kDXT5], dxt5, 0)[3], 0);
    EXPECT_EQ(px(kDecode[kDXT5], dxt5, 1)[3], 255);
    EXPECT_EQ(px(kDecode[kDXT5], dxt5, 2)[3], (1 * 10 + 4 * 60 + 2) / 5);
}

// ------------------------------------------------------- fast forms vs twins
TEST(DxtTwins, ReciprocalDivisionsAreExactOverTheirRanges) {
    for (uint32_t n = 0; n <= 765; ++n) ASSERT_EQ(tx::recipDiv(n, tx::kRecip3), n / 3) << n;
    for (uint32_t n = 0; n <= 1022; ++n) ASSERT_EQ(tx::recipDiv(n, tx::kRecip5), n / 5) << n;
    for (uint32_t n = 0; n <= 1788; ++n) ASSERT_EQ(tx::recipDiv(n, tx::kRecip7), n / 7) << n;
    for (uint32_t n = 0; n <= 255; ++n) ASSERT_EQ(tx::recipDiv(n, tx::kRecip14), n / 14) << n;
}

TEST(DxtTwins, BlockKernelsAgreeOnRandomAndExtremeBlocks) {
    const tx::EncodeBlockFn fast[] = {tx::ssse3::encode_block_rgba_dxt1, tx::ssse3::encode_block_rgba_dxt3,
                                      tx::ssse3::encode_block_rgba_dxt5, tx::ssse3::encode_block_ycocg_dxt5};
    const tx::EncodeBlockFn twin[] = {tx::scalar::encode_block_rgba_dxt1, tx::scalar::encode_block_rgba_dxt3,
                                      tx::scalar::encode_block_rgba_dxt5, tx::scalar::encode_block_ycocg_dxt5};
    Rng rng(1);
    for (int trial = 0; trial < 20000; ++trial) {
        uint8_t blk[64 + 8];
        makeImage(rng, blk, sizeof blk, trial);
        if (trial % 97 == 0) std::memset(blk, trial & 1 ? 255 : 0, sizeof blk);
        const int f = trial % 4, off = trial % 7;
        uint8_t a[16], b[16];
        const int step = 4 * pixelBytes(static_cast<Format>(f));
        fast[f](blk + off % 5, step, a);
        twin[f](blk + off % 5, step, b);
        ASSERT_EQ(0, std::memcmp(a, b, blockBytes(static_cast<Format>(f)))) << kNames[f] << " trial " << trial;
    }
    const tx::DecodePadFn fastPad[] = {tx::ssse3::decodePadDXT1, tx::ssse3::decodePadDXT3, tx::ssse3::decodePadDXT5};
    const tx::DecodePadFn twinPad[] = {tx::scalar::decodePadDXT1, tx::scalar::decodePadDXT3, tx::scalar::decodePadDXT5};
    const tx::DecodeRowFn fastRow[] = {tx::ssse3::decodeRowDXT1, tx::ssse3::decodeRowDXT3, tx::ssse3::decodeRowDXT5};
    const tx::DecodeRowFn twinRow[] = {tx::scalar::decodeRowDXT1, tx::scalar::decodeRowDXT3, tx::scalar::decodeRowDXT5};
    for (int trial = 0; trial < 6000; ++trial) {
        uint8_t blocks[64];
        rng.bytes(blocks, sizeof blocks);
        if (trial % 5 == 0) std::memcpy(blocks + 8, blocks + 10, 2);  // equal end points / alpha ends
        if (trial % 7 == 0) blocks[1] = blocks[0];
        const int f = trial % 3, w = 1 + trial % 4, h = 1 + (trial / 4) % 4;
        uint8_t a[80 * 4], b[80 * 4];
        std::memset(a, 0x11, sizeof a);
        std::memset(b, 0x11, sizeof b);
        fastPad[f](blocks + 8, a + 1, 19, w, h);
        twinPad[f](blocks + 8, b + 1, 19, w, h);
        ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << kNames[f] << " pad " << trial;
        fastRow[f](blocks, a + 3, 67);
        twinRow[f](blocks, b + 3, 67);
        ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << kNames[f] << " row " << trial;
    }
}

TEST(DxtTwins, ImageWalksAgreeOnEveryWidthTo64AndOddAlignments) {
    Rng rng(2);
    const tx::EncodeBlockFn twin[] = {tx::scalar::encode_block_rgba_dxt1, tx::scalar::encode_block_rgba_dxt3,
                                      tx::scalar::encode_block_rgba_dxt5, tx::scalar::encode_block_ycocg_dxt5};
    const tx::DecodeRowFn twinRow[] = {tx::scalar::decodeRowDXT1, tx::scalar::decodeRowDXT3, tx::scalar::decodeRowDXT5};
    const tx::DecodePadFn twinPad[] = {tx::scalar::decodePadDXT1, tx::scalar::decodePadDXT3, tx::scalar::decodePadDXT5};
    for (int w = 1; w <= 64; ++w)
        for (int h : {1, 4, 6, 9}) {
            const int align = (w + h) % 4;  // 0..3: odd and even offsets
            for (int f = kDXT1; f <= kYCoCg; ++f) {
                const Format F = static_cast<Format>(f);
                const int step = w * pixelBytes(F) + align;
                std::vector<uint8_t> img(static_cast<size_t>(step) * h + align);
                makeImage(rng, img.data(), img.size(), w);
                const size_t n = encodedSize(F, w, h);
                std::vector<uint8_t> a(n + align), b(n + align);
                ASSERT_EQ(kEncode[f](img.data() + align, step, {w, h}, a.data() + align), ozrStatusOk);
                tx::encodeImage(img.data() + align, step, {w, h}, b.data() + align, pixelBytes(F), blockBytes(F), twin[f]);
                ASSERT_EQ(a, b) << kNames[f] << " encode " << w << "x" << h;
                if (f == kYCoCg) continue;
                std::vector<uint8_t> blocks(n + align);
                rng.bytes(blocks.data(), blocks.size());
                GuardedImage da(w * 4, h, 3, align), db(w * 4, h, 3, align);
                ASSERT_EQ(kDecode[f](blocks.data() + align, da.data(), da.step, {w, h}), ozrStatusOk);
                tx::decodeImage(blocks.data() + align, db.data(), db.step, {w, h}, blockBytes(F), twinRow[f], twinPad[f]);
                ASSERT_EQ(da.mem, db.mem) << kNames[f] << " decode " << w << "x" << h;
            }
        }
}
