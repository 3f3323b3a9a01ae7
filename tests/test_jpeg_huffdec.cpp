// Huffman decoding: decoder table record, bit reader (stuffing, fill bytes,
// markers, end of data), block decoding (careful path, fast kernel, Direct
// form), the one-value decoder and argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/frame.h"
#include "jpeg/huffdec.h"
#include "test_util.h"

using namespace ozrtest;
namespace hd = ozr::huffdec;

namespace {

// ISO/IEC 10918-1 Annex K tables (luminance DC and AC).
const uint8_t kDcBits[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const uint8_t kDcVals[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
const uint8_t kAcBits[16] = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d};
const uint8_t kAcVals[162] = {
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61,
    0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52,
    0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25,
    0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45,
    0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5a, 0x63, 0x64,
    0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
    0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
    0x9a, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6,
    0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3,
    0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8,
    0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa};

OzriDecodeHuffmanSpec makeSpec(const uint8_t* bits, const uint8_t* vals) {
    OzriDecodeHuffmanSpec s;
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &s), ozrStatusOk);
    return s;
}

// Canonical codes of a BITS/HUFFVAL pair: symbol -> (code, length).
struct Codes {
    uint32_t code[256] = {};
    int len[256] = {};
};
Codes canonical(const uint8_t* bits, const uint8_t* vals) {
    Codes c;
    uint32_t code = 0;
    int k = 0;
    for (int L = 1; L <= 16; ++L) {
        for (int i = 0; i < bits[L - 1]; ++i, ++k) {
            c.code[vals[k]] = code++;
            c.len[vals[k]] = L;
        }
        code <<= 1;
    }
    return c;
}

// An independent writer of entropy-coded data (stuffing, 1-bit padding).
struct Writer {
    std::vector<uint8_t> out;
    uint32_t acc = 0;
    int n = 0;
    void put(uint32_t v, int len) {
        for (int i = len - 1; i >= 0; --i) {
            acc = (acc << 1) | ((v >> i) & 1u);
            if (++n == 8) {
                out.push_back(static_cast<uint8_t>(acc));
                if ((acc & 0xFF) == 0xFF) out.push_back(0);
                acc = 0;
                n = 0;
            }
        }
    }
    void flush() {
        if (n) put(0x7F, 8 - n);
    }
    void marker(uint8_t m) {
        flush();
        out.push_back(0xFF);
        out.push_back(m);
    }
};

int category(int v) {
    int a = v < 0 ? -v : v, c = 0;
    while (a) { ++c; a >>= 1; }
    return c;
}
uint32_t magBits(int v, int cat) { return static_cast<uint32_t>(v < 0 ? v - 1 : v) & ((1u << cat) - 1u); }

const int kZz[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                     12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                     35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                     58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// Encodes a natural-order block with the standard tables.
void encodeBlock(Writer& w, const int16_t* blk, int16_t* lastDC, const Codes& dc, const Codes& ac) {
    const int diff = blk[0] - *lastDC;
    *lastDC = blk[0];
    const int dcat = category(diff);
    w.put(dc.code[dcat], dc.len[dcat]);
    if (dcat) w.put(magBits(diff, dcat), dcat);
    int r = 0;
    for (int k = 1; k < 64; ++k) {
        const int v = blk[kZz[k]];
        if (!v) { ++r; continue; }
        while (r > 15) { w.put(ac.code[0xF0], ac.len[0xF0]); r -= 16; }
        const int cat = category(v);
        const int sym = r * 16 + cat;
        w.put(ac.code[sym], ac.len[sym]);
        w.put(magBits(v, cat), cat);
        r = 0;
    }
    if (r) w.put(ac.code[0], ac.len[0]);
}

// Random block in the 8-bit coefficient range, sparse like real data.
void randomBlock(Rng& rng, int16_t* blk, int density) {
    for (int i = 0; i < 64; ++i) {
        blk[i] = 0;
        if (rng.range(0, 99) < density) {
            const int cat = rng.range(1, 10);
            int v = rng.range(1 << (cat - 1), (1 << cat) - 1);
            blk[i] = static_cast<int16_t>(rng.range(0, 1) ? v : -v);
        }
    }
    blk[0] = static_cast<int16_t>(rng.range(-1023, 1023));  // differences stay within category 11
}

struct Decoder {
    OzriDecodeHuffmanState st{};
    int pos = 0, marker = 0;
    int16_t lastDC = 0;
    Decoder() { ozriDecodeHuffmanStateInit_JPEG_8u(&st); }
    OzrStatus block(const std::vector<uint8_t>& d, int16_t* out, const OzriDecodeHuffmanSpec& dc,
                    const OzriDecodeHuffmanSpec& ac, int len = -1) {
        return ozriDecodeHuffman8x8_JPEG_1u16s_C1(d.data(), len < 0 ? int(d.size()) : len, &pos, out,
                                                  &lastDC, &marker, &dc, &ac, &st);
    }
};

}  // namespace

