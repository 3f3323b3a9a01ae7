// Huffman encoder: code table records, optimal tables, the block encoder
// (fast path against the careful path at every buffer end, stuffing, partial
// commit), the direct and one-value encoders, statistics, argument order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "core/frame.h"
#include "core/kernels.h"
#include "jfif_writer.h"
#include "jpeg/huffenc.h"
#include "test_util.h"

namespace {

using ozrtest::Rng;

OzriEncodeHuffmanSpec makeSpec(const jfif::HuffTable& t) {
    OzriEncodeHuffmanSpec s;
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(t.bits, t.vals.data(), &s));
    return s;
}
const OzriEncodeHuffmanSpec kDcL = makeSpec(jfif::stdDcLuminance());
const OzriEncodeHuffmanSpec kAcL = makeSpec(jfif::stdAcLuminance());

// Sparse quantized-looking block; some values are all 1-bits (0xFF-heavy).
void randomBlock(Rng& rng, Ozr16s* blk, int maxAc = 1023) {
    std::memset(blk, 0, 64 * sizeof(Ozr16s));
    blk[0] = static_cast<Ozr16s>(rng.range(-1024, 1023));
    const int density = rng.range(0, 64);
    for (int k = 1; k < 64; ++k) {
        if (rng.range(0, 63) >= density) continue;
        const int kind = rng.range(0, 3);
        int v = kind == 0 ? rng.range(1, 3) : kind == 1 ? (1 << rng.range(1, 10)) - 1 : rng.range(1, maxAc);
        blk[ozr::kZigzagNatural[k]] = static_cast<Ozr16s>(rng.range(0, 1) ? v : -v);
    }
}

// A state as the library leaves it: pending bits under bit 24, last byte above.
OzriEncodeHuffmanState randomState(Rng& rng) {
    OzriEncodeHuffmanState st;
    ozriEncodeHuffmanStateInit_JPEG_8u(&st);
    st.count = rng.range(0, 7);
    const uint32_t pend = rng.u32() & ((1u << st.count) - 1u);
    st.accumulator = (uint32_t(rng.range(0, 255)) << 24) | (pend << (24 - st.count));
    return st;
}

bool sameState(const OzriEncodeHuffmanState& a, const OzriEncodeHuffmanState& b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

std::string codeBits(uint32_t entry) {
    std::string r;
    for (int i = static_cast<int>(entry >> 16) - 1; i >= 0; --i) r += ((entry >> i) & 1) ? '1' : '0';
    return r;
}

// Bit string -> bytes, padded with 1-bits, 0xFF followed by 0x00.
std::vector<uint8_t> stuffed(std::string bits) {
    while (bits.size() % 8) bits += '1';
    std::vector<uint8_t> out;
    for (size_t i = 0; i < bits.size(); i += 8) {
        out.push_back(static_cast<uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
        if (out.back() == 0xFF) out.push_back(0);
    }
    return out;
}

struct Stream {
    std::vector<uint8_t> buf;
    int pos = 0;
    OzriEncodeHuffmanState st;
    Ozr16s lastDC = 0;
    explicit Stream(int len = 4096) : buf(len, 0xEE) { ozriEncodeHuffmanStateInit_JPEG_8u(&st); }
    int len() const { return static_cast<int>(buf.size()); }
    OzrStatus block(const Ozr16s* b, const OzriEncodeHuffmanSpec& dc = kDcL, const OzriEncodeHuffmanSpec& ac = kAcL) {
        return ozriEncodeHuffman8x8_JPEG_16s1u_C1(b, buf.data(), len(), &pos, &lastDC, &dc, &ac, &st, 0);
    }
    OzrStatus one(Ozr16s v, const OzriEncodeHuffmanSpec& t) {
        return ozriEncodeHuffmanOne_JPEG_16s1u_C1(&v, buf.data(), len(), &pos, &t, &st, 0);
    }
    OzrStatus flush() {
        return ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, buf.data(), len(), &pos, nullptr, nullptr, nullptr, &st, 1);
    }
    std::vector<uint8_t> bytes() const { return {buf.begin(), buf.begin() + pos}; }
};

// ============================================================== code tables

TEST(HuffEncTable, CanonicalCodesAndTableChecks) {
    int n = 0;
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecGetBufSize_JPEG_8u(&n));
    EXPECT_EQ(1024, n);
    EXPECT_EQ(0x00020000u, kDcL.entry[0]);
    EXPECT_EQ(0x1FEu | (9u << 16), kDcL.entry[11]);
    EXPECT_EQ(0u, kDcL.entry[12]);

    uint8_t vals[256];
    for (int i = 0; i < 256; ++i) vals[i] = static_cast<uint8_t>(i);
    OzriEncodeHuffmanSpec sp;
    const uint8_t overFull[16] = {2, 1};  // 0, 1, then no room for a 2-bit code
    const uint8_t allOnes[16] = {1, 2};   // complete: the last code would be 11
    EXPECT_EQ(ozrStatusBadHuffmanTable, ozriEncodeHuffmanSpecInit_JPEG_8u(overFull, vals, &sp));
    EXPECT_EQ(ozrStatusBadHuffmanTable, ozriEncodeHuffmanSpecInit_JPEG_8u(allOnes, vals, &sp));
    // 256 codes fit; code lengths 8 -> 9 -> 16 double the running code.
    const uint8_t ok256[16] = {0, 0, 0, 0, 0, 0, 0, 128, 127, 0, 0, 0, 0, 0, 0, 1};
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(ok256, vals, &sp));
    EXPECT_EQ(0x17Eu | (9u << 16), sp.entry[254]);
    EXPECT_EQ(0xBF80u | (16u << 16), sp.entry[255]);
    // 257 codes are rejected after the record was zeroed.
    const uint8_t over256[16] = {0, 0, 0, 0, 0, 0, 0, 128, 128, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(ozrStatusBadHuffmanTable, ozriEncodeHuffmanSpecInit_JPEG_8u(over256, vals, &sp));
    EXPECT_TRUE(std::all_of(sp.entry, sp.entry + 256, [](uint32_t e) { return e == 0; }));
    // No codes at all is a valid, empty record; a repeated symbol keeps its last code.
    const uint8_t none[16] = {};
    std::memset(&sp, 0xAB, sizeof(sp));
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(none, vals, &sp));
    EXPECT_TRUE(std::all_of(sp.entry, sp.entry + 256, [](uint32_t e) { return e == 0; }));
    const uint8_t two[16] = {0, 2}, dup[2] = {7, 7};
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(two, dup, &sp));
    EXPECT_EQ(0x1u | (2u << 16), sp.entry[7]);

    // InitAlloc hands out the record also when the table is bad.
    OzriEncodeHuffmanSpec* p = nullptr;
    EXPECT_EQ(ozrStatusBadHuffmanTable, ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(overFull, vals, &p));
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecFree_JPEG_8u(p));
}

