// Quantization tables and the forward DCT with quantization: vector kernels
// against their scalar twins, the transforms against a double-precision DCT,
// the rounding rules of both quantizers, and the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "core/frame.h"
#include "core/kernels.h"
#include "jpeg/dct.h"
#include "test_util.h"

using namespace ozrtest;
namespace dct = ozr::dct;

namespace {

// F(u,v) at 8v+u of the DCT definition, in double precision.
void referenceDct(const double* f, double* out) {
    for (int i = 0; i < 64; ++i) {
        const int u = i & 7, v = i >> 3;
        double s = 0;
        for (int p = 0; p < 64; ++p)
            s += f[p] * std::cos((2 * (p & 7) + 1) * u * M_PI / 16) *
                 std::cos((2 * (p >> 3) + 1) * v * M_PI / 16);
        out[i] = 0.25 * (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) * s;
    }
}

// Flat, checkerboard, striped and single-impulse blocks between lo and hi.
std::vector<std::vector<int>> extremeBlocks(int lo, int hi) {
    std::vector<std::vector<int>> b = {std::vector<int>(64, lo), std::vector<int>(64, hi),
                                       std::vector<int>(64, (lo + hi + 1) / 2)};
    for (int pattern = 0; pattern < 3; ++pattern) {
        std::vector<int> p(64);
        for (int i = 0; i < 64; ++i)
            p[i] = ((pattern == 0 ? (i >> 3) + i : pattern == 1 ? i : i >> 3) & 1) ? hi : lo;
        b.push_back(p);
    }
    for (int i = 0; i < 64; ++i) {
        b.push_back(std::vector<int>(64, lo));
        b.back()[i] = hi;
        b.push_back(std::vector<int>(64, hi));
        b.back()[i] = lo;
    }
    return b;
}

const std::vector<Ozr16u> kUnit(64, 32768);  // step 1 everywhere

}  // namespace

// ------------------------------------------------------------------ tables

TEST(QuantTables, QualityScalingEdges) {
    std::vector<Ozr8u> t(64);
    for (int i = 0; i < 64; ++i) t[i] = static_cast<Ozr8u>(i * 4);
    ASSERT_EQ(ozriQuantFwdRawTableInit_JPEG_8u(t.data(), 50), ozrStatusOk);  // S = 100: unchanged,
    for (int i = 0; i < 64; ++i) EXPECT_EQ(t[i], std::max(1, i * 4));        // but a 0 becomes 1
    std::vector<Ozr8u> q1 = {5, 6, 255, 1, 2};
    q1.resize(64, 3);
    ASSERT_EQ(ozriQuantFwdRawTableInit_JPEG_8u(q1.data(), 1), ozrStatusOk);  // S = 5000
    EXPECT_EQ(std::vector<int>(q1.begin(), q1.begin() + 6), (std::vector<int>{250, 255, 255, 50, 100, 150}));
    for (int quality : {100, 101, 1 << 29, std::numeric_limits<int>::max()}) {
        std::vector<Ozr8u> a(64, 255);
        ASSERT_EQ(ozriQuantFwdRawTableInit_JPEG_8u(a.data(), quality), ozrStatusOk);
        EXPECT_EQ(std::count(a.begin(), a.end(), 1), 64) << quality;
    }
}

TEST(QuantTables, ForwardTableIsNaturalOrderReciprocals) {
    std::vector<Ozr8u> raw(64);
    std::vector<Ozr16u> fwd(64);
    for (int q = 1; q < 256; q += 64) {  // zigzag position p holds step q + p
        for (int p = 0; p < 64; ++p) raw[p] = static_cast<Ozr8u>(std::min(255, q + p));
        ASSERT_EQ(ozriQuantFwdTableInit_JPEG_8u16u(raw.data(), fwd.data()), ozrStatusOk);
        for (int i = 0; i < 64; ++i) {
            const int step = raw[ozr::kZigzagPos[i]];
            EXPECT_EQ(fwd[i], step == 1 ? 32768 : std::lround(32768.0 / step)) << q << " " << i;
        }
    }
    // A zero step: 65535 in its place, every other entry still written, warning 6.
    std::fill(raw.begin(), raw.end(), 1);
    raw[2] = 0;   // zigzag 2 -> natural 8
    raw[63] = 4;  // after the zero
    std::fill(fwd.begin(), fwd.end(), 7);
    EXPECT_EQ(ozriQuantFwdTableInit_JPEG_8u16u(raw.data(), fwd.data()), ozrStatusDivByZeroWarning);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(fwd[i], i == 8 ? 65535 : (i == 63 ? 8192 : 32768)) << i;
}

