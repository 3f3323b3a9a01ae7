// Huffman decoding for sequential and lossless JPEG: the decoder
// table record (fast 8-bit look-up plus per-length bounds), the
// 24-byte decoder state and the bit reader that the block decoders and the
// lossless row decoder share.  Internal; the public header keeps both
// records opaque.
//
// Bit reading model
// -----------------
// The reader keeps up to 32 bits read ahead: bytes are shifted into the
// buffer from the right, the next bit to consume is bit (count - 1), bits
// above count are stale and ignored (the stored buffer keeps its low 32
// bits).  A fill appends whole bytes while count < 25, so it leaves 25..32
// bits when data allows.  Fills happen only on demand, at three places: at
// the start of a symbol when fewer than 8 bits are buffered, in the long-code
// search when the code needs more bits than are buffered, and before
// magnitude bits that are not all buffered.  The fast block kernel reads
// through a wider reservoir but steps a copy of this count at exactly these
// points, so it ends with the careful path's position, buffer and count.
//
// Byte level: 0xFF 0x00 is a data byte 0xFF; 0xFF 0xFF... is a run of fill
// bytes before the next 0xFF-prefixed byte; 0xFF followed by anything else
// is a marker: its second byte goes to *pMarker, the position moves past it
// and nothing more is read while *pMarker is non-zero.  A 0xFF that is the
// last byte of the data counts as the end of the data and is left unread
// (the position stays on it), so a caller that later supplies more data can
// continue from there.
//
// Failures: a request for bits that are not buffered after the fill gives
// ozrStatusBufferExhausted at the end of the data and ozrStatusBadCodeOrValue
// after a marker.  A symbol or magnitude read that fails consumes no bits;
// bytes already moved into the buffer stay there.  A 16-bit prefix that is no
// code of the table, or a table record whose bounds point outside its symbol
// list, is ozrStatusBadCodeOrValue.
#ifndef OZRJ_JPEG_HUFFDEC_H
#define OZRJ_JPEG_HUFFDEC_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <emmintrin.h>

#include "ozrj.h"

struct OzriDecodeHuffmanSpec {
    uint16_t symbols[256];    // symbol of the k-th code in canonical order
    uint32_t fast[256];       // next 8 bits -> symbol | (length << 16), 0 = longer
    uint16_t firstCode[18];   // first code of each length 1..16
    uint16_t lastCode[18];    // last code of each length, 0xFFFF = none; [17] sentinel
    uint16_t firstIndex[18];  // symbol-list position of each length's first code
};

struct OzriDecodeHuffmanState {
    uint64_t bitBuffer;  // low 32 bits used
    int32_t count;       // valid bits, 0..32
    int32_t eobRun;      // progressive only; 0 here
    int32_t position;    // 64 minus the AC positions still open after a block
};

static_assert(sizeof(OzriDecodeHuffmanSpec) == 1644, "decoder tbl is 1644 bytes");
static_assert(offsetof(OzriDecodeHuffmanSpec, fast) == 512, "decoder tbl layout");
static_assert(offsetof(OzriDecodeHuffmanSpec, firstCode) == 1536, "decoder tbl layout");
static_assert(sizeof(OzriDecodeHuffmanState) == 24, "decoder state is 24 bytes");

