// Encoder colour conversion: every function against a plain model of its
// formula on guarded, misaligned images with odd steps; the SSSE3 row kernels
// against their scalar twins; thread counts; argument-check orders; edge cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/frame.h"
#include "jpeg/color.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

// ------------------------------------------------------------------ models
// Written as the arithmetic reads: 64-bit sums, floor division, clamp.
struct Weights {
    int r, g, b;
    int64_t round;
    int shift;
};
const Weights kSet15[3] = {
    {9798, 19235, 3736, 16266, 15}, {-5529, -10855, 16384, 4210688, 15}, {16384, -13720, -2664, 4210704, 15}};
const Weights kSet14[3] = {
    {4899, 9617, 1868, 8192, 14}, {-2764, -5428, 8192, 2105344, 14}, {8192, -6860, -1332, 2105344, 14}};

uint8_t clampByte(int64_t v) { return static_cast<uint8_t>(std::min<int64_t>(255, std::max<int64_t>(0, v))); }
int64_t floorDiv(int64_t v, int64_t d) { return v >= 0 ? v / d : -((-v + d - 1) / d); }
uint8_t apply(const Weights& w, int r, int g, int b) {
    return clampByte(floorDiv(int64_t{w.r} * r + int64_t{w.g} * g + int64_t{w.b} * b + w.round, int64_t{1} << w.shift));
}
void fixedSet(const Weights* set, int r, int g, int b, uint8_t* out) {
    for (int c = 0; c < 3; ++c) out[c] = apply(set[c], r, g, b);
}
void planarSet(int r, int g, int b, uint8_t* out) {
    const int64_t y = (19595LL * r + 38470LL * g + 7471LL * b + 32768) / 65536;
    out[0] = clampByte(y);
    out[1] = clampByte(floorDiv(18491 * (b - y) + 4210688, 32768));
    out[2] = clampByte(floorDiv(23373 * (r - y) + 4210688, 32768));
}
uint8_t floatLuma(int r, int g, int b) {
    volatile float rg = 0.299f * static_cast<float>(r) + 0.587f * static_cast<float>(g);
    volatile float y = rg + 0.114f * static_cast<float>(b);
    return clampByte(static_cast<int64_t>(std::nearbyint(y)));
}
// Packed fields by value: 5-bit fields times 8, a 6-bit green times 4.
void unpack(unsigned v, bool is565, bool redHigh, int* r, int* g, int* b) {
    const int low = (v & 31) * 8, high = (is565 ? (v >> 11) & 31 : (v >> 10) & 31) * 8;
    *g = is565 ? ((v >> 5) & 63) * 4 : ((v >> 5) & 31) * 8;
    *r = redHigh ? high : low;
    *b = redHigh ? low : high;
}

// ---------------------------------------------------------- the functions
// Every function through one signature: source planes (pixel order: one),
// destination planes (one for the Y forms).  The model gets the pixel's
// source bytes (pixel order) or its plane samples, its column and the width.
using Call = std::function<OzrStatus(const Ozr8u* const* src, int srcStep, Ozr8u* const* dst, int dstStep, OzriSize)>;
using Model = std::function<void(const uint8_t* px, int x, int w, uint8_t* out)>;
struct Fn {
    const char* name;
    int inPlanes, pixelBytes, outPlanes;  // inPlanes 0: pixel order of pixelBytes bytes
    Call call;
    Model model;
};

template <typename F>
Call pixelIn(F f) {
    return [=](const Ozr8u* const* s, int ss, Ozr8u* const* d, int ds, OzriSize r) {
        if constexpr (std::is_invocable_v<F, const Ozr16u*, int, Ozr8u**, int, OzriSize>)
            return f(reinterpret_cast<const Ozr16u*>(s[0]), ss, const_cast<Ozr8u**>(d), ds, r);
        else if constexpr (std::is_invocable_v<F, const Ozr8u*, int, Ozr8u**, int, OzriSize>)
            return f(s[0], ss, const_cast<Ozr8u**>(d), ds, r);
        else
            return f(s[0], ss, d[0], ds, r);
    };
}

