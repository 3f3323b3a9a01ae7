// Lossless JPEG: prediction against an independent formula, forward then
// inverse is the identity, argument order, and row coding round trips
// through the library's encoder and decoder (1..6 components, category 16,
// markers, exhausted buffers).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "jpeg/huffdec.h"
#include "jpeg/huffenc.h"
#include "jpeg/lossless.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

// The prediction written out from the standard's table with explicit floor
// halving on 64-bit values; the difference is taken modulo 65536.
int64_t floorHalf(int64_t v) { return v >= 0 ? v / 2 : -((-v + 1) / 2); }
int64_t reference(int pred, int64_t a, int64_t b, int64_t c) {
    switch (pred) {
        case 1: return a;
        case 2: return b;
        case 3: return c;
        case 4: return a + b - c;
        case 5: return a + floorHalf(b - c);
        case 6: return b + floorHalf(a - c);
        default: return floorHalf(a + b);
    }
}
Ozr16s mod16(int64_t v) { return static_cast<Ozr16s>(static_cast<uint16_t>(v & 0xFFFF)); }

}  // namespace

TEST(LosslessPredict, MatchesFormulaAndInvertsForEveryPredictorAndWidth) {
    Rng rng(31);
    for (int width = 1; width <= 64; ++width) {
        for (int misalign = 0; misalign < 2; ++misalign) {  // odd element addresses too
            std::vector<Ozr16s> mem(3 * (width + 2) + 8);
            Ozr16s* prev = mem.data() + misalign;
            Ozr16s* cur = prev + width + 1;
            std::vector<Ozr16s> diff(width + 1), back(width + 1);
            // Full 16-bit range, and narrow ranges where the halving matters.
            const bool full = width % 2;
            for (int i = 0; i < width; ++i) {
                prev[i] = static_cast<Ozr16s>(full ? rng.u32() : rng.range(-3, 3));
                cur[i] = static_cast<Ozr16s>(full ? rng.u32() : rng.range(-3, 3));
            }
            for (int pred = 1; pred <= 7; ++pred) {
                diff[width] = 0x7777;
                ASSERT_EQ(ozriDiffPredRow_JPEG_16s_C1(cur, prev, diff.data(), width, pred), ozrStatusOk);
                EXPECT_EQ(diff[width], 0x7777);  // nothing past the row
                EXPECT_EQ(diff[0], mod16(int64_t(cur[0]) - prev[0]));
                for (int i = 1; i < width; ++i)
                    ASSERT_EQ(diff[i], mod16(cur[i] - reference(pred, cur[i - 1], prev[i], prev[i - 1])))
                        << "predictor " << pred << " column " << i;
                ASSERT_EQ(ozriReconstructPredRow_JPEG_16s_C1(diff.data(), prev, back.data(), width, pred),
                          ozrStatusOk);
                ASSERT_EQ(0, std::memcmp(back.data(), cur, width * sizeof(Ozr16s))) << pred;
                // In place, both ways.
                std::vector<Ozr16s> inplace(cur, cur + width);
                ASSERT_EQ(ozriDiffPredRow_JPEG_16s_C1(inplace.data(), prev, inplace.data(), width, pred),
                          ozrStatusOk);
                ASSERT_EQ(0, std::memcmp(inplace.data(), diff.data(), width * sizeof(Ozr16s)));
                ASSERT_EQ(ozriReconstructPredRow_JPEG_16s_C1(inplace.data(), prev, inplace.data(), width, pred),
                          ozrStatusOk);
                ASSERT_EQ(0, std::memcmp(inplace.data(), cur, width * sizeof(Ozr16s)));
            }
            for (int P = 2; P <= 16; ++P) {
                for (int Pt : {0, 1, P - 1, P, P + 3}) {
                    ASSERT_EQ(ozriDiffPredFirstRow_JPEG_16s_C1(cur, diff.data(), width, P, Pt), ozrStatusOk);
                    const int64_t base = P - Pt - 1 >= 0 ? (int64_t(1) << (P - Pt - 1)) : 0;
                    EXPECT_EQ(diff[0], mod16(cur[0] - base));
                    for (int i = 1; i < width; ++i) ASSERT_EQ(diff[i], mod16(int64_t(cur[i]) - cur[i - 1]));
                    ASSERT_EQ(ozriReconstructPredFirstRow_JPEG_16s_C1(diff.data(), back.data(), width, P, Pt),
                              ozrStatusOk);
                    ASSERT_EQ(0, std::memcmp(back.data(), cur, width * sizeof(Ozr16s)));
                }
            }
        }
    }
}