// --------------------------------------------------------------- quantizers

TEST(Quantizers, RoundingRulesAndUnitStep) {
    // Step 1 returns the coefficient itself (the half-up form for |F| < 4096).
    for (int f = -4095; f <= 4095; ++f) {
        std::vector<Ozr16s> a(64, static_cast<Ozr16s>(f)), b = a;
        ASSERT_EQ(ozriQuantFwd8x8_JPEG_16s_C1I(a.data(), kUnit.data()), ozrStatusOk);
        dct::ssse3::quantEven(b.data(), kUnit.data());
        ASSERT_EQ(a[17], f);
        ASSERT_EQ(b[17], f);
    }
    // Halves: the stand-alone quantizer rounds up, the combined one to even.
    struct Tie {
        int f;
        Ozr16u t;
        int halfUp, even;
    };
    const Tie ties[] = {
        {5, 16384, 3, 2},          {-5, 16384, -2, -2},       {7, 16384, 4, 4}, {-7, 16384, -3, -4},
        {40, 2048, 3, 2},          {-56, 2048, -3, -4},       {1, 16384, 1, 0}, {-1, 16384, 0, 0},
        {4000, 3, 0, 0},                                         // the half-up form drops T's low bit
        {32767, 65535, -2, 32767}, {-32768, 65535, 0, -32768}};  // |F| >= 4096 wraps there
    for (const Tie& c : ties) {
        std::vector<Ozr16s> a(64, static_cast<Ozr16s>(c.f)), b = a;
        const std::vector<Ozr16u> t(64, c.t);
        ASSERT_EQ(ozriQuantFwd8x8_JPEG_16s_C1I(a.data(), t.data()), ozrStatusOk);
        dct::ssse3::quantEven(b.data(), t.data());
        EXPECT_EQ(a[40], c.halfUp) << c.f << "/" << c.t;
        EXPECT_EQ(b[40], c.even) << c.f << "/" << c.t;
    }
}

TEST(Quantizers, VectorFormsMatchScalarOnEveryCoefficient) {
    // Every coefficient value against tables with all multipliers below 32768
    // (the vector code's 16-bit path), with 32768 or 65535 somewhere (its
    // 32-bit path), and with powers of two, whose products hit exact halves.
    Rng rng(7);
    std::vector<Ozr16u> t(64);
    std::vector<Ozr16s> a(64), b(64);
    for (int rep = 0; rep < 256; ++rep) {
        if (rep % 3 == 2)
            for (auto& x : t) x = static_cast<Ozr16u>(1u << rng.range(0, 14));
        else
            rng.fill(t.data(), 64, 0, rep % 3 ? 65535 : 32767);
        if (rep % 6 == 5) t[rng.range(0, 63)] = 32768;
        for (int base = -32768; base < 32768; base += 64) {
            for (int half = 0; half < 2; ++half) {
                for (int i = 0; i < 64; ++i) a[i] = b[i] = static_cast<Ozr16s>(base + ((i + rep) & 63));
                if (half) {
                    dct::ssse3::quantHalfUp(a.data(), t.data());
                    dct::scalar::quantHalfUp(b.data(), t.data());
                } else {
                    dct::ssse3::quantEven(a.data(), t.data());
                    dct::scalar::quantEven(b.data(), t.data());
                }
                ASSERT_EQ(a, b) << rep << " " << base << " " << half;
            }
        }
    }
}

// -------------------------------------------------- fixed-point transform

