// Code-block decoder: exact decoding of blocks coded by an independent
// reference coder (direct neighbourhood counting, the internal MQ encoder and
// a raw bit writer) under every combination of mode flags, the progressive
// API segment by segment, truncation after k passes, corruption detection,
// concealment, and the argument checks.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "core/frame.h"
#include "jpeg2000/cb.h"
#include "jpeg2000/mq.h"
#include "test_jpeg2000_cb_ref.h"
#include "test_util.h"

namespace {

using cbref::Coded;
using cbref::RefCoder;

// Random sign-magnitude block: smooth, sparse or noisy, with a chosen
// magnitude range.
std::vector<uint32_t> randomBlock(ozrtest::Rng& rng, int w, int h, int maxBits) {
    std::vector<uint32_t> v(w * h);
    const int kind = rng.range(0, 2);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint32_t m;
            if (kind == 0)
                m = rng.range(0, 3) ? 0u : rng.u32() >> (32 - maxBits);
            else if (kind == 1)
                m = static_cast<uint32_t>(((x * 7 + y * 3) % 23) * ((1u << maxBits) - 1) / 22);
            else
                m = rng.u32() >> (32 - maxBits) >> rng.range(0, maxBits);
            v[y * w + x] = m | (m && (rng.u32() & 1) ? 0x80000000u : 0u);
        }
    return v;
}

// The segments back to back; lengths gets one entry per segment (its data()
// stays non-null for a block without segments).
std::vector<uint8_t> concat(const Coded& c, std::vector<int>* lengths) {
    std::vector<uint8_t> all;
    lengths->reserve(c.segments.size() + 1);
    for (const auto& s : c.segments) {
        all.insert(all.end(), s.begin(), s.end());
        lengths->push_back(static_cast<int>(s.size()));
    }
    return all;
}

struct StateMem {
    std::vector<uint8_t> mem;
    explicit StateMem(int w, int h, int misalign = 0) {
        int n = 0;
        ozriDecodeCBProgrGetStateSize_JPEG2K({w, h}, &n);
        mem.assign(n + 64, 0xCD);
        off = misalign;
    }
    int off = 0;
    OzriDecodeCBProgrState_JPEG2K* get() {
        return reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(mem.data() + off);
    }
};

const uint32_t kModeBits[5] = {ozr::cb::kVertCausal, ozr::cb::kBypass, ozr::cb::kTermAll, ozr::cb::kResetCtx,
                               ozr::cb::kSegSymbols};

uint32_t modeFlags(int combo, bool predTerm) {
    uint32_t f = predTerm ? ozr::cb::kPredTerm : 0;
    for (int b = 0; b < 5; ++b)
        if (combo & (1 << b)) f |= kModeBits[b];
    return f;
}

// Samples of a guarded destination with a row step of its own.
struct Dest {
    ozrtest::GuardedImage img;
    int w, h;
    Dest(int w_, int h_, int extra, int misalign) : img(w_ * 4, h_, extra, misalign), w(w_), h(h_) {}
    Ozr32s* data() { return img.as<Ozr32s>(); }
    int step() const { return img.step; }
    uint32_t at(int x, int y) {
        uint32_t v;
        std::memcpy(&v, img.data() + static_cast<size_t>(y) * img.step + x * 4, 4);
        return v;
    }
    bool guardsIntact() {
        for (int i = 0; i < img.offset; ++i)
            if (img.mem[i] != 0xA5) return false;
        for (int y = 0; y < h; ++y)
            for (int b = w * 4; b < img.step && y + 1 < h; ++b)
                if (img.data()[static_cast<size_t>(y) * img.step + b] != 0xA5) return false;
        const size_t end = img.offset + static_cast<size_t>(img.step) * (h - 1) + w * 4;
        for (size_t i = end; i < img.mem.size(); ++i)
            if (img.mem[i] != 0xA5) return false;
        return true;
    }
};

}  // namespace