TEST(LosslessPredict, NamedCases) {
    // Predictor 7 halves by floor: Ra = -1, Rb = 0 predicts -1.
    const Ozr16s prev[2] = {0, 0}, cur[2] = {-1, 5};
    Ozr16s d[2];
    ASSERT_EQ(ozriDiffPredRow_JPEG_16s_C1(cur, prev, d, 2, 7), ozrStatusOk);
    EXPECT_EQ(d[1], 6);
    // Samples of 32768 and above take part as negative values: Ra = 40000
    // (-25536), Rb = 1000 predict (-24536 >> 1) = -12268, i.e. 53268, where
    // unsigned arithmetic would give 20500.
    const Ozr16s prevBig[2] = {0, 1000}, curBig[2] = {static_cast<Ozr16s>(40000), static_cast<Ozr16s>(53268)};
    ASSERT_EQ(ozriDiffPredRow_JPEG_16s_C1(curBig, prevBig, d, 2, 7), ozrStatusOk);
    EXPECT_EQ(d[1], 0);
    // First sample: 128 for P = 8; 32768 for P = 16, so 0 gives -32768.
    const Ozr16s s0[1] = {0};
    ASSERT_EQ(ozriDiffPredFirstRow_JPEG_16s_C1(s0, d, 1, 8, 0), ozrStatusOk);
    EXPECT_EQ(d[0], -128);
    ASSERT_EQ(ozriDiffPredFirstRow_JPEG_16s_C1(s0, d, 1, 16, 0), ozrStatusOk);
    EXPECT_EQ(d[0], -32768);
    ASSERT_EQ(ozriDiffPredFirstRow_JPEG_16s_C1(s0, d, 1, 12, 3), ozrStatusOk);
    EXPECT_EQ(d[0], -256);
    // Width 1 yields only the column-0 difference (predicted from above).
    const Ozr16s up[1] = {100}, x[1] = {90};
    for (int pred = 1; pred <= 7; ++pred) {
        d[1] = 0x3333;
        ASSERT_EQ(ozriDiffPredRow_JPEG_16s_C1(x, up, d, 1, pred), ozrStatusOk);
        EXPECT_EQ(d[0], -10);
        EXPECT_EQ(d[1], 0x3333);
    }
}

TEST(LosslessArgs, PredictionCheckOrder) {
    const Ozr16s src[4] = {1, 2, 3, 4}, prev[4] = {0};
    struct Case {
        const char* what;
        bool srcNull, prevNull, dstNull;
        int width, P, Pt, pred;
        OzrStatus first, row;
    };
    const Case cases[] = {
        {"valid", false, false, false, 4, 8, 0, 1, ozrStatusOk, ozrStatusOk},
        {"src before everything", true, true, true, 0, 1, -1, 0, ozrStatusNullPointer, ozrStatusNullPointer},
        {"prev before dst", false, true, true, 0, 1, -1, 0, ozrStatusNullPointer, ozrStatusNullPointer},
        {"dst before width", false, false, true, 0, 1, -1, 0, ozrStatusNullPointer, ozrStatusNullPointer},
        {"width before arguments", false, false, false, 0, 1, -1, 0, ozrStatusBadSize, ozrStatusBadSize},
        {"P low", false, false, false, 4, 1, 0, 0, ozrStatusBadArgument, ozrStatusBadArgument},
        {"P high", false, false, false, 4, 17, 0, 8, ozrStatusBadArgument, ozrStatusBadArgument},
        {"Pt negative", false, false, false, 4, 8, -1, 7, ozrStatusBadArgument, ozrStatusOk},
    };
    for (const Case& c : cases) {
        for (int fn = 0; fn < 4; ++fn) {
            Ozr16s dst[4] = {9, 9, 9, 9};
            const Ozr16s* s = c.srcNull ? nullptr : src;
            const Ozr16s* p = c.prevNull ? nullptr : prev;
            Ozr16s* d = c.dstNull ? nullptr : dst;
            OzrStatus got, want;
            switch (fn) {
                case 0: got = ozriDiffPredFirstRow_JPEG_16s_C1(s, d, c.width, c.P, c.Pt); want = c.first; break;
                case 1: got = ozriReconstructPredFirstRow_JPEG_16s_C1(s, d, c.width, c.P, c.Pt); want = c.first; break;
                case 2: got = ozriDiffPredRow_JPEG_16s_C1(s, p, d, c.width, c.pred); want = c.row; break;
                default: got = ozriReconstructPredRow_JPEG_16s_C1(s, p, d, c.width, c.pred); want = c.row; break;
            }
            // The first-row functions have no previous row.
            if (fn < 2 && c.prevNull && !c.dstNull) want = c.first;
            EXPECT_EQ(got, want) << c.what << " function " << fn;
            if (want != ozrStatusOk) {
                for (Ozr16s v : dst) EXPECT_EQ(v, 9) << c.what;
            }
        }
    }
}

