// Level shift, down- and up-sampling of planes: every function against a plain
// model, with sources cut to exactly the samples a call may read (so the
// sanitizer build catches any read beyond them) and guarded destinations; the
// SSSE3 row kernels against their scalar twins; thread counts; argument-check
// orders; the documented values.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "jpeg/sample.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

uint8_t clampByte(int v) { return static_cast<uint8_t>(std::min(255, std::max(0, v))); }

// A source cut to exactly the bytes from (x0, y0) to (x1, y1) at a step, in a
// heap block of its own; at(x, y) addresses it in region coordinates.
struct ExactSource {
    std::vector<uint8_t> mem;
    int step, x0, y0;
    ExactSource(int step_, int x0_, int y0_, int x1, int y1, Rng& rng) : step(step_), x0(x0_), y0(y0_) {
        mem.resize(static_cast<size_t>((y1 - y0) * step + (x1 - x0) + 1));
        rng.bytes(mem.data(), mem.size());
    }
    uint8_t* origin() { return mem.data() - static_cast<std::ptrdiff_t>(y0) * step - x0; }
    int at(int x, int y) { return origin()[static_cast<std::ptrdiff_t>(y) * step + x]; }
};

// The samplers, each with the source area it reads for a w x h destination
// and a model that weighs the source samples directly.
using Sampler = OzrStatus (*)(const Ozr8u*, int, OzriSize, Ozr8u*, int, OzriSize);
int lastUp(int n) { return n % 2 ? (n - 1) / 2 : n / 2; }  // farthest column (row) an up-sampler reads
struct SamplerCase {
    const char* name;
    Sampler fn;
    std::function<std::array<int, 4>(int w, int h)> reads;  // x0, y0, x1, y1
    std::function<int(ExactSource& s, int x, int y)> model;
};
const std::vector<SamplerCase>& samplers() {
    static const std::vector<SamplerCase> cases = {
        {"DownH2V1", ozriSampleDownH2V1_JPEG_8u_C1R,
         [](int w, int h) {
             return std::array<int, 4>{0, 0, 2 * w - 1, h - 1};
         },
         [](ExactSource& s, int x, int y) { return (s.at(2 * x, y) + s.at(2 * x + 1, y) + 1) / 2; }},
        {"DownH2V2", ozriSampleDownH2V2_JPEG_8u_C1R,
         [](int w, int h) {
             return std::array<int, 4>{0, 0, 2 * w - 1, 2 * h - 1};
         },
         [](ExactSource& s, int x, int y) {
             return (s.at(2 * x, 2 * y) + s.at(2 * x + 1, 2 * y) + s.at(2 * x, 2 * y + 1) + s.at(2 * x + 1, 2 * y + 1) +
                     3) /
                    4;
         }},
        {"UpH2V1", ozriSampleUpH2V1_JPEG_8u_C1R,
         [](int w, int h) {
             return std::array<int, 4>{-1, 0, lastUp(w), h - 1};
         },
         [](ExactSource& s, int x, int y) {
             const int k = x / 2, side = x % 2 ? k + 1 : k - 1;
             return (3 * s.at(k, y) + s.at(side, y) + (x % 2 ? 2 : 1)) / 4;
         }},
        {"UpH2V2", ozriSampleUpH2V2_JPEG_8u_C1R,
         [](int w, int h) {
             return std::array<int, 4>{-1, -1, lastUp(w), lastUp(h)};
         },
         [](ExactSource& s, int x, int y) {
             const int k = x / 2, j = y / 2, kh = x % 2 ? k + 1 : k - 1, jv = y % 2 ? j + 1 : j - 1;
             return (9 * s.at(k, j) + 3 * s.at(kh, j) + 3 * s.at(k, jv) + s.at(kh, jv) + (x % 2 ? 7 : 8)) / 16;
         }},
    };
    return cases;
}