TEST(HuffEncTable, RawTableEdgeCasesAndLengthLimit) {
    int stats[256] = {};
    uint8_t bits[16], vals[256];
    stats[42] = 5;  // one symbol: one 1-bit code
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, vals));
    EXPECT_EQ(1, bits[0]);
    EXPECT_EQ(1, std::accumulate(bits, bits + 16, 0));
    EXPECT_EQ(42, vals[0]);

    std::memset(stats, 0, sizeof(stats));  // nothing counted: an empty table
    std::memset(bits, 0x55, 16);
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, vals));
    EXPECT_EQ(0, std::accumulate(bits, bits + 16, 0));

    // Fibonacci counts build a 30-deep tree: limited to 16 bits, no all-ones code.
    for (int s = 0, a = 1, b = 1; s < 30; ++s, b += a, a = b - a) stats[s * 7] = a;
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, vals));
    EXPECT_EQ(30, std::accumulate(bits, bits + 16, 0));
    EXPECT_NE(0, bits[15]);
    OzriEncodeHuffmanSpec sp;
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &sp));
    for (int i = 0; i < 30; ++i) {
        const uint32_t e = sp.entry[vals[i]];
        EXPECT_NE((1u << (e >> 16)) - 1u, e & 0xFFFF);
    }
}

// ======================================================= block encoder edges

TEST(HuffEncBlock, ZeroBlockFlushAndLastCoefficient) {
    int n = 0;
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanStateGetBufSize_JPEG_8u(&n));
    EXPECT_EQ(1048, n);
    Stream s;
    std::memset(&s.st, 0xCD, sizeof(s.st));
    ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanStateInit_JPEG_8u(&s.st));
    EXPECT_TRUE(std::all_of(reinterpret_cast<uint8_t*>(&s.st), reinterpret_cast<uint8_t*>(&s.st + 1),
                            [](uint8_t b) { return b == 0; }));
    Ozr16s blk[64] = {};
    ASSERT_EQ(ozrStatusOk, s.block(blk));  // DC "00" + EOB "1010": six pending bits
    EXPECT_EQ(0, s.pos);
    EXPECT_EQ(6, s.st.count);
    ASSERT_EQ(ozrStatusOk, s.flush());
    EXPECT_EQ(std::vector<uint8_t>({0x2B}), s.bytes());
    EXPECT_TRUE(sameState(Stream().st, s.st));
    ASSERT_EQ(ozrStatusOk, s.flush());  // nothing pending: nothing written
    EXPECT_EQ(1, s.pos);

    blk[63] = -1;  // after 62 zeros: three ZRL, symbol 0xE1, bit 0, no EOB
    Stream z;
    ASSERT_EQ(ozrStatusOk, z.block(blk));
    ASSERT_EQ(ozrStatusOk, z.flush());
    const std::string zrl = codeBits(kAcL.entry[0xF0]);
    EXPECT_EQ(stuffed("00" + zrl + zrl + zrl + codeBits(kAcL.entry[0xE1]) + "0"), z.bytes());
}

