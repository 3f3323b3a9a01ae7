// Library frame: version record, memory wrappers, threading policy and the
// shared kernels (copy, set, zero, reverse division, widening, zigzag, logic).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/frame.h"
#include "core/kernels.h"
#include "test_util.h"

using namespace ozrtest;

TEST(Version, RecordFieldByField) {
    const OzrLibraryVersion* v = ozrjGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, ozrjGetLibVersion());
    EXPECT_EQ(v->major, 6);
    EXPECT_EQ(v->minor, 1);
    EXPECT_EQ(v->majorBuild, 137);
    EXPECT_EQ(v->build, 823);
    EXPECT_EQ(0, std::memcmp(v->targetCpu, "n8\0\0", 4));
    EXPECT_STREQ(v->Name, "libozrjn8.so.6.1");
    EXPECT_STREQ(v->Version, "6.1 build 137.56");
    EXPECT_STREQ(v->BuildDate, "Mar 17 2010");
}

TEST(Memory, MallocAlignmentAndNonPositiveLengths) {
    EXPECT_EQ(ozrsMalloc_8u(0), nullptr);
    EXPECT_EQ(ozrsMalloc_8u(-5), nullptr);
    for (int len : {1, 63, 64, 4097}) {
        Ozr8u* p = ozrsMalloc_8u(len);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u);
        std::memset(p, 0x5a, static_cast<size_t>(len));
        ozrsFree(p);
    }
    ozrsFree(nullptr);
}

TEST(CoreSupport, ThreadSettingAndCacheQuery) {
    const int saved = ozrGetNumThreads();
    EXPECT_GE(saved, 1);
    EXPECT_EQ(ozrSetNumThreads(0), ozrStatusBadSize);
    EXPECT_EQ(ozrGetNumThreads(), saved);
    EXPECT_EQ(ozrSetNumThreads(3), ozrStatusOk);
    EXPECT_EQ(ownGetNumThreads(), 3);  // read at every call
    EXPECT_EQ(ozrSetNumThreads(saved), ozrStatusOk);
    int cache = 0;
    EXPECT_EQ(ozrGetMaxCacheSizeB(nullptr), ozrStatusNullPointer);
    ASSERT_EQ(ozrGetMaxCacheSizeB(&cache), ozrStatusOk);
    EXPECT_GE(cache, 16 * 1024);
}

TEST(VectorKernels, CopySetZero) {
    Rng rng;
    std::vector<Ozr8u> a(300), b(300, 0xEE);
    rng.bytes(a.data(), a.size());
    EXPECT_EQ(ozrsCopy_8u(a.data(), b.data() + 1, 257), ozrStatusOk);
    EXPECT_EQ(0, std::memcmp(a.data(), b.data() + 1, 257));
    EXPECT_EQ(b[0], 0xEE);
    EXPECT_EQ(b[258], 0xEE);
    EXPECT_EQ(ozrsSet_8u(7, b.data() + 3, 5), ozrStatusOk);
    EXPECT_EQ(b[2], a[1]);
    for (int i = 3; i < 8; ++i) EXPECT_EQ(b[i], 7);
    EXPECT_EQ(b[8], a[7]);
    EXPECT_EQ(ozrsZero_8u(b.data(), 2), ozrStatusOk);
    EXPECT_EQ(b[0], 0);
    EXPECT_EQ(b[1], 0);
    EXPECT_EQ(b[2], a[1]);
    std::vector<Ozr16s> s(10, -1);
    EXPECT_EQ(ozrsZero_16s(s.data() + 1, 8), ozrStatusOk);
    EXPECT_EQ(s[0], -1);
    EXPECT_EQ(s[9], -1);
    for (int i = 1; i < 9; ++i) EXPECT_EQ(s[i], 0);
}

// ------------------------------------------------------------ reverse division

// Exact model: round value/s to nearest, ties to even, in integers.
static Ozr16u divModel(unsigned value, unsigned s) {
    if (value == 0) return 0;
    if (s == 0) return 0xFFFF;
    if (s == 1) return static_cast<Ozr16u>(value);
    unsigned q = value / s, r = value % s;
    if (2 * r > s || (2 * r == s && (q & 1))) ++q;
    return static_cast<Ozr16u>(q > 32767 ? 32767 : q);
}