// Every mode combination, every subband, odd sizes and steps: the one-call
// decoder reproduces the samples exactly and writes nothing outside the block.
TEST(CodeBlock, DecodesReferenceCoderExactly) {
    ozrtest::Rng rng(101);
    for (int combo = 0; combo < 64; ++combo) {
        for (int trial = 0; trial < 6; ++trial) {
            const bool predTerm = (combo >> 5) & 1;
            const uint32_t flags = modeFlags(combo & 31, predTerm);
            const int w = trial == 0 ? 64 : rng.range(1, 40), h = trial == 0 ? 64 : rng.range(1, 40);
            const int subband = rng.range(0, 3);
            const auto v = randomBlock(rng, w, h, rng.range(1, 18));
            const Coded c = RefCoder(v, w, h, subband, flags, trial % 2).run();
            std::vector<int> lengths;
            const auto bytes = concat(c, &lengths);
            Dest d(w, h, rng.range(0, 9) * 4 + (trial & 1), trial % 4);
            StateMem st(w, h, trial % 8);
            const OzrStatus s = ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(
                bytes.empty() ? reinterpret_cast<const Ozr8u*>("") : bytes.data(), d.data(), d.step(), {w, h},
                subband, c.magnBits, c.passes, lengths.data(), static_cast<int>(lengths.size()),
                static_cast<int>(flags), nullptr, st.get());
            ASSERT_EQ(s, ozrStatusOk) << "flags " << flags;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    ASSERT_EQ(d.at(x, y), v[y * w + x] & (v[y * w + x] & 0x7FFFFFFF ? ~0u : 0u))
                        << "flags " << std::hex << flags << std::dec << " " << w << "x" << h << " at " << x << ","
                        << y;
            ASSERT_TRUE(d.guardsIntact());
        }
    }
}

// The progressive form, one segment per Step: the bit plane, the counter and
// the samples follow the pass structure after every Step, and a truncated
// one-call decode holds exactly what the first k passes carry.
TEST(CodeBlock, ProgressiveStepsAndTruncation) {
    ozrtest::Rng rng(202);
    for (int combo = 0; combo < 32; ++combo) {
        const uint32_t flags = modeFlags(combo, false);
        const int w = rng.range(3, 33), h = rng.range(3, 33), subband = combo & 3;
        const auto v = randomBlock(rng, w, h, rng.range(5, 12));
        const Coded c = RefCoder(v, w, h, subband, flags, false).run();
        std::vector<Ozr32s> out(w * h);
        StateMem st(w, h);
        ASSERT_EQ(ozriDecodeCBProgrInit_JPEG2K(st.get()), ozrStatusOk);
        ASSERT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), w * 4, {w, h}, st.get(), subband, c.magnBits,
                                                         static_cast<int>(flags)),
                  ozrStatusOk);
        int bp = -99, counter = -99;
        ASSERT_EQ(ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st.get(), &bp), ozrStatusOk);
        EXPECT_EQ(bp, c.magnBits - 1);
        ASSERT_EQ(ozriDecodeCBProgrSetPassCounter_JPEG2K(c.passes, st.get()), ozrStatusOk);
        int done = 0;
        for (size_t s = 0; s < c.segments.size(); ++s) {
            const auto& seg = c.segments[s];
            const Ozr8u dummy = 0;
            ASSERT_EQ(ozriDecodeCBProgrStep_JPEG2K(seg.empty() ? &dummy : seg.data(), static_cast<int>(seg.size()),
                                                   st.get()),
                      ozrStatusOk);
            done += c.segmentPasses[s];
            ozriDecodeCBProgrGetPassCounter_JPEG2K(st.get(), &counter);
            EXPECT_EQ(counter, c.passes - done);
            // Cleanup passes are the 1st, 4th, 7th, ...: the plane falls after each.
            ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st.get(), &bp);
            EXPECT_EQ(bp, c.magnBits - 1 - (done + 2) / 3) << "after " << done << " passes";
            for (int i = 0; i < w * h; ++i)
                ASSERT_EQ(static_cast<uint32_t>(out[i]), c.known[done - 1][i]) << "flags " << flags << " pass " << done;
        }
        // Truncation: only the first k passes, through the one-call decoder.
        for (int k = 1; k <= c.passes; k += 1 + k / 3) {
            std::vector<int> lengths;
            std::vector<uint8_t> bytes;
            int have = 0;
            for (size_t s = 0; s < c.segments.size() && have < k; ++s) {
                bytes.insert(bytes.end(), c.segments[s].begin(), c.segments[s].end());
                lengths.push_back(static_cast<int>(c.segments[s].size()));
                have += c.segmentPasses[s];
            }
            bytes.push_back(0);
            std::vector<Ozr32s> part(w * h, 0x5555);
            ASSERT_EQ(ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes.data(), part.data(), w * 4, {w, h}, subband,
                                                           c.magnBits, k, lengths.data(),
                                                           static_cast<int>(lengths.size()), static_cast<int>(flags),
                                                           nullptr, st.get()),
                      ozrStatusOk);
            for (int i = 0; i < w * h; ++i)
                ASSERT_EQ(static_cast<uint32_t>(part[i]), c.known[k - 1][i]) << "flags " << flags << " k " << k;
        }
    }
}