TEST(HuffEncBlock, SignBitsStuffingAndExhaustion) {
    Ozr16s blk[64] = {};
    blk[1] = 1;
    Stream s;
    blk[0] = 1;  // DC +1: "010" "1"
    ASSERT_EQ(ozrStatusOk, s.block(blk));
    blk[0] = 0;  // DC -1: "010" "0"
    ASSERT_EQ(ozrStatusOk, s.block(blk));
    ASSERT_EQ(ozrStatusOk, s.flush());
    EXPECT_EQ(stuffed("0101" "001" "1010" "0100" "001" "1010"), s.bytes());

    // Five pending 1-bits flushed make 0xFF, which gets its 0x00.
    Stream f;
    ASSERT_EQ(ozrStatusOk, ozr::huff::writeBits(0x1F, 5, f.buf.data(), f.len(), &f.pos, &f.st));
    ASSERT_EQ(ozrStatusOk, f.flush());
    EXPECT_EQ(std::vector<uint8_t>({0xFF, 0x00}), f.bytes());
    // Room for the 0xFF but not its 0x00: exhausted, byte and position stay,
    // the state keeps its value from before the write (partial commit).
    Stream g(1);
    const OzriEncodeHuffmanState before = g.st;
    EXPECT_EQ(ozrStatusBufferExhausted, ozr::huff::writeBits(0xFF, 8, g.buf.data(), 1, &g.pos, &g.st));
    EXPECT_EQ(1, g.pos);
    EXPECT_EQ(0xFF, g.buf[0]);
    EXPECT_TRUE(sameState(before, g.st));
}

TEST(HuffEncBlock, SymbolsWithoutCodes) {
    Ozr16s blk[64] = {};
    blk[0] = 5;
    OzriEncodeHuffmanSpec noEob = kAcL;
    noEob.entry[0x00] = 0;
    Stream s;
    EXPECT_EQ(ozrStatusBadHuffmanTable, s.block(blk, kDcL, noEob));
    EXPECT_EQ(5, s.lastDC) << "the predictor moves before writing";
    EXPECT_EQ(6, s.st.count) << "the DC code and bits stay written";

    // DC difference -65535 (category 16): entry 16, then sixteen bits of -65536.
    OzriEncodeHuffmanSpec dc16 = kDcL;
    dc16.entry[16] = 0x3 | (2u << 16);
    blk[0] = -32768;
    Stream d;
    d.lastDC = 32767;
    EXPECT_EQ(ozrStatusBadHuffmanTable, d.block(blk));  // the standard table has no entry 16
    d.lastDC = 32767;
    EXPECT_EQ(ozrStatusBadHuffmanTable, d.block(blk, dc16, noEob));
    EXPECT_EQ(std::vector<uint8_t>({0xC0, 0x00}), d.bytes());

    // AC -32768 after 15 zeros is symbol 256: no code, nothing read past the table.
    OzriEncodeHuffmanSpec full = kAcL;
    for (uint32_t& e : full.entry)
        if (!e) e = 0xFFFE | (16u << 16);
    Ozr16s b2[64] = {};
    b2[ozr::kZigzagNatural[16]] = -32768;
    Stream a;
    EXPECT_EQ(ozrStatusBadHuffmanTable, a.block(b2, kDcL, full));
    b2[ozr::kZigzagNatural[16]] = 0;
    b2[ozr::kZigzagNatural[15]] = -32768;  // after 14 zeros it is symbol 0xF0
    EXPECT_EQ(ozrStatusOk, a.block(b2, kDcL, full));
}

// ========================================== fast path against careful path

// A table for all 256 symbols from flat counts: long codes full of 1-bits,
// so 0xFF bytes are common.
OzriEncodeHuffmanSpec flatCodes(Rng& rng) {
    int flat[256];
    for (int& c : flat) c = rng.range(1, 4);
    uint8_t bits[16], vals[256];
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(flat, bits, vals));
    OzriEncodeHuffmanSpec s;
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &s));
    return s;
}

// The fast forms of the block encoder.
using Fast = bool (*)(const Ozr16s*, Ozr8u*, int, int*, Ozr16s*, const OzriEncodeHuffmanSpec*,
                      const OzriEncodeHuffmanSpec*, OzriEncodeHuffmanState*);