TEST(DivCRev, EdgeCasesOfTheValue) {
    Ozr16u v[3] = {0, 1, 3};
    EXPECT_EQ(ozrsDivCRev_16u_I(32768, v, 3), ozrStatusDivByZeroWarning);
    EXPECT_EQ(v[0], 65535);
    EXPECT_EQ(v[1], 32768);
    EXPECT_EQ(v[2], 10923);

    Ozr16u src[4] = {0, 5, 2, 9}, dst[4] = {1, 1, 1, 1};
    EXPECT_EQ(ozrsDivCRev_16u(src, 0, dst, 4), ozrStatusDivByZeroWarning);
    for (Ozr16u d : dst) EXPECT_EQ(d, 0);
    Ozr16u src2[2] = {5, 2};
    EXPECT_EQ(ozrsDivCRev_16u(src2, 0, dst, 2), ozrStatusOk);

    // Ties go to even: 5/2 = 2.5 -> 2, 7/2 = 3.5 -> 4; 65535/2 saturates.
    Ozr16u t[3] = {2, 2, 2};
    EXPECT_EQ(ozrsDivCRev_16u_I(5, t, 1), ozrStatusOk);
    EXPECT_EQ(t[0], 2);
    EXPECT_EQ(ozrsDivCRev_16u_I(7, t + 1, 1), ozrStatusOk);
    EXPECT_EQ(t[1], 4);
    EXPECT_EQ(ozrsDivCRev_16u_I(65535, t + 2, 1), ozrStatusOk);
    EXPECT_EQ(t[2], 32767);
}

TEST(DivCRev, EveryDivisorAgainstExactModel) {
    std::vector<Ozr16u> src(65536), dst(65536);
    for (int i = 0; i < 65536; ++i) src[i] = static_cast<Ozr16u>(i);
    for (unsigned value : {1u, 2u, 3u, 255u, 1000u, 16384u, 32767u, 32768u, 40001u, 65534u, 65535u}) {
        ASSERT_EQ(ozrsDivCRev_16u(src.data(), static_cast<Ozr16u>(value), dst.data(), 65536),
                  ozrStatusDivByZeroWarning);
        for (unsigned s = 0; s < 65536; ++s)
            ASSERT_EQ(dst[s], divModel(value, s)) << value << "/" << s;
    }
}

TEST(DivCRev, SimdMatchesScalarOnEveryLengthAndOffset) {
    Rng rng(7);
    std::vector<Ozr16u> src(80), a(80), b(80);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 3; ++off) {
            rng.fill(src.data(), src.size(), 0, n % 5 == 0 ? 3 : 65535);
            const Ozr16u value = static_cast<Ozr16u>(rng.range(0, 65535));
            bool zs = ozr::scalar::divCRev16u(src.data() + off, value, a.data() + off, n);
            bool zv = ozr::ssse3::divCRev16u(src.data() + off, value, b.data() + off, n);
            ASSERT_EQ(zs, zv);
            ASSERT_EQ(0, std::memcmp(a.data() + off, b.data() + off, 2 * n)) << n << " " << off;
        }
}

TEST(DivCRev, ParallelFormSameForAnyThreadCount) {
    Rng rng(9);
    for (int n : {2047, 2048, 4099}) {
        std::vector<Ozr16u> src(n);
        rng.fill(src.data(), n, 1, 65535);
        src[n - 1] = 0;  // the zero sits in the last share: still reported
        std::vector<Ozr16u> ref(n);
        {
            ThreadScope one(1);
            EXPECT_EQ(ozrsDivCRev_16u(src.data(), 51234, ref.data(), n), ozrStatusDivByZeroWarning);
        }
        for (int threads : {2, 3, 8}) {
            ThreadScope scope(threads);
            std::vector<Ozr16u> out(n);
            EXPECT_EQ(ozrsDivCRev_16u(src.data(), 51234, out.data(), n), ozrStatusDivByZeroWarning);
            EXPECT_EQ(out, ref) << n << " with " << threads;
        }
    }
}