// ------------------------------------------------------------ table record
TEST(DecodeSpec, StandardTablesFieldByField) {
    int size = 0, stateSize = 0;
    EXPECT_EQ(ozriDecodeHuffmanSpecGetBufSize_JPEG_8u(&size), ozrStatusOk);
    EXPECT_EQ(ozriDecodeHuffmanStateGetBufSize_JPEG_8u(&stateSize), ozrStatusOk);
    EXPECT_EQ(size * 100 + stateSize, 1644 * 100 + 24);
    OzriDecodeHuffmanSpec s = makeSpec(kDcBits, kDcVals);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(s.fast[i], 0x20000u) << i;  // symbol 0, code 00
    EXPECT_EQ(s.fast[0x40], 0x30001u);  // symbol 1, code 010
    EXPECT_EQ(s.fast[0xFE], 0x8000Au);  // symbol 10, code 11111110
    EXPECT_EQ(s.fast[0xFF], 0u);        // symbol 11 has 9 bits
    // Per length L: first code, last code (0xFFFF none), first index.
    const int want[][4] = {{0, 0, 0, 0},       {1, 0, 0xFFFF, 0}, {3, 2, 6, 1},      {9, 0x1FE, 0x1FE, 11},
                           {10, 0, 0xFFFF, 12}, {17, 0, 0xFFFF, 0}};
    for (const auto& w : want) {
        EXPECT_EQ(s.firstCode[w[0]], w[1]) << w[0];
        EXPECT_EQ(s.lastCode[w[0]], w[2]) << w[0];
        EXPECT_EQ(s.firstIndex[w[0]], w[3]) << w[0];
    }
    EXPECT_EQ(s.symbols[11] * 1000 + s.symbols[12], 11000);
    OzriDecodeHuffmanSpec a = makeSpec(kAcBits, kAcVals);
    EXPECT_EQ(a.lastCode[16], 0xFFFE);  // the all-ones code is never used
    EXPECT_EQ(a.firstIndex[16], 162 - 125);
    OzriDecodeHuffmanState* st = nullptr;
    ASSERT_EQ(ozriDecodeHuffmanStateInitAlloc_JPEG_8u(&st), ozrStatusOk);
    EXPECT_EQ(st->bitBuffer + st->count + st->eobRun + st->position, 0u);
    EXPECT_EQ(ozriDecodeHuffmanStateFree_JPEG_8u(st), ozrStatusOk);
}

TEST(DecodeSpec, CountLimitsAndOverfullShortCodes) {
    uint8_t vals[256];
    for (int i = 0; i < 256; ++i) vals[i] = static_cast<uint8_t>(i);
    OzriDecodeHuffmanSpec s;
    uint8_t bits[16] = {};
    bits[7] = 255;
    bits[15] = 1;  // 256 codes: accepted
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &s), ozrStatusOk);
    bits[15] = 2;  // 257
    std::memset(&s, 0x77, sizeof s);
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &s), ozrStatusBadHuffmanTable);
    const std::vector<uint8_t> zero(sizeof s, 0);
    EXPECT_EQ(0, std::memcmp(&s, zero.data(), sizeof s));  // zeroed before the count test

    // Three codes of length 1: the third code (2) starts at index 256, whose
    // entry is allowed; the next one (257) is not.
    uint8_t over[16] = {3};
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(over, vals, &s), ozrStatusBadHuffmanTable);
    // 128 codes of length 7 and one of length 8: code 256 writes exactly the
    // one entry past the table, which is the first two first-code words.
    uint8_t edge[16] = {};
    edge[6] = 128;
    edge[7] = 1;
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(edge, vals, &s), ozrStatusOk);
    EXPECT_EQ(s.firstCode[0], 128);  // symbol 128
    EXPECT_EQ(s.firstCode[1], 8);    // length 8
    EXPECT_EQ(s.lastCode[8], 256);

    // Pointers in argument order; InitAlloc stores the record even for a bad table.
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(nullptr, nullptr, nullptr), ozrStatusNullPointer);
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(over, nullptr, &s), ozrStatusNullPointer);
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(over, vals, nullptr), ozrStatusNullPointer);
    EXPECT_EQ(ozriDecodeHuffmanSpecFree_JPEG_8u(nullptr) + ozriDecodeHuffmanStateFree_JPEG_8u(nullptr) +
                  ozriDecodeHuffmanStateInit_JPEG_8u(nullptr) + ozriDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr),
              4 * ozrStatusNullPointer);
    OzriDecodeHuffmanSpec* p = nullptr;
    EXPECT_EQ(ozriDecodeHuffmanSpecInitAlloc_JPEG_8u(over, vals, &p), ozrStatusBadHuffmanTable);
    ASSERT_NE(p, nullptr);  // stored even for a bad table
    EXPECT_EQ(ozriDecodeHuffmanSpecFree_JPEG_8u(p), ozrStatusOk);
    const uint8_t none[16] = {};
    EXPECT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(none, vals, &s), ozrStatusOk);
    for (int L = 1; L <= 17; ++L) EXPECT_EQ(s.lastCode[L], 0xFFFF);
}