TEST(FixedPointDct, FlatBlocksAndDcTies) {
    Ozr8u src[64];
    Ozr16s out[64];
    // Flat blocks give DC = 8 * (x - 128) exactly and no AC: 128 gives all
    // zeros, 255 gives 1016.
    for (int x : {128, 0, 1, 127, 129, 255}) {
        std::memset(src, x, sizeof src);
        ASSERT_EQ(ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src, 8, out, kUnit.data()), ozrStatusOk);
        EXPECT_EQ(out[0], 8 * (x - 128)) << x;
        EXPECT_EQ(std::count(out + 1, out + 64, 0), 63) << x;
    }
    // Step 16: DC 40 -> 2, 56 -> 4, -40 -> -2, -56 -> -4 (ties to even).
    const std::vector<Ozr16u> t16(64, 2048);
    for (const auto& c : {std::pair<int, int>{133, 2}, {135, 4}, {123, -2}, {121, -4}}) {
        std::memset(src, c.first, sizeof src);
        ASSERT_EQ(ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src, 8, out, t16.data()), ozrStatusOk);
        EXPECT_EQ(out[0], c.second) << c.first;
    }
}

TEST(FixedPointDct, WithinOneUnitOfTheExactTransform) {
    Rng rng(11);
    double sumErr[64] = {}, sumSq = 0;
    const int blocks = 20000;
    for (int n = 0; n < blocks; ++n) {
        Ozr8u src[64];
        const int amp = n % 3 == 0 ? 255 : (n % 3 == 1 ? 32 : 4);  // noise and smooth blocks
        const int base = rng.range(0, 255 - amp);
        double f[64], ref[64];
        for (int i = 0; i < 64; ++i) f[i] = (src[i] = static_cast<Ozr8u>(base + rng.range(0, amp))) - 128.0;
        referenceDct(f, ref);
        Ozr16s out[64];
        ASSERT_EQ(ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src, 8, out, kUnit.data()), ozrStatusOk);
        for (int i = 0; i < 64; ++i) {
            const double e = out[i] - ref[i];
            ASSERT_LE(std::fabs(e), 1.0) << "block " << n << " coefficient " << i;
            sumErr[i] += e;
            sumSq += e * e;
        }
    }
    // No coefficient drifts.  The row pass rounds halves up and DC (a multiple
    // of 1/8 here) is a half in one block of eight: a mean near +1/16 there.
    for (int i = 0; i < 64; ++i) EXPECT_LT(std::fabs(sumErr[i] / blocks), 0.1) << i;
    EXPECT_LT(sumSq / (64.0 * blocks), 0.1);  // plain rounding alone gives 1/12
}