// ---------------------------------------------------------------- row coding
namespace {

struct RowTables {
    OzriEncodeHuffmanSpec enc[4];
    OzriDecodeHuffmanSpec dec[4];
};

// Categories 0..16 with lengths that differ per component, so a mixed-up
// table order shows.
void makeRowTables(RowTables* t) {
    for (int c = 0; c < 4; ++c) {
        Ozr8u bits[16] = {}, vals[17];
        // c = 0: 2 codes of 2 bits, then 15 of 6 bits (fits: 2*16 + 15 <= 64).
        bits[1 + c] = 2;
        bits[5 + c] = 15;
        for (int i = 0; i < 17; ++i) vals[i] = static_cast<Ozr8u>((i + 3 * c) % 17);
        ASSERT_EQ(ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->enc[c]), ozrStatusOk);
        ASSERT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->dec[c]), ozrStatusOk);
    }
}

Ozr16s randomDiff(Rng& rng) {
    const int cat = rng.range(0, 16);
    if (cat == 0) return 0;
    if (cat == 16) return -32768;
    const int v = rng.range(1 << (cat - 1), (1 << cat) - 1);
    return static_cast<Ozr16s>(rng.range(0, 1) ? v : -v);
}

}  // namespace

TEST(LosslessRows, EncodeDecodeRoundTripForOneToSixComponents) {
    RowTables t;
    makeRowTables(&t);
    const OzriEncodeHuffmanSpec* enc[4] = {&t.enc[0], &t.enc[1], &t.enc[2], &t.enc[3]};
    const OzriDecodeHuffmanSpec* dec[4] = {&t.dec[0], &t.dec[1], &t.dec[2], &t.dec[3]};
    Rng rng(41);
    for (int nc = 1; nc <= 6; ++nc) {
        const int used = nc > 4 ? 4 : nc;
        const int width = rng.range(1, 70), rows = rng.range(1, 6);
        std::vector<std::vector<Ozr16s>> data(static_cast<size_t>(rows) * 4, std::vector<Ozr16s>(width));
        for (auto& r : data)
            for (auto& v : r) v = randomDiff(rng);
        std::vector<Ozr8u> stream(static_cast<size_t>(rows) * width * 4 * 8 + 16);
        OzriEncodeHuffmanState es;
        ozriEncodeHuffmanStateInit_JPEG_8u(&es);
        int wpos = 0;
        for (int y = 0; y < rows; ++y) {
            const Ozr16s* src[4] = {data[y * 4].data(), data[y * 4 + 1].data(), data[y * 4 + 2].data(),
                                    data[y * 4 + 3].data()};
            ASSERT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(src, width, nc, stream.data(), int(stream.size()),
                                                           &wpos, enc, &es, 0),
                      ozrStatusOk);
        }
        ASSERT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, stream.data(), int(stream.size()), &wpos,
                                                       nullptr, &es, 1),
                  ozrStatusOk);
        stream[wpos++] = 0xFF;
        stream[wpos++] = 0xD9;
        stream.resize(static_cast<size_t>(wpos));

        OzriDecodeHuffmanState ds;
        ozriDecodeHuffmanStateInit_JPEG_8u(&ds);
        int rpos = 0, marker = 0;
        for (int y = 0; y < rows; ++y) {
            std::vector<std::vector<Ozr16s>> out(4, std::vector<Ozr16s>(width, 0x1111));
            Ozr16s* dst[4] = {out[0].data(), out[1].data(), out[2].data(), out[3].data()};
            ASSERT_EQ(ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(stream.data(), int(stream.size()), &rpos, dst, width,
                                                           nc, &marker, dec, &ds),
                      ozrStatusOk)
                << nc << " row " << y;
            for (int c = 0; c < 4; ++c) {
                if (c < used)
                    EXPECT_EQ(out[c], data[y * 4 + c]) << nc << " component " << c;
                else
                    EXPECT_EQ(out[c][0], 0x1111);  // beyond the used components: untouched
            }
        }
        // The next value meets the end marker.
        std::vector<Ozr16s> one(1, 0x2222);
        Ozr16s* dst1[4] = {one.data(), one.data(), one.data(), one.data()};
        EXPECT_EQ(ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(stream.data(), int(stream.size()), &rpos, dst1, 1, 1,
                                                       &marker, dec, &ds),
                  ozrStatusBadCodeOrValue);
        EXPECT_EQ(marker, 0xD9);
        EXPECT_EQ(one[0], 0x2222);
    }
}