// ---------------------------------------------------------- argument order
// Each function's checks in order: case i breaks check i and every later one,
// so the status must be that of check i; with none broken the call succeeds.
// Nothing may be written on an argument error.
TEST(DecodeArgs, CheckOrderAndNothingWritten) {
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    const Codes dcC = canonical(kDcBits, kDcVals), acC = canonical(kAcBits, kAcVals);
    Writer w;  // one block (DC +1, EOB) and a marker: every form succeeds on it
    int16_t blk[64] = {1}, last = 0;
    encodeBlock(w, blk, &last, dcC, acC);
    w.marker(0xD9);
    struct Args {
        const Ozr8u* src;
        int len, pos, bits, nbits;
        int *pPos, *pBits, *pNbits, *pMarker;
        Ozr16s *dst, *lastDC;
        Ozr32u* pref;
        const OzriDecodeHuffmanSpec *dc, *ac;
        OzriDecodeHuffmanState* st;
    };
    using Break = std::function<void(Args&)>;
    struct Form {
        std::vector<std::pair<Break, OzrStatus>> checks;
        std::function<OzrStatus(Args&)> call;
    };
    const Form forms[] = {
        {{{[](Args& a) { a.src = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.len = -1; }, ozrStatusBadArgument},
          {[](Args& a) { a.pPos = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.dst = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.lastDC = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pMarker = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.dc = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.ac = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.st = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pos = -1; }, ozrStatusBadArgument},
          {[](Args& a) { if (a.st) a.st->count = 33; }, ozrStatusBadSize}},
         [](Args& a) { return ozriDecodeHuffman8x8_JPEG_1u16s_C1(a.src, a.len, a.pPos, a.dst, a.lastDC, a.pMarker, a.dc, a.ac, a.st); }},
        {{{[](Args& a) { a.src = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pBits = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.bits = -8; }, ozrStatusBadArgument}, {[](Args& a) { a.dst = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.lastDC = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pMarker = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.pref = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pNbits = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.nbits = 33; }, ozrStatusBadArgument}, {[](Args& a) { a.dc = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.ac = nullptr; }, ozrStatusNullPointer}},
         [](Args& a) { return ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(a.src, a.pBits, a.dst, a.lastDC, a.pMarker, a.pref, a.pNbits, a.dc, a.ac); }},
        {{{[](Args& a) { a.src = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.len = 0; }, ozrStatusBadSize},
          {[](Args& a) { a.pPos = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.dst = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.pMarker = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.dc = nullptr; }, ozrStatusNullPointer},
          {[](Args& a) { a.st = nullptr; }, ozrStatusNullPointer}, {[](Args& a) { a.pos = -1; }, ozrStatusBadArgument},
          {[](Args& a) { if (a.st) a.st->count = -1; }, ozrStatusBadSize}},
         [](Args& a) { return ozriDecodeHuffmanOne_JPEG_1u16s_C1(a.src, a.len, a.pPos, a.dst, a.pMarker, a.dc, a.st); }},
    };
    for (int f = 0; f < 3; ++f) {
        const Form& form = forms[f];
        for (size_t i = 0; i <= form.checks.size(); ++i) {
            OzriDecodeHuffmanState st{};
            st.position = 99;
            Ozr16s dst[64], lastDC = 7;
            std::fill(dst, dst + 64, Ozr16s(0x5555));
            Ozr32u pref = 0xDEADBEEF;
            int marker = 0;
            Args a{w.out.data(), int(w.out.size()), 0, 0, 0, nullptr, nullptr, nullptr, &marker, dst, &lastDC, &pref, &dc, &ac, &st};
            a.pPos = &a.pos;
            a.pBits = &a.bits;
            a.pNbits = &a.nbits;
            for (size_t j = i; j < form.checks.size(); ++j) form.checks[j].first(a);
            const OzriDecodeHuffmanState st0 = st;
            const Args a0 = a;
            const OzrStatus want = i < form.checks.size() ? form.checks[i].second : ozrStatusOk;
            EXPECT_EQ(form.call(a), want) << "form " << f << " check " << i;
            if (want != ozrStatusOk) {
                EXPECT_TRUE(dst[0] == 0x5555 && dst[63] == 0x5555 && lastDC == 7 && pref == 0xDEADBEEFu) << f << " " << i;
                EXPECT_TRUE(a.pos == a0.pos && a.bits == a0.bits && a.nbits == a0.nbits && marker == 0) << f << " " << i;
                EXPECT_EQ(0, std::memcmp(&st, &st0, sizeof st)) << f << " " << i;
            }
        }
    }
}