::testing::AssertionResult onlyRegionWritten(GuardedImage& g, int rowBytes) {
    for (size_t i = 0; i < g.mem.size(); ++i) {
        const long rel = static_cast<long>(i) - g.offset;
        if ((rel < 0 || rel / g.step >= g.rows || rel % g.step >= rowBytes) && g.mem[i] != 0xA5)
            return ::testing::AssertionFailure() << "byte " << rel << " outside the region written";
    }
    return ::testing::AssertionSuccess();
}

std::vector<std::array<int, 4>> shapes() {  // w, h, extra step, misalignment
    std::vector<std::array<int, 4>> s;
    for (int w = 1; w <= 64; ++w) s.push_back({w, 1 + w % 4, (w % 5) * 3 + 1, w % 4});
    s.push_back({700, 13, 5, 1});  // split over threads
    s.push_back({8193, 1, 0, 3});
    return s;
}

}  // namespace

TEST(SamplePlanes, SamplersMatchTheirModelsReadingExactlyTheirSamples) {
    Rng rng(13);
    for (const SamplerCase& c : samplers())
        for (auto [w, h0, extra, mis] : shapes())
            for (int h : {h0, h0 + 1}) {  // odd and even destination heights
                const auto [x0, y0, x1, y1] = c.reads(w, h);
                ExactSource src(x1 - x0 + 1 + extra, x0, y0, x1, y1, rng);
                GuardedImage dst(w, h, extra, mis);
                // The source size is only checked for being positive.
                ASSERT_EQ(c.fn(src.origin(), src.step, {1, 1}, dst.data(), dst.step, {w, h}), ozrStatusOk) << c.name;
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        ASSERT_EQ(dst.data()[y * dst.step + x], c.model(src, x, y))
                            << c.name << " " << w << "x" << h << " at " << x << "," << y;
                ASSERT_TRUE(onlyRegionWritten(dst, w)) << c.name << " " << w;
            }
}

TEST(SamplePlanes, LevelShiftsOnUnalignedSixteenBitRows) {
    Rng rng(11);
    for (auto [w, h, extra, mis] : shapes()) {
        // Odd steps put every other 16-bit row at an odd address.
        GuardedImage s8(w, h, extra, mis), d16(2 * w, h, extra, (mis + 1) % 4), s16(2 * w, h, extra, mis),
            d8(w, h, extra + 1, 3 - mis);
        rng.bytes(s8.mem.data(), s8.mem.size());
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {  // mostly near the clamps, sometimes anywhere
                const int16_t v =
                    static_cast<int16_t>(rng.range(0, 3) ? rng.range(-300, 300) : rng.range(-32768, 32767));
                std::memcpy(s16.data() + y * s16.step + 2 * x, &v, 2);
            }
        ASSERT_EQ(
            ozriSub128_JPEG_8u16s_C1R(s8.data(), s8.step, reinterpret_cast<Ozr16s*>(d16.data()), d16.step, {w, h}),
            ozrStatusOk);
        ASSERT_EQ(ozriAdd128_JPEG_16s8u_C1R(reinterpret_cast<const Ozr16s*>(s16.data()), s16.step, d8.data(), d8.step,
                                            {w, h}),
                  ozrStatusOk);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int16_t shifted, v;
                std::memcpy(&shifted, d16.data() + y * d16.step + 2 * x, 2);
                std::memcpy(&v, s16.data() + y * s16.step + 2 * x, 2);
                ASSERT_EQ(shifted, s8.data()[y * s8.step + x] - 128) << w << " " << x;
                ASSERT_EQ(d8.data()[y * d8.step + x], clampByte(v + 128)) << w << " " << x << " v=" << v;
            }
        ASSERT_TRUE(onlyRegionWritten(d16, 2 * w));
        ASSERT_TRUE(onlyRegionWritten(d8, w));
    }
}