const std::vector<Fn>& functions() {
    auto pixelOrder = [](bool bgr) {
        return [=](const uint8_t* p, int x, int w, uint8_t* o) {
            fixedSet(x < w / 8 * 8 ? kSet15 : kSet14, p[bgr ? 2 : 0], p[1], p[bgr ? 0 : 2], o);
        };
    };
    auto luma15 = [](bool bgr) {
        return [=](const uint8_t* p, int, int, uint8_t* o) {
            o[0] = apply(kSet15[0], p[bgr ? 2 : 0], p[1], p[bgr ? 0 : 2]);
        };
    };
    auto packed = [](bool is565, bool redHigh) {
        return [=](const uint8_t* p, int, int, uint8_t* o) {
            int r, g, b;
            unpack(p[0] | (p[1] << 8), is565, redHigh, &r, &g, &b);
            fixedSet(kSet14, r, g, b, o);
        };
    };
    static const std::vector<Fn> fns = {
        {"RGBToY_C3C1R", 0, 3, 1, pixelIn(ozriRGBToY_JPEG_8u_C3C1R), luma15(false)},
        {"BGRToY_C3C1R", 0, 3, 1, pixelIn(ozriBGRToY_JPEG_8u_C3C1R), luma15(true)},
        {"RGBToY_P3C1R", 3, 1, 1,
         [](const Ozr8u* const* s, int ss, Ozr8u* const* d, int ds, OzriSize r) {
             return ozriRGBToY_JPEG_8u_P3C1R(s, ss, d[0], ds, r);
         },
         [](const uint8_t* p, int, int, uint8_t* o) { o[0] = floatLuma(p[0], p[1], p[2]); }},
        {"RGBToYCbCr_C3P3R", 0, 3, 3, pixelIn(ozriRGBToYCbCr_JPEG_8u_C3P3R), pixelOrder(false)},
        {"BGRToYCbCr_C3P3R", 0, 3, 3, pixelIn(ozriBGRToYCbCr_JPEG_8u_C3P3R), pixelOrder(true)},
        {"RGBToYCbCr_P3R", 3, 1, 3,
         [](const Ozr8u* const* s, int ss, Ozr8u* const* d, int ds, OzriSize r) {
             return ozriRGBToYCbCr_JPEG_8u_P3R(s, ss, const_cast<Ozr8u**>(d), ds, r);
         },
         [](const uint8_t* p, int, int, uint8_t* o) { planarSet(p[0], p[1], p[2], o); }},
        {"RGB555", 0, 2, 3, pixelIn(ozriRGB555ToYCbCr_JPEG_16u8u_C3P3R), packed(false, true)},
        {"BGR555", 0, 2, 3, pixelIn(ozriBGR555ToYCbCr_JPEG_16u8u_C3P3R), packed(false, false)},
        {"RGB565", 0, 2, 3, pixelIn(ozriRGB565ToYCbCr_JPEG_16u8u_C3P3R), packed(true, true)},
        {"BGR565", 0, 2, 3, pixelIn(ozriBGR565ToYCbCr_JPEG_16u8u_C3P3R), packed(true, false)},
        {"CMYKToYCCK_C4P4R", 0, 4, 4, pixelIn(ozriCMYKToYCCK_JPEG_8u_C4P4R),
         [](const uint8_t* p, int, int, uint8_t* o) {
             fixedSet(kSet14, 255 - p[0], 255 - p[1], 255 - p[2], o), o[3] = p[3];
         }},
        {"CMYKToYCCK_P4R", 4, 1, 4,
         [](const Ozr8u* const* s, int ss, Ozr8u* const* d, int ds, OzriSize r) {
             return ozriCMYKToYCCK_JPEG_8u_P4R(s, ss, const_cast<Ozr8u**>(d), ds, r);
         },
         [](const uint8_t* p, int, int, uint8_t* o) { planarSet(255 - p[0], 255 - p[1], 255 - p[2], o), o[3] = p[3]; }},
    };
    return fns;
}