// ---------------------------------------------------------------- reader
TEST(DecodeReader, StuffingFillBytesMarkersAndEnd) {
    {
        // Reader level: FF 00 -> data FF; FF FF D0 -> marker D0 after it.
        const uint8_t d[] = {0x12, 0xFF, 0x00, 0x34, 0xFF, 0xFF, 0xD0, 0x99};
        int marker = 0;
        OzriDecodeHuffmanState st{};
        hd::StateReader r = hd::stateReader(d, sizeof d, 0, &marker, &st);
        EXPECT_EQ(r.fill(24), ozrStatusOk);
        EXPECT_EQ(r.count, 24);
        EXPECT_EQ(r.buf, 0x12FF34u);
        EXPECT_EQ(marker, 0xD0);
        EXPECT_EQ(r.pos, 7);  // just after the marker
        EXPECT_EQ(r.fill(25), ozrStatusBadCodeOrValue);
        EXPECT_EQ(r.pos, 7);
    }
    {
        // A 0xFF at the very end is the end of the data and stays unread.
        const uint8_t d[] = {0x12, 0xFF};
        int marker = 0;
        OzriDecodeHuffmanState st{};
        hd::StateReader r = hd::stateReader(d, sizeof d, 0, &marker, &st);
        EXPECT_EQ(r.fill(8), ozrStatusOk);
        EXPECT_EQ(r.pos, 1);
        EXPECT_EQ(r.fill(9), ozrStatusBufferExhausted);
        EXPECT_EQ(r.pos, 1);
        EXPECT_EQ(marker, 0);
        // ... and FF FF FF at the end likewise.
        const uint8_t e[] = {0x12, 0xFF, 0xFF, 0xFF};
        r = hd::stateReader(e, sizeof e, 0, &marker, &st);
        EXPECT_EQ(r.fill(9), ozrStatusBufferExhausted);
        EXPECT_EQ(r.pos, 1);
        EXPECT_EQ(r.count, 8);
    }
}

TEST(DecodeBlock, EdgeCasesOfTheBlockRules) {
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    const Codes dcC = canonical(kDcBits, kDcVals), acC = canonical(kAcBits, kAcVals);
    Ozr16s out[64];
    {
        // DC symbol 0 copies the predictor; ZRL then EOB leaves the rest zero.
        Writer w;
        w.put(dcC.code[0], dcC.len[0]);
        w.put(acC.code[0xF0], acC.len[0xF0]);
        w.put(acC.code[0], acC.len[0]);
        w.flush();
        Decoder dec;
        dec.lastDC = -77;
        ASSERT_EQ(dec.block(w.out, out, dc, ac), ozrStatusOk);
        EXPECT_EQ(out[0], -77);
        for (int i = 1; i < 64; ++i) EXPECT_EQ(out[i], 0);
        EXPECT_EQ(dec.st.position, 17);
    }
    {
        // Source ending inside the EOB code: DC and AC so far are kept.
        Writer w;
        w.put(dcC.code[6], dcC.len[6]);
        w.put(33, 6);  // +33
        w.put(acC.code[0x02], acC.len[0x02]);
        w.put(2, 2);                   // +2
        w.put(acC.code[0] >> 2, 2);    // the first 2 of the 4 EOB bits
        ASSERT_EQ(w.out.size(), 2u);
        ASSERT_EQ(w.n, 0);
        Decoder dec;
        EXPECT_EQ(dec.block(w.out, out, dc, ac), ozrStatusBufferExhausted);
        EXPECT_EQ(out[0], 33);
        EXPECT_EQ(out[1], 2);
        for (int i = 2; i < 64; ++i) EXPECT_EQ(out[i], 0);
        EXPECT_EQ(dec.st.position, 2);
        EXPECT_EQ(dec.pos, 2);
        EXPECT_EQ(dec.st.count, 2);  // the cut EOB consumed nothing
    }
    {
        // DC failure sets the position field to 0.
        Decoder dec;
        dec.st.position = 33;
        const std::vector<uint8_t> d = {0xFF, 0xD9};
        EXPECT_EQ(dec.block(d, out, dc, ac), ozrStatusBadCodeOrValue);
        EXPECT_EQ(dec.marker, 0xD9);
        EXPECT_EQ(dec.st.position, 0);
        EXPECT_EQ(dec.pos, 2);
        const std::vector<uint8_t> e = {0x00};
        Decoder dec2;
        dec2.st.position = 33;
        EXPECT_EQ(dec2.block(e, out, dc, ac, 0), ozrStatusBufferExhausted);
        EXPECT_EQ(dec2.st.position, 0);
    }
    {
        // After a marker the bits still buffered decode; the next block fails.
        Writer w;
        int16_t blk[64] = {}, last = 0;
        blk[0] = 3;
        blk[1] = -2;  // 13 bits: the first fill already meets the marker
        encodeBlock(w, blk, &last, dcC, acC);
        w.marker(0xD3);
        ASSERT_EQ(w.out.size(), 4u);
        Decoder dec;
        ASSERT_EQ(dec.block(w.out, out, dc, ac), ozrStatusOk);
        EXPECT_EQ(out[0], 3);
        EXPECT_EQ(out[1], -2);
        EXPECT_EQ(dec.marker, 0xD3);
        EXPECT_EQ(dec.pos, int(w.out.size()));
        EXPECT_EQ(dec.block(w.out, out, dc, ac), ozrStatusBadCodeOrValue);
    }
    {
        // A run past position 63: up to 8 positions land in coefficient 63,
        // further ones overrun.  From zigzag position 61, runs of 3 and 9
        // reach the guard entries 64 and 70; a run of 15 reaches 76.
        for (int run : {3, 9, 15}) {
            Writer w;
            w.put(dcC.code[0], dcC.len[0]);
            for (int i = 0; i < 3; ++i) w.put(acC.code[0xF0], acC.len[0xF0]);  // k = 49
            w.put(acC.code[0xB1], acC.len[0xB1]);                                 // k = 61
            w.put(1, 1);
            const int sym = run * 16 + 1;  // from k = 61 (2 positions left)
            w.put(acC.code[sym], acC.len[sym]);
            w.put(1, 1);
            w.put(acC.code[0], acC.len[0]);
            w.flush();
            Decoder dec;
            dec.st.position = 5;
            const OzrStatus st = dec.block(w.out, out, dc, ac);
            const int idx = 61 + run;  // zigzag position the value goes to
            if (idx <= 71) {
                EXPECT_EQ(st, ozrStatusOk) << run;
                EXPECT_EQ(out[63], 1) << run;
                EXPECT_EQ(dec.st.position, idx + 1);
            } else {
                EXPECT_EQ(st, ozrStatusBlockOverrun) << run;
                EXPECT_EQ(dec.st.position, 5);  // left as it was
            }
        }
    }
}