// ------------------------------------------------------------ region kernels

TEST(Convert8u16u, RegionsOfEveryWidthAndTheFastCases) {
    Rng rng(3);
    for (int w = 1; w <= 64; ++w)
        for (int mis : {0, 1}) {
            const int h = 3;
            GuardedImage src(w + 3, h, 0, mis), dst(2 * w + 6, h, 0, mis);
            rng.bytes(src.mem.data(), src.mem.size());
            std::vector<uint8_t> before = dst.mem;
            ASSERT_EQ(ozriConvert_8u16u_C1R(src.data(), src.step, dst.as<Ozr16u>(), dst.step, {w, h}),
                      ozrStatusOk);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    Ozr16u got;
                    std::memcpy(&got, dst.data() + y * dst.step + 2 * x, 2);
                    ASSERT_EQ(got, src.data()[y * src.step + x]);
                }
            // Bytes outside the region are untouched.
            for (size_t i = 0; i < dst.mem.size(); ++i) {
                const long rel = static_cast<long>(i) - dst.offset;
                const bool inside = rel >= 0 && rel / dst.step < h && rel % dst.step < 2 * w;
                if (!inside) {
                    ASSERT_EQ(dst.mem[i], before[i]) << "w=" << w << " byte " << rel;
                }
            }
        }
    // Contiguous images convert as one long row; a region at least the size of
    // the cache is written with streaming stores.  Same values either way.
    int cache = 0;
    ASSERT_EQ(ozrGetMaxCacheSizeB(&cache), ozrStatusOk);
    const int w = 1031, h = cache / (3 * w) + 3;
    std::vector<Ozr8u> src(static_cast<size_t>(w) * h);
    rng.bytes(src.data(), src.size());
    for (int dstExtra : {0, 2}) {
        std::vector<Ozr16u> dst(static_cast<size_t>(w + 1) * h + 1, 0xBEEF);
        ASSERT_EQ(ozriConvert_8u16u_C1R(src.data(), w, dst.data() + 1, 2 * w + dstExtra, {w, h}),
                  ozrStatusOk);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                ASSERT_EQ(dst[1 + y * (w + dstExtra / 2) + x], src[y * w + x]);
        EXPECT_EQ(dst[0], 0xBEEF);
    }
}

TEST(Convert8u16u, SimdRowMatchesScalarRow) {
    Rng rng(4);
    std::vector<uint8_t> src(96);
    std::vector<uint16_t> a(100), b(100);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 4; ++off)
            for (bool nt : {false, true}) {
                rng.bytes(src.data(), src.size());
                ozr::scalar::convertRow8u16u(src.data() + off, a.data() + off, n);
                ozr::ssse3::convertRow8u16u(src.data() + off, b.data() + off, n, nt);
                ASSERT_EQ(0, std::memcmp(a.data() + off, b.data() + off, 2 * n));
            }
}

template <typename T>
static void checkRegionCopy(OzrStatus (*fn)(const T*, int, T*, int, OzriSize)) {
    Rng rng(5);
    for (int w = 1; w <= 40; w += 3) {
        const int h = 4;
        const int ss = static_cast<int>(sizeof(T)) * w + 4, ds = static_cast<int>(sizeof(T)) * w + 8;
        std::vector<uint8_t> src(ss * h), dst(ds * h + 8, 0x11), want;
        rng.bytes(src.data(), src.size());
        want = dst;
        for (int y = 0; y < h; ++y) std::memcpy(&want[y * ds], &src[y * ss], sizeof(T) * w);
        ASSERT_EQ(fn(reinterpret_cast<const T*>(src.data()), ss, reinterpret_cast<T*>(dst.data()), ds,
                     {w, h}),
                  ozrStatusOk);
        ASSERT_EQ(dst, want);
    }
}

TEST(RegionCopy, SixteenAndThirtyTwoBit) {
    checkRegionCopy<Ozr16s>(ozriCopy_16s_C1R);
    checkRegionCopy<Ozr32f>(ozriCopy_32f_C1R);
}

