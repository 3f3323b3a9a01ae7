// PackBits row coding: packer and unpacker against independent models on rows
// of controlled run structure, the packet-format corner cases, overruns and
// where they leave the positions, and the argument-check order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "test_util.h"
#include "tiff/packbits.h"

using namespace ozrtest;
using Bytes = std::vector<uint8_t>;

namespace {

// Packer model over maximal runs instead of byte positions.  A packet that
// starts with two or more bytes of one run replicates them (128 at most).
// Otherwise a literal starts with that single byte and absorbs whole runs of
// one byte, and of two bytes unless the pair ends the row; a run of three or
// more ends it, as do 128 bytes (which may split a pair).
Bytes modelPack(const Bytes& row) {
    std::vector<std::pair<uint8_t, int>> runs;
    for (uint8_t b : row) {
        if (!runs.empty() && runs.back().first == b)
            ++runs.back().second;
        else
            runs.push_back({b, 1});
    }
    Bytes out;
    size_t r = 0;
    int left = runs.empty() ? 0 : runs[0].second;  // bytes of runs[r] not yet coded
    auto next = [&] { left = ++r < runs.size() ? runs[r].second : 0; };
    while (r < runs.size()) {
        if (left >= 2) {
            const int k = std::min(left, 128);
            out.push_back(static_cast<uint8_t>(1 - k));
            out.push_back(runs[r].first);
            left -= k;
            if (left == 0) next();
            continue;
        }
        Bytes lit{runs[r].first};
        next();
        while (r < runs.size() && lit.size() < 128) {
            if (left >= 3 || (left == 2 && r + 1 == runs.size())) break;
            const int take = std::min(left, 128 - static_cast<int>(lit.size()));
            lit.insert(lit.end(), static_cast<size_t>(take), runs[r].first);
            left -= take;
            if (left) break;
            next();
        }
        out.push_back(static_cast<uint8_t>(lit.size() - 1));
        out.insert(out.end(), lit.begin(), lit.end());
    }
    return out;
}

// Unpacker model: appends to a vector and checks the limits after parsing.
struct Unpacked {
    OzrStatus status;
    int pos;
    Bytes out;
};
Unpacked modelUnpack(const Bytes& src, int pos, int rowLen) {
    Unpacked u{ozrStatusRowOverrun, pos, {}};
    if (pos < 0) return u;
    const int n = static_cast<int>(src.size());
    while (u.pos < n) {
        const int8_t h = static_cast<int8_t>(src[u.pos++]);
        if (h == -128) continue;
        const int room = rowLen - static_cast<int>(u.out.size());
        if (h < 0) {
            if (1 - h > room || u.pos == n) return u;
            u.out.insert(u.out.end(), static_cast<size_t>(1 - h), src[u.pos++]);
        } else {
            if (h + 1 > room || u.pos + h + 1 > n) return u;
            u.out.insert(u.out.end(), src.begin() + u.pos, src.begin() + u.pos + h + 1);
            u.pos += h + 1;
        }
        if (static_cast<int>(u.out.size()) == rowLen) {
            u.status = ozrStatusOk;
            return u;
        }
    }
    return u;
}

// Rows built from runs whose lengths follow one of several patterns.
enum class Shape { Noise, ShortRuns, LongRuns, TwoSymbols, Mixed, kCount };
Bytes shapedRow(Rng& rng, int n, Shape shape) {
    Bytes row;
    while (static_cast<int>(row.size()) < n) {
        int len = 1;
        uint8_t v = static_cast<uint8_t>(rng.u32());
        switch (shape) {
            case Shape::Noise: break;
            case Shape::ShortRuns: len = rng.range(1, 3), v &= 3; break;
            case Shape::LongRuns: len = rng.range(1, 300); break;
            case Shape::TwoSymbols: v = 'a' + (v & 1); break;
            default: len = rng.range(0, 3) ? 1 : rng.range(1, 140);
        }
        row.insert(row.end(), static_cast<size_t>(std::min(len, n - static_cast<int>(row.size()))), v);
    }
    return row;
}

// Packs with the exported function into a buffer of exactly startPos + room
// bytes (so ASan sees any write past the room).
OzrStatus pack(const Bytes& row, int startPos, int room, Bytes* out, int* pos) {
    out->assign(static_cast<size_t>(startPos + room), 0xCC);
    *pos = startPos;
    return ozriPackBitsRow_TIFF_8u_C1(row.data(), static_cast<int>(row.size()), out->data(), pos, room);
}

}  // namespace