namespace ozr {
namespace huffdec {

// Zigzag position -> natural index, with eight guard entries of 63 so that a
// run overshooting by up to eight positions lands in coefficient 63.
constexpr int kZigzagLen = 72;
inline constexpr uint8_t kZigzag[kZigzagLen] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48, 41, 34,
    27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
    58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63, 63, 63, 63, 63, 63, 63, 63, 63};
// kZigzag[k] at [16 k] for k 0..62 (zero between): the fast kernel keeps
// 16 times its zigzag position, to which a symbol's run adds without a shift.
constexpr int kZigzag16Len = 63 * 16;
struct Zigzag16 {
    uint8_t at[kZigzag16Len];
};
constexpr Zigzag16 makeZigzag16() {
    Zigzag16 z{};
    for (int k = 0; k < 63; ++k) z.at[16 * k] = kZigzag[k];
    return z;
}
inline constexpr Zigzag16 kZigzag16 = makeZigzag16();

// Fills a decoder table record from BITS/HUFFVAL (no pointer checks).
OzrStatus specInit(const Ozr8u* bits, const Ozr8u* vals, OzriDecodeHuffmanSpec* tbl);

// v is an s-bit magnitude field (s 1..15): v when its top bit is set, else
// v + 1 - 2^s.
inline int32_t extend(uint32_t v, int s) {
    return (v >> (s - 1)) ? static_cast<int32_t>(v)
                          : static_cast<int32_t>(v) + 1 - (int32_t(1) << s);
}

// A fast-table entry is usable when its length is 1..8.
inline bool fastEntryUsable(uint32_t e) { return e - 0x10000u < 0x80000u; }

// ----------------------------------------------------------------- reader
// Bounded: the stateful reader, limited to src[0..len).  The Direct reader
// has no length (Unbounded) and reports a shortfall after a marker as
// ozrStatusMarkerFound so that its block decoder can end the block there.
template <bool Bounded>
struct BitReader {
    const Ozr8u* src;
    int len;       // Bounded only
    int pos;       // next byte to read
    int* marker;
    uint64_t buf;  // only the low 32 bits are meaningful to the caller
    int count;

    static constexpr OzrStatus kAfterMarker = Bounded ? ozrStatusBadCodeOrValue : ozrStatusMarkerFound;

    // Appends bytes while count < 25; fails only when count < need then.
    OzrStatus fill(int need) {
        if (*marker != 0) return need > count ? kAfterMarker : ozrStatusOk;
        while (count < 25) {
            if (Bounded && pos >= len)
                return need > count ? ozrStatusBufferExhausted : ozrStatusOk;
            uint32_t b = src[pos];
            if (b == 0xFF) {
                int p = pos + 1;
                uint32_t c;
                for (;;) {
                    if (Bounded && p >= len)  // a trailing 0xFF: end of data, left unread
                        return need > count ? ozrStatusBufferExhausted : ozrStatusOk;
                    c = src[p];
                    if (c != 0xFF) break;
                    ++p;  // fill byte
                }
                if (c != 0) {
                    *marker = static_cast<int>(c);
                    pos = p + 1;
                    return need > count ? kAfterMarker : ozrStatusOk;
                }
                pos = p + 1;
            } else {
                ++pos;
            }
            buf = ((buf << 8) | b) & 0xFFFFFFFFu;
            count += 8;
        }
        return ozrStatusOk;
    }

    inline uint32_t peek(int n) const {
        return static_cast<uint32_t>(buf >> (count - n)) & ((1u << n) - 1u);
    }

    // Decodes one symbol (fast table, then the long-code search).
    OzrStatus symbol(const OzriDecodeHuffmanSpec* t, int* sym) {
        int L = 1;
        if (count < 8) fill(0);
        if (count >= 8) {
            uint32_t e = t->fast[peek(8)];
            if (fastEntryUsable(e)) {
                count -= static_cast<int>(e >> 16);
                *sym = static_cast<int>(e & 0xFFFFu);
                return ozrStatusOk;
            }
            L = 9;
        }
        return longSymbol(t, L, sym);
    }

    // Long-code search from length L: the code grows one bit at a time until
    // it is not above the last code of its length.
    OzrStatus longSymbol(const OzriDecodeHuffmanSpec* t, int L, int* sym) {
        for (; L <= 16; ++L) {
            if (count < L) {
                if (OzrStatus st = fill(L)) return st;
            }
            const uint32_t code = peek(L);
            const uint32_t last = t->lastCode[L];
            if (last != 0xFFFFu && code <= last) {
                const int idx = int(t->firstIndex[L]) + int(code) - int(t->firstCode[L]);
                if (idx < 0 || idx > 255) return ozrStatusBadCodeOrValue;
                count -= L;
                *sym = t->symbols[idx];
                return ozrStatusOk;
            }
        }
        return ozrStatusBadCodeOrValue;
    }