TEST(FixedPointDct, VectorMatchesScalarOnRandomAndExtremeBlocks) {
    Rng rng(3);
    std::vector<Ozr16u> table(64);
    int tag = 0;
    auto check = [&](const std::vector<int>& blk, bool eightBit, const Ozr16u* t) {
        if (eightBit) {  // 8u regions at several steps and odd addresses
            for (int step : {8, 9, 37}) {
                GuardedImage img(step, 8, 0, 1 + tag % 15);
                for (int i = 0; i < 64; ++i)
                    img.data()[(i >> 3) * step + (i & 7)] = static_cast<Ozr8u>(blk[i]);
                Ozr16s a[64], b[64];
                dct::ssse3::fdctQuantLS8u(img.data(), step, a, t);
                dct::scalar::fdctQuantLS8u(img.data(), step, b, t);
                ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << "8u block " << tag << " step " << step;
                if (ozr::cpuHasAvx2()) {
                    dct::avx2::fdctQuantLS8u(img.data(), step, a, t);
                    ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << "AVX2, 8u block " << tag << " step " << step;
                }
                if (ozr::cpuHasAvx512()) {
                    dct::avx512::fdctQuantLS8u(img.data(), step, a, t);
                    ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << "AVX-512, 8u block " << tag << " step " << step;
                }
            }
        }
        // 16s blocks at 2-byte offsets from 16-byte alignment, also in place.
        alignas(16) Ozr16s mem[2][72];
        const int off = tag % 4 * 3 % 8;
        Ozr16s *s = mem[0] + off, *d = mem[1] + 7 - off % 7, ref[64];
        for (int i = 0; i < 64; ++i) s[i] = static_cast<Ozr16s>(eightBit ? blk[i] - 128 : blk[i]);
        dct::scalar::fdctQuant16s(s, ref, t);
        dct::ssse3::fdctQuant16s(s, d, t);
        ASSERT_EQ(0, std::memcmp(d, ref, sizeof ref)) << "16s block " << tag;
        dct::ssse3::fdctQuant16s(s, s, t);
        ASSERT_EQ(0, std::memcmp(s, ref, sizeof ref)) << "16s in place, block " << tag;
        ++tag;
    };
    // 8-bit extremes, then 16-bit ones that saturate the column pass and wrap
    // its shifts; tables with small multipliers, any multipliers, or none.
    for (const auto& b : extremeBlocks(0, 255)) {
        check(b, true, kUnit.data());
        check(b, true, nullptr);
    }
    for (const auto& b : extremeBlocks(-32768, 32767)) {
        rng.fill(table.data(), 64, 0, tag % 2 ? 65535 : 32767);
        check(b, false, tag % 3 ? table.data() : nullptr);
    }
    for (int n = 0; n < 3000; ++n) {
        std::vector<int> b(64);
        rng.fill(table.data(), 64, 0, n % 3 ? 32767 : 65535);
        const int range = n % 5 == 1 ? 32768 : (n % 5 == 3 ? 2048 : 128);
        for (int i = 0; i < 64; ++i) b[i] = n % 2 ? rng.range(-range, range - 1) : rng.range(0, 255);
        check(b, n % 2 == 0, n % 7 ? table.data() : kUnit.data());
    }
}

TEST(FixedPointDct, ExportedFormsAgreeAndStayInTheirBlocks) {
    Rng rng(5);
    std::vector<Ozr8u> raw(64);
    std::vector<Ozr16u> fwd(64);
    for (int i = 0; i < 64; ++i) raw[i] = static_cast<Ozr8u>(1 + i * 3);
    ASSERT_EQ(ozriQuantFwdTableInit_JPEG_8u16u(raw.data(), fwd.data()), ozrStatusOk);
    for (int n = 0; n < 200; ++n) {
        const int step = 8 + n % 13;
        GuardedImage img(step, 8, 0, n % 16);  // random bytes around the region must not matter
        rng.bytes(img.mem.data(), img.mem.size());
        const Ozr8u* p = img.data();
        std::vector<Ozr16s> ls(80, 0x5A5A);
        ASSERT_EQ(ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(p, step, ls.data() + 8, fwd.data()), ozrStatusOk);
        EXPECT_EQ(
            std::count(ls.begin(), ls.begin() + 8, 0x5A5A) + std::count(ls.begin() + 72, ls.end(), 0x5A5A),
            16);
        Ozr16s shifted[64], viaC1[64], inPlace[65];
        for (int i = 0; i < 64; ++i) shifted[i] = static_cast<Ozr16s>(p[(i >> 3) * step + (i & 7)] - 128);
        ASSERT_EQ(ozriDCTQuantFwd8x8_JPEG_16s_C1(shifted, viaC1, fwd.data()), ozrStatusOk);
        std::memcpy(inPlace + 1, shifted, sizeof shifted);
        ASSERT_EQ(ozriDCTQuantFwd8x8_JPEG_16s_C1I(inPlace + 1, fwd.data()), ozrStatusOk);
        ASSERT_EQ(0, std::memcmp(ls.data() + 8, viaC1, sizeof viaC1)) << n;
        ASSERT_EQ(0, std::memcmp(ls.data() + 8, inPlace + 1, sizeof viaC1)) << n;
        dct::scalar::fdct16s(shifted, shifted);  // transform, then quantize: the same
        dct::scalar::quantEven(shifted, fwd.data());
        ASSERT_EQ(0, std::memcmp(viaC1, shifted, sizeof shifted)) << n;
    }
}