// Same random input and destination contents to both kernels, every width
// 1..64, pointers at offsets 0..3 (odd destinations take the up-sampler's
// scalar path), sources in heap blocks of exactly the bytes each may read.
TEST(SampleKernels, SsseMatchesScalarOnEveryWidthAndAlignment) {
    namespace sc = ozr::sample::scalar;
    namespace vx = ozr::sample::ssse3;
    Rng rng(14);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 4; ++off) {
            std::vector<uint8_t> s8(n + off), s16(2 * n + off), down0(2 * n + off), down1(2 * n + off);
            std::vector<uint8_t> upNear(lastUp(n) + 2 + off), upFar(lastUp(n) + 2 + off);
            for (auto* v : {&s8, &s16, &down0, &down1, &upNear, &upFar}) rng.bytes(v->data(), v->size());
            if (off == 3)  // rows of extremes: every clamp and the largest sums
                for (auto* v : {&s8, &s16, &down0, &down1, &upNear, &upFar})
                    for (auto& b : *v) b = (b & 1) ? 255 : (b & 2) ? 128 : 0;
            std::vector<uint8_t> outA(6 * 136), outB;
            rng.bytes(outA.data(), outA.size());
            outB = outA;
            auto all = [&](auto sub, auto add, auto d1, auto d2, auto u1, auto u2, uint8_t* o) {
                auto slot = [&](int i) { return o + 136 * i + (off * 3 + i) % 4; };
                sub(s8.data() + off, reinterpret_cast<int16_t*>(slot(0)), n);
                add(reinterpret_cast<const int16_t*>(s16.data() + off), slot(1), n);
                d1(down0.data() + off, slot(2), n);
                d2(down0.data() + off, down1.data() + off, slot(3), n);
                u1(upNear.data() + off + 1, slot(4), n);
                u2(upNear.data() + off + 1, upFar.data() + off + 1, slot(5), n);
            };
            all(sc::ownpj_Sub128Row, sc::ownpj_Add128Row, sc::ownpj_DownH2V1Row, sc::ownpj_DownH2V2Row,
                sc::ownpj_UpH2V1Row, sc::ownpj_UpH2V2Row, outA.data());
            all(vx::ownpj_Sub128Row, vx::ownpj_Add128Row, vx::ownpj_DownH2V1Row, vx::ownpj_DownH2V2Row,
                vx::ownpj_UpH2V1Row, vx::ownpj_UpH2V2Row, outB.data());
            for (size_t k = 0; k < outA.size(); ++k)
                ASSERT_EQ(outA[k], outB[k])
                    << "n=" << n << " off=" << off << " kernel " << k / 136 << " byte " << k % 136;
        }
}