TEST(PackBits, FormatCornerCases) {
    Bytes run129(129, 7), run130(130, 9), ramp129(129), ramp127pair(129);
    for (int i = 0; i < 129; ++i) ramp129[i] = ramp127pair[i] = static_cast<uint8_t>(i);
    ramp127pair[127] = ramp127pair[128] = 200;  // 0 .. 126 then the pair 200 200 ends the row
    Bytes ramp129Packed{0x7F};
    ramp129Packed.insert(ramp129Packed.end(), ramp129.begin(), ramp129.begin() + 128);
    ramp129Packed.insert(ramp129Packed.end(), {0x00, 128});
    Bytes pairEndPacked{0x7E};
    pairEndPacked.insert(pairEndPacked.end(), ramp127pair.begin(), ramp127pair.begin() + 127);
    pairEndPacked.insert(pairEndPacked.end(), {0xFF, 200});
    const struct { Bytes row, packed; } cases[] = {
        {{0x41}, {0x00, 0x41}},
        {{0x41, 0x41}, {0xFF, 0x41}},
        {{0x42, 0x41, 0x41, 0x43}, {0x03, 0x42, 0x41, 0x41, 0x43}},  // a pair stays inside a literal
        {{0x42, 0x41, 0x41, 0x41}, {0x00, 0x42, 0xFE, 0x41}},        // three equal end it
        {{0x42, 0x41, 0x41}, {0x00, 0x42, 0xFF, 0x41}},              // so does the row's last pair
        {{0x41, 0x41, 0x42, 0x43, 0x43, 0x44}, {0xFF, 0x41, 0x03, 0x42, 0x43, 0x43, 0x44}},
        {{5, 5, 5, 6}, {0xFE, 5, 0x00, 6}},
        {Bytes(128, 3), {0x81, 3}},
        {run129, {0x81, 7, 0x00, 7}},
        {run130, {0x81, 9, 0xFF, 9}},
        {ramp129, ramp129Packed},  // a literal stops at 128 bytes
        {ramp127pair, pairEndPacked},
    };
    for (const auto& c : cases) {
        Bytes out;
        int pos = 0;
        ASSERT_EQ(pack(c.row, 0, 512, &out, &pos), ozrStatusOk);
        out.resize(static_cast<size_t>(pos));
        EXPECT_EQ(out, c.packed) << "row of " << c.row.size();
        EXPECT_EQ(modelPack(c.row), c.packed) << "model, row of " << c.row.size();
    }
}

TEST(PackBits, PackMatchesRunModelAndRoundTrips) {
    Rng rng(81);
    std::vector<int> lengths;
    for (int n = 1; n <= 300; ++n) lengths.push_back(n);
    for (int k = 0; k < 6; ++k) lengths.push_back(rng.range(1000, 9000));
    for (int n : lengths)
        for (int s = 0; s < static_cast<int>(Shape::kCount); ++s) {
            const Bytes row = shapedRow(rng, n, static_cast<Shape>(s));
            const Bytes want = modelPack(row);
            Bytes out, ref(want.size() + 16);
            int pos = 0, refPos = 0;
            ASSERT_EQ(pack(row, 0, 2 * n + 2, &out, &pos), ozrStatusOk);
            out.resize(static_cast<size_t>(pos));
            ASSERT_EQ(out, want) << "n=" << n << " shape " << s;
            ASSERT_EQ(ozr::tiff::scalar::packBitsRow(row.data(), n, ref.data(), &refPos, 1 << 20), ozrStatusOk);
            ref.resize(static_cast<size_t>(refPos));
            ASSERT_EQ(ref, want);
            Bytes back(static_cast<size_t>(n));
            int srcPos = 0;
            ASSERT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(out.data(), &srcPos, pos, back.data(), n), ozrStatusOk);
            ASSERT_EQ(srcPos, pos);
            ASSERT_EQ(back, row);
        }
}

// The eight-at-a-time plan against the byte-by-byte definition, from every
// alignment, on exactly-sized copies so that a read past the row is caught.
TEST(PackBits, WordPlanEqualsBytePlanAtEveryLengthAndAlignment) {
    Rng rng(82);
    for (int n = 1; n <= 300; ++n)
        for (int s = 0; s < static_cast<int>(Shape::kCount); ++s) {
            const Bytes row = shapedRow(rng, n + 7, static_cast<Shape>(s));
            for (int off = 0; off < 8; ++off) {
                std::unique_ptr<uint8_t[]> exact(new uint8_t[n]);
                std::memcpy(exact.get(), row.data() + off, static_cast<size_t>(n));
                const ozr::tiff::Packet a = ozr::tiff::scalar::planPacket(exact.get(), n);
                const ozr::tiff::Packet b = ozr::tiff::wide::planPacket(exact.get(), n);
                ASSERT_EQ(a.count, b.count) << "n=" << n << " off=" << off << " shape " << s;
                ASSERT_EQ(a.run, b.run);
            }
        }
}