// Damaged data under segmentation symbols or predictable termination: the
// failing Step reports -112, the state stays corrupt, the one-call decoder
// reports the plane and conceals.
TEST(CodeBlock, CorruptionDetectionAndConcealment) {
    ozrtest::Rng rng(303);
    int detected = 0, trials = 0;
    for (int t = 0; t < 120; ++t) {
        const uint32_t flags = ozr::cb::kTermAll | ((t & 1) ? ozr::cb::kSegSymbols : ozr::cb::kPredTerm);
        const int w = rng.range(8, 32), h = rng.range(8, 32);
        const auto v = randomBlock(rng, w, h, 10);
        Coded c = RefCoder(v, w, h, 0, flags, false).run();
        // Damage the first segment that has a few bytes.
        size_t seg = 0;
        while (seg < c.segments.size() && c.segments[seg].size() < 3) ++seg;
        if (seg == c.segments.size()) continue;
        ++trials;
        c.segments[seg][rng.range(0, static_cast<int>(c.segments[seg].size()) - 1)] ^= 0x5A;
        std::vector<int> lengths;
        const auto bytes = concat(c, &lengths);
        std::vector<Ozr32s> out(w * h);
        StateMem st(w, h);
        int errPlane = -77;
        const OzrStatus s = ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(
            bytes.data(), out.data(), w * 4, {w, h}, 0, c.magnBits, c.passes, lengths.data(),
            static_cast<int>(lengths.size()), static_cast<int>(flags | ozr::cb::kConceal), &errPlane, st.get());
        if (s == ozrStatusOk) continue;  // the damage went unnoticed
        ASSERT_EQ(s, ozrStatusCodeBlockCorrupt);
        ++detected;
        int bp = 0;
        ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st.get(), &bp);
        EXPECT_EQ(errPlane, bp);
        ASSERT_GE(errPlane, 0);
        // Concealed: nothing below the plane, the plane's bit set on every
        // non-zero magnitude, zero magnitudes without sign.
        for (int i = 0; i < w * h; ++i) {
            const uint32_t u = static_cast<uint32_t>(out[i]);
            if (u & 0x7FFFFFFF) {
                EXPECT_EQ(u & ((1u << errPlane) - 1), 0u);
                EXPECT_TRUE(u & (1u << errPlane));
            } else {
                EXPECT_EQ(u, 0u);
            }
        }
        // Sticky: a later Step fails at once, whatever its data.
        const Ozr8u good[4] = {0, 0, 0, 0};
        EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(good, 4, st.get()), ozrStatusCodeBlockCorrupt);
        // Re-attaching clears the error.
        ASSERT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), w * 4, {w, h}, st.get(), 0, 4, 0), ozrStatusOk);
        ozriDecodeCBProgrSetPassCounter_JPEG2K(1, st.get());
        EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(good, 4, st.get()), ozrStatusOk);
    }
    EXPECT_GT(detected, trials * 3 / 4);
}