TEST(SampleEdgeCases, TheDocumentedValues) {
    Ozr8u out[4][4];
    Ozr16s s16[2];
    auto row = [&](int r, int n) { return std::vector<int>(out[r], out[r] + n); };
    const Ozr8u ends[2] = {0, 255};
    ASSERT_EQ(ozriSub128_JPEG_8u16s_C1R(ends, 2, s16, 4, {2, 1}), ozrStatusOk);
    EXPECT_EQ(s16[0], -128);
    EXPECT_EQ(s16[1], 127);
    const Ozr16s back[4] = {-129, -128, 127, 128};
    ASSERT_EQ(ozriAdd128_JPEG_16s8u_C1R(back, 8, out[0], 4, {4, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 4), (std::vector<int>{0, 0, 255, 255}));

    // Down: (255 + 255 + 1) >> 1 = 255, (0 + 1 + 1) >> 1 = 1; H2V2 rounding 3:
    // 2x2 blocks 0001 -> 1, 0011 -> 1, 0000 -> 0, all 255 -> 255.
    const Ozr8u pairs[4] = {255, 255, 0, 1};
    ASSERT_EQ(ozriSampleDownH2V1_JPEG_8u_C1R(pairs, 2, {2, 2}, out[0], 4, {1, 2}), ozrStatusOk);
    EXPECT_EQ(out[0][0], 255);
    EXPECT_EQ(out[1][0], 1);
    const Ozr8u blocks[2][8] = {{0, 0, 0, 0, 0, 0, 255, 255}, {0, 1, 1, 1, 0, 0, 255, 255}};
    ASSERT_EQ(ozriSampleDownH2V2_JPEG_8u_C1R(&blocks[0][0], 8, {8, 2}, out[0], 4, {4, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 4), (std::vector<int>{1, 1, 0, 255}));

    // H2V1 up: 0 and 255 side by side, 0 left of them, 255 right: 0 64 191 255.
    // An odd width ends with an even output and reads nothing right of it.
    const Ozr8u pair[4] = {0, 0, 255, 255};
    ASSERT_EQ(ozriSampleUpH2V1_JPEG_8u_C1R(pair + 1, 4, {2, 1}, out[0], 4, {4, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 4), (std::vector<int>{0, 64, 191, 255}));
    const std::vector<Ozr8u> tight = {9, 0, 255};  // the block ends at the last sample doubled
    ASSERT_EQ(ozriSampleUpH2V1_JPEG_8u_C1R(tight.data() + 1, 3, {2, 1}, out[0], 4, {3, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 3), (std::vector<int>{(9 + 1) >> 2, (0 + 255 + 2) >> 2, (765 + 0 + 1) >> 2}));
    // Rounding alternates: 3*0 + 2 = 2 gives 0 (term 1), then 1 (term 2).
    const Ozr8u twos[3] = {2, 0, 2};
    ASSERT_EQ(ozriSampleUpH2V1_JPEG_8u_C1R(twos + 1, 3, {1, 1}, out[0], 4, {2, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 2), (std::vector<int>{0, 1}));

    // H2V2: row 0 leans on the row above, row 1 on the row below; with
    // t = 3*0 + 2 everywhere the even output (term 8) is 1, the odd one (7) 0.
    const Ozr8u col[3][3] = {{0, 0, 0}, {16, 16, 16}, {32, 32, 32}};
    ASSERT_EQ(ozriSampleUpH2V2_JPEG_8u_C1R(&col[1][1], 3, {1, 1}, out[0], 4, {2, 2}), ozrStatusOk);
    EXPECT_EQ(row(0, 2), (std::vector<int>{12, 12}));  // t = 48: (192 + 8) >> 4, (192 + 7) >> 4
    EXPECT_EQ(row(1, 2), (std::vector<int>{20, 20}));  // t = 80
    const Ozr8u flat[2][3] = {{2, 2, 2}, {0, 0, 0}};
    ASSERT_EQ(ozriSampleUpH2V2_JPEG_8u_C1R(&flat[1][1], 3, {1, 1}, out[0], 4, {2, 1}), ozrStatusOk);
    EXPECT_EQ(row(0, 2), (std::vector<int>{1, 0}));

    // Constant planes stay constant through both up-samplers.
    for (int c = 0; c < 256; c += 17) {
        std::vector<Ozr8u> plane(12 * 12, static_cast<Ozr8u>(c)), dst(20 * 20, 1);
        ASSERT_EQ(ozriSampleUpH2V1_JPEG_8u_C1R(plane.data() + 13, 12, {9, 9}, dst.data(), 20, {18, 9}), ozrStatusOk);
        EXPECT_EQ(std::count(dst.begin(), dst.end(), c), 18 * 9) << c;
        ASSERT_EQ(ozriSampleUpH2V2_JPEG_8u_C1R(plane.data() + 13, 12, {9, 9}, dst.data(), 20, {18, 18}), ozrStatusOk);
        EXPECT_EQ(std::count(dst.begin(), dst.end(), c), 18 * 18) << c;
    }
}

TEST(SamplePlanes, SameBytesForOneTwoAndEightThreads) {
    // Destination 4096 x 2 runs serially, 4097 x 2 and 8193 x 1 split over threads.
    for (auto [w, h] : std::vector<std::pair<int, int>>{{4096, 2}, {4097, 2}, {8193, 1}, {17, 999}}) {
        const int step = 2 * w + 2;  // sources padded by one sample all round
        std::vector<Ozr8u> src(static_cast<size_t>(step) * (2 * h + 2));
        std::vector<Ozr16s> s16(static_cast<size_t>(w) * h);
        Rng rng(15);
        rng.bytes(src.data(), src.size());
        rng.fill(s16.data(), s16.size(), -400, 400);
        const Ozr8u* origin = src.data() + step + 1;
        std::vector<std::vector<Ozr8u>> results;
        for (int threads : {1, 2, 8}) {
            ThreadScope scope(threads);
            std::vector<Ozr8u> d(static_cast<size_t>(w) * h * 4);
            ASSERT_EQ(ozriSub128_JPEG_8u16s_C1R(origin, step, reinterpret_cast<Ozr16s*>(d.data()), 2 * w, {w, h}), 0);
            ASSERT_EQ(ozriAdd128_JPEG_16s8u_C1R(s16.data(), 2 * w, d.data() + 2 * w * h, w, {w, h}), 0);
            results.push_back(d);
            for (const SamplerCase& c : samplers()) {
                const bool up = c.name[0] == 'U', v2 = std::string(c.name) == "UpH2V2";
                ASSERT_EQ(c.fn(origin, step, {w, h}, d.data(), up ? 2 * w : w, {up ? 2 * w : w, v2 ? 2 * h - 1 : h}),
                          0);
                results.push_back(d);
            }
        }
        const size_t per = results.size() / 3;
        for (size_t i = 0; i < per; ++i)
            EXPECT_TRUE(results[i] == results[per + i] && results[i] == results[2 * per + i])
                << w << "x" << h << " call " << i;
    }
}

TEST(SamplePlanes, ArgumentChecksInOrderAndNothingWritten) {
    // Check k fails together with every later one, then alone; its status
    // must show either way, and nothing may be written.
    static Ozr8u srcMem[4096];
    const Ozr8u* src = srcMem + 128;  // room for the neighbours above and left
    const OzrStatus N = ozrStatusNullPointer, T = ozrStatusBadStep, Z = ozrStatusBadSize;
    using B = const std::vector<bool>&;
    auto P = [](bool bad, const void* p) { return bad ? nullptr : p; };
    auto S = [](bool bad) { return bad ? -3 : 64; };
    auto W = [](B b, size_t i) { return OzriSize{b[i] ? 0 : 4, b[i + 1] ? 0 : 4}; };
    struct OrderCase {
        const char* name;
        std::vector<OzrStatus> order;
        std::function<OzrStatus(B bad, Ozr8u* dst)> call;
    };
    std::vector<OrderCase> cases = {
        {"Sub128",
         {N, T, N, T, Z, Z},
         [&](B b, Ozr8u* d) {
             return ozriSub128_JPEG_8u16s_C1R((const Ozr8u*)P(b[0], src), S(b[1]), (Ozr16s*)P(b[2], d), S(b[3]),
                                              W(b, 4));
         }},
        {"Add128",
         {N, T, N, T, Z, Z},
         [&](B b, Ozr8u* d) {
             return ozriAdd128_JPEG_16s8u_C1R((const Ozr16s*)P(b[0], src), S(b[1]), (Ozr8u*)P(b[2], d), S(b[3]),
                                              W(b, 4));
         }},
    };
    for (const SamplerCase& c : samplers())
        cases.push_back({c.name, {N, T, Z, Z, N, T, Z, Z}, [&, f = c.fn](B b, Ozr8u* d) {
                             return f((const Ozr8u*)P(b[0], src), S(b[1]), W(b, 2), (Ozr8u*)P(b[4], d + 64), S(b[5]),
                                      W(b, 6));
                         }});
    for (const OrderCase& c : cases) {
        const size_t n = c.order.size();
        for (size_t k = 0; k < n; ++k) {
            std::vector<bool> tail(n, false), alone(n, false);
            for (size_t j = k; j < n; ++j) tail[j] = true;
            alone[k] = true;
            std::vector<Ozr8u> dst(4096, 0xC3);
            EXPECT_EQ(c.call(tail, dst.data()), c.order[k]) << c.name << " check " << k;
            EXPECT_EQ(c.call(alone, dst.data()), c.order[k]) << c.name << " check " << k << " alone";
            EXPECT_EQ(std::count(dst.begin(), dst.end(), 0xC3), 4096) << c.name << " wrote on error";
        }
        std::vector<Ozr8u> dst(4096, 0xC3);
        EXPECT_EQ(c.call(std::vector<bool>(n, false), dst.data()), ozrStatusOk) << c.name;
    }
}
