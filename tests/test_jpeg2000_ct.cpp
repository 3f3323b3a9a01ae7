// Component transforms: kernel twins, the documented wrap / saturation /
// rounding behaviour, lossless round trips, layouts against each other, and
// the argument-check order of the family.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "jpeg2000/ct.h"
#include "test_util.h"

namespace {

using ozrtest::Rng;
namespace sc = ozr::ct::scalar;
namespace vx = ozr::ct::ssse3;

template <class T>
using Kern = void (*)(const T*, const T*, const T*, T*, T*, T*, int);

template <class T>
void fillRandom(Rng& rng, std::vector<T>& v) {
    if (std::is_floating_point<T>::value) {
        for (auto& x : v) x = static_cast<T>(rng.range(-2000000, 2000000) / 1000.0);
    } else {
        for (auto& x : v) x = static_cast<T>(rng.u32());
    }
}

// Scalar and vector kernels agree on every length 1..64, at every element
// offset 0..7, out of place and in place.
template <class T>
void twins(Kern<T> s, Kern<T> v, const char* name) {
    Rng rng(101);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 8; ++off) {
            std::vector<T> in(3 * (n + 8));
            fillRandom(rng, in);
            const T* a = in.data() + off;
            const T* b = in.data() + (n + 8) + (off * 5) % 8;
            const T* c = in.data() + 2 * (n + 8) + 7 - off;
            std::vector<T> o1(3 * (n + 8), T(7)), o2(o1);
            s(a, b, c, o1.data() + off, o1.data() + n + 8, o1.data() + 2 * (n + 8) + 1, n);
            v(a, b, c, o2.data() + off, o2.data() + n + 8, o2.data() + 2 * (n + 8) + 1, n);
            ASSERT_EQ(0, std::memcmp(o1.data(), o2.data(), o1.size() * sizeof(T))) << name << " n=" << n << " off=" << off;
            std::vector<T> p1(in), p2(in);
            T* q1[3] = {p1.data() + off, p1.data() + (n + 8) + 3, p1.data() + 2 * (n + 8)};
            T* q2[3] = {p2.data() + off, p2.data() + (n + 8) + 3, p2.data() + 2 * (n + 8)};
            s(q1[0], q1[1], q1[2], q1[0], q1[1], q1[2], n);
            v(q2[0], q2[1], q2[2], q2[0], q2[1], q2[2], n);
            ASSERT_EQ(0, std::memcmp(p1.data(), p2.data(), p1.size() * sizeof(T))) << name << " in place n=" << n;
        }
}

TEST(ComponentKernels, ScalarAndVectorAgree) {
    twins<int16_t>(sc::rctFwd<int16_t>, vx::rctFwd<int16_t>, "rctFwd16");
    twins<int16_t>(sc::rctInv<int16_t>, vx::rctInv<int16_t>, "rctInv16");
    twins<int32_t>(sc::rctFwd<int32_t>, vx::rctFwd<int32_t>, "rctFwd32");
    twins<int32_t>(sc::rctInv<int32_t>, vx::rctInv<int32_t>, "rctInv32");
    twins<float>(sc::ictFwd<float>, vx::ictFwd<float>, "ictFwd32f");
    twins<float>(sc::ictInv<float>, vx::ictInv<float>, "ictInv32f");
    twins<int32_t>(sc::ictFwd<int32_t>, vx::ictFwd<int32_t>, "ictFwd32s");
    twins<int32_t>(sc::ictInv<int32_t>, vx::ictInv<int32_t>, "ictInv32s");
    twins<int16_t>(sc::ictFwd<int16_t>, vx::ictFwd<int16_t>, "ictFwd16s");
    twins<int16_t>(sc::ictInv<int16_t>, vx::ictInv<int16_t>, "ictInv16s");
}

// One pixel through an exported in-place member, planes of 9 samples so the
// vector path runs too (the pixel is repeated).
template <class T>
std::array<T, 3> onePixel(OzrStatus (*fn)(T* [3], int, OzriSize), T a, T b, T c) {
    std::vector<T> p0(9, a), p1(9, b), p2(9, c);
    T* pl[3] = {p0.data(), p1.data(), p2.data()};
    EXPECT_EQ(fn(pl, 9 * sizeof(T), OzriSize{9, 1}), ozrStatusOk);
    for (int i = 1; i < 9; ++i) EXPECT_TRUE(p0[i] == p0[0] && p1[i] == p1[0] && p2[i] == p2[0]);
    return {p0[0], p1[0], p2[0]};
}