    // Reads s magnitude bits (1..16) raw.
    inline OzrStatus bits(int s, uint32_t* v) {
        if (count < s) {
            if (OzrStatus st = fill(s)) return st;
        }
        *v = peek(s);
        count -= s;
        return ozrStatusOk;
    }
};

using StateReader = BitReader<true>;
using DirectReader = BitReader<false>;

inline StateReader stateReader(const Ozr8u* src, int len, int pos, int* marker,
                               const OzriDecodeHuffmanState* st) {
    StateReader r;
    r.src = src;
    r.len = len;
    r.pos = pos;
    r.marker = marker;
    r.buf = st->bitBuffer & 0xFFFFFFFFu;
    r.count = st->count;
    return r;
}

inline void storeReader(const StateReader& r, int* pos, OzriDecodeHuffmanState* st) {
    *pos = r.pos;
    st->bitBuffer = r.buf & 0xFFFFFFFFu;
    st->count = r.count;
}

// A state that this library could have left: count 0..32 and a position
// inside the data.  Anything else is rejected by the exported decoders with
// ozrStatusBadSize before any byte is read.
inline bool readerStateValid(const OzriDecodeHuffmanState* st, int pos, int len) {
    return st->count >= 0 && st->count <= 32 && pos >= 0 && pos <= len;
}

// One lossless/DC-style value: symbol s; 0 -> 0, 1..15 -> s magnitude bits
// sign-extended, 16 and above -> -32768 with no bits.
template <bool B>
inline OzrStatus decodeValue(BitReader<B>& r, const OzriDecodeHuffmanSpec* t, Ozr16s* out) {
    int s;
    if (OzrStatus st = r.symbol(t, &s)) return st;
    if (s == 0) {
        *out = 0;
    } else if (s < 16) {
        uint32_t v;
        if (OzrStatus st = r.bits(s, &v)) return st;
        *out = static_cast<Ozr16s>(extend(v, s));
    } else {
        *out = static_cast<Ozr16s>(-32768);
    }
    return ozrStatusOk;
}

// Block decoders.  All take the reader by reference and leave it where
// decoding stopped; *position receives 64 minus the open AC positions (0 when
// the DC failed) except on ozrStatusBlockOverrun, which leaves it unchanged.
OzrStatus decodeBlockCareful(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                             const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac,
                             int* position);
// The fast kernel: returns false (having changed nothing the caller keeps:
// reader, *lastDC and *position untouched; dst may hold garbage) when it
// cannot finish the block with certainty; the careful path then decodes it.
bool decodeBlockFast(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                     const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac,
                     int* position);
// The Direct form (careful only); see the public header for its contract.
OzrStatus decodeBlockDirect(DirectReader& r, Ozr16s* dst, Ozr16s* lastDC,
                            const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac);

// Bytes the fast kernel wants ahead of the position before it starts: a
// block is at most 64 symbols of 16 + 15 bits (248 data bytes) and the
// reservoir runs up to 8 data bytes ahead, each data byte at most two source
// bytes, plus the reservoir's 8-byte loads (the 64 bytes tested for 0xFF at
// the start lie well inside).  Closer to the end of the data (and at a
// marker) blocks are decoded by the careful path.
constexpr int kFastMinBytes = 2 * 256 + 16;

// The same kernel built for AVX2 processors (BMI2 shifts); callers test
// cpuHasAvx2().
namespace avx2 {
bool decodeBlockFast(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                     const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac,
                     int* position);
}

// The exported block decoder in the baseline build and the AVX2 build: the
// fast kernel for the common call, else blockChecked.
OzrStatus blockEntry(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst,
                     Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable,
                     const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState);
namespace avx2 {
OzrStatus blockEntry(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst,
                     Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable,
                     const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState);
}
// The careful path of the exported block decoder with every argument check,
// in order (out of line: reached only by blocks the fast kernel declines
// and by bad arguments).
OzrStatus blockChecked(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst,
                       Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable,
                       const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState);

// ------------------------------------------------------------ fast kernel
// The fast kernel reads the data through a 64-bit reservoir kept left-aligned
// (the next bit is the top bit) and refilled eight bytes at a time, without
// looking at the bytes while they lie in a window found free of 0xFF when the
// block starts.  Beside it runs the careful reader's bookkeeping, reduced to
// two numbers: `x`, the bits consumed in this block minus the count on
// entry, and `g`, eight times the data bytes the careful reader has loaded in
// this block.  Its count is then g - x, and a fill for `need` bits happens
// exactly when x + need > g, after which g = (x + 32) & ~7 (whole bytes until
// the count reaches 25 or more).  From g and x the careful reader's final
// position, buffer and count are rebuilt at the end, so both paths agree
// without the fast one filling byte by byte.
//
// The kernel is a template on the build (V: 0 baseline, 1 AVX2) so that each
// build has its own copy; it is only instantiated in this family's sources.
namespace kernel {

// Careful-reader fill check: `demand` is x + need, `base` the x at the fill.
template <int V>
__attribute__((always_inline)) inline void carefulFill(int demand, int base, int& g) {
    const int filled = (base + 32) & ~7;
    g = demand > g ? filled : g;
}

// The fills of a magnitude read (s = 0..15 bits, from xs to x) and of the
// next symbol's start in one step: the read fills when x exceeds g, and a
// fill leaves 25 or more bits from xs, which covers the s + 8 that the start
// then wants; else the start fills when x + 8 exceeds g.
template <int V>
__attribute__((always_inline)) inline void carefulFillNext(int x, int xs, int& g) {
    const int base = x > g ? xs : x;
    const int filled = (base + 32) & ~7;
    g = x + 8 > g ? filled : g;
}

// The s (1..15) bits at the top of t, sign-extended as extend() does: the
// top bit, copied down and complemented, shifted like the field gives the
// 2^s - 1 to subtract when it is clear.
template <int V>
__attribute__((always_inline)) inline int32_t magnitude(uint64_t t, int s) {
    const unsigned c = static_cast<unsigned>(-s) & 63u;
    const uint64_t clear = ~static_cast<uint64_t>(static_cast<int64_t>(t) >> 63);
    return static_cast<int32_t>(t >> c) - static_cast<int32_t>(clear >> c);
}

// Zeroes one block with eight 16-byte stores, written out: as a loop or a
// memset the compiler turns it into a string instruction that is slow to
// start, which costs more than a small block takes to decode.
template <int V>
__attribute__((always_inline)) inline void zeroBlock(Ozr16s* dst) {
    const __m128i z = _mm_setzero_si128();
    __m128i* p = reinterpret_cast<__m128i*>(dst);
    _mm_storeu_si128(p + 0, z);
    _mm_storeu_si128(p + 1, z);
    _mm_storeu_si128(p + 2, z);
    _mm_storeu_si128(p + 3, z);
    _mm_storeu_si128(p + 4, z);
    _mm_storeu_si128(p + 5, z);
    _mm_storeu_si128(p + 6, z);
    _mm_storeu_si128(p + 7, z);
}

// The careful reader's position and buffer after it loaded n data bytes from
// src[pos..) (stuffed bytes among them); out of line, as stuffing is rare
// (a template like the kernel, so that each build keeps its own copy).
template <int V>
__attribute__((noinline)) void carefulBytes(const Ozr8u* src, int n, int pos, uint64_t buf,
                                                   int* outPos, uint64_t* outBuf) {
    for (int i = 0; i < n; ++i) {
        const uint32_t b = src[pos];
        pos += b == 0xFF ? 2 : 1;
        buf = (buf << 8) | b;
    }
    *outPos = pos;
    *outBuf = buf & 0xFFFFFFFFu;
}

// The code length of a fast entry read on its own (the third byte of the
// little-endian entry): the shift that follows a look-up then waits for one
// load, not for the load and a shift that extracts the length.  Equal to
// e >> 16 for a usable entry.
__attribute__((always_inline)) inline uint32_t fastLength(const uint32_t* fast, uint64_t i) {
    return reinterpret_cast<const uint8_t*>(fast + i)[2];
}

// The limit below which the reservoir may load eight bytes from p on
// without looking at them: up to the first 0xFF among the 64 bytes from p
// (the 64th counts as one), so that a block rarely meets a checked load.
// Where the limit lies changes no result: a checked load of clean bytes
// does what the unchecked one does.  (16-byte vectors in both builds: a
// 32-byte one would cost the AVX2 build an aligned frame and vzeroupper.)
template <int V>
__attribute__((always_inline)) inline const Ozr8u* windowLimit(const Ozr8u* p) {
    const __m128i ff = _mm_set1_epi8(static_cast<char>(0xFF));
    const __m128i* v = reinterpret_cast<const __m128i*>(p);
    auto mask = [&](int i) {
        return static_cast<uint64_t>(static_cast<uint32_t>(
            _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_loadu_si128(v + i), ff))));
    };
    const uint64_t m = mask(0) | (mask(1) << 16) | (mask(2) << 32) | (mask(3) << 48);
    const int first = __builtin_ctzll(m | (uint64_t(1) << 63));
    return p + (first > 7 ? first - 7 : 0);
}