TEST(DecodeBlock, BadCodesAndCorruptRecordsStayInBounds) {
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    Ozr16s out[64];
    {
        // 16 one-bits are no code of the AC table (its longest code is 0xFFFE).
        Writer w;
        w.put(0, 2);
        w.put(0xFFFF, 16);
        w.put(0, 14);
        Decoder dec;
        EXPECT_EQ(dec.block(w.out, out, dc, ac), ozrStatusBadCodeOrValue);
        EXPECT_EQ(dec.st.position, 1);
        EXPECT_EQ(dec.st.count, 32 - 2);
    }
    // Random records, including fast entries with odd lengths and bounds
    // pointing anywhere: decoding must stay inside the record and the block.
    Rng rng(99);
    for (int iter = 0; iter < 300; ++iter) {
        OzriDecodeHuffmanSpec junk;
        rng.bytes(&junk, sizeof junk);
        std::vector<uint8_t> d(rng.range(0, 600));
        rng.bytes(d.data(), d.size());
        Decoder dec;
        for (int b = 0; b < 20; ++b) {
            const OzrStatus st = dec.block(d, out, junk, iter % 2 ? junk : ac);
            if (st != ozrStatusOk) break;
        }
        EXPECT_LE(dec.pos, int(d.size()));
    }
}