// Runs fn on random w x h input (misaligned, odd steps) into guarded planes,
// returns the output planes' memory (guards included).
struct Outcome {
    std::vector<GuardedImage> in, out;
};
Outcome run(const Fn& fn, int w, int h, int extra, int misalign, Rng& rng, OzrStatus* st) {
    Outcome r;
    const int nIn = fn.inPlanes ? fn.inPlanes : 1, rowIn = fn.inPlanes ? w : w * fn.pixelBytes;
    std::vector<const Ozr8u*> src;
    std::vector<Ozr8u*> dst;
    for (int c = 0; c < nIn; ++c) {
        r.in.emplace_back(rowIn, h, extra, (misalign + c) % 4);
        rng.bytes(r.in.back().mem.data(), r.in.back().mem.size());
    }
    for (int c = 0; c < fn.outPlanes; ++c) r.out.emplace_back(w, h, extra + 3, (misalign + 2 * c + 1) % 4);
    for (auto& g : r.in) src.push_back(g.data());
    for (auto& g : r.out) dst.push_back(g.data());
    *st = fn.call(src.data(), r.in[0].step, dst.data(), r.out[0].step, {w, h});
    return r;
}

}  // namespace

TEST(ColorConversion, EveryFunctionMatchesItsModelAndWritesOnlyItsRegion) {
    Rng rng(1);
    std::vector<std::array<int, 4>> shapes;  // w, h, extra step, misalignment
    for (int w = 1; w <= 64; ++w) shapes.push_back({w, 3, (w % 3) * 7 + 1, w % 4});
    shapes.push_back({1000, 11, 3, 1});  // split over threads
    for (const Fn& fn : functions())
        for (auto [w, h, extra, mis] : shapes) {
            OzrStatus st;
            Outcome r = run(fn, w, h, extra, mis, rng, &st);
            ASSERT_EQ(st, ozrStatusOk) << fn.name;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    uint8_t px[4], want[4];
                    const int nIn = fn.inPlanes ? fn.inPlanes : fn.pixelBytes;
                    for (int c = 0; c < nIn; ++c)
                        px[c] = fn.inPlanes ? r.in[c].data()[y * r.in[c].step + x]
                                            : r.in[0].data()[y * r.in[0].step + x * fn.pixelBytes + c];
                    fn.model(px, x, w, want);
                    for (int c = 0; c < fn.outPlanes; ++c)
                        ASSERT_EQ(r.out[c].data()[y * r.out[c].step + x], want[c])
                            << fn.name << " w=" << w << " x=" << x << " plane " << c;
                }
            // Nothing outside the region of any plane changed.
            for (GuardedImage& g : r.out)
                for (size_t i = 0; i < g.mem.size(); ++i) {
                    const long rel = static_cast<long>(i) - g.offset;
                    if (rel < 0 || rel / g.step >= h || rel % g.step >= w) {
                        ASSERT_EQ(g.mem[i], 0xA5) << fn.name << " w=" << w;
                    }
                }
        }
}

TEST(ColorConversion, SameBytesForOneTwoAndEightThreads) {
    // 4096 x 2 runs serially, 4097 x 2 and 8193 x 1 split over threads.
    for (const Fn& fn : functions())
        for (auto [w, h] : std::vector<std::pair<int, int>>{{4096, 2}, {4097, 2}, {8193, 1}, {31, 400}}) {
            std::vector<std::vector<uint8_t>> outs;
            for (int threads : {1, 2, 8}) {
                ThreadScope scope(threads);
                Rng rng(7);
                OzrStatus st;
                Outcome r = run(fn, w, h, 1, 1, rng, &st);
                ASSERT_EQ(st, ozrStatusOk);
                outs.emplace_back();
                for (auto& g : r.out) outs.back().insert(outs.back().end(), g.mem.begin(), g.mem.end());
            }
            EXPECT_TRUE(outs[0] == outs[1] && outs[0] == outs[2]) << fn.name << " " << w << "x" << h;
        }
}