// ----------------------------------------------- single-precision transform

TEST(FloatDct, WithinOneUnitOfTheExactTransform) {
    Rng rng(13);
    const std::vector<Ozr32f> ones(64, 1.0f);
    for (int n = 0; n < 5000; ++n) {
        Ozr16u src[64];
        const int amp = n % 2 ? 4095 : 64;
        const int base = rng.range(0, 4095 - amp);
        double f[64], ref[64];
        for (int i = 0; i < 64; ++i) f[i] = (src[i] = static_cast<Ozr16u>(base + rng.range(0, amp))) - 2048.0;
        referenceDct(f, ref);
        float pre[64];
        Ozr16s out[64];
        dct::ssse3::fdctLS16u(src, 16, pre);
        ASSERT_EQ(ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src, 16, out, ones.data()), ozrStatusOk);
        for (int i = 0; i < 64; ++i) {
            // The constants carry six or seven digits.
            ASSERT_NEAR(pre[i], ref[i], 0.02 + 2e-5 * std::fabs(ref[i])) << n << " " << i;
            ASSERT_LE(std::fabs(out[i] - ref[i]), 1.0) << n << " " << i;
        }
    }
}

TEST(FloatDct, SignedSamplesRoundingAndSaturation) {
    Ozr16u src[64];
    Ozr16s out[64];
    auto run = [&](int sample, std::vector<Ozr32f> table) {
        std::fill(src, src + 64, static_cast<Ozr16u>(sample));
        EXPECT_EQ(ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src, 16, out, table.data()), ozrStatusOk);
        return out[0];
    };
    EXPECT_EQ(run(2048, std::vector<Ozr32f>(64, 1.0f)), 0);
    EXPECT_EQ(std::count(out, out + 64, 0), 64);
    EXPECT_EQ(run(0xFFFF, std::vector<Ozr32f>(64, 1.0f)), -16392);  // read as -1: 8 * (-1 - 2048)
    EXPECT_EQ(run(2052, std::vector<Ozr32f>(64, 0.1f)), 3);         // 3.2
    EXPECT_EQ(run(2044, std::vector<Ozr32f>(64, 0.1f)), -3);
    // DC 24 / 16 would be 1.5, but 0.353553^2 lies just below 1/8: 1.4999974.
    EXPECT_EQ(run(2051, std::vector<Ozr32f>(64, 1.0f / 16)), 1);
    // Products saturate at any magnitude; NaN takes the upper bound.
    std::vector<Ozr32f> big(64, 1e30f);
    big[1] = 100.0f;
    big[2] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(run(4095, big), 32767);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 32767);
    EXPECT_EQ(run(4095, std::vector<Ozr32f>(64, -1e30f)), -32768);
}

TEST(FloatDct, VectorMatchesScalarOnRandomAndExtremeBlocks) {
    Rng rng(17);
    std::vector<Ozr32f> table(64);
    int tag = 0;
    auto check = [&](const std::vector<int>& blk) {
        for (auto& x : table) x = static_cast<float>(rng.range(-3000, 3000)) / 1024.0f;
        for (int step : {16, 17, 18, 48}) {  // odd steps make every other row odd-addressed
            GuardedImage img(step, 8, 0, tag % 7);
            for (int i = 0; i < 64; ++i) {
                const Ozr16u v = static_cast<Ozr16u>(blk[i]);
                std::memcpy(img.data() + (i >> 3) * step + 2 * (i & 7), &v, 2);
            }
            const Ozr16u* s = reinterpret_cast<const Ozr16u*>(img.data());
            Ozr16s a[64], b[64];
            float fa[64], fb[64];
            dct::ssse3::fdctQuantLS16u(s, step, a, table.data());
            dct::scalar::fdctQuantLS16u(s, step, b, table.data());
            dct::ssse3::fdctLS16u(s, step, fa);
            dct::scalar::fdctLS16u(s, step, fb);
            ASSERT_EQ(0, std::memcmp(a, b, sizeof a)) << "block " << tag << " step " << step;
            ASSERT_EQ(0, std::memcmp(fa, fb, sizeof fa)) << "block " << tag << " step " << step;
        }
        ++tag;
    };
    for (const auto& b : extremeBlocks(0, 4095)) check(b);
    for (const auto& b : extremeBlocks(0, 65535)) check(b);
    for (int n = 0; n < 1500; ++n) {
        std::vector<int> b(64);
        rng.fill(b.data(), 64, 0, n % 3 ? 4095 : 65535);
        check(b);
    }
}