TEST(ComponentTransforms, RctWrapsWithoutSaturation) {
    auto w = onePixel<Ozr16s>(ozriRCTFwd_JPEG2K_16s_P3IR, 32767, 32767, 32767);
    EXPECT_EQ(w, (std::array<Ozr16s, 3>{32767, 0, 0}));
    w = onePixel<Ozr16s>(ozriRCTFwd_JPEG2K_16s_P3IR, 32767, -32768, 0);
    EXPECT_EQ(w[2], -1);     // 65535 wrapped
    EXPECT_EQ(w[1], -32768); // 0 - (-32768) wrapped
    EXPECT_EQ(w[0], (32767 - 65536 + 0) >> 2);
    auto v = onePixel<Ozr32s>(ozriRCTFwd_JPEG2K_32s_P3IR, 32767, -32768, 0);
    EXPECT_EQ(v, (std::array<Ozr32s, 3>{(32767 - 65536) >> 2, 32768, 65535}));
}

TEST(ComponentTransforms, IctSixteenBitSaturatesThirtyTwoBitDoesNot) {
    // Forward: the 32-bit member leaves the 16-bit range; the 16-bit member
    // works on the wrapped 16-bit difference B - Y, as its difference form says.
    auto l = onePixel<Ozr32s>(ozriICTFwd_JPEG2K_32s_P3IR, -32768, -32768, 32767);
    EXPECT_EQ(l[1], 32768);
    auto s = onePixel<Ozr16s>(ozriICTFwd_JPEG2K_16s_P3IR, -32768, -32768, 32767);
    const int S = 4899 * -32768 + 9617 * -32768 + 1868 * 32767;
    const int dB = static_cast<int16_t>((32767 * 16384 - S + 8192) >> 14);
    EXPECT_EQ(s[0], (S + 8192) >> 14);
    EXPECT_EQ(s[1], (dB * 9246 + 8192) >> 14);
    // Inverse: saturated in 16 bits, not in 32.
    auto r = onePixel<Ozr16s>(ozriICTInv_JPEG2K_16s_P3IR, 32000, 32767, 32767);
    EXPECT_EQ(r[0], 32767);
    EXPECT_EQ(r[2], 32767);
    auto q = onePixel<Ozr32s>(ozriICTInv_JPEG2K_32s_P3IR, 32000, 32767, 32767);
    EXPECT_EQ(q[0], 32000 + ((22970 * 32767 + 8192) >> 14));
    // Zero chroma gives back the luminance exactly.
    for (int y : {-32768, -1, 0, 1, 1234, 32767}) {
        EXPECT_EQ(onePixel<Ozr16s>(ozriICTInv_JPEG2K_16s_P3IR, Ozr16s(y), 0, 0), (std::array<Ozr16s, 3>{Ozr16s(y), Ozr16s(y), Ozr16s(y)}));
        EXPECT_EQ(onePixel<Ozr32s>(ozriICTInv_JPEG2K_32s_P3IR, y, 0, 0), (std::array<Ozr32s, 3>{y, y, y}));
    }
}

// Where 5638*Cb + 11700*Cr + 8192 is a multiple of 16384 the two integer
// inverse members differ by one in green, by design; elsewhere they agree
// (for inputs that do not saturate).
TEST(ComponentTransforms, IctGreenRoundingDiffersOnlyAtExactMultiples) {
    int found = 0;
    for (int cb = -300; cb <= 300; ++cb)
        for (int cr = -300; cr <= 300; ++cr) {
            const int p = 5638 * cb + 11700 * cr + 8192;
            const bool exact = (p & 16383) == 0;
            if (!exact && (cb * 7 + cr) % 97 != 0) continue;
            const auto a = onePixel<Ozr16s>(ozriICTInv_JPEG2K_16s_P3IR, 100, Ozr16s(cb), Ozr16s(cr));
            const auto b = onePixel<Ozr32s>(ozriICTInv_JPEG2K_32s_P3IR, 100, cb, cr);
            EXPECT_EQ(a[0], b[0]);
            EXPECT_EQ(a[2], b[2]);
            EXPECT_EQ(b[1] - a[1], exact ? 1 : 0) << cb << "," << cr;
            found += exact;
        }
    EXPECT_GT(found, 0);
}