TEST(ColorConversion, ArgumentChecksInOrderAndNothingWritten) {
    // Pointers (source, destination array, source planes, destination planes),
    // steps, width, height.  Check k fails together with every later one, and
    // alone; its status must show either way.
    static Ozr8u srcMem[4][1024];
    for (const Fn& fn : functions()) {
        const int srcPlanes = fn.inPlanes, dstPlanes = fn.outPlanes > 1 ? fn.outPlanes : 0;
        const int n = 2 + srcPlanes + dstPlanes + 4;
        std::vector<OzrStatus> order(n - 4, ozrStatusNullPointer);
        order.insert(order.end(), {ozrStatusBadStep, ozrStatusBadStep, ozrStatusBadSize, ozrStatusBadSize});
        auto call = [&](const std::vector<bool>& bad, Ozr8u* d) {
            const Ozr8u* src[4];
            Ozr8u* dst[4];
            for (int c = 0; c < 4; ++c) src[c] = srcMem[c], dst[c] = d + 1024 * c;
            for (int c = 0; c < srcPlanes; ++c) src[c] = bad[2 + c] ? nullptr : src[c];
            for (int c = 0; c < dstPlanes; ++c) dst[c] = bad[2 + srcPlanes + c] ? nullptr : dst[c];
            if (!srcPlanes && bad[0]) src[0] = nullptr;
            if (!dstPlanes && bad[1]) dst[0] = nullptr;
            const OzriSize roi{bad[n - 2] ? 0 : 4, bad[n - 1] ? -2 : 4};
            return fn.call(srcPlanes && bad[0] ? nullptr : src, bad[n - 4] ? 0 : 64,
                           dstPlanes && bad[1] ? nullptr : dst, bad[n - 3] ? -1 : 64, roi);
        };
        for (int k = 0; k < n; ++k) {
            std::vector<bool> tail(n, false), alone(n, false);
            for (int j = k; j < n; ++j) tail[j] = true;
            alone[k] = true;
            std::vector<Ozr8u> dst(4096, 0xC3);
            EXPECT_EQ(call(tail, dst.data()), order[k]) << fn.name << " check " << k;
            EXPECT_EQ(call(alone, dst.data()), order[k]) << fn.name << " check " << k << " alone";
            EXPECT_EQ(std::count(dst.begin(), dst.end(), 0xC3), 4096) << fn.name << " wrote on error";
        }
        std::vector<Ozr8u> dst(4096, 0xC3);
        EXPECT_EQ(call(std::vector<bool>(n, false), dst.data()), ozrStatusOk) << fn.name;
    }
}

// --------------------------------------------------- SIMD against the twins
// Same random input and destination contents to both, every width 1..64,
// every pointer at offsets 0..3 (the packed pixels at odd addresses too).
TEST(ColorKernels, SsseMatchesScalarOnEveryWidthAndAlignment) {
    namespace sc = ozr::color::scalar;
    namespace vx = ozr::color::ssse3;
    Rng rng(5);
    // Every output gets a slot of its own, so that no later kernel can hide
    // a byte that an earlier one wrote beyond its row.
    std::vector<uint8_t> outA(32 * 80 + 4), outB;
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 4; ++off) {
            // Sources in heap blocks of exactly the bytes a row holds, so the
            // sanitizer build sees any read beyond them.
            std::vector<uint8_t> px3(3 * n + off), px4(4 * n + off), px2(2 * n + off), pl[4];
            for (auto& p : pl) p.resize(n + off);
            for (auto* v : {&px3, &px4, &px2, &pl[0], &pl[1], &pl[2], &pl[3]}) {
                rng.bytes(v->data(), v->size());
                if (off == 3)  // cube corners: every clamp shows in the lanes
                    for (auto& b : *v) b = (b & 1) ? 255 : 0;
            }
            rng.bytes(outA.data(), outA.size());
            outB = outA;
            const uint8_t* s = px3.data() + off;
            const uint8_t *p0 = pl[0].data() + off, *p1 = pl[1].data() + off, *p2 = pl[2].data() + off,
                          *p3 = pl[3].data() + off;
            // Every kernel of a namespace, each into slots of its own.
            const uint16_t* packed = reinterpret_cast<const uint16_t*>(px2.data() + off);
            const uint8_t* cmyk = px4.data() + off;
#define OZR_ALL_KERNELS(ns, d)                                                                           \
    do {                                                                                                 \
        auto slot = [&](int i) { return (d) + 80 * i + (i * 3 + off) % 4; };                             \
        ns::ownpj_RGBToYCbCr_JPEG_8u_C3P3R(s, slot(0), slot(1), slot(2), n);                             \
        ns::ownpj_BGRToYCbCr_JPEG_8u_C3P3R(s, slot(3), slot(4), slot(5), n);                             \
        ns::ownpj_RGBToY_JPEG_8u_C3C1R(s, slot(6), n);                                                   \
        ns::ownpj_BGRToY_JPEG_8u_C3C1R(s, slot(7), n);                                                   \
        ns::ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(p0, p1, p2, slot(8), slot(9), slot(10), n);                 \
        ns::ownpj_RGBToY_JPEG_8u_P3C1R_opt(p1, p2, p0, slot(11), n);                                     \
        ns::ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(cmyk, slot(12), slot(13), slot(14), slot(15), n);         \
        ns::ownpj_CMYKToYCCK_JPEG_8u_P4R_opt(p0, p1, p2, p3, slot(16), slot(17), slot(18), slot(19), n); \
        ns::ownpj_RGB555ToYCbCr_JPEG_16u8u_C3P3R(packed, slot(20), slot(21), slot(22), n);               \
        ns::ownpj_BGR555ToYCbCr_JPEG_16u8u_C3P3R(packed, slot(23), slot(24), slot(25), n);               \
        ns::ownpj_RGB565ToYCbCr_JPEG_16u8u_C3P3R(packed, slot(26), slot(27), slot(28), n);               \
        ns::ownpj_BGR565ToYCbCr_JPEG_16u8u_C3P3R(packed, slot(29), slot(30), slot(31), n);               \
    } while (0)
            OZR_ALL_KERNELS(sc, outA.data());
            OZR_ALL_KERNELS(vx, outB.data());
#undef OZR_ALL_KERNELS
            for (size_t k = 0; k < outA.size(); ++k)
                ASSERT_EQ(outA[k], outB[k]) << "n=" << n << " off=" << off << " slot " << k / 80 << " byte " << k % 80;
        }
}