TEST(Zigzag, InverseReordersToNaturalOrderAlsoInPlace) {
    Ozr16s zz[64], nat[64];
    for (int i = 0; i < 64; ++i) zz[i] = static_cast<Ozr16s>(i * 3 - 90);
    ASSERT_EQ(ozriZigzagInv8x8_16s_C1(zz, nat), ozrStatusOk);
    // Natural row 0 starts 0,1,5,6 and row 1 starts 2,4,7 in zigzag terms.
    EXPECT_EQ(nat[0], zz[0]);
    EXPECT_EQ(nat[1], zz[1]);
    EXPECT_EQ(nat[8], zz[2]);
    EXPECT_EQ(nat[16], zz[3]);
    EXPECT_EQ(nat[9], zz[4]);
    EXPECT_EQ(nat[2], zz[5]);
    EXPECT_EQ(nat[63], zz[63]);
    for (int k = 0; k < 64; ++k) EXPECT_EQ(ozr::kZigzagPos[ozr::kZigzagNatural[k]], k);
    Ozr16s inPlace[64];
    std::memcpy(inPlace, zz, sizeof zz);
    ASSERT_EQ(ozriZigzagInv8x8_16s_C1(inPlace, inPlace), ozrStatusOk);
    EXPECT_EQ(0, std::memcmp(inPlace, nat, sizeof nat));
}

// ------------------------------------------------------------ bitwise family

TEST(Logic, ConstantAndImageFormsForEveryLayout) {
    Rng rng(11);
    const int w = 7, h = 3;
    std::vector<Ozr32s> a(w * 4 * h), b(w * 4 * h), d(w * 4 * h);
    const Ozr32s k[4] = {0x0F0F0F0F, -1, 0x12345678, 0x7FFF0000};
    const int step4 = w * 16;
    using ConstFn = OzrStatus (*)(const Ozr32s*, int, const Ozr32s*, Ozr32s*, int, OzriSize);
    using ImgFn = OzrStatus (*)(const Ozr32s*, int, const Ozr32s*, int, Ozr32s*, int, OzriSize);
    struct Case { const char* name; int stride, used; ConstFn c; ImgFn i; std::function<Ozr32s(Ozr32s, Ozr32s)> op; };
    const Case cases[] = {
        {"And C3", 3, 3, ownpi_AndC_32s_C3R, ownpi_And_32s_C3R, [](Ozr32s x, Ozr32s y) { return x & y; }},
        {"And C4", 4, 4, ownpi_AndC_32s_C4R, ownpi_And_32s_C4R, [](Ozr32s x, Ozr32s y) { return x & y; }},
        {"And AC4", 4, 3, ownpi_AndC_32s_AC4R, ownpi_And_32s_AC4R, [](Ozr32s x, Ozr32s y) { return x & y; }},
        {"Or C3", 3, 3, ownpi_OrC_32s_C3R, ownpi_Or_32s_C3R, [](Ozr32s x, Ozr32s y) { return x | y; }},
        {"Or C4", 4, 4, ownpi_OrC_32s_C4R, ownpi_Or_32s_C4R, [](Ozr32s x, Ozr32s y) { return x | y; }},
        {"Or AC4", 4, 3, ownpi_OrC_32s_AC4R, ownpi_Or_32s_AC4R, [](Ozr32s x, Ozr32s y) { return x | y; }},
        {"Xor C3", 3, 3, ownpi_XorC_32s_C3R, ownpi_Xor_32s_C3R, [](Ozr32s x, Ozr32s y) { return x ^ y; }},
        {"Xor C4", 4, 4, ownpi_XorC_32s_C4R, ownpi_Xor_32s_C4R, [](Ozr32s x, Ozr32s y) { return x ^ y; }},
        {"Xor AC4", 4, 3, ownpi_XorC_32s_AC4R, ownpi_Xor_32s_AC4R, [](Ozr32s x, Ozr32s y) { return x ^ y; }},
    };
    for (const Case& c : cases) {
        for (int form = 0; form < 2; ++form) {
            rng.fill(a.data(), a.size(), INT32_MIN, INT32_MAX);
            rng.fill(b.data(), b.size(), INT32_MIN, INT32_MAX);
            std::fill(d.begin(), d.end(), 0x55AA55AA);
            if (form == 0) c.c(a.data(), step4, k, d.data(), step4, {w, h});
            else c.i(a.data(), step4, b.data(), step4, d.data(), step4, {w, h});
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w * c.stride; ++x) {
                    const int ch = x % c.stride, at = y * w * 4 + x;
                    const Ozr32s want = ch < c.used ? c.op(a[at], form == 0 ? k[ch] : b[at]) : 0x55AA55AA;
                    ASSERT_EQ(d[at], want) << c.name << " form " << form;
                }
        }
    }
    // One-channel forms, and the exported in-place AND.
    rng.fill(a.data(), a.size(), INT32_MIN, INT32_MAX);
    std::vector<Ozr32s> keep = a;
    ownpi_XorC_32s_C1R(a.data(), w * 4, 0x00FF00FF, d.data(), w * 4, {w, h});
    ownpi_Or_32s_C1R(a.data(), w * 4, keep.data(), w * 4, b.data(), w * 4, {w, h});
    ASSERT_EQ(ozriAndC_32s_C1IR(0x00FFFF00, a.data(), w * 4, {w, h}), ozrStatusOk);
    for (int i = 0; i < w * h; ++i) {
        EXPECT_EQ(d[i], keep[i] ^ 0x00FF00FF);
        EXPECT_EQ(b[i], keep[i]);
        EXPECT_EQ(a[i], keep[i] & 0x00FFFF00);
    }
}