TEST(LosslessRows, TightBuffersGiveTheSameBytesAndCleanFailures) {
    RowTables t;
    makeRowTables(&t);
    const OzriEncodeHuffmanSpec* enc[4] = {&t.enc[0], &t.enc[1], &t.enc[2], &t.enc[3]};
    const OzriDecodeHuffmanSpec* dec[4] = {&t.dec[0], &t.dec[1], &t.dec[2], &t.dec[3]};
    Rng rng(42);
    for (int iter = 0; iter < 40; ++iter) {
        const int width = rng.range(1, 200), nc = rng.range(1, 4);
        std::vector<std::vector<Ozr16s>> data(4, std::vector<Ozr16s>(width));
        for (auto& r : data)
            for (auto& v : r) v = randomDiff(rng);
        const Ozr16s* src[4] = {data[0].data(), data[1].data(), data[2].data(), data[3].data()};
        // Reference: roomy buffer (the fast writer takes it).
        std::vector<Ozr8u> big(static_cast<size_t>(width) * 4 * 8 + 64);
        OzriEncodeHuffmanState es;
        ozriEncodeHuffmanStateInit_JPEG_8u(&es);
        int n = 0;
        ASSERT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(src, width, nc, big.data(), int(big.size()), &n, enc, &es, 0),
                  ozrStatusOk);
        const OzriEncodeHuffmanState after = es;
        // Exactly the room needed: the careful writer gives the same bytes
        // and state; one byte less is BufferExhausted.
        if (n == 0) continue;
        std::vector<Ozr8u> exact(static_cast<size_t>(n));
        ozriEncodeHuffmanStateInit_JPEG_8u(&es);
        int m = 0;
        ASSERT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(src, width, nc, exact.data(), n, &m, enc, &es, 0),
                  ozrStatusOk);
        EXPECT_EQ(m, n);
        EXPECT_EQ(0, std::memcmp(exact.data(), big.data(), static_cast<size_t>(n)));
        EXPECT_EQ(es.accumulator & 0xFFFFFFFFu, after.accumulator & 0xFFFFFFFFu);
        EXPECT_EQ(es.count, after.count);
        ozriEncodeHuffmanStateInit_JPEG_8u(&es);
        m = 0;
        std::vector<Ozr8u> shortBuf(static_cast<size_t>(n));
        EXPECT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(src, width, nc, shortBuf.data(), n - 1, &m, enc, &es, 0),
                  ozrStatusBufferExhausted);
        EXPECT_LE(m, n - 1);

        // Decoding every truncation of the row fails cleanly with the
        // values decoded so far left in place.
        const int cut = rng.range(0, n - 1);
        std::vector<Ozr8u> part(big.begin(), big.begin() + (cut ? cut : 1));
        OzriDecodeHuffmanState ds;
        ozriDecodeHuffmanStateInit_JPEG_8u(&ds);
        int rpos = 0, marker = 0;
        std::vector<std::vector<Ozr16s>> out(4, std::vector<Ozr16s>(width, 0));
        Ozr16s* dst[4] = {out[0].data(), out[1].data(), out[2].data(), out[3].data()};
        const OzrStatus s = ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(part.data(), int(part.size()), &rpos, dst, width,
                                                                 nc, &marker, dec, &ds);
        EXPECT_TRUE(s == ozrStatusBufferExhausted || s == ozrStatusOk) << s;
        EXPECT_LE(rpos, int(part.size()));
    }
}