// The wide pixel-order kernels against the scalar ones, on widths that
// reach several of their iterations and the row-end split after them.
void compareWidePixelOrder(decltype(&ozr::color::scalar::ownpj_RGBToYCbCr_JPEG_8u_C3P3R) rgbWide,
                           decltype(&ozr::color::scalar::ownpj_RGBToYCbCr_JPEG_8u_C3P3R) bgrWide, int maxWidth) {
    namespace sc = ozr::color::scalar;
    Rng rng(6);
    const int slotLen = maxWidth + 16;
    std::vector<uint8_t> outA(6 * slotLen + 4), outB;
    for (int n = 1; n <= maxWidth; ++n)
        for (int off = 0; off < 4; ++off) {
            std::vector<uint8_t> px3(3 * n + off);
            rng.bytes(px3.data(), px3.size());
            if (off == 3)
                for (auto& b : px3) b = (b & 1) ? 255 : 0;
            rng.bytes(outA.data(), outA.size());
            outB = outA;
            const uint8_t* s = px3.data() + off;
            for (auto [d, rgb, bgr] : {std::make_tuple(outA.data(), sc::ownpj_RGBToYCbCr_JPEG_8u_C3P3R,
                                                       sc::ownpj_BGRToYCbCr_JPEG_8u_C3P3R),
                                       std::make_tuple(outB.data(), rgbWide, bgrWide)}) {
                auto slot = [&, d = d](int i) { return d + slotLen * i + (i * 3 + off) % 4; };
                rgb(s, slot(0), slot(1), slot(2), n);
                bgr(s, slot(3), slot(4), slot(5), n);
            }
            for (size_t k = 0; k < outA.size(); ++k)
                ASSERT_EQ(outA[k], outB[k]) << "n=" << n << " off=" << off << " slot " << k / slotLen << " byte "
                                            << k % slotLen;
        }
}

TEST(ColorKernels, Avx2MatchesScalarOnEveryWidthAndAlignment) {
    if (!ozr::cpuHasAvx2()) GTEST_SKIP() << "no AVX2";
    compareWidePixelOrder(ozr::color::avx2::ownpj_RGBToYCbCr_JPEG_8u_C3P3R,
                          ozr::color::avx2::ownpj_BGRToYCbCr_JPEG_8u_C3P3R, 64);
}

TEST(ColorKernels, Avx512MatchesScalarOnEveryWidthAndAlignment) {
    if (!ozr::cpuHasAvx512()) GTEST_SKIP() << "no AVX-512";
    compareWidePixelOrder(ozr::color::avx512::ownpj_RGBToYCbCr_JPEG_8u_C3P3R,
                          ozr::color::avx512::ownpj_BGRToYCbCr_JPEG_8u_C3P3R, 200);
}

// --------------------------------------------------------------- edge cases

