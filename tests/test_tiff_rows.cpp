// 16-bit row split into byte planes and join back: the SIMD kernels against
// their scalar twins, the exported functions against the samples' bytes in
// memory, and the argument-check order.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "test_util.h"
#include "tiff/rows.h"

using namespace ozrtest;

TEST(SplitJoin, SimdMatchesScalarOnEveryWidthAndAlignment) {
    Rng rng(91);
    std::vector<uint16_t> s16(72), a16(72), b16(72);
    std::vector<uint8_t> s8(2 * 72), a8(2 * 72), b8(2 * 72);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 4; ++off) {
            // Element offsets misalign the 16-bit rows; the planes get odd and
            // even byte offsets of their own.
            const int p0 = off, p1 = 72 + (off ^ 1);
            rng.fill(s16.data(), s16.size(), 0, 65535);
            rng.bytes(s8.data(), s8.size());
            rng.bytes(a8.data(), a8.size());
            b8 = a8;
            ozr::tiff::scalar::splitRow(&s16[off], &a8[p0], &a8[p1], n);
            ozr::tiff::ssse3::splitRow(&s16[off], &b8[p0], &b8[p1], n);
            ASSERT_EQ(a8, b8) << "split n=" << n << " off=" << off;
            rng.fill(a16.data(), a16.size(), 0, 65535);
            b16 = a16;
            ozr::tiff::scalar::joinRow(&s8[p0], &s8[p1], &a16[off], n);
            ozr::tiff::ssse3::joinRow(&s8[p0], &s8[p1], &b16[off], n);
            ASSERT_EQ(a16, b16) << "join n=" << n << " off=" << off;
        }
}

// Plane 0 gets byte 2i + 1 of the row in memory and plane 1 byte 2i; only the
// first n bytes of each plane (and n samples on the way back) are written.
TEST(SplitJoin, PlanesHoldTheSamplesBytesAndRoundTrip) {
    Rng rng(92);
    for (int n : {1, 7, 16, 17, 100, 1000}) {
        std::vector<Ozr16u> row(static_cast<size_t>(n));
        rng.fill(row.data(), row.size(), 0, 65535);
        std::vector<Ozr8u> hi(static_cast<size_t>(n) + 1, 0xEE), lo(static_cast<size_t>(n) + 1, 0xEE);
        Ozr8u* planes[2] = {hi.data(), lo.data()};
        ASSERT_EQ(ozriSplitRow_TIFF_16u8u_C1(row.data(), planes, n), ozrStatusOk);
        const auto* bytes = reinterpret_cast<const uint8_t*>(row.data());
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(hi[i], bytes[2 * i + 1]);
            ASSERT_EQ(lo[i], bytes[2 * i]);
        }
        EXPECT_EQ(hi[n], 0xEE);
        EXPECT_EQ(lo[n], 0xEE);
        std::vector<Ozr16u> back(static_cast<size_t>(n) + 1, 0xBEEF);
        const Ozr8u* in[2] = {hi.data(), lo.data()};
        ASSERT_EQ(ozriJoinRow_TIFF_8u16u_C1(in, back.data(), n), ozrStatusOk);
        EXPECT_EQ(back[n], 0xBEEF);
        back.resize(static_cast<size_t>(n));
        EXPECT_EQ(back, row);
    }
    const Ozr8u p0 = 0x12, p1 = 0x34;
    const Ozr8u* in[2] = {&p0, &p1};
    Ozr16u s = 0;
    ASSERT_EQ(ozriJoinRow_TIFF_8u16u_C1(in, &s, 1), ozrStatusOk);
    EXPECT_EQ(s, 0x1234);
}

// Source, then destination (the array, never its planes), then the length,
// which reports the step status.  Nothing is written on an error.
TEST(ArgumentOrder, SplitAndJoinCheckInTheirOrder) {
    Ozr16u row[2] = {0x1234, 0x5678};
    Ozr8u hi[2] = {0xEE, 0xEE}, lo[2] = {0xEE, 0xEE};
    Ozr8u* planes[2] = {hi, lo};
    Ozr8u* nullPlanes[2] = {nullptr, nullptr};
    const Ozr8u* in[2] = {hi, lo};
    const Ozr8u* nullIn[2] = {nullptr, nullptr};
    const struct {
        bool src, dst, nullInside;
        int len;
        OzrStatus st;
    } cases[] = {
        {false, false, false, 0, ozrStatusNullPointer},
        {true, false, false, 0, ozrStatusNullPointer},
        {true, true, false, 0, ozrStatusBadStep},
        {true, true, false, -1, ozrStatusBadStep},
        {true, true, true, 0, ozrStatusBadStep},  // null planes are not what the checks see
        {false, true, true, 2, ozrStatusNullPointer},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ozriSplitRow_TIFF_16u8u_C1(c.src ? row : nullptr,
                                             c.dst ? (c.nullInside ? nullPlanes : planes) : nullptr, c.len),
                  c.st);
        EXPECT_EQ(ozriJoinRow_TIFF_8u16u_C1(c.src ? (c.nullInside ? nullIn : in) : nullptr, c.dst ? row : nullptr,
                                            c.len),
                  c.st);
        EXPECT_EQ(hi[0] & hi[1] & lo[0] & lo[1], 0xEE);
        EXPECT_EQ(row[0], 0x1234);
        EXPECT_EQ(row[1], 0x5678);
    }
}