// Both builds of the segment decoder from the same record, segment by
// segment, on intact, damaged and random data under every mode: the whole
// record (registers, contexts, sample states, counters) and the samples
// agree after every segment.
TEST(CodeBlock, Avx2BuildMatchesBaselineBuild) {
    if (!ozr::cpuHasAvx2()) GTEST_SKIP() << "no AVX2";
    ozrtest::Rng rng(404);
    for (int t = 0; t < 400; ++t) {
        const uint32_t flags = modeFlags(t % 32, (t / 32) & 1);
        const int w = t % 4 == 0 ? 64 : rng.range(1, 64), h = t % 4 == 0 ? 64 : rng.range(1, 64);
        const int subband = rng.range(0, 3);
        const auto v = randomBlock(rng, w, h, rng.range(1, 18));
        Coded c = RefCoder(v, w, h, subband, flags, t % 2).run();
        for (auto& seg : c.segments) {
            if (seg.empty()) continue;
            if (t % 3 == 1 && rng.range(0, 2) == 0) seg[rng.range(0, static_cast<int>(seg.size()) - 1)] ^= 1 << rng.range(0, 7);
            if (t % 3 == 2 && rng.range(0, 3) == 0)
                for (auto& b : seg) b = static_cast<uint8_t>(rng.range(0, 3) ? rng.u32() : 0xFF);
        }
        std::vector<Ozr32s> out(w * h, 0);
        StateMem st(w, h, t % 8);
        ASSERT_EQ(ozriDecodeCBProgrInit_JPEG2K(st.get()), ozrStatusOk);
        ASSERT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), w * 4, {w, h}, st.get(), subband, c.magnBits,
                                                         static_cast<int>(flags)),
                  ozrStatusOk);
        ASSERT_EQ(ozriDecodeCBProgrSetPassCounter_JPEG2K(c.passes, st.get()), ozrStatusOk);
        for (size_t k = 0; k < c.segments.size(); ++k) {
            const auto& seg = c.segments[k];
            const Ozr8u dummy = 0;
            const Ozr8u* data = seg.empty() ? &dummy : seg.data();
            const std::vector<uint8_t> rec0 = st.mem;
            const std::vector<Ozr32s> out0 = out;
            const bool a = ozr::cb::avx2::decodeSegment(st.get(), data, static_cast<int>(seg.size()));
            const std::vector<uint8_t> recA = st.mem;
            const std::vector<Ozr32s> outA = out;
            st.mem = rec0;
            out = out0;
            const bool b = ozr::cb::kernel::decodeSegment(st.get(), data, static_cast<int>(seg.size()));
            ASSERT_EQ(a, b) << "flags " << flags << " segment " << k;
            ASSERT_TRUE(st.mem == recA) << "flags " << flags << " " << w << "x" << h << " segment " << k;
            ASSERT_TRUE(out == outA) << "flags " << flags << " " << w << "x" << h << " segment " << k;
            if (!a || st.get()->passCounter <= 0 || st.get()->bitPlane < 0) break;
        }
    }
}

TEST(CodeBlock, StateSizeAndLifecycle) {
    int n = 0;
    ASSERT_EQ(ozriDecodeCBProgrGetStateSize_JPEG2K({64, 64}, &n), ozrStatusOk);
    EXPECT_EQ(n, 10264);
    int m = 0;
    ASSERT_EQ(ozriDecodeGetBufSize_JPEG2K({64, 64}, &m), ozrStatusOk);
    EXPECT_EQ(m, n);
    // Rows of 32 bytes up to width 6, then the next step.
    for (int w = 1; w <= 6; ++w) {
        ozriDecodeCBProgrGetStateSize_JPEG2K({w, 5}, &n);
        EXPECT_EQ(n, 32 * (3 + 2) + 472);
    }
    ozriDecodeCBProgrGetStateSize_JPEG2K({7, 1}, &n);
    EXPECT_EQ(n, 64 * 3 + 472);
    EXPECT_EQ(ozriDecodeCBProgrGetStateSize_JPEG2K({1 << 30, 1 << 30}, &n), ozrStatusBadSize);

    OzriDecodeCBProgrState_JPEG2K* st = nullptr;
    ASSERT_EQ(ozriDecodeCBProgrInitAlloc_JPEG2K(&st, {32, 32}), ozrStatusOk);
    ASSERT_NE(st, nullptr);
    std::vector<Ozr32s> out(64 * 64, 7);
    const Ozr8u seg[2] = {0x12, 0x34};
    EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(seg, 2, st), ozrStatusNotAttached);
    // A state allocated for 32 x 32 refuses a larger block.
    EXPECT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), 256, {64, 64}, st, 0, 8, 0), ozrStatusBadSize);
    EXPECT_EQ(out[0], 7);
    ASSERT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), 128, {32, 32}, st, 0, 8, 0), ozrStatusOk);
    EXPECT_EQ(out[0], 0);
    // Without SetPassCounter nothing is decoded.
    int counter = -1;
    ozriDecodeCBProgrGetPassCounter_JPEG2K(st, &counter);
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(seg, 2, st), ozrStatusOk);
    int bp = 0;
    ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st, &bp);
    EXPECT_EQ(bp, 7);
    EXPECT_EQ(ozriDecodeCBProgrFree_JPEG2K(st), ozrStatusOk);

    // A wrong tag is a mismatch.
    std::vector<uint8_t> junk(20000, 0);
    auto* bad = reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(junk.data());
    EXPECT_EQ(ozriDecodeCBProgrFree_JPEG2K(bad), ozrStatusContextMismatch);
    EXPECT_EQ(ozriDecodeCBProgrSetPassCounter_JPEG2K(3, bad), ozrStatusContextMismatch);
}