// ------------------------------------------------- fast kernel vs careful
namespace {
// Runs both paths from one reader and compares every output; returns true
// when the fast kernel took the block.
bool compareOnce(const std::vector<uint8_t>& d, int len, int pos, uint64_t buf, int count, int marker,
                 int16_t lastDC, const OzriDecodeHuffmanSpec& dc, const OzriDecodeHuffmanSpec& ac,
                 int* nextPos, uint64_t* nextBuf, int* nextCount, OzrStatus* status) {
    OzriDecodeHuffmanState st{};
    st.bitBuffer = buf;
    st.count = count;
    int m1 = marker, m2 = marker;
    hd::StateReader rf = hd::stateReader(d.data(), len, pos, &m1, &st);
    hd::StateReader rc = hd::stateReader(d.data(), len, pos, &m2, &st);
    Ozr16s of[64], oc[64];
    Ozr16s dcF = lastDC, dcC = lastDC;
    int pf = -5, pc = -5;
    hd::StateReader rv = rf;
    const bool took = hd::decodeBlockFast(rf, of, &dcF, &dc, &ac, &pf);
    *status = hd::decodeBlockCareful(rc, oc, &dcC, &dc, &ac, &pc);
    if (ozr::cpuHasAvx2()) {
        // The AVX2 build of the kernel gives the baseline build's results.
        int mv = marker;
        rv.marker = &mv;
        Ozr16s ov[64];
        Ozr16s dcV = lastDC;
        int pv = -5;
        EXPECT_EQ(took, hd::avx2::decodeBlockFast(rv, ov, &dcV, &dc, &ac, &pv));
        if (took) {
            EXPECT_EQ(0, std::memcmp(ov, of, sizeof ov));
        }
        EXPECT_EQ(dcV, dcF);
        EXPECT_EQ(pv, pf);
        EXPECT_EQ(rv.pos, rf.pos);
        EXPECT_EQ(rv.buf & 0xFFFFFFFFu, rf.buf & 0xFFFFFFFFu);
        EXPECT_EQ(rv.count, rf.count);
        EXPECT_EQ(mv, m1);
    }
    if (took) {
        EXPECT_EQ(*status, ozrStatusOk);
        EXPECT_EQ(0, std::memcmp(of, oc, sizeof of));
        EXPECT_EQ(dcF, dcC);
        EXPECT_EQ(pf, pc);
        EXPECT_EQ(rf.pos, rc.pos);
        EXPECT_EQ(rf.buf & 0xFFFFFFFFu, rc.buf & 0xFFFFFFFFu);
        EXPECT_EQ(rf.count, rc.count);
        EXPECT_EQ(m1, m2);
    } else {
        // Giving up leaves the reader and the predictor untouched.
        EXPECT_EQ(rf.pos, pos);
        EXPECT_EQ(rf.count, count);
        EXPECT_EQ(dcF, lastDC);
        EXPECT_EQ(pf, -5);
    }
    *nextPos = rc.pos;
    *nextBuf = rc.buf;
    *nextCount = rc.count;
    return took;
}
}  // namespace

TEST(DecodeFastKernel, MatchesCarefulOnRandomAndAdversarialStreams) {
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    const Codes dcC = canonical(kDcBits, kDcVals), acC = canonical(kAcBits, kAcVals);
    Rng rng(7);
    int took = 0, total = 0;
    for (int iter = 0; iter < 60; ++iter) {
        // Valid blocks with random density, stuffing from dense data, an
        // optional marker or corruption somewhere, odd start offsets.
        Writer w;
        const int pre = rng.range(0, 7);  // odd alignment of the data start
        for (int i = 0; i < pre; ++i) w.out.push_back(0x11);
        int16_t last = 0;
        const int nblocks = rng.range(1, 40);
        for (int b = 0; b < nblocks; ++b) {
            int16_t blk[64];
            randomBlock(rng, blk, rng.range(0, 100));
            encodeBlock(w, blk, &last, dcC, acC);
        }
        if (iter % 3 == 0) w.marker(static_cast<uint8_t>(0xD0 + iter % 8));
        std::vector<uint8_t> d = w.out;
        if (iter % 4 == 1 && d.size() > 10) d[rng.range(pre, int(d.size()) - 1)] ^= 1 << rng.range(0, 7);
        if (iter % 5 == 2 && d.size() > 10) d[rng.range(pre, int(d.size()) - 2)] = 0xFF;
        if (iter % 7 == 3) d.resize(rng.range(pre, int(d.size())));
        // Sweep lengths around the fast kernel's limit as well.
        for (int extra : {0, hd::kFastMinBytes, hd::kFastMinBytes + 1}) {
            std::vector<uint8_t> dd = d;
            for (int i = 0; i < extra; ++i) dd.push_back(static_cast<uint8_t>(rng.u32() | 1));
            int pos = pre, count = 0, marker = 0;
            uint64_t buf = 0;
            int16_t lastDC = 0;
            for (int b = 0; b < nblocks + 2; ++b) {
                OzrStatus st;
                int np, nc;
                uint64_t nb;
                took += compareOnce(dd, int(dd.size()), pos, buf, count, marker, lastDC, dc, ac, &np,
                                    &nb, &nc, &st);
                ++total;
                if (st != ozrStatusOk) break;
                // Follow the careful path.
                OzriDecodeHuffmanState s{};
                s.bitBuffer = buf;
                s.count = count;
                Ozr16s o[64];
                ASSERT_EQ(ozriDecodeHuffman8x8_JPEG_1u16s_C1(dd.data(), int(dd.size()), &pos, o, &lastDC,
                                                             &marker, &dc, &ac, &s),
                          ozrStatusOk);
                EXPECT_EQ(pos, np);
                buf = s.bitBuffer;
                count = s.count;
                EXPECT_EQ(count, nc);
            }
        }
    }
    EXPECT_GT(took, total / 4);  // the fast kernel does take real streams
    // Every starting count 0..32 with random buffered bits.
    int tookCounts = 0;
    for (int count = 0; count <= 32; ++count) {
        Writer w;
        int16_t last = 0;
        for (int b = 0; b < 8; ++b) {
            int16_t blk[64];
            randomBlock(rng, blk, 30);
            encodeBlock(w, blk, &last, dcC, acC);
        }
        for (int i = 0; i < hd::kFastMinBytes; ++i) w.out.push_back(0x5A);
        OzrStatus st;
        int np, nc;
        uint64_t nb;
        tookCounts += compareOnce(w.out, int(w.out.size()), 1 + count % 3, rng.u32(), count, 0, 0, dc,
                                  ac, &np, &nb, &nc, &st);
    }
    EXPECT_GT(tookCounts, 10);
    // Pure random bytes.
    for (int iter = 0; iter < 200; ++iter) {
        std::vector<uint8_t> d(rng.range(1, 2 * hd::kFastMinBytes));
        rng.bytes(d.data(), d.size());
        int np, nc;
        uint64_t nb;
        OzrStatus st;
        compareOnce(d, int(d.size()), rng.range(0, 3), rng.u32(), rng.range(0, 32), 0,
                    static_cast<int16_t>(rng.u32()), dc, ac, &np, &nb, &nc, &st);
    }
    // A record whose symbols are not bytes (runs from 16 up, with and
    // without a size) or are common ones in other places: the fast kernel
    // reads the run, the size and the end of block from the entry itself.
    for (int iter = 0; iter < 100; ++iter) {
        OzriDecodeHuffmanSpec odd = ac;
        auto oddSymbol = [&](uint32_t sym) -> uint32_t {
            switch (rng.range(0, 3)) {
                case 0: return sym;
                case 1: return static_cast<uint32_t>(rng.range(0, 0xFFF)) << 4;  // no size
                case 2: return static_cast<uint32_t>(rng.range(0, 0xFFFF));
                default: return rng.range(0, 1) ? 0xF0u : 0u;
            }
        };
        for (uint32_t& e : odd.fast)
            if (e) e = (e & 0xFFFF0000u) | oddSymbol(e & 0xFFFFu);
        for (uint16_t& sym : odd.symbols) sym = static_cast<uint16_t>(oddSymbol(sym));
        std::vector<uint8_t> d(rng.range(hd::kFastMinBytes, 2 * hd::kFastMinBytes));
        for (uint8_t& b : d) b = static_cast<uint8_t>(rng.u32() % 255);  // 0xFF rarely: long runs of blocks
        int np, nc;
        uint64_t nb;
        OzrStatus st;
        compareOnce(d, int(d.size()), rng.range(4, 7), rng.u32(), rng.range(0, 32), 0,
                    static_cast<int16_t>(rng.u32()), dc, odd, &np, &nb, &nc, &st);
    }
}