TEST(ComponentTransforms, IctFloatRoundTripIsClose) {
    Rng rng(5);
    const int W = 37, H = 3;
    std::vector<Ozr32f> rgb(3 * W * H), p0(W * H), p1(W * H), p2(W * H), back(3 * W * H);
    for (auto& v : rgb) v = static_cast<float>(rng.range(0, 255));
    Ozr32f* pl[3] = {p0.data(), p1.data(), p2.data()};
    ASSERT_EQ(ozriICTFwd_JPEG2K_32f_C3P3R(rgb.data(), 3 * W * 4, pl, W * 4, OzriSize{W, H}), ozrStatusOk);
    // The in-place member gives the same bits as the pixel-order one.
    std::vector<Ozr32f> q0(W * H), q1(W * H), q2(W * H);
    for (int i = 0; i < W * H; ++i) {
        q0[i] = rgb[3 * i];
        q1[i] = rgb[3 * i + 1];
        q2[i] = rgb[3 * i + 2];
    }
    Ozr32f* ql[3] = {q0.data(), q1.data(), q2.data()};
    ASSERT_EQ(ozriICTFwd_JPEG2K_32f_P3IR(ql, W * 4, OzriSize{W, H}), ozrStatusOk);
    EXPECT_EQ(0, std::memcmp(q0.data(), p0.data(), W * H * 4));
    EXPECT_EQ(0, std::memcmp(q2.data(), p2.data(), W * H * 4));
    const Ozr32f* cpl[3] = {p0.data(), p1.data(), p2.data()};
    ASSERT_EQ(ozriICTInv_JPEG2K_32f_P3C3R(cpl, W * 4, back.data(), 3 * W * 4, OzriSize{W, H}), ozrStatusOk);
    for (size_t i = 0; i < rgb.size(); ++i) EXPECT_NEAR(back[i], rgb[i], 0.01);
}

// RCT is lossless through every layout; pixel order and planes agree; no
// sample outside the region is written.
template <class T>
void rctRoundTrip(OzrStatus (*fwdC)(const T*, int, T* [3], int, OzriSize),
                  OzrStatus (*invC)(const T* [3], int, T*, int, OzriSize), OzrStatus (*fwdI)(T* [3], int, OzriSize),
                  OzrStatus (*invI)(T* [3], int, OzriSize)) {
    Rng rng(77);
    for (int W : {1, 7, 8, 9, 33, 300})
        for (int H : {1, 4}) {
            const int ps = 3 * W + 5, qs = W + 3;
            std::vector<T> rgb(ps * H + 8), planesMem(3 * qs * H + 8, T(0x3C)), back(ps * H + 8, T(0x3C));
            for (auto& v : rgb) v = static_cast<T>(rng.range(-16384, 16383));
            T* pl[3] = {planesMem.data() + 1, planesMem.data() + 2 + qs * H, planesMem.data() + 3 + 2 * qs * H};
            ASSERT_EQ(fwdC(rgb.data(), ps * sizeof(T), pl, qs * sizeof(T), OzriSize{W, H}), ozrStatusOk);
            // In place on planes gives the same.
            std::vector<T> a(qs * H), b(qs * H), c(qs * H);
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    a[y * qs + x] = rgb[y * ps + 3 * x];
                    b[y * qs + x] = rgb[y * ps + 3 * x + 1];
                    c[y * qs + x] = rgb[y * ps + 3 * x + 2];
                }
            T* il[3] = {a.data(), b.data(), c.data()};
            ASSERT_EQ(fwdI(il, qs * sizeof(T), OzriSize{W, H}), ozrStatusOk);
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    ASSERT_EQ(a[y * qs + x], pl[0][y * qs + x]);
                    ASSERT_EQ(b[y * qs + x], pl[1][y * qs + x]);
                    ASSERT_EQ(c[y * qs + x], pl[2][y * qs + x]);
                    const int R = rgb[y * ps + 3 * x], G = rgb[y * ps + 3 * x + 1], B = rgb[y * ps + 3 * x + 2];
                    ASSERT_EQ(a[y * qs + x], (R + 2 * G + B) >> 2);
                }
            ASSERT_EQ(invI(il, qs * sizeof(T), OzriSize{W, H}), ozrStatusOk);
            const T* cl[3] = {pl[0], pl[1], pl[2]};
            ASSERT_EQ(invC(cl, qs * sizeof(T), back.data(), ps * sizeof(T), OzriSize{W, H}), ozrStatusOk);
            for (int y = 0; y < H; ++y) {
                for (int x = 0; x < 3 * W; ++x) ASSERT_EQ(back[y * ps + x], rgb[y * ps + x]);
                for (int x = 3 * W; x < ps; ++x) ASSERT_EQ(back[y * ps + x], T(0x3C));
                for (int x = 0; x < W; ++x) {
                    ASSERT_EQ(a[y * qs + x], rgb[y * ps + 3 * x]);
                    ASSERT_EQ(c[y * qs + x], rgb[y * ps + 3 * x + 2]);
                }
            }
            for (int k = 0; k < 3; ++k)
                for (int y = 0; y < H; ++y)
                    for (int x = W; x < qs && k * (qs * H) + 1 + k + y * qs + x < int(planesMem.size()); ++x)
                        ASSERT_EQ(pl[k][y * qs + x], T(0x3C));
        }
}

