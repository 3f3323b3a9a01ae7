// MQ coder: encoder/decoder round trips under the three terminations, the
// byte-in rules (stuffing, markers, reading past the end) and the check of a
// predictably terminated segment.
#include <gtest/gtest.h>

#include <vector>

#include "jpeg2000/mq.h"
#include "test_util.h"

using namespace ozr::mq;

namespace {

struct Decision {
    uint32_t d;
    int cx;
};

// Decisions with a context-dependent skew, like real coding passes produce.
std::vector<Decision> randomDecisions(ozrtest::Rng& rng, int n) {
    std::vector<Decision> v(n);
    for (auto& x : v) {
        x.cx = rng.range(0, kContexts - 1);
        const int bias = (x.cx * 37) % 100;  // per-context probability of a 1
        x.d = rng.range(0, 99) < bias ? 1u : 0u;
    }
    return v;
}

std::vector<uint8_t> encode(const std::vector<Decision>& ds, uint32_t mode) {
    MqEncoder e;
    encBufReset(&e, mode);
    for (const auto& x : ds) mqEncoderEncode(&e, x.d, x.cx);
    return mqEncoderFinish(&e);
}

std::vector<uint32_t> decode(const std::vector<uint8_t>& bytes, const std::vector<Decision>& ds,
                             MqDecoderState* s) {
    mqDecoderResetCtx(s);
    mqDecoderInit(s, bytes.data(), static_cast<int>(bytes.size()));
    std::vector<uint32_t> out;
    for (const auto& x : ds) out.push_back(mqDecoderDecode(s, x.cx));
    return out;
}

bool legalStuffing(const std::vector<uint8_t>& b) {
    for (size_t i = 0; i + 1 < b.size(); ++i)
        if (b[i] == 0xFF && b[i + 1] >= 0x90) return false;
    return b.empty() || b.back() != 0xFF;
}

}  // namespace

TEST(Mq, RoundTripAllTerminations) {
    ozrtest::Rng rng(7);
    for (int trial = 0; trial < 400; ++trial) {
        const int n = trial < 40 ? trial : rng.range(1, 3000);
        const auto ds = randomDecisions(rng, n);
        const auto full = encode(ds, kTermFullFlush);
        const auto shortest = encode(ds, kTermShortest);
        const auto pred = encode(ds, kTermPredictable);
        for (const auto* bytes : {&full, &shortest, &pred}) {
            MqDecoderState s;
            const auto got = decode(*bytes, ds, &s);
            for (int i = 0; i < n; ++i) ASSERT_EQ(got[i], ds[i].d) << "trial " << trial << " decision " << i;
            EXPECT_TRUE(legalStuffing(*bytes)) << "trial " << trial;
        }
        EXPECT_LE(shortest.size(), full.size()) << "trial " << trial;
        MqDecoderState s;
        decode(pred, ds, &s);
        EXPECT_EQ(mqDecoderCheckErrPredTerm(&s), 0) << "trial " << trial << " n " << n;
    }
}

TEST(Mq, LongRunsAndCarries) {
    // Long MPS runs in a highly skewed context drive A and C into the carry
    // and 0xFF paths of byte-out.
    ozrtest::Rng rng(11);
    for (int trial = 0; trial < 60; ++trial) {
        std::vector<Decision> ds;
        const int n = rng.range(100, 20000);
        for (int i = 0; i < n; ++i) {
            const int cx = (i % 7 == 0) ? 0 : 17;
            ds.push_back({rng.range(0, 999) < (trial % 5) ? 1u : 0u, cx});
        }
        for (uint32_t mode : {kTermFullFlush, kTermShortest, kTermPredictable}) {
            const auto bytes = encode(ds, mode);
            ASSERT_TRUE(legalStuffing(bytes));
            MqDecoderState s;
            const auto got = decode(bytes, ds, &s);
            for (int i = 0; i < n; ++i) ASSERT_EQ(got[i], ds[i].d) << "mode " << mode << " at " << i;
        }
    }
}