// The exported encoder (fast path first) against the careful path alone:
// status, position, predictor, state and the bytes up to the position agree
// (the fast path may leave scratch after it); nothing at or past dstLen moves.
void compareAt(const Ozr16s* blk, const OzriEncodeHuffmanSpec& ac, const OzriEncodeHuffmanState& st0, int pos0,
               int dstLen) {
    const int alloc = dstLen + 32;
    std::vector<uint8_t> a(alloc, 0x5A), b(alloc, 0x5A);
    OzriEncodeHuffmanState sa = st0, sb = st0;
    int pa = pos0, pb = pos0;
    Ozr16s da = 17, db = 17;
    const OzrStatus ra = ozriEncodeHuffman8x8_JPEG_16s1u_C1(blk, a.data(), dstLen, &pa, &da, &kDcL, &ac, &sa, 0);
    const OzrStatus rb = ozr::huff::encodeBlockCareful(blk, b.data(), dstLen, &pb, &db, &kDcL, &ac, &sb);
    ASSERT_EQ(rb, ra) << "len " << dstLen;
    ASSERT_EQ(pb, pa) << "len " << dstLen;
    ASSERT_EQ(db, da);
    ASSERT_TRUE(sameState(sa, sb)) << "len " << dstLen;
    ASSERT_TRUE(std::equal(a.begin(), a.begin() + pa, b.begin())) << "len " << dstLen;
    ASSERT_TRUE(std::all_of(a.begin() + dstLen, a.end(), [](uint8_t x) { return x == 0x5A; })) << "len " << dstLen;
    // Both builds of the fast path, called directly: when they take the
    // block, they give the careful result.
    for (Fast fast : {&ozr::huff::encodeBlockFast, &ozr::huff::avx2::encodeBlockFast,
                      &ozr::huff::avx512::encodeBlockFast}) {
        if (fast == &ozr::huff::avx2::encodeBlockFast && !ozr::cpuHasAvx2()) continue;
        if (fast == &ozr::huff::avx512::encodeBlockFast && !ozr::cpuHasAvx512()) continue;
        std::vector<uint8_t> c(alloc, 0x5A);
        OzriEncodeHuffmanState sc = st0;
        int pc = pos0;
        Ozr16s dcv = 17;
        if (!fast(blk, c.data(), dstLen, &pc, &dcv, &kDcL, &ac, &sc)) {
            ASSERT_TRUE(sameState(sc, st0));
            ASSERT_EQ(pos0, pc);
            ASSERT_EQ(17, dcv);
            continue;
        }
        ASSERT_EQ(ozrStatusOk, rb);
        ASSERT_EQ(pb, pc);
        ASSERT_EQ(db, dcv);
        ASSERT_TRUE(sameState(sc, sb));
        ASSERT_TRUE(std::equal(c.begin(), c.begin() + pc, b.begin()));
        ASSERT_TRUE(std::all_of(c.begin() + dstLen, c.end(), [](uint8_t x) { return x == 0x5A; }));
    }
}

TEST(HuffEncBlock, FastPathMatchesCarefulAtEveryBufferEnd) {
    Rng rng(5);
    const OzriEncodeHuffmanSpec longCodes = flatCodes(rng);
    // A hand-made record whose codes carry stray bits above their length.
    OzriEncodeHuffmanSpec dirty = kAcL;
    for (uint32_t& e : dirty.entry)
        if (e && (e >> 16) < 16) e |= 0x8000;
    for (int it = 0; it < 150; ++it) {
        const OzriEncodeHuffmanSpec& ac = it % 3 == 0 ? kAcL : it % 3 == 1 ? longCodes : dirty;
        // Small values and 12-bit ones; with codes for every symbol also the
        // whole 16-bit range and -32768 (not after 15 zeros: no such symbol).
        const bool wide = it % 3 == 1 && it % 2 == 1;
        Ozr16s blk[64];
        randomBlock(rng, blk, wide ? 32767 : it % 4 ? 1023 : 40);
        if (wide && it % 4 == 1) {
            const int k = rng.range(2, 63);
            blk[ozr::kZigzagNatural[k - 1]] = 1;
            blk[ozr::kZigzagNatural[k]] = -32768;
        }
        const OzriEncodeHuffmanState st = randomState(rng);
        const int pos = rng.range(0, 3);
        std::vector<uint8_t> big(2048);
        OzriEncodeHuffmanState sb = st;
        int end = pos;
        Ozr16s db = 17;
        ASSERT_EQ(ozrStatusOk, ozr::huff::encodeBlockCareful(blk, big.data(), 2048, &end, &db, &kDcL, &ac, &sb));
        for (int len = 1; len <= end + 40; ++len) compareAt(blk, ac, st, pos, len);
        compareAt(blk, ac, st, pos, 1024);
        // And with room the fast path does the work itself.
        OzriEncodeHuffmanState sf = st;
        int pf = pos;
        Ozr16s df = 17;
        const bool hasMin = std::find(blk, blk + 64, Ozr16s(-32768)) != blk + 64;  // left to the careful path
        EXPECT_EQ(!hasMin, ozr::huff::encodeBlockFast(blk, big.data(), 1024, &pf, &df, &kDcL, &ac, &sf));
        if (ozr::cpuHasAvx2()) {
            sf = st;
            pf = pos;
            df = 17;
            EXPECT_EQ(!hasMin, ozr::huff::avx2::encodeBlockFast(blk, big.data(), 1024, &pf, &df, &kDcL, &ac, &sf));
        }
        // The AVX-512 build leaves runs of 16 zeros or more (and -32768) to
        // the AVX2 build and takes every other block.
        if (ozr::cpuHasAvx512()) {
            int longest = 0, last = 0;
            for (int z = 1; z < 64; ++z)
                if (blk[ozr::kZigzagNatural[z]]) {
                    longest = std::max(longest, z - last - 1);
                    last = z;
                }
            sf = st;
            pf = pos;
            df = 17;
            EXPECT_EQ(!hasMin && longest < 16,
                      ozr::huff::avx512::encodeBlockFast(blk, big.data(), 1024, &pf, &df, &kDcL, &ac, &sf));
        }
    }
}