TEST(PackBits, OverrunKeepsCompletedPacketsAndWritesNothingMore) {
    Rng rng(83);
    for (int n : {1, 2, 5, 130, 257, 400})
        for (int s = 0; s < static_cast<int>(Shape::kCount); ++s) {
            const Bytes row = shapedRow(rng, n, static_cast<Shape>(s));
            const Bytes want = modelPack(row);
            std::vector<int> ends;  // output size after each packet
            for (size_t i = 0; i < want.size();) {
                const int8_t h = static_cast<int8_t>(want[i]);
                i += h < 0 ? 2 : 2 + static_cast<size_t>(h);
                ends.push_back(static_cast<int>(i));
            }
            const int total = static_cast<int>(want.size());
            for (int room = 1; room <= total + 1; ++room) {
                Bytes out;
                int pos = 0;
                const OzrStatus st = pack(row, 3, room, &out, &pos);
                int expect = 0;  // the packets that fit whole
                for (size_t k = 0; k < ends.size() && ends[k] <= room; ++k) expect = ends[k];
                ASSERT_EQ(st, room >= total ? ozrStatusOk : ozrStatusRowOverrun) << n << " room " << room;
                ASSERT_EQ(pos, 3 + expect) << n << " room " << room;
                ASSERT_TRUE(std::equal(want.begin(), want.begin() + expect, out.begin() + 3));
                ASSERT_TRUE(std::all_of(out.begin(), out.begin() + 3, [](uint8_t b) { return b == 0xCC; }));
                ASSERT_TRUE(std::all_of(out.begin() + pos, out.end(), [](uint8_t b) { return b == 0xCC; }));
            }
        }
}

TEST(UnpackBits, OverrunStatusesAndWhereTheIndexIsLeft) {
    const struct {
        Bytes src;
        int pos, rowLen;
        OzrStatus st;
        int endPos;
        Bytes out;
    } cases[] = {
        {{0x80, 0x00, 0x41}, 0, 1, ozrStatusOk, 3, {0x41}},                    // no-op skipped
        {{0x00, 0x41, 0xFF, 0x42}, 0, 1, ozrStatusOk, 2, {0x41}},              // stops at the row end
        {{0x01, 0x41, 0x42}, 0, 1, ozrStatusRowOverrun, 1, {}},                // literal longer than the row
        {{0xFE, 0x41}, 0, 2, ozrStatusRowOverrun, 1, {}},                      // run longer than the row
        {{0x00, 0x41, 0x02, 0x42, 0x43}, 0, 4, ozrStatusRowOverrun, 3, {0x41}},  // source ends inside a literal
        {{0x00, 0x41, 0xFF}, 0, 3, ozrStatusRowOverrun, 3, {0x41}},            // run without its value byte
        {{0x00, 0x41}, 0, 2, ozrStatusRowOverrun, 2, {0x41}},                  // source ends between packets
        {{0x80, 0x80}, 0, 1, ozrStatusRowOverrun, 2, {}},                      // nothing but no-ops
        {{0x00, 0x41}, 2, 1, ozrStatusRowOverrun, 2, {}},                      // index already at the end
        {{0x00, 0x41}, 9, 1, ozrStatusRowOverrun, 9, {}},                      // or past it
        {{0x00, 0x41}, -1, 1, ozrStatusRowOverrun, -1, {}},                    // or before the source
        {{0x81, 0x5A}, 0, 128, ozrStatusOk, 2, Bytes(128, 0x5A)},              // longest run
        {{0x00, 0x41, 0x00, 0x42}, 2, 1, ozrStatusOk, 4, {0x42}},              // starts at the index
    };
    for (const auto& c : cases) {
        std::unique_ptr<uint8_t[]> src(new uint8_t[c.src.size()]);
        std::memcpy(src.get(), c.src.data(), c.src.size());
        Bytes dst(static_cast<size_t>(c.rowLen), 0xCC), want = c.out;
        want.resize(dst.size(), 0xCC);
        int pos = c.pos;
        EXPECT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(src.get(), &pos, static_cast<int>(c.src.size()), dst.data(), c.rowLen),
                  c.st);
        EXPECT_EQ(pos, c.endPos);
        EXPECT_EQ(dst, want);
    }
}

