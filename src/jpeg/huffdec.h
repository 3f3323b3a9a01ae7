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
extern const uint8_t kZigzag[kZigzagLen];

// Fills a decoder table record from BITS/HUFFVAL (no pointer checks).
OzrStatus specInit(const Ozr8u* bits, const Ozr8u* vals, OzriDecodeHuffmanSpec* tbl);

// v is an s-bit magnitude field (s 1..15): v when its top bit is set, else
// v + 1 - 2^s.
inline int32_t extend(uint32_t v, int s) {
    return (v >> (s - 1)) ? static_cast<int32_t>(v)
                          : static_cast<int32_t>(v) + 1 - (int32_t(1) << s);
}

// A fast-table entry is usable when its length is 1..8.
inline bool fastEntryUsable(uint32_t e) { return (e >> 16) - 1u < 8u; }

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
// bytes, plus the reservoir's 8-byte loads.  Closer to the end of the data
// (and at a marker) blocks are decoded by the careful path.
constexpr int kFastMinBytes = 2 * 256 + 16;

}  // namespace huffdec
}  // namespace ozr

#endif  // OZRJ_JPEG_HUFFDEC_H