TEST(CodeBlock, OneCallEdgeCases) {
    const int w = 9, h = 7;
    StateMem st(w, h);
    const Ozr8u src[1] = {0};
    const int lengths[1] = {0};
    // No segments: the destination is zeroed, or kept with the flag.
    std::vector<Ozr32s> out(w * h, 0x1234567);
    EXPECT_EQ(ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(src, out.data(), w * 4, {w, h}, 0, 5, 13, lengths, 0, 0, nullptr,
                                                   st.get()),
              ozrStatusOk);
    for (Ozr32s s : out) ASSERT_EQ(s, 0);
    std::fill(out.begin(), out.end(), 0x1234567);
    // Kept samples, and the bits below the top plane (4) are cleared.
    EXPECT_EQ(ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(src, out.data(), w * 4, {w, h}, 0, 5, 13, lengths, 0,
                                                   static_cast<int>(ozr::cb::kKeepSamples), nullptr, st.get()),
              ozrStatusOk);
    for (Ozr32s s : out) ASSERT_EQ(s, 0x1234567 & ~15);
    std::fill(out.begin(), out.end(), 0x1234567);
    EXPECT_EQ(ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(
                  src, out.data(), w * 4, {w, h}, 0, 5, 13, lengths, 0,
                  static_cast<int>(ozr::cb::kKeepSamples | ozr::cb::kKeepLowBits), nullptr, st.get()),
              ozrStatusOk);
    for (Ozr32s s : out) ASSERT_EQ(s, 0x1234567);
}

// Arbitrary bytes never make the decoder read or write outside its segment
// and block (the sanitizer build watches the reads).
TEST(CodeBlock, ArbitraryBytesStayInBounds) {
    ozrtest::Rng rng(404);
    for (int t = 0; t < 400; ++t) {
        const int w = rng.range(1, 64), h = rng.range(1, 4096 / w);
        std::vector<uint8_t> bytes(rng.range(0, 300));
        rng.bytes(bytes.data(), bytes.size());
        if (t % 3 == 0)
            for (auto& b : bytes) b |= 0xF0;  // many 0xFF and marker-like pairs
        std::vector<int> lengths;
        lengths.reserve(64);
        int left = static_cast<int>(bytes.size());
        while (left > 0) {
            const int l = std::min(left, rng.range(0, 40));
            lengths.push_back(l);
            left -= l;
        }
        std::vector<uint8_t> src(bytes);  // exact size: ASan sees overreads
        if (src.empty()) src.push_back(0);
        Dest d(w, h, rng.range(0, 3) * 4, t % 4);
        StateMem st(w, h, t % 16);
        const uint32_t flags = static_cast<uint32_t>(rng.range(0, 31)) | ((t & 1) ? ozr::cb::kPredTerm : 0) |
                               ((t & 2) ? ozr::cb::kConceal : 0);
        const OzrStatus s = ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(
            src.data(), d.data(), d.step(), {w, h}, rng.range(0, 3), rng.range(0, 31), rng.range(0, 100),
            lengths.data(), static_cast<int>(lengths.size()), static_cast<int>(flags), nullptr, st.get());
        ASSERT_TRUE(s == ozrStatusOk || s == ozrStatusCodeBlockCorrupt);
        ASSERT_TRUE(d.guardsIntact());
    }
}