// Decodes one block from src[pos..len) with the careful reader's buffer and
// count (0..32) and no marker met.  On success it gives the careful path's
// position, buffer, count and block position; on false nothing the caller
// keeps has changed (dst may hold garbage).
template <int V>
__attribute__((always_inline)) inline bool decodeBlock(const Ozr8u* const src, int len, int pos,
                                                       uint64_t buf, int c0, Ozr16s* dst,
                                                       Ozr16s* lastDC, const OzriDecodeHuffmanSpec* dc,
                                                       const OzriDecodeHuffmanSpec* ac, int* outPos,
                                                       uint64_t* outBuf, int* outCount, int* outPosition) {
    if (pos < 0 || len - pos < kFastMinBytes) return false;
    const Ozr8u* q = src + pos;  // next raw byte for the reservoir
    // Valid bits are the top nb; the bits below them are either zero or the
    // raw bytes from q on (what the next refill would put there).
    uint64_t bb;
    uint64_t nb;  // 0..63
    int x = -c0;           // bits consumed minus c0
    int g = 0;             // 8 x data bytes the careful reader loaded
    bool stuffed = false;  // the reservoir met a stuffed 0xFF 0x00
    // The common start: the buffer holds the four bytes just before pos (as
    // this kernel leaves it when no stuffing was near) and the next four are
    // no 0xFF.  One load then gives the buffered bits and 32 more, and the
    // start does not wait for the stored buffer: the comparison is only a
    // branch.
    bool direct = false;
    uint64_t w0 = 0;
    if (__builtin_expect(pos >= 4, 1)) {
        std::memcpy(&w0, q - 4, 8);
        w0 = __builtin_bswap64(w0);
        const uint32_t t0 = ~static_cast<uint32_t>(w0);
        direct = static_cast<uint32_t>(w0 >> 32) == static_cast<uint32_t>(buf) &&
                 ((t0 - 0x01010101u) & ~t0 & 0x80808080u) == 0;
    }

    // Tops the reservoir up to at least 56 bits; false at a marker or fill
    // byte (the careful path then takes the block).
    auto refill = [&]() -> bool {
        uint64_t w;
        std::memcpy(&w, q, 8);
        w = __builtin_bswap64(w);
        const uint64_t t = ~w;
        if (__builtin_expect(((t - 0x0101010101010101ull) & ~t & 0x8080808080808080ull) == 0, 1)) {
            bb |= w >> nb;
            q += (nb ^ 63) >> 3;
            nb |= 56;
            return true;
        }
        bb = nb ? bb & (~uint64_t(0) << (64 - nb)) : 0;
        while (nb <= 55) {
            const uint64_t b = q[0];
            if (b == 0xFF) {
                if (q[1] != 0) return false;
                stuffed = true;
                q += 2;
            } else {
                ++q;
            }
            bb |= b << (56 - nb);
            nb += 8;
        }
        return true;
    };
    // One long code (the fast entry e is not usable) as symbol | (code
    // length << 16), 0 for a bad code; the reservoir holds at least 16 bits
    // and the careful fill at the symbol's start has been stepped.  The
    // careful search fills at most once (a fill leaves 25 or more bits), at
    // the first length that exceeds its count, and consumes nothing before
    // it, so only the final length matters.
    auto longSymbol = [&](const OzriDecodeHuffmanSpec* t) -> uint32_t {
        const uint32_t bits16 = static_cast<uint32_t>(bb >> 48);
        for (int L = 9; L <= 16; ++L) {
            const uint32_t code = bits16 >> (16 - L);
            const uint32_t last = t->lastCode[L];
            if (last != 0xFFFFu && code <= last) {
                const int idx = int(t->firstIndex[L]) + int(code) - int(t->firstCode[L]);
                if (idx < 0 || idx > 255) return 0;
                carefulFill<V>(x + L, x, g);
                return t->symbols[idx] | (static_cast<uint32_t>(L) << 16);
            }
        }
        return 0;
    };

    zeroBlock<V>(dst);
    // Blocks are usually stored one after another: ask for the lines four
    // blocks on for writing, so that zeroing them later does not wait for
    // the memory (a hint only; any address is harmless).
    const uintptr_t ahead = reinterpret_cast<uintptr_t>(dst) + 4 * sizeof(Ozr16s[64]);
    __builtin_prefetch(reinterpret_cast<const void*>(ahead), 1, 3);
    __builtin_prefetch(reinterpret_cast<const void*>(ahead + 64), 1, 3);
    if (__builtin_expect(direct, 1)) {
        bb = w0 << (32 - c0);
        q += 4;
        nb = static_cast<uint64_t>(c0) + 32;
    } else {
        bb = (buf << 32) << (32 - c0);
        nb = static_cast<uint64_t>(c0);
        if (!refill()) return false;
    }
    // Refills load from below qlim without checking the word.
    const Ozr8u* const qlim = windowLimit<V>(q);
    carefulFill<V>(x + 8, x, g);
    Ozr16s dcValue;  // the new DC (the AC coefficients never land on dst[0])
    uint32_t e = dc->fast[bb >> 56];
    uint32_t el = fastLength(dc->fast, bb >> 56);  // e's code length
    if (__builtin_expect(!fastEntryUsable(e), 0)) {
        e = longSymbol(dc);
        if (e == 0) return false;
        el = e >> 16;
    }
    {
        const int n = static_cast<int>(el);
        const int s = static_cast<int>(e & 15);
        // Magnitude read: the careful reader fills when the count after the
        // code is below s (s = 0 never fills); then the first AC symbol.
        const int xs = x + n;
        x = xs + s;
        nb -= static_cast<uint64_t>(n + s);
        carefulFillNext<V>(x, xs, g);
        const uint64_t t = bb << n;
        // s bits sign-extended as extend() does; s = 0 gives 0 by masking
        // out what magnitude() makes of it, without a branch (a zero
        // difference is common and unpredictable).
        const int32_t v = magnitude<V>(t, s) & -static_cast<int32_t>(s != 0);
        bb = t << s;
        dcValue = static_cast<Ozr16s>(*lastDC + v);
        dst[0] = dcValue;
    }

    // Tops the reservoir up to at least 56 bits: unchecked inside the clean
    // window, else through refill().
    auto topUp = [&]() __attribute__((always_inline)) -> bool {
        if (__builtin_expect(q < qlim, 1)) {
            uint64_t w;
            std::memcpy(&w, q, 8);
            bb |= __builtin_bswap64(w) >> nb;
            q += (nb ^ 63) >> 3;
            nb |= 56;
            return true;
        }
        return refill();
    };
    // AC symbols go in pairs with one top-up (see acSymbol).  Each look-up
    // is made from the bits left by the symbol before, not from the top-up
    // (which only appends bits below them), the first one too unless the
    // DC left fewer than 8 bits.
    // The fast table's own address, so that both look-ups index it directly.
    const uint32_t* const acFast = ac->fast;
    if (__builtin_expect(nb >= 8, 1)) {
        e = acFast[bb >> 56];
        el = fastLength(acFast, bb >> 56);
        if (!topUp()) return false;
    } else {
        if (!topUp()) return false;
        e = acFast[bb >> 56];
        el = fastLength(acFast, bb >> 56);
    }
    uint32_t j16 = 0;  // 16 times the zigzag position of the last coefficient written
    // One AC symbol: 0: next symbol, 1: the block is complete, 2: the
    // careful path decides.  A fast entry takes at most 8 + 15 bits and its
    // successor's look-up 8 more, so after a top-up (56 or more bits) a
    // pair of them needs no test; a long code tests before it reads, and
    // as the first of a pair tops up behind itself for the second.
    auto acSymbol = [&](const bool second, auto longCode) __attribute__((always_inline)) -> int {
        constexpr bool Long = decltype(longCode)::value;
        if (Long) {
            e = longSymbol(ac);
            if (e == 0) return 2;
            el = e >> 16;
        }
        const uint32_t n = el;
        const uint32_t s = e & 15;
        if (Long && __builtin_expect(nb < n + s + 8, 0)) {
            if (!topUp()) return 2;
        }
        const uint64_t t = bb << n;
        // The common symbol, a coefficient before the last position, takes
        // one test; s = 0 (end of block, sixteen zeros) and the last
        // position are told apart behind it.
        const uint32_t nj16 = j16 + (e & 0xFFF0u) + 16u;  // the run and this coefficient
        const int xs = x + static_cast<int>(n);
        x = xs + static_cast<int>(s);
        nb -= n + s;
        const uint64_t rest = t << s;  // the reservoir after this symbol, before a top-up
        if (__builtin_expect((static_cast<int32_t>(s - 1) | (63 * 16 - 1 - static_cast<int32_t>(nj16))) >= 0, 1)) {
            j16 = nj16;
            dst[kZigzag16.at[j16]] = static_cast<Ozr16s>(magnitude<V>(t, static_cast<int>(s)));
            carefulFillNext<V>(x, xs, g);
        } else if (s != 0) {
            if (nj16 > 63 * 16) return 2;  // guard entries and overruns: careful path
            j16 = nj16;
            dst[63] = static_cast<Ozr16s>(magnitude<V>(t, static_cast<int>(s)));  // no symbol follows
            carefulFill<V>(x, xs, g);
            bb = rest;
            return 1;
        } else {
            bb = rest;
            if ((e & 0xFFFFu) < 0xF0u) return 1;  // end of block
            j16 += 16 * 16;  // sixteen zeros (any run from 15 on)
            if (j16 >= 63 * 16) return 1;
            carefulFill<V>(x + 8, x, g);
        }
        e = acFast[rest >> 56];
        el = fastLength(acFast, rest >> 56);
        bb = rest;
        if ((second || Long) && !topUp()) return 2;
        return 0;
    };
    auto acNext = [&](const bool second) __attribute__((always_inline)) -> int {
        if (__builtin_expect(!fastEntryUsable(e), 0)) return acSymbol(second, std::true_type());
        return acSymbol(second, std::false_type());
    };
    for (;;) {
        int r = acNext(false);
        if (r == 0) r = acNext(true);
        if (__builtin_expect(r != 0, 0)) {
            if (r == 2) return false;
            break;
        }
    }
    const size_t j = j16 >> 4;

    // With at least 32 bits in the reservoir, every byte the careful reader
    // loaded (its count is at most 32) lies among the bytes the reservoir
    // has checked.
    if (nb < 32 && q >= qlim && !refill()) return false;
    const int n = g >> 3;  // data bytes the careful reader loaded
    if (__builtin_expect(!stuffed, 1)) {
        // The careful buffer ends with the last four bytes loaded; with fewer
        // than four loaded, the old buffer's bytes precede them, and after a
        // direct start those are the four bytes before pos.
        *outPos = pos + n;
        uint32_t w;
        if (__builtin_expect(direct, 1)) {
            std::memcpy(&w, src + pos + n - 4, 4);
            *outBuf = __builtin_bswap32(w);
        } else {
            const int over = (n - 4) & ~((n - 4) >> 31);  // max(n - 4, 0)
            const int fresh = n - over;                     // min(n, 4)
            std::memcpy(&w, src + pos + over, 4);
            const uint64_t two = (buf << 32) | __builtin_bswap32(w);
            *outBuf = (two >> (32 - 8 * fresh)) & 0xFFFFFFFFu;
        }
    } else {
        carefulBytes<V>(src, n, pos, buf, outPos, outBuf);
    }
    *lastDC = dcValue;
    *outCount = g - x;
    *outPosition = static_cast<int>(j) + 1;
    return true;
}