TEST(ColorEdgeCases, PlaceInTheRowSaturationPackedFieldsAndShortSteps) {
    // A colour on which the two pixel-order sets disagree: widths 8 and 7 use
    // one set throughout, width 15 both (eight, a group of four, three singles).
    int c = 0;
    uint8_t a[3], b[3];
    do {
        c += 97;
        fixedSet(kSet15, c >> 16, (c >> 8) & 255, c & 255, a);
        fixedSet(kSet14, c >> 16, (c >> 8) & 255, c & 255, b);
    } while (a[0] == b[0]);
    std::vector<Ozr8u> px, y(16), cb(16), cr(16);
    for (int i = 0; i < 15; ++i) px.insert(px.end(), {Ozr8u(c >> 16), Ozr8u((c >> 8) & 255), Ozr8u(c & 255)});
    Ozr8u* d[3] = {y.data(), cb.data(), cr.data()};
    ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_C3P3R(px.data(), 45, d, 16, {15, 1}), ozrStatusOk);
    EXPECT_EQ(y[7], a[0]);
    EXPECT_EQ(y[8], b[0]);
    EXPECT_EQ(y[14], b[0]);
    ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_C3P3R(px.data(), 45, d, 16, {7, 1}), ozrStatusOk);
    EXPECT_EQ(y[0], b[0]);

    // White is 255/128/128 in both sets; blue and red saturate Cb and Cr (256).
    const Ozr8u colours[3][3] = {{255, 255, 255}, {0, 0, 255}, {255, 0, 0}};
    const Ozr8u want[3][3] = {{255, 128, 128}, {29, 255, 107}, {76, 85, 255}};
    for (int i = 0; i < 3; ++i)
        for (int w : {8, 1}) {
            px.clear();
            for (int k = 0; k < w; ++k) px.insert(px.end(), colours[i], colours[i] + 3);
            ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_C3P3R(px.data(), 3 * w, d, 16, {w, 1}), ozrStatusOk);
            EXPECT_EQ((std::vector<int>{y[0], cb[0], cr[0]}), (std::vector<int>(want[i], want[i] + 3)))
                << i << " " << w;
        }

    // Full packed fields give 248 (252 for six bits), not 255.
    const Ozr16u white555 = 0x7FFF, white565 = 0xFFFF;
    ASSERT_EQ(ozriRGB555ToYCbCr_JPEG_16u8u_C3P3R(&white555, 2, d, 16, {1, 1}), ozrStatusOk);
    EXPECT_EQ(y[0], 248);
    ASSERT_EQ(ozriBGR565ToYCbCr_JPEG_16u8u_C3P3R(&white565, 2, d, 16, {1, 1}), ozrStatusOk);
    EXPECT_EQ(y[0], apply(kSet14[0], 248, 252, 248));

    // A step below the row's bytes is accepted: rows overlap, nothing beyond
    // the last row's end is touched.
    std::vector<Ozr8u> grey(3 * 40 + 3, 200), over(64, 0xA5);
    Ozr8u* o[3] = {over.data(), over.data(), over.data()};
    ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_C3P3R(grey.data(), 1, o, 1, {40, 4}), ozrStatusOk);
    EXPECT_EQ(std::count(over.begin() + 43, over.end(), 0xA5), 64 - 43);
}

TEST(ColorEdgeCases, FloatLumaStaysWithinHalfAUnitOfTheExactValue) {
    // Across the cube (B in steps of 5): the single-precision Y rounds the
    // exact weighted sum, whatever the order of its float operations.
    std::vector<Ozr8u> r(256), g(256), b(256), y(256);
    for (int R = 0; R < 256; R += 3)
        for (int B = 0; B < 256; B += 5) {
            for (int G = 0; G < 256; ++G) r[G] = Ozr8u(R), g[G] = Ozr8u(G), b[G] = Ozr8u(B);
            const Ozr8u* src[3] = {r.data(), g.data(), b.data()};
            ASSERT_EQ(ozriRGBToY_JPEG_8u_P3C1R(src, 256, y.data(), 256, {256, 1}), ozrStatusOk);
            for (int G = 0; G < 256; ++G) ASSERT_LE(std::fabs(y[G] - (0.299 * R + 0.587 * G + 0.114 * B)), 0.5001);
        }
}