// ------------------------------------------------------------ threading policy

TEST(ParallelRows, ThresholdAndContiguousStaticShares) {
    for (int rows : {1, 2, 7, 100, 101}) {
        for (int n : {1, 2, 3, 8}) {
            int expectBegin = 0;
            for (int t = 0; t < n; ++t) {
                int b, e;
                ozr::staticShare(rows, n, t, &b, &e);
                EXPECT_EQ(b, expectBegin);
                EXPECT_LE(e - b, rows / n + 1);
                EXPECT_GE(e - b, rows / n);
                expectBegin = e;
            }
            EXPECT_EQ(expectBegin, rows);
        }
    }
    ThreadScope scope(4);
    struct Probe { int w, h; bool parallel; };
    for (Probe p : {Probe{4096, 2, false}, Probe{8192, 1, false}, Probe{8193, 1, true},
                    Probe{4097, 2, true}, Probe{1, 9000, true}}) {
        std::atomic<int> calls{0}, rowsSeen{0};
        ozr::parallelRows(p.w, p.h, [&](int y0, int y1) {
            calls++;
            rowsSeen += y1 - y0;
        });
        EXPECT_EQ(rowsSeen.load(), p.h);
        const int expectedCalls = p.parallel ? std::min(p.h, 4) : 1;
        EXPECT_EQ(calls.load(), expectedCalls) << p.w << "x" << p.h;
    }
    // Inside the caller's own parallel region the helper stays on its thread.
    std::atomic<int> nested{0};
#pragma omp parallel num_threads(2)
    ozr::parallelRows(100, 1000, [&](int, int) { nested++; });
    EXPECT_EQ(nested.load(), 2);
    // A product that wraps as a signed 32-bit value counts as what it wraps to.
    EXPECT_LT(ozr::regionPixels(65536, 65536), ozr::kParallelPixels);
}

// ------------------------------------------------------------ argument order
// Each row builds the call with the first k checks passing and every later
// one failing, so the expected status is that of check k.  Nothing may be
// written on an argument error.

namespace {
struct OrderCase {
    const char* name;
    std::vector<OzrStatus> order;                                   // statuses in check order
    std::function<OzrStatus(const std::vector<bool>& bad, Ozr8u* dst)> call;  // bad[i]: check i fails
};
}  // namespace