// Argument checks, family by family: the first failing check decides, and
// nothing is written on an argument error.
TEST(CodeBlock, ArgumentCheckOrder) {
    StateMem good(8, 8), fresh(8, 8);
    ozriDecodeCBProgrInit_JPEG2K(good.get());
    std::vector<uint8_t> wrongTag(4096, 0);
    auto* bad = reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(wrongTag.data());
    OzriDecodeCBProgrState_JPEG2K* st = good.get();
    Ozr32s dst[64];
    const Ozr8u seg[4] = {1, 2, 3, 4};
    const int lens[1] = {4};
    int out = 12345;
    auto untouched = [&] { return out == 12345; };
    auto dstUntouched = [&] {
        for (Ozr32s v : dst)
            if (v != 99) return false;
        return true;
    };
    std::fill(dst, dst + 64, 99);

    struct Case {
        const char* what;
        OzrStatus expect;
        std::function<OzrStatus()> call;
    };
    const std::vector<Case> cases = {
        {"size: bad size before null", ozrStatusBadSize, [&] { return ozriDecodeCBProgrGetStateSize_JPEG2K({0, 8}, nullptr); }},
        {"size: null", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrGetStateSize_JPEG2K({8, 8}, nullptr); }},
        {"bufsize: height", ozrStatusBadSize, [&] { return ozriDecodeGetBufSize_JPEG2K({8, 0}, &out); }},
        {"init: null", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrInit_JPEG2K(nullptr); }},
        {"alloc: null before size", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrInitAlloc_JPEG2K(nullptr, {0, 0}); }},
        {"alloc: size", ozrStatusBadSize, [&] { OzriDecodeCBProgrState_JPEG2K* p = nullptr; return ozriDecodeCBProgrInitAlloc_JPEG2K(&p, {4, 0}); }},
        {"free: null", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrFree_JPEG2K(nullptr); }},
        {"free: tag", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrFree_JPEG2K(bad); }},
        {"attach: state before all", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(nullptr, 0, {0, 0}, nullptr, 0, 4, 0); }},
        {"attach: tag before dst", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(nullptr, 0, {0, 0}, bad, 0, 4, 0); }},
        {"attach: dst before step", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(nullptr, 0, {0, 0}, st, 0, 4, 0); }},
        {"attach: step before size", ozrStatusBadStep, [&] { return ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, 0, {0, 0}, st, 0, 4, 0); }},
        {"attach: size", ozrStatusBadSize, [&] { return ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, 32, {8, 0}, st, 0, 4, 0); }},
        {"step: segment before state", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrStep_JPEG2K(nullptr, 4, bad); }},
        {"step: state", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrStep_JPEG2K(seg, 4, nullptr); }},
        {"step: tag", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrStep_JPEG2K(seg, 4, bad); }},
        {"step: not attached", ozrStatusNotAttached, [&] { return ozriDecodeCBProgrStep_JPEG2K(seg, 4, st); }},
        {"bitplane: state", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(nullptr, nullptr); }},
        {"bitplane: tag before pointer", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(bad, nullptr); }},
        {"bitplane: pointer", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st, nullptr); }},
        {"counter: pointer before tag", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrGetPassCounter_JPEG2K(bad, nullptr); }},
        {"counter: tag", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrGetPassCounter_JPEG2K(bad, &out); }},
        {"set counter: state", ozrStatusNullPointer, [&] { return ozriDecodeCBProgrSetPassCounter_JPEG2K(1, nullptr); }},
        {"set counter: tag", ozrStatusContextMismatch, [&] { return ozriDecodeCBProgrSetPassCounter_JPEG2K(1, bad); }},
        {"one-call: src before size", ozrStatusNullPointer, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(nullptr, dst, 32, {0, 8}, 0, 4, 1, lens, 1, 0, &out, fresh.get()); }},
        {"one-call: state before size", ozrStatusNullPointer, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(seg, dst, 32, {0, 8}, 0, 4, 1, lens, 1, 0, &out, nullptr); }},
        {"one-call: size before lengths", ozrStatusBadSize, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(seg, nullptr, 0, {8, 0}, 0, 4, 1, nullptr, 1, 0, &out, fresh.get()); }},
        {"one-call: lengths before step", ozrStatusNullPointer, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(seg, dst, 0, {8, 8}, 0, 4, 1, nullptr, 1, 0, &out, fresh.get()); }},
        {"one-call: dst before step", ozrStatusNullPointer, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(seg, nullptr, 0, {8, 8}, 0, 4, 1, lens, 1, 0, &out, fresh.get()); }},
        {"one-call: step", ozrStatusBadStep, [&] { return ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(seg, dst, 0, {8, 8}, 0, 4, 1, lens, 1, 0, &out, fresh.get()); }},
    };
    const std::vector<uint8_t> freshBefore = fresh.mem;
    for (const auto& c : cases) {
        EXPECT_EQ(c.call(), c.expect) << c.what;
        EXPECT_TRUE(untouched()) << c.what;
        EXPECT_TRUE(dstUntouched()) << c.what;
    }
    EXPECT_EQ(fresh.mem, freshBefore) << "one-call wrote its state on an argument error";
    // After a pass failed, Step reports the error before looking at anything else.
    ASSERT_EQ(ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, 32, {8, 8}, st, 0, 4, static_cast<int>(ozr::cb::kSegSymbols)),
              ozrStatusOk);
    ozriDecodeCBProgrSetPassCounter_JPEG2K(10, st);
    const Ozr8u zeros[8] = {0};
    ASSERT_EQ(ozriDecodeCBProgrStep_JPEG2K(zeros, 8, st), ozrStatusCodeBlockCorrupt);
    EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(nullptr, 8, st), ozrStatusNullPointer);
    EXPECT_EQ(ozriDecodeCBProgrStep_JPEG2K(zeros, 8, st), ozrStatusCodeBlockCorrupt);
}