TEST(Mq, PredictableTerminationDetectsDamage) {
    // Damage to the tail: drop the last byte, alter it, or append one.  An
    // appended byte is always caught; the others escape only when the damage
    // happens to form another valid termination (a few bits of redundancy).
    ozrtest::Rng rng(3);
    int detected[3] = {0, 0, 0}, damaged[3] = {0, 0, 0};
    for (int trial = 0; trial < 900; ++trial) {
        const auto ds = randomDecisions(rng, rng.range(50, 800));
        auto bytes = encode(ds, kTermPredictable);
        if (bytes.size() < 2) continue;
        const int kind = trial % 3;
        if (kind == 0)
            bytes.pop_back();
        else if (kind == 1)
            bytes.back() ^= static_cast<uint8_t>(1 + rng.range(0, 254));
        else
            bytes.push_back(static_cast<uint8_t>(rng.range(0, 254)));
        ++damaged[kind];
        MqDecoderState s;
        decode(bytes, ds, &s);
        detected[kind] += mqDecoderCheckErrPredTerm(&s);
    }
    EXPECT_GT(detected[0], damaged[0] * 3 / 4);
    EXPECT_GT(detected[1], damaged[1] * 3 / 4);
    EXPECT_EQ(detected[2], damaged[2]);
}

TEST(Mq, ByteInRules) {
    MqDecoderState s;
    mqDecoderResetCtx(&s);
    // Empty segment: all 0xFF, so the first byte-in meets a marker.
    const uint8_t none[1] = {0};
    mqDecoderInit(&s, none, 0);
    EXPECT_EQ(s.C, 0u);
    EXPECT_EQ(s.marker, 1u);
    EXPECT_EQ(s.CT, 1u);
    EXPECT_EQ(s.A, 0x8000u);
    EXPECT_EQ(s.pos, 0);

    // 0xFF followed by a byte below 0x90 is stuffed: 7 bits are taken.
    const uint8_t stuffed[3] = {0xFF, 0x7F, 0x00};
    mqDecoderInit(&s, stuffed, 3);
    EXPECT_EQ(s.marker, 0u);
    EXPECT_EQ(s.pos, 1);
    EXPECT_EQ(s.CT, 0u);
    EXPECT_EQ(s.C, (0xFE00u - (0x7Fu << 9)) << 7);

    // A marker freezes the input: the position stays on the 0xFF for good.
    const uint8_t marker[4] = {0x12, 0xFF, 0x90, 0x00};
    mqDecoderInit(&s, marker, 4);
    for (int i = 0; i < 200; ++i) mqDecoderDecode(&s, 2 + i % 9);
    EXPECT_EQ(s.marker, 1u);
    EXPECT_EQ(s.pos, 1);

    // Reading past the end behaves like 0xFF bytes were there.
    const uint8_t shortSeg[2] = {0x5A, 0x3C};
    const uint8_t padded[6] = {0x5A, 0x3C, 0xFF, 0xFF, 0xFF, 0xFF};
    MqDecoderState a, b;
    mqDecoderResetCtx(&a);
    mqDecoderResetCtx(&b);
    mqDecoderInit(&a, shortSeg, 2);
    mqDecoderInit(&b, padded, 6);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(mqDecoderDecode(&a, i % 19), mqDecoderDecode(&b, i % 19));
    EXPECT_LE(a.pos, 2);
}

TEST(Mq, ContextBehaviour) {
    MqDecoderState s;
    mqDecoderResetCtx(&s);
    EXPECT_EQ(s.index[0], 46u);
    EXPECT_EQ(s.index[1], 3u);
    EXPECT_EQ(s.index[2], 4u);
    const uint8_t data[8] = {0x84, 0x21, 0x9C, 0x55, 0xE0, 0x0F, 0x33, 0xC7};
    mqDecoderInit(&s, data, 8);
    // The uniform context never adapts.
    for (int i = 0; i < 40; ++i) {
        mqDecoderDecode(&s, 0);
        ASSERT_EQ(s.index[0], 46u);
        ASSERT_EQ(s.mps[0], 0u);
    }
    // An MPS decision that leaves bit 15 of A set neither renormalises nor
    // reads a byte.
    s.A = 0xF000;
    s.C = 0;
    const uint32_t ct = s.CT;
    const int32_t pos = s.pos;
    const uint32_t qe = owniEstimator_JPEG2K[s.index[5]].qe;
    EXPECT_EQ(mqDecoderDecode(&s, 5), s.mps[5]);
    EXPECT_EQ(s.A, 0xF000u - qe);
    EXPECT_EQ(s.CT, ct);
    EXPECT_EQ(s.pos, pos);
    // The sign word: context in the low bits, prediction in bit 31.
    MqDecoderState t = s, u = s;
    const uint32_t plain = mqDecoderDecode(&t, 12);
    EXPECT_EQ(mqDecoderDecodeSign(&u, 12u | 0x80000000u), plain ^ 1u);
    EXPECT_EQ(u.index[12], t.index[12]);
}