TEST(DecodeFastKernel, MatchesCarefulAroundRestartMarkers) {
    // Restart markers every few blocks inside long data: the careful reader
    // may reach a marker a few bytes beyond what the fast kernel has read.
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    const Codes dcC = canonical(kDcBits, kDcVals), acC = canonical(kAcBits, kAcVals);
    Rng rng(17);
    int took = 0, markers = 0;
    for (int iter = 0; iter < 150; ++iter) {
        Writer w;
        const int interval = rng.range(1, 6), n = rng.range(10, 60);
        int16_t last = 0;
        for (int b = 0; b < n; ++b) {
            if (b && b % interval == 0) {
                w.marker(static_cast<uint8_t>(0xD0 + (b / interval - 1) % 8));
                last = 0;
            }
            int16_t blk[64];
            randomBlock(rng, blk, rng.range(0, 60));
            encodeBlock(w, blk, &last, dcC, acC);
        }
        w.marker(0xD9);
        for (int i = 0; i < hd::kFastMinBytes; ++i) w.out.push_back(static_cast<uint8_t>(rng.u32() & 0x7F));
        int pos = 0, count = 0, marker = 0;
        uint64_t buf = 0;
        int16_t lastDC = 0;
        for (int b = 0; b < n; ++b) {
            if (b && b % interval == 0) {
                if (marker == 0) {
                    ASSERT_EQ(w.out[pos], 0xFF);
                    pos += 2;
                }
                ++markers;
                marker = 0;
                count = 0;
                buf = 0;
                lastDC = 0;
            }
            OzrStatus st;
            int np, nc;
            uint64_t nb;
            const int m0 = marker;
            took += compareOnce(w.out, int(w.out.size()), pos, buf, count, marker, lastDC, dc, ac, &np, &nb, &nc, &st);
            ASSERT_EQ(st, ozrStatusOk);
            OzriDecodeHuffmanState s{};
            s.bitBuffer = buf;
            s.count = count;
            Ozr16s o[64];
            marker = m0;
            ASSERT_EQ(ozriDecodeHuffman8x8_JPEG_1u16s_C1(w.out.data(), int(w.out.size()), &pos, o, &lastDC, &marker,
                                                         &dc, &ac, &s),
                      ozrStatusOk);
            buf = s.bitBuffer;
            count = s.count;
        }
    }
    EXPECT_GT(took, 1000);
    EXPECT_GT(markers, 500);
}