TEST(ComponentTransforms, RctRoundTripsThroughEveryLayout) {
    rctRoundTrip<Ozr16s>(ozriRCTFwd_JPEG2K_16s_C3P3R, ozriRCTInv_JPEG2K_16s_P3C3R, ozriRCTFwd_JPEG2K_16s_P3IR,
                         ozriRCTInv_JPEG2K_16s_P3IR);
    rctRoundTrip<Ozr32s>(ozriRCTFwd_JPEG2K_32s_C3P3R, ozriRCTInv_JPEG2K_32s_P3C3R, ozriRCTFwd_JPEG2K_32s_P3IR,
                         ozriRCTInv_JPEG2K_32s_P3IR);
}

// Argument checks: pointers (array, then planes), steps, size; each table
// starts all bad and repairs one argument at a time.
struct Step {
    OzrStatus expect;
    std::function<void()> repair;
};
void runOrder(const std::function<OzrStatus()>& call, const std::vector<Step>& steps, const std::vector<int32_t>& out) {
    for (size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(call(), steps[i].expect) << "check " << i;
        for (int32_t v : out) ASSERT_EQ(v, 0x11111111) << "written on error at check " << i;
        steps[i].repair();
    }
    EXPECT_EQ(call(), ozrStatusOk);
}

TEST(ComponentTransforms, ArgumentCheckOrder) {
    std::vector<int32_t> src(64, 1), out(64, 0x11111111);
    {  // pixels -> planes
        const Ozr32s* s = nullptr;
        Ozr32s* pl[3] = {nullptr, nullptr, nullptr};
        Ozr32s** arr = nullptr;
        int ss = 0, ds = -5;
        OzriSize roi{0, 0};
        runOrder([&] { return ozriRCTFwd_JPEG2K_32s_C3P3R(s, ss, arr, ds, roi); },
                 {{ozrStatusNullPointer, [&] { s = src.data(); }},
                  {ozrStatusNullPointer, [&] { arr = pl; }},
                  {ozrStatusNullPointer, [&] { pl[0] = out.data(); }},
                  {ozrStatusNullPointer, [&] { pl[1] = out.data() + 8; }},
                  {ozrStatusNullPointer, [&] { pl[2] = out.data() + 16; }},
                  {ozrStatusBadStep, [&] { ss = 24; }},
                  {ozrStatusBadStep, [&] { ds = 8; }},
                  {ozrStatusBadSize, [&] { roi.width = 2; }},
                  {ozrStatusBadSize, [&] { roi.height = 2; }}},
                 {});
        std::fill(out.begin(), out.end(), 0x11111111);
    }
    {  // planes -> pixels
        const Ozr32f* pl[3] = {nullptr, nullptr, nullptr};
        const Ozr32f** arr = nullptr;
        std::vector<float> fs(64, 1.0f);
        Ozr32f* d = nullptr;
        int ss = -1, ds = 0;
        OzriSize roi{-1, 1};
        runOrder([&] { return ozriICTInv_JPEG2K_32f_P3C3R(arr, ss, d, ds, roi); },
                 {{ozrStatusNullPointer, [&] { arr = pl; }},
                  {ozrStatusNullPointer, [&] { pl[0] = fs.data(); }},
                  {ozrStatusNullPointer, [&] { pl[1] = fs.data(); }},
                  {ozrStatusNullPointer, [&] { pl[2] = fs.data(); }},
                  {ozrStatusNullPointer, [&] { d = reinterpret_cast<Ozr32f*>(out.data()); }},
                  {ozrStatusBadStep, [&] { ss = 8; }},
                  {ozrStatusBadStep, [&] { ds = 24; }},
                  {ozrStatusBadSize, [&] { roi.width = 2; }}},
                 out);
        std::fill(out.begin(), out.end(), 0x11111111);
    }
    {  // in place
        Ozr32s* pl[3] = {nullptr, nullptr, nullptr};
        Ozr32s** arr = nullptr;
        int st = 0;
        OzriSize roi{3, 0};
        runOrder([&] { return ozriICTFwd_JPEG2K_32s_P3IR(arr, st, roi); },
                 {{ozrStatusNullPointer, [&] { arr = pl; }},
                  {ozrStatusNullPointer, [&] { pl[0] = out.data(); }},
                  {ozrStatusNullPointer, [&] { pl[1] = out.data() + 4; }},
                  {ozrStatusNullPointer, [&] { pl[2] = out.data() + 8; }},
                  {ozrStatusBadStep, [&] { st = 12; }},
                  {ozrStatusBadSize, [&] { roi.height = 1; }}},
                 out);
    }
}

}  // namespace