TEST(Mq, EncoderRestartsAfterCopyOut) {
    // Two segments from one encoder: the registers restart after the first
    // terminated segment is copied out, the contexts carry on.
    ozrtest::Rng rng(5);
    const auto d1 = randomDecisions(rng, 500), d2 = randomDecisions(rng, 700);
    MqEncoder e;
    encBufReset(&e, kTermFullFlush);
    for (const auto& x : d1) mqEncoderEncode(&e, x.d, x.cx);
    const auto seg1 = mqEncoderFinish(&e);
    EXPECT_EQ(e.s.A, 0x8000u);
    EXPECT_EQ(e.s.CT, 12u);
    for (const auto& x : d2) mqEncoderEncode(&e, x.d, x.cx);
    const auto seg2 = mqEncoderFinish(&e);
    MqDecoderState s;
    const auto got1 = decode(seg1, d1, &s);
    mqDecoderInit(&s, seg2.data(), static_cast<int>(seg2.size()));
    for (size_t i = 0; i < d1.size(); ++i) ASSERT_EQ(got1[i], d1[i].d);
    for (const auto& x : d2) ASSERT_EQ(mqDecoderDecode(&s, x.cx), x.d);
}

// The register-level decoder of the coding passes against the record-level
// one: the same decisions and the same registers and contexts afterwards, on
// real segments and on arbitrary bytes (markers, stuffing, running past the
// end).
TEST(Mq, RegisterDecoderMatchesRecordDecoder) {
    ozrtest::Rng rng(9);
    for (int trial = 0; trial < 300; ++trial) {
        const auto ds = randomDecisions(rng, rng.range(1, 2000));
        std::vector<uint8_t> bytes = encode(ds, static_cast<uint32_t>(trial % 3));
        if (trial % 4 == 3) {
            bytes.resize(rng.range(0, 64));
            rng.bytes(bytes.data(), bytes.size());
            for (auto& b : bytes)
                if (rng.range(0, 3) == 0) b = 0xFF;
        }
        MqDecoderState rec;
        mqDecoderResetCtx(&rec);
        for (int i = 0; i < kContexts; ++i) {  // contexts in arbitrary states
            rec.index[i] = static_cast<uint32_t>(rng.range(0, 46));
            rec.mps[i] = rng.u32() & 1;
        }
        mqDecoderInit(&rec, bytes.data(), static_cast<int>(bytes.size()));
        MqRegs regs;
        loadRegs(rec, &regs);
        // Both register-level forms, interleaved (the flat one on odd trials
        // for every other decision, on trials divisible by 5 for all).
        for (size_t i = 0; i < ds.size(); ++i) {
            const auto& x = ds[i];
            const bool flat = trial % 5 == 0 || (trial % 2 == 1 && (i & 1));
            const uint32_t got = flat ? decodeRegsFlat(regs, x.cx) : decodeRegs(regs, x.cx);
            ASSERT_EQ(got, mqDecoderDecode(&rec, x.cx)) << "trial " << trial << " decision " << i;
        }
        MqDecoderState back = rec;
        storeRegs(regs, &back);
        EXPECT_EQ(back.A, rec.A);
        EXPECT_EQ(back.C, rec.C);
        EXPECT_EQ(back.CT, rec.CT);
        EXPECT_EQ(back.pos, rec.pos);
        EXPECT_EQ(back.marker, rec.marker);
        for (int i = 0; i < kContexts; ++i) {
            EXPECT_EQ(back.index[i], rec.index[i]);
            EXPECT_EQ(back.mps[i], rec.mps[i]);
        }
    }
}