// Records nobody built with the init function (random entries, lengths 0 or
// above 16, stray code bits) and positions past the end: the two paths still
// agree and nothing is written outside the buffer.
TEST(HuffEncBlock, FastPathMatchesCarefulOnGarbageRecords) {
    Rng rng(8);
    for (int it = 0; it < 300; ++it) {
        OzriEncodeHuffmanSpec ac;
        for (uint32_t& e : ac.entry) e = rng.range(0, 3) ? (rng.u32() & 0x13FFFF) : 0;
        Ozr16s blk[64];
        randomBlock(rng, blk);
        const OzriEncodeHuffmanState st = randomState(rng);
        const int len = rng.range(1, 300);
        compareAt(blk, ac, st, rng.range(0, len + 2), len);
    }
}

// Long streams through each fast build, state and position carried from
// block to block, against the careful path: photo-like sparse blocks, dense
// ones, whole 15-bit values, and codes full of 1-bits (stuffing in most
// blocks).  Every build must take nearly all of them itself.
TEST(HuffEncBlock, FastStreamsMatchCarefulStream) {
    Rng rng(21);
    const OzriEncodeHuffmanSpec longCodes = flatCodes(rng);
    constexpr int kBlocks = 3000;
    const OzriEncodeHuffmanSpec* acs[2] = {&kAcL, &longCodes};
    for (const OzriEncodeHuffmanSpec* ac : acs) {
        // The standard tables stop at category 11 (DC) and 10 (AC).
        const bool standard = ac == &kAcL;
        const OzriEncodeHuffmanSpec& dc = standard ? kDcL : longCodes;
        std::vector<Ozr16s> blocks(64 * kBlocks, 0);
        for (int i = 0; i < kBlocks; ++i) {
            Ozr16s* blk = &blocks[64 * i];
            const int kind = i % 4;
            blk[0] = static_cast<Ozr16s>(rng.range(-1023, 1023));
            const int last = rng.range(0, 63), maxV = kind == 2 ? (standard ? 1023 : 32767) : kind == 1 ? 1023 : 30;
            for (int k = 1; k <= last; ++k)
                if (kind == 1 || rng.range(0, 3) == 0) {
                    const int v = rng.range(1, maxV);
                    blk[ozr::kZigzagNatural[k]] = static_cast<Ozr16s>(rng.range(0, 1) ? v : -v);
                }
            for (int k = 1; k + 15 < 64; k += 15) blk[ozr::kZigzagNatural[k]] |= 1;  // runs stay below 16
        }
        std::vector<uint8_t> want(1 << 20);
        OzriEncodeHuffmanState sw = randomState(rng);
        const OzriEncodeHuffmanState st0 = sw;
        int pw = 3;
        Ozr16s dw = 5;
        for (int i = 0; i < kBlocks; ++i)
            ASSERT_EQ(ozrStatusOk, ozr::huff::encodeBlockCareful(&blocks[64 * i], want.data(), int(want.size()), &pw,
                                                                 &dw, &dc, ac, &sw));
        for (Fast fast : {&ozr::huff::encodeBlockFast, &ozr::huff::avx2::encodeBlockFast,
                          &ozr::huff::avx512::encodeBlockFast}) {
            if (fast == &ozr::huff::avx2::encodeBlockFast && !ozr::cpuHasAvx2()) continue;
            if (fast == &ozr::huff::avx512::encodeBlockFast && !ozr::cpuHasAvx512()) continue;
            std::vector<uint8_t> got(want.size(), 0x5A);
            OzriEncodeHuffmanState sg = st0;
            int pg = 3, declined = 0;
            Ozr16s dg = 5;
            for (int i = 0; i < kBlocks; ++i)
                if (!fast(&blocks[64 * i], got.data(), int(got.size()), &pg, &dg, &dc, ac, &sg)) {
                    ++declined;
                    ASSERT_EQ(ozrStatusOk, ozr::huff::encodeBlockCareful(&blocks[64 * i], got.data(), int(got.size()),
                                                                         &pg, &dg, &dc, ac, &sg));
                }
            EXPECT_LT(declined, kBlocks / 100);
            ASSERT_EQ(pw, pg);
            EXPECT_EQ(dw, dg);
            EXPECT_TRUE(sameState(sw, sg));
            EXPECT_TRUE(std::equal(want.begin() + 3, want.begin() + pw, got.begin() + 3));
        }
    }
}