TEST(ArgumentOrder, EveryFrameFunctionChecksInItsOrder) {
    static Ozr8u srcMem[4096];
    auto P = [](bool bad, void* p) { return bad ? nullptr : p; };
    auto S = [](bool bad) { return bad ? 0 : 64; };
    auto Z = [](bool bad) { return bad ? OzriSize{0, 0} : OzriSize{4, 4}; };
    auto L = [](bool bad) { return bad ? 0 : 8; };
    const std::vector<OrderCase> cases = {
        {"Copy_8u", {-8, -8, -6}, [&](auto& b, Ozr8u* d) { return ozrsCopy_8u((Ozr8u*)P(b[0], srcMem), (Ozr8u*)P(b[1], d), L(b[2])); }},
        {"Set_8u", {-8, -6}, [&](auto& b, Ozr8u* d) { return ozrsSet_8u(1, (Ozr8u*)P(b[0], d), L(b[1])); }},
        {"Zero_8u", {-8, -6}, [&](auto& b, Ozr8u* d) { return ozrsZero_8u((Ozr8u*)P(b[0], d), L(b[1])); }},
        {"Zero_16s", {-8, -6}, [&](auto& b, Ozr8u* d) { return ozrsZero_16s((Ozr16s*)P(b[0], d), L(b[1])); }},
        {"DivCRev_16u", {-8, -8, -6}, [&](auto& b, Ozr8u* d) { return ozrsDivCRev_16u((Ozr16u*)P(b[0], srcMem), 9, (Ozr16u*)P(b[1], d), L(b[2])); }},
        {"DivCRev_16u_I", {-8, -6}, [&](auto& b, Ozr8u* d) { return ozrsDivCRev_16u_I(9, (Ozr16u*)P(b[0], d), L(b[1])); }},
        {"Convert_8u16u", {-8, -8, -6, -14, -14}, [&](auto& b, Ozr8u* d) { return ozriConvert_8u16u_C1R((Ozr8u*)P(b[0], srcMem), S(b[3]), (Ozr16u*)P(b[1], d), S(b[4]), Z(b[2])); }},
        {"Copy_16s", {-8, -8, -6}, [&](auto& b, Ozr8u* d) { return ozriCopy_16s_C1R((Ozr16s*)P(b[0], srcMem), 64, (Ozr16s*)P(b[1], d), 64, Z(b[2])); }},
        {"Copy_32f", {-8, -8, -6}, [&](auto& b, Ozr8u* d) { return ozriCopy_32f_C1R((Ozr32f*)P(b[0], srcMem), 64, (Ozr32f*)P(b[1], d), 64, Z(b[2])); }},
        {"ZigzagInv", {-8, -8}, [&](auto& b, Ozr8u* d) { return ozriZigzagInv8x8_16s_C1((Ozr16s*)P(b[0], srcMem), (Ozr16s*)P(b[1], d)); }},
        {"AndC_C1R", {-8, -8, -14, -14, -6}, [&](auto& b, Ozr8u* d) { return ozriAndC_32s_C1R((Ozr32s*)P(b[0], srcMem), S(b[2]), 3, (Ozr32s*)P(b[1], d), S(b[3]), Z(b[4])); }},
        {"AndC_C1IR", {-8, -14, -6}, [&](auto& b, Ozr8u* d) { return ozriAndC_32s_C1IR(3, (Ozr32s*)P(b[0], d), S(b[1]), Z(b[2])); }},
    };
    for (const OrderCase& c : cases) {
        const size_t n = c.order.size();
        for (size_t k = 0; k < n; ++k) {
            std::vector<bool> bad(n, false);
            for (size_t j = k; j < n; ++j) bad[j] = true;
            std::vector<Ozr8u> dst(4096, 0xC3);
            EXPECT_EQ(c.call(bad, dst.data()), c.order[k]) << c.name << " check " << k;
            EXPECT_EQ(std::count(dst.begin(), dst.end(), 0xC3), 4096) << c.name << " wrote on error";
        }
        std::vector<Ozr8u> dst(4096, 0xC3);
        EXPECT_GE(c.call(std::vector<bool>(n, false), dst.data()), 0) << c.name;
    }
}