// ---------------------------------------------------------- argument checks

TEST(ArgumentOrder, EveryFunctionChecksInItsOrderAndWritesNothing) {
    alignas(16) static Ozr8u srcMem[1024];
    alignas(16) static Ozr16u table[64];
    alignas(16) static Ozr32f ftable[64];
    std::fill(table, table + 64, Ozr16u{32768});
    std::fill(ftable, ftable + 64, 1.0f);
    auto P = [](bool bad, const void* p) { return bad ? nullptr : const_cast<void*>(p); };
    using Call = std::function<OzrStatus(const std::vector<bool>&, Ozr8u*)>;  // bad[i]: check i fails
    struct Case {
        const char* name;
        std::vector<OzrStatus> order;
        Call call;
    };
    const Case cases[] = {
        {"QuantFwdRawTableInit",
         {-8, -5},
         [&](auto& b, Ozr8u* d) {
             return ozriQuantFwdRawTableInit_JPEG_8u((Ozr8u*)P(b[0], d), b[1] ? 0 : 75);
         }},
        {"QuantFwdTableInit",
         {-8, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriQuantFwdTableInit_JPEG_8u16u((Ozr8u*)P(b[0], srcMem), (Ozr16u*)P(b[1], d));
         }},
        {"QuantFwd8x8",
         {-8, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriQuantFwd8x8_JPEG_16s_C1I((Ozr16s*)P(b[0], d), (Ozr16u*)P(b[1], table));
         }},
        {"DCTQuantFwd8x8_C1",
         {-8, -8, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriDCTQuantFwd8x8_JPEG_16s_C1((Ozr16s*)P(b[0], srcMem), (Ozr16s*)P(b[1], d),
                                                   (Ozr16u*)P(b[2], table));
         }},
        {"DCTQuantFwd8x8_C1I",
         {-8, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriDCTQuantFwd8x8_JPEG_16s_C1I((Ozr16s*)P(b[0], d), (Ozr16u*)P(b[1], table));
         }},
        {"DCTQuantFwd8x8LS_8u16s",
         {-8, -8, -14, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R((Ozr8u*)P(b[0], srcMem), b[2] ? 0 : 8,
                                                        (Ozr16s*)P(b[1], d), (Ozr16u*)P(b[3], table));
         }},
        {"DCTQuantFwd8x8LS_16u16s",
         {-8, -8, -14, -8},
         [&](auto& b, Ozr8u* d) {
             return ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R((Ozr16u*)P(b[0], srcMem), b[2] ? -16 : 16,
                                                         (Ozr16s*)P(b[1], d), (Ozr32f*)P(b[3], ftable));
         }},
    };
    for (const Case& c : cases) {
        const size_t n = c.order.size();
        for (size_t k = 0; k <= n; ++k) {  // checks k.. fail: check k decides (k = n: all pass)
            std::vector<bool> bad(n, false);
            std::fill(bad.begin() + k, bad.end(), true);
            std::vector<Ozr8u> dst(256, 0xC3);
            const OzrStatus st = c.call(bad, dst.data());
            if (k == n) {
                EXPECT_GE(st, 0) << c.name;
                continue;
            }
            EXPECT_EQ(st, c.order[k]) << c.name << " check " << k;
            EXPECT_EQ(std::count(dst.begin(), dst.end(), 0xC3), 256) << c.name << " wrote on error";
        }
    }
    EXPECT_EQ(ozriQuantFwdRawTableInit_JPEG_8u(srcMem, -3), ozrStatusBadArgument);
}