// The exported block decoder (its baseline and AVX2 builds).
template <int V>
__attribute__((always_inline)) inline OzrStatus blockEntry(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker,
    const OzriDecodeHuffmanSpec* pDcTable, const OzriDecodeHuffmanSpec* pAcTable,
    OzriDecodeHuffmanState* pDecHuffState) {
    // The common call first: every pointer given, a length and position
    // that are not negative (the kernel tests the position), a state count
    // this library could have left and no marker met.  blockChecked decides
    // everything else with the checks in their order.  A null pointer minus
    // one has its top bit set, and so has a negative length: one test for
    // all of them (an address with the top bit set, which no user-space
    // pointer has, merely takes blockChecked as well).
    auto low = [](const void* p) { return reinterpret_cast<uintptr_t>(p) - 1u; };
    const uintptr_t top = low(pSrc) | low(pSrcCurrPos) | low(pDst) | low(pLastDC) | low(pMarker) |
                          low(pDcTable) | low(pAcTable) | low(pDecHuffState) |
                          static_cast<uintptr_t>(static_cast<intptr_t>(srcLenBytes));
    if (__builtin_expect(static_cast<intptr_t>(top) >= 0 && *pMarker == 0 &&
                             static_cast<unsigned>(pDecHuffState->count) <= 32u,
                         1)) {
        const int c0 = pDecHuffState->count;
        int pos, count, position;
        uint64_t buf;
        if (__builtin_expect(decodeBlock<V>(pSrc, srcLenBytes, *pSrcCurrPos, pDecHuffState->bitBuffer, c0,
                                            pDst, pLastDC, pDcTable, pAcTable, &pos, &buf, &count,
                                            &position),
                             1)) {
            *pSrcCurrPos = pos;
            pDecHuffState->bitBuffer = buf;
            pDecHuffState->count = count;
            pDecHuffState->position = position;
            return ozrStatusOk;
        }
    }
    return blockChecked(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable,
                        pDecHuffState);
}

// decodeBlockFast on a reader.
template <int V>
__attribute__((always_inline)) inline bool readerBlock(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                                                       const OzriDecodeHuffmanSpec* dc,
                                                       const OzriDecodeHuffmanSpec* ac, int* position) {
    if (*r.marker != 0 || r.count < 0 || r.count > 32) return false;
    int pos, count, k;
    uint64_t buf;
    if (!decodeBlock<V>(r.src, r.len, r.pos, r.buf, r.count, dst, lastDC, dc, ac, &pos, &buf, &count, &k))
        return false;
    r.pos = pos;
    r.buf = buf;
    r.count = count;
    *position = k;
    return true;
}

}  // namespace kernel

}  // namespace huffdec
}  // namespace ozr

#endif  // OZRJ_JPEG_HUFFDEC_H