// --------------------------------------------------------- the Direct form
// (Continuing a stream over many calls and restart intervals is checked on
// cjpeg files and on the library encoder's output.)
TEST(DecodeDirect, MarkerAtDcAtAcAndInsideMagnitude) {
    const OzriDecodeHuffmanSpec dc = makeSpec(kDcBits, kDcVals), ac = makeSpec(kAcBits, kAcVals);
    const Codes dcC = canonical(kDcBits, kDcVals), acC = canonical(kAcBits, kAcVals);
    Ozr16s out[64], lastDC = 0;
    {
        // DC, one AC value, then the marker where the next AC symbol should
        // be: the block ends, the read-ahead is dropped.
        Writer w;
        w.put(dcC.code[1], dcC.len[1]);
        w.put(1, 1);
        w.put(acC.code[0x02], acC.len[0x02]);
        w.put(2, 2);
        w.marker(0xD5);
        int bitsLen = 0, nbits = 0, marker = 0;
        Ozr32u pref = 0;
        EXPECT_EQ(ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(w.out.data(), &bitsLen, out, &lastDC, &marker,
                                                            &pref, &nbits, &dc, &ac),
                  ozrStatusOk);
        EXPECT_EQ(out[0], 1);
        EXPECT_EQ(out[1], 2);
        EXPECT_EQ(marker, 0xD5);
        EXPECT_EQ(nbits, 0);
        EXPECT_EQ(bitsLen, int(w.out.size()) * 8);
    }
    {
        // A block that starts at the marker ends at once: zero block, the
        // predictor kept, the read-ahead left for the caller to drop.
        const uint8_t d[] = {0xFF, 0xD0, 0x00};
        int bitsLen = 0, nbits = 0, marker = 0;
        Ozr32u pref = 0;
        lastDC = 9;
        EXPECT_EQ(ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(d, &bitsLen, out, &lastDC, &marker, &pref, &nbits, &dc, &ac),
                  ozrStatusOk);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(lastDC, 9);
        EXPECT_EQ(marker, 0xD0);
        EXPECT_EQ(bitsLen, 16);
    }
    {
        // Magnitude bits cut by the marker are a bad value.
        Writer w;
        w.put(dcC.code[11], dcC.len[11]);
        w.put(0x3, 2);  // 2 of 11 magnitude bits
        w.marker(0xD9);
        int bitsLen = 0, nbits = 0, marker = 0;
        Ozr32u pref = 0;
        lastDC = 0;
        EXPECT_EQ(ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(w.out.data(), &bitsLen, out, &lastDC, &marker,
                                                            &pref, &nbits, &dc, &ac),
                  ozrStatusBadCodeOrValue);
        EXPECT_EQ(lastDC, 0);
    }
}

// ------------------------------------------------------- one-value decoder
TEST(DecodeOne, CategoriesIncludingSixteen) {
    // A table holding categories 0..16, all with 5-bit codes.
    uint8_t bits[16] = {};
    bits[4] = 17;
    uint8_t vals[17];
    for (int i = 0; i < 17; ++i) vals[i] = static_cast<uint8_t>(i);
    const OzriDecodeHuffmanSpec t = makeSpec(bits, vals);
    const Codes c = canonical(bits, vals);
    const int values[] = {0, 1, -1, 2, -3, 255, -256, 16383, -16384, 32767, -32767, -32768};
    Writer w;
    for (int v : values) {
        const int cat = v == -32768 ? 16 : category(v);
        w.put(c.code[cat], c.len[cat]);
        if (cat && cat < 16) w.put(magBits(v, cat), cat);
    }
    w.flush();
    OzriDecodeHuffmanState st{};
    int pos = 0, marker = 0;
    for (int v : values) {
        Ozr16s out = 0x1234;
        ASSERT_EQ(ozriDecodeHuffmanOne_JPEG_1u16s_C1(w.out.data(), int(w.out.size()), &pos, &out, &marker,
                                                     &t, &st),
                  ozrStatusOk);
        EXPECT_EQ(out, v);
    }
    Ozr16s out = 0x1234;
    EXPECT_EQ(ozriDecodeHuffmanOne_JPEG_1u16s_C1(w.out.data(), int(w.out.size()), &pos, &out, &marker, &t,
                                                 &st),
              ozrStatusBufferExhausted);
    EXPECT_EQ(out, 0x1234);  // nothing stored on error
}