// Arbitrary packet streams, mostly well formed, against the model: status,
// index and every destination byte (the destination is exactly the row).
TEST(UnpackBits, MatchesModelOnRandomStreams) {
    Rng rng(84);
    for (int iter = 0; iter < 4000; ++iter) {
        Bytes src;
        const int packets = rng.range(1, 12);
        for (int p = 0; p < packets; ++p) {
            const int kind = rng.range(0, 9);
            if (kind == 0) {
                src.push_back(0x80);
            } else if (kind < 5) {
                src.push_back(static_cast<uint8_t>(-rng.range(1, 127)));
                src.push_back(static_cast<uint8_t>(rng.u32()));
            } else {
                const int n = rng.range(0, kind == 9 ? 127 : 8);
                src.push_back(static_cast<uint8_t>(n));
                for (int i = 0; i <= n; ++i) src.push_back(static_cast<uint8_t>(rng.u32()));
            }
        }
        if (rng.range(0, 3) == 0) src.resize(static_cast<size_t>(rng.range(1, static_cast<int>(src.size()))));
        const int srcLen = static_cast<int>(src.size());
        const int start = rng.range(0, 7) ? 0 : rng.range(-1, srcLen + 1);
        // Half the rows are as long as the whole stream decodes to, so that
        // most of those calls succeed.
        const int whole = static_cast<int>(modelUnpack(src, start, 1 << 20).out.size());
        const int rowLen = rng.range(0, 1) ? rng.range(1, 600) : std::max(1, whole);
        const Unpacked m = modelUnpack(src, start, rowLen);
        std::unique_ptr<uint8_t[]> s(new uint8_t[srcLen]), d(new uint8_t[rowLen]);
        std::memcpy(s.get(), src.data(), src.size());
        std::memset(d.get(), 0xCC, static_cast<size_t>(rowLen));
        int pos = start;
        ASSERT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(s.get(), &pos, srcLen, d.get(), rowLen), m.status) << iter;
        ASSERT_EQ(pos, m.pos) << iter;
        Bytes wantDst = m.out;
        wantDst.resize(static_cast<size_t>(rowLen), 0xCC);
        ASSERT_EQ(0, std::memcmp(d.get(), wantDst.data(), static_cast<size_t>(rowLen))) << iter;
    }
}

// Rows packed one after another into one buffer unpack one call per row, each
// call leaving the index at the next row's first packet.
TEST(UnpackBits, RowsChainThroughOneStrip) {
    Rng rng(85);
    const int width = 333, height = 12;
    std::vector<Bytes> rows;
    Bytes strip(static_cast<size_t>(height) * (width + 8));
    int pos = 0;
    std::vector<int> starts;
    for (int y = 0; y < height; ++y) {
        rows.push_back(shapedRow(rng, width, static_cast<Shape>(y % static_cast<int>(Shape::kCount))));
        starts.push_back(pos);
        if (y % 3 == 1) strip[static_cast<size_t>(pos++)] = 0x80;  // a no-op heading a row
        ASSERT_EQ(ozriPackBitsRow_TIFF_8u_C1(rows[y].data(), width, strip.data(), &pos,
                                             static_cast<int>(strip.size()) - pos),
                  ozrStatusOk);
    }
    starts.push_back(pos);
    int at = 0;
    Bytes row(static_cast<size_t>(width));
    for (int y = 0; y < height; ++y) {
        ASSERT_EQ(at, starts[y]);
        ASSERT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(strip.data(), &at, pos, row.data(), width), ozrStatusOk);
        ASSERT_EQ(row, rows[y]) << y;
    }
    EXPECT_EQ(at, pos);
    EXPECT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(strip.data(), &at, pos, row.data(), width), ozrStatusRowOverrun);
    EXPECT_EQ(at, pos);
}

// Each case breaks the arguments in one or more ways; the first failing check
// in the documented order decides, and nothing is written.
TEST(ArgumentOrder, PackAndUnpackCheckInTheirOrder) {
    Bytes src{0x00, 0x41}, dst(4, 0xCC);
    int pos = 0;
    struct Case {
        bool src, pos, dst;
        int srcLen, dstLen;
        OzrStatus st;
    };
    const Case cases[] = {
        {false, false, false, 0, 0, ozrStatusNullPointer},  // source first
        {true, false, false, 0, 0, ozrStatusNullPointer},   // then the position
        {true, true, false, 0, 0, ozrStatusNullPointer},    // then the destination
        {true, true, true, 0, 0, ozrStatusBadSize},         // then the lengths
        {true, true, true, -3, 4, ozrStatusBadSize},
        {true, true, true, 2, 0, ozrStatusBadSize},
        {true, true, true, 2, -1, ozrStatusBadSize},
    };
    for (const Case& c : cases) {
        int* p = c.pos ? &pos : nullptr;
        pos = 1;
        EXPECT_EQ(ozriPackBitsRow_TIFF_8u_C1(c.src ? src.data() : nullptr, c.srcLen, c.dst ? dst.data() : nullptr,
                                             p, c.dstLen),
                  c.st);
        EXPECT_EQ(pos, 1);
        EXPECT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(c.src ? src.data() : nullptr, p, c.srcLen,
                                               c.dst ? dst.data() : nullptr, c.dstLen),
                  c.st);
        EXPECT_EQ(pos, 1);
        EXPECT_EQ(dst, Bytes(4, 0xCC));
    }
}