TEST(HuffEncKernel, ZigzagNonzeroMaskSsse3MatchesScalar) {
    Rng rng(3);
    std::vector<Ozr16s> mem(64 + 16);
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 8; ++off) {
            Ozr16s* src = mem.data() + off;  // every 2-byte alignment mod 16
            std::memset(src, 0, 64 * sizeof(Ozr16s));
            for (int i = 0; i < n; ++i) src[rng.range(0, 63)] = static_cast<Ozr16s>(rng.range(1, 32767));
            src[n - 1] = off & 1 ? -32768 : 1;
            const uint64_t m = ozr::huff::scalar::zigzagNonzeroMask(src);
            ASSERT_EQ(m, ozr::huff::ssse3::zigzagNonzeroMask(src)) << n << " " << off;
            for (int k = 0; k < 64; ++k) ASSERT_EQ(src[ozr::kZigzagNatural[k]] != 0, ((m >> k) & 1) != 0);
        }
}

// ==================================================== direct and one-value

// The direct encoder continues a bit stream: bytes and bit position equal the
// stateful encoder's, its partial byte holds the same pending bits.
TEST(HuffEncBlock, DirectMatchesStatefulStream) {
    Rng rng(11);
    for (int it = 0; it < 100; ++it) {
        Stream s;
        std::vector<uint8_t> d(4096, 0);
        const int lead = rng.range(0, 7);
        const uint32_t leadBits = rng.u32() & ((1u << lead) - 1u);
        int bitPos = lead;
        if (lead) {
            d[0] = static_cast<uint8_t>(leadBits << (8 - lead));
            ASSERT_EQ(ozrStatusOk, ozr::huff::writeBits(leadBits, lead, s.buf.data(), s.len(), &s.pos, &s.st));
        }
        Ozr16s dcD = 0;
        for (int b = rng.range(1, 6); b > 0; --b) {
            Ozr16s blk[64];
            randomBlock(rng, blk);
            ASSERT_EQ(ozrStatusOk, s.block(blk));
            ASSERT_EQ(ozrStatusOk, ozriEncodeHuffman8x8_Direct_JPEG_16s1u_C1(blk, d.data(), &bitPos, &dcD, &kDcL, &kAcL));
            ASSERT_EQ(s.lastDC, dcD);
            ASSERT_EQ(8 * s.pos + s.st.count, bitPos);
        }
        ASSERT_TRUE(std::equal(d.begin(), d.begin() + s.pos, s.buf.begin()));
        if (s.st.count) {
            ASSERT_EQ(static_cast<uint8_t>(s.st.accumulator >> 16), d[s.pos]);
        }
    }
}

TEST(HuffEncBlock, OneValueEncoder) {
    OzriEncodeHuffmanSpec t = kDcL;
    t.entry[16] = 0x1 | (1u << 16);
    Stream s(64);
    ASSERT_EQ(ozrStatusOk, s.one(-32768, t));  // category 16: the symbol only, "1"
    ASSERT_EQ(ozrStatusOk, s.one(-3, t));      // "011" + "00"
    ASSERT_EQ(ozrStatusOk, s.one(6, t));       // "100" + "110"
    ASSERT_EQ(ozrStatusOk, s.flush());
    EXPECT_EQ(stuffed("1" "01100" "100110"), s.bytes());
    EXPECT_EQ(ozrStatusBadHuffmanTable, s.one(4000, t));
}

// ============================================================== statistics

TEST(HuffEncStats, SymbolCountsAndCategoryLimits) {
    int dc[256] = {}, ac[256] = {};
    Ozr16s last = 10, blk[64] = {};
    blk[0] = 13;                        // diff 3: category 2
    blk[ozr::kZigzagNatural[1]] = -1;   // run 0, category 1
    blk[ozr::kZigzagNatural[40]] = 200; // run 38 = two ZRL + run 6, category 8
    ASSERT_EQ(ozrStatusOk, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(blk, dc, ac, &last));
    EXPECT_EQ(13, last);
    EXPECT_EQ(1, dc[2]);
    EXPECT_EQ(1, ac[0x01]);
    EXPECT_EQ(2, ac[0xF0]);
    EXPECT_EQ(1, ac[0x68]);
    EXPECT_EQ(1, ac[0x00]);
    Ozr16s ones[64];
    std::fill(ones, ones + 64, Ozr16s(1));  // last coefficient non-zero: no EOB
    ASSERT_EQ(ozrStatusOk, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(ones, dc, ac, &last));
    EXPECT_EQ(1, ac[0x00]);

    // DC category 16 fails after the predictor moved; AC category 15 fails
    // keeping the counts made before it (the ZRL included).
    blk[0] = -32768;
    last = 32767;
    EXPECT_EQ(ozrStatusBadCodeOrValue, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(blk, dc, ac, &last));
    EXPECT_EQ(-32768, last);
    int dc2[256] = {}, ac2[256] = {};
    Ozr16s b2[64] = {};
    b2[ozr::kZigzagNatural[1]] = 1;
    b2[ozr::kZigzagNatural[20]] = 16384;
    last = 0;
    EXPECT_EQ(ozrStatusBadCodeOrValue, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(b2, dc2, ac2, &last));
    EXPECT_EQ(1, ac2[0x01]);
    EXPECT_EQ(1, ac2[0xF0]);
    EXPECT_EQ(0, ac2[0x00]);
    b2[ozr::kZigzagNatural[20]] = -16383;  // category 14 is fine
    EXPECT_EQ(ozrStatusOk, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(b2, dc2, ac2, &last));

    int one[256] = {};
    for (Ozr16s v : {0, 1, -1, 255, -256, 32767, -32768}) ASSERT_EQ(ozrStatusOk, ozriGetHuffmanStatisticsOne_JPEG_16s_C1(&v, one));
    const int want[17] = {1, 2, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1, 1};
    EXPECT_TRUE(std::equal(want, want + 17, one));
}