TEST(LosslessRows, MissingCodeAndArgumentOrder) {
    RowTables t;
    makeRowTables(&t);
    // A table without category 16: the difference -32768 has no code.
    Ozr8u bits[16] = {}, vals[16];
    bits[4] = 16;
    for (int i = 0; i < 16; ++i) vals[i] = static_cast<Ozr8u>(i);
    OzriEncodeHuffmanSpec noCat16;
    ASSERT_EQ(ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &noCat16), ozrStatusOk);
    const OzriEncodeHuffmanSpec* enc1[4] = {&noCat16, nullptr, nullptr, nullptr};
    const Ozr16s row[2] = {5, -32768};
    const Ozr16s* src1[4] = {row, nullptr, nullptr, nullptr};
    std::vector<Ozr8u> buf(64);
    OzriEncodeHuffmanState es;
    ozriEncodeHuffmanStateInit_JPEG_8u(&es);
    int pos = 0;
    EXPECT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(src1, 2, 1, buf.data(), 64, &pos, enc1, &es, 0),
              ozrStatusBadHuffmanTable);

    // Encoder order: pDst, dstLenBytes, pDstCurrPos, state, (flush), pSrc,
    // width, nComponents, pTables, then pSrc[c] / pTables[c] per component.
    // Each case nulls or zeroes one more argument than the case after it.
    const OzriEncodeHuffmanSpec* enc[4] = {&t.enc[0], &t.enc[1], nullptr, nullptr};
    const Ozr16s* src[4] = {row, row, nullptr, nullptr};
    struct EncCase { int level, nc, flush; OzrStatus want; };
    const EncCase ec[] = {{0, 2, 0, ozrStatusNullPointer}, {1, 2, 0, ozrStatusBadSize},
                          {2, 2, 1, ozrStatusNullPointer}, {3, 2, 1, ozrStatusNullPointer},
                          {4, 2, 1, ozrStatusOk},          {4, 2, 0, ozrStatusNullPointer},
                          {5, 2, 0, ozrStatusBadSize},     {6, 0, 0, ozrStatusBadSize},
                          {7, 2, 0, ozrStatusNullPointer}, {8, 3, 0, ozrStatusNullPointer},
                          {8, 2, 0, ozrStatusOk}};
    for (const EncCase& c : ec) {
        std::vector<Ozr8u> d(64, 0xEE);
        int p = 0;
        OzriEncodeHuffmanState s;
        ozriEncodeHuffmanStateInit_JPEG_8u(&s);
        const OzrStatus got = ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(
            c.level > 4 ? src : nullptr, c.level > 5 ? 2 : 0, c.nc, c.level > 0 ? d.data() : nullptr,
            c.level > 1 ? 64 : 0, c.level > 2 ? &p : nullptr, c.level > 7 ? enc : nullptr,
            c.level > 3 ? &s : nullptr, c.flush);
        EXPECT_EQ(got, c.want) << c.level;
        if (c.want != ozrStatusOk) {
            EXPECT_EQ(p * 1000 + d[0], 0xEE) << c.level;
        }
    }

    // Decoder order: pSrc, srcLenBytes, pSrcCurrPos, pDst, width,
    // nComponents, pMarker, pTables, state, then pDst[c] / pTables[c].
    const OzriDecodeHuffmanSpec* dec[4] = {&t.dec[0], &t.dec[1], nullptr, nullptr};
    const Ozr8u data[4] = {0, 0, 0, 0};
    Ozr16s o0[2], o1[2];
    Ozr16s* dst[4] = {o0, o1, nullptr, nullptr};
    struct DecCase { int level, nc; OzrStatus want; };
    const DecCase dc[] = {{0, 2, ozrStatusNullPointer}, {1, 2, ozrStatusBadSize},     {2, 2, ozrStatusNullPointer},
                          {3, 2, ozrStatusNullPointer}, {4, 2, ozrStatusBadSize},     {5, 0, ozrStatusBadSize},
                          {6, 2, ozrStatusNullPointer}, {7, 2, ozrStatusNullPointer}, {8, 2, ozrStatusNullPointer},
                          {9, 3, ozrStatusNullPointer}, {9, 2, ozrStatusOk}};
    for (const DecCase& c : dc) {
        int p = 0, m = 0;
        OzriDecodeHuffmanState s;
        ozriDecodeHuffmanStateInit_JPEG_8u(&s);
        o0[0] = o1[0] = 0x4444;
        const OzrStatus got = ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(
            c.level > 0 ? data : nullptr, c.level > 1 ? 4 : 0, c.level > 2 ? &p : nullptr,
            c.level > 3 ? dst : nullptr, c.level > 4 ? 2 : 0, c.nc, c.level > 6 ? &m : nullptr,
            c.level > 7 ? dec : nullptr, c.level > 8 ? &s : nullptr);
        EXPECT_EQ(got, c.want) << c.level;
        if (c.want != ozrStatusOk) {
            EXPECT_EQ(p + s.count + (o0[0] - 0x4444), 0) << c.level;
        }
    }
}