// =================================================== argument check order

// Every function of the family: the first failing check decides, and an
// argument error writes nothing.
TEST(HuffEncArgs, CheckOrderAndNothingWritten) {
    const auto t = jfif::stdDcLuminance();
    const OzriEncodeHuffmanSpec *dc = &kDcL, *ac = &kAcL;
    OzriEncodeHuffmanSpec rec;
    std::memset(&rec, 0x77, sizeof(rec));
    OzriEncodeHuffmanState st, bad;
    ozriEncodeHuffmanStateInit_JPEG_8u(&st);
    st.count = 5;
    st.accumulator = 0x00F80000;
    bad = st;
    bad.count = 8;
    const OzriEncodeHuffmanState st0 = st;
    Ozr16s blk[64] = {}, last = 3;
    blk[0] = 7;
    uint8_t dst[64], bits[16], vals[256];
    std::memset(dst, 0x77, sizeof(dst));
    std::memset(bits, 0x77, sizeof(bits));
    int stats[256] = {}, pos = 2, negPos = -1, bitPos = 3, negBits = -8;
    OzriEncodeHuffmanSpec* pp = nullptr;
    auto enc = [&](const Ozr16s* s, Ozr8u* d, int len, int* p, Ozr16s* l, const OzriEncodeHuffmanSpec* a,
                   const OzriEncodeHuffmanSpec* b, OzriEncodeHuffmanState* sp, int fl) {
        return ozriEncodeHuffman8x8_JPEG_16s1u_C1(s, d, len, p, l, a, b, sp, fl);
    };
    auto one = [&](const Ozr16s* s, Ozr8u* d, int len, int* p, const OzriEncodeHuffmanSpec* a,
                   OzriEncodeHuffmanState* sp) { return ozriEncodeHuffmanOne_JPEG_16s1u_C1(s, d, len, p, a, sp, 0); };
    auto direct = [&](const Ozr16s* s, Ozr8u* d, int* b, Ozr16s* l, const OzriEncodeHuffmanSpec* x,
                      const OzriEncodeHuffmanSpec* y) { return ozriEncodeHuffman8x8_Direct_JPEG_16s1u_C1(s, d, b, l, x, y); };
    const OzrStatus N = ozrStatusNullPointer, S = ozrStatusBadSize, A = ozrStatusBadArgument;
    struct Case {
        const char* name;
        OzrStatus want;
        std::function<OzrStatus()> call;
    };
    const Case cases[] = {
        {"table size", N, [] { return ozriEncodeHuffmanSpecGetBufSize_JPEG_8u(nullptr); }},
        {"table bits", N, [&] { return ozriEncodeHuffmanSpecInit_JPEG_8u(nullptr, nullptr, nullptr); }},
        {"table vals", N, [&] { return ozriEncodeHuffmanSpecInit_JPEG_8u(t.bits, nullptr, &rec); }},
        {"table out", N, [&] { return ozriEncodeHuffmanSpecInit_JPEG_8u(t.bits, t.vals.data(), nullptr); }},
        {"alloc bits", N, [&] { return ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(nullptr, t.vals.data(), &pp); }},
        {"alloc vals", N, [&] { return ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(t.bits, nullptr, &pp); }},
        {"alloc out", N, [&] { return ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(t.bits, t.vals.data(), nullptr); }},
        {"table free", N, [] { return ozriEncodeHuffmanSpecFree_JPEG_8u(nullptr); }},
        {"raw stats", N, [&] { return ozriEncodeHuffmanRawTableInit_JPEG_8u(nullptr, nullptr, nullptr); }},
        {"raw bits", N, [&] { return ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, nullptr, vals); }},
        {"raw vals", N, [&] { return ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, nullptr); }},
        {"state size", N, [] { return ozriEncodeHuffmanStateGetBufSize_JPEG_8u(nullptr); }},
        {"state init", N, [] { return ozriEncodeHuffmanStateInit_JPEG_8u(nullptr); }},
        {"state alloc", N, [] { return ozriEncodeHuffmanStateInitAlloc_JPEG_8u(nullptr); }},
        {"state free", N, [] { return ozriEncodeHuffmanStateFree_JPEG_8u(nullptr); }},
        // Block encoder: dst, length, position, state (then the position and the
        // state's count), then, when not flushing, src, predictor, tables.
        {"blk dst", N, [&] { return enc(nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0); }},
        {"blk len", S, [&] { return enc(nullptr, dst, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0); }},
        {"blk pos", N, [&] { return enc(nullptr, dst, 64, nullptr, nullptr, nullptr, nullptr, nullptr, 0); }},
        {"blk state", N, [&] { return enc(nullptr, dst, 64, &negPos, nullptr, nullptr, nullptr, nullptr, 1); }},
        {"blk neg pos", A, [&] { return enc(nullptr, dst, 64, &negPos, nullptr, nullptr, nullptr, &bad, 1); }},
        {"blk count", S, [&] { return enc(nullptr, dst, 64, &pos, nullptr, nullptr, nullptr, &bad, 1); }},
        {"blk src", N, [&] { return enc(nullptr, dst, 64, &pos, nullptr, nullptr, nullptr, &st, 0); }},
        {"blk last", N, [&] { return enc(blk, dst, 64, &pos, nullptr, nullptr, nullptr, &st, 0); }},
        {"blk dc", N, [&] { return enc(blk, dst, 64, &pos, &last, nullptr, nullptr, &st, 0); }},
        {"blk ac", N, [&] { return enc(blk, dst, 64, &pos, &last, dc, nullptr, &st, 0); }},
        {"one dst", N, [&] { return one(nullptr, nullptr, 0, nullptr, nullptr, nullptr); }},
        {"one len", S, [&] { return one(nullptr, dst, -3, nullptr, nullptr, nullptr); }},
        {"one pos", N, [&] { return one(nullptr, dst, 64, nullptr, nullptr, nullptr); }},
        {"one state", N, [&] { return one(nullptr, dst, 64, &pos, nullptr, nullptr); }},
        {"one count", S, [&] { return one(nullptr, dst, 64, &pos, nullptr, &bad); }},
        {"one src", N, [&] { return one(nullptr, dst, 64, &pos, dc, &st); }},
        {"one table", N, [&] { return one(blk, dst, 64, &pos, nullptr, &st); }},
        {"dir src", N, [&] { return direct(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"dir dst", N, [&] { return direct(blk, nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"dir bits", N, [&] { return direct(blk, dst, nullptr, nullptr, nullptr, nullptr); }},
        {"dir last", N, [&] { return direct(blk, dst, &negBits, nullptr, nullptr, nullptr); }},
        {"dir dc", N, [&] { return direct(blk, dst, &negBits, &last, nullptr, nullptr); }},
        {"dir ac", N, [&] { return direct(blk, dst, &negBits, &last, dc, nullptr); }},
        {"dir neg", A, [&] { return direct(blk, dst, &negBits, &last, dc, ac); }},
        {"stats src", N, [&] { return ozriGetHuffmanStatistics8x8_JPEG_16s_C1(nullptr, nullptr, nullptr, nullptr); }},
        {"stats dc", N, [&] { return ozriGetHuffmanStatistics8x8_JPEG_16s_C1(blk, nullptr, nullptr, nullptr); }},
        {"stats ac", N, [&] { return ozriGetHuffmanStatistics8x8_JPEG_16s_C1(blk, stats, nullptr, nullptr); }},
        {"stats last", N, [&] { return ozriGetHuffmanStatistics8x8_JPEG_16s_C1(blk, stats, stats, nullptr); }},
        {"stat1 src", N, [&] { return ozriGetHuffmanStatisticsOne_JPEG_16s_C1(nullptr, nullptr); }},
        {"stat1 out", N, [&] { return ozriGetHuffmanStatisticsOne_JPEG_16s_C1(blk, nullptr); }},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.want, c.call()) << c.name;
        const bool untouched = std::all_of(dst, dst + 64, [](uint8_t b) { return b == 0x77; }) &&
                               std::all_of(bits, bits + 16, [](uint8_t b) { return b == 0x77; }) &&
                               std::all_of(stats, stats + 256, [](int v) { return v == 0; }) &&
                               reinterpret_cast<const uint8_t*>(&rec)[100] == 0x77 && pp == nullptr &&
                               pos == 2 && negPos == -1 && bitPos == 3 && negBits == -8 && last == 3 &&
                               sameState(st, st0) && bad.count == 8;
        EXPECT_TRUE(untouched) << c.name << ": wrote on an argument error";
    }
    // A flush ignores the block pointers and stuffs the 0xFF it completes.
    EXPECT_EQ(ozrStatusOk, enc(nullptr, dst, 64, &pos, nullptr, nullptr, nullptr, &st, 1));
    EXPECT_EQ(4, pos);
    EXPECT_EQ(0xFF, dst[2]);
    EXPECT_EQ(0x00, dst[3]);
}

}  // namespace
