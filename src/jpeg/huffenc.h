// Huffman encoding for sequential JPEG: the encoder code table record
// (symbol -> code table), the encoder state record (pending bits between
// calls) and the bit writers that the block encoder and the lossless row
// encoder share.  Internal; the public header keeps both records opaque.
//
// Bit writing model
// -----------------
// The state keeps a 32-bit accumulator (stored zero-extended in a 64-bit
// field) and a pending bit count 0..7.  With n pending bits they stand in
// bits 23 .. 24-n; bits 24..31 hold the last byte already written through
// this state (0 after initialisation) and bits below the pending ones are 0.
// A complete byte is written MSB first; a data byte 0xFF is followed by a
// stuffed 0x00.  Flushing writes seven 1-bits (so a partial byte is padded
// with 1-bits and the surplus is dropped) and then re-initialises the state.
//
// The writers produce identical bytes, positions and states:
//  * writeBits()      the careful writer: one call writes one field, checks
//                     room before every byte and commits the state only when
//                     the whole field went out.  On BufferExhausted the bytes
//                     written and the advanced position stay, the state keeps
//                     its value from before the call (partial commit).  This
//                     is the definition.
//  * BitWriter        a 64-bit accumulator that stores eight bytes at a time
//                     when none of them is 0xFF.  It never fails midway with a
//                     partial result: when room runs short it reports false
//                     and the caller re-encodes its unit with writeBits() from
//                     the unchanged state and position.  Bytes it stored before
//                     giving up are a prefix of what the careful writer then
//                     writes at the same place.  On success its last store
//                     may also leave up to 7 scratch bytes after the new
//                     position; they are overwritten by whatever is written
//                     next.  Nothing is ever stored at or past the buffer's
//                     length (dstLenBytes).
//  * StraightWriter   (the AVX-512 block encoder's, huffenc_avx512.cpp) stores
//                     eight bytes at every append and puts the stuffing zeros
//                     in afterwards; it only starts with room for a whole
//                     block stuffed throughout, and may leave up to 8 scratch
//                     bytes from the new position on.
//
// Records produced by other code: a pending count outside 0..7 is rejected by
// the exported encoders with ozrStatusBadSize (checked right after the
// pointer and length checks); stray accumulator bits below the pending bits
// make the fast writer decline, and the careful writer then defines the
// result.
//
// Behaviour settled here (where the description of the functions is open):
//  * Optimal tables from all-zero counts: an empty table (all 16 counts 0,
//    no symbols written), status ok; the table init accepts it.
//    Counts whose merged sums pass 10^9 are never merged further (the
//    procedure's search starts at 10^9), which can leave several trees; when
//    length limiting then finds no shorter code the result is
//    ozrStatusBadHuffmanTable.  Counts add with 32-bit wrap-around.
//  * A coefficient of category 16 after 15 zeros would be AC symbol 256; the
//    table has no such entry, so it is a symbol without a code
//    (ozrStatusBadHuffmanTable), never a read past the 256 entries.
//  * A table entry with a length above 16 (only hand-made records)
//    counts as no code.
//  * Stateful encoders: a negative *pDstCurrPos returns ozrStatusBadArgument
//    and a state whose pending count is outside 0..7 ozrStatusBadSize; both
//    are checked after the pointer/length checks and before the flush.
//  * Direct encoder: a negative *pDstBitsLen returns ozrStatusBadArgument
//    after the six pointer checks; a symbol without a code contributes no
//    code bits (its magnitude bits are still written) and the status stays
//    ok; the partial last byte is stored only when bits are pending.
#ifndef OZRJ_JPEG_HUFFENC_H
#define OZRJ_JPEG_HUFFENC_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/frame.h"
#include "ozrj.h"

// Symbol s -> code | (length << 16); 0 = the symbol has no code.
struct OzriEncodeHuffmanSpec {
    uint32_t entry[256];
};

struct OzriEncodeHuffmanState {
    uint64_t accumulator;  // low 32 bits used, see above
    int32_t count;         // pending bits, 0..7 between calls
    int32_t eobRun;        // progressive AC only; 0 in sequential coding
    int32_t nCorrBits;     // progressive AC refinement only
    uint8_t corrBits[1024];
};

static_assert(sizeof(OzriEncodeHuffmanSpec) == 1024, "encoder tbl is 1024 bytes");
static_assert(sizeof(OzriEncodeHuffmanState) == 1048, "encoder state is 1048 bytes");
static_assert(offsetof(OzriEncodeHuffmanState, count) == 8, "state layout");
static_assert(offsetof(OzriEncodeHuffmanState, corrBits) == 20, "state layout");

namespace ozr {
namespace huff {

// Magnitude category of 0..255 (number of significant bits).
extern const uint8_t kCategory[256];

// Category of any 32-bit value with |v| <= 65535: 0 for 0, 16 for
// 32768..65535.  Larger magnitudes are never passed in by this library.
inline int category(int32_t v) {
    uint32_t a = static_cast<uint32_t>(v < 0 ? -v : v);
    return a < 256 ? kCategory[a] : kCategory[(a >> 8) & 0xFF] + 8;
}

// The low `cat` bits of v (v >= 0) or of v - 1 (v < 0), cat in 0..16.
inline uint32_t magnitudeBits(int32_t v, int cat) {
    uint32_t m = static_cast<uint32_t>(v) - (v < 0 ? 1u : 0u);
    return m & ((1u << cat) - 1u);
}

// Zeroes the whole record.
void stateInit(OzriEncodeHuffmanState* st);

// True when the pending count is 0..7 (the only values this library leaves).
inline bool stateCountValid(const OzriEncodeHuffmanState* st) {
    return st->count >= 0 && st->count <= 7;
}

// The careful writer: writes the low n bits of value (n 1..16; n = 0 returns
// ozrStatusBadHuffmanTable, the report for a symbol without a code).  The
// state's count must be valid (stateCountValid).
OzrStatus writeBits(uint32_t value, int n, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                    OzriEncodeHuffmanState* st);

// Code length of a table entry, 0 (no code) also for a length above 16,
// which only a record not built by initEncodeTable can hold.
inline int codeLength(uint32_t entry) {
    const int len = static_cast<int>(entry >> 16);
    return len <= 16 ? len : 0;
}

// Writes the Huffman code held in a table entry (no code ->
// ozrStatusBadHuffmanTable).
inline OzrStatus writeCode(uint32_t entry, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                           OzriEncodeHuffmanState* st) {
    return writeBits(entry & 0xFFFFu, codeLength(entry), pDst, dstLenBytes, pDstCurrPos, st);
}

// AC entry of run r and category c; r*16+c can pass 255 only for a
// coefficient of category 16 after 15 zeros, which has no entry.
inline uint32_t acEntry(const OzriEncodeHuffmanSpec* ac, int sym) {
    return sym < 256 ? ac->entry[sym] : 0u;
}

// The first checks of the stateful encoders, in order: pDst null, length
// below 1, position or state null, then a negative position
// (ozrStatusBadArgument) and a pending count outside 0..7 (ozrStatusBadSize).
inline OzrStatus checkStreamArgs(const Ozr8u* pDst, int dstLenBytes, const int* pDstCurrPos,
                                 const OzriEncodeHuffmanState* pState) {
    if (OzrStatus st = firstFailure(ptr(pDst), length(dstLenBytes), ptr(pDstCurrPos), ptr(pState)))
        return st;
    return firstFailure(failIf(*pDstCurrPos < 0, ozrStatusBadArgument),
                        failIf(!stateCountValid(pState), ozrStatusBadSize));
}

// Flush: seven 1-bits through writeBits, then stateInit whatever it
// returned; returns the writer's status.
OzrStatus flush(Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, OzriEncodeHuffmanState* st);

// Fills a code table record from a DHT-style BITS/HUFFVAL pair (no pointer
// checks).  Returns ozrStatusBadHuffmanTable for more than 256 codes or an
// over-subscribed length.
OzrStatus initEncodeTable(const Ozr8u* bits, const Ozr8u* vals, OzriEncodeHuffmanSpec* tbl);

// The state as the fast writers take it: the pending bits right-aligned,
// their count and the last byte written.  False for a state this library
// does not leave (a count outside 0..7, stray bits below the pending ones).
inline bool unpackState(const OzriEncodeHuffmanState* st, uint32_t* pending, int* count, uint32_t* last) {
    const int c = st->count;
    if (c < 0 || c > 7) return false;
    const uint32_t acc = static_cast<uint32_t>(st->accumulator);
    if (acc & ((1u << (24 - c)) - 1u)) return false;
    *pending = (acc & 0x00FFFFFFu) >> (24 - c);
    *count = c;
    *last = acc >> 24;
    return true;
}

// ------------------------------------------------------------ fast writer
// Usage:
//   BitWriter<A> w;
//   if (!w.begin(st, pDst, dstLenBytes, pos)) -> careful path
//   ... if (!w.put(field, n)) -> careful path ...   (n 0..62, no bits above n)
//   if (!w.finish(st, &pos)) -> careful path
// begin() declines when fewer than kMinRoom bytes remain or the state is not
// one this library left.  put() with n = 0 writes nothing, so callers must
// test code lengths themselves.  The template argument only separates the
// copies compiled for different instruction sets (0 baseline, 1 AVX2/BMI2).
//
// Pending bits are kept right-aligned: the low 64 - free_ bits of buf_ are
// not yet stored (bits above them are stale), and free_ stays in 1..64
// between calls.
template <int kArch>
class BitWriter {
public:
    static constexpr int kMinRoom = 24;

    bool begin(const OzriEncodeHuffmanState* st, Ozr8u* dst, int dstLenBytes, int pos) {
        if (pos < 0 || pos > dstLenBytes || dstLenBytes - pos < kMinRoom) return false;
        uint32_t pending;
        int c;
        if (!unpackState(st, &pending, &c, &last_)) return false;
        buf_ = pending;
        free_ = 64 - c;
        start_ = dst + pos;
        out_ = start_;
        end_ = dst + dstLenBytes;
        return true;
    }

    // Appends the n low bits of v (n 0..62; v has no bits above them).
    inline bool put(uint64_t v, uint64_t n) {
        if (__builtin_expect(static_cast<int64_t>(n) < free_, 1)) {
            free_ -= static_cast<int64_t>(n);
            buf_ = (buf_ << n) | v;
            return true;
        }
        free_ -= static_cast<int64_t>(n);
        return putFull(v, n);
    }

    // Writes the remaining complete bytes and stores the state and position.
    bool finish(OzriEncodeHuffmanState* st, int* pos) {
        const int pending = static_cast<int>(64 - free_);  // 0..63
        const int nbytes = pending >> 3;
        const int rem = pending & 7;
        if (nbytes) {
            const uint64_t top = buf_ << free_;                // pending bits from bit 63 down
            const uint64_t data = top >> (64 - 8 * nbytes);    // complete bytes, right-aligned
            const uint64_t t = ~data;                          // a zero byte here is a 0xFF byte
            if (end_ - out_ >= 16 && ((t - 0x0101010101010101ull) & ~t & 0x8080808080808080ull) == 0) {
                // One eight-byte store; the bytes past the new position are scratch.
                const uint64_t be = __builtin_bswap64(top);
                std::memcpy(out_, &be, 8);
                out_ += nbytes;
            } else {
                if (end_ - out_ < 2 * nbytes) return false;
                for (int k = 0; k < nbytes; ++k) {
                    const Ozr8u b = static_cast<Ozr8u>(top >> (56 - 8 * k));
                    *out_++ = b;
                    if (b == 0xFF) *out_++ = 0;
                }
            }
            last_ = static_cast<uint32_t>(data & 0xFFu);
        }
        const uint32_t low = static_cast<uint32_t>(buf_) & ((1u << rem) - 1u);
        st->accumulator = (last_ << 24) | (low << (24 - rem));
        st->count = rem;
        *pos += static_cast<int>(out_ - start_);
        return true;
    }

private:
    // The word is complete: it takes the first n + free_ bits of v (free_ is
    // now <= 0, and was >= 1 before), the other -free_ bits stay pending
    // (at most 61, so free_ is at least 3 afterwards).
    inline bool putFull(uint64_t v, uint64_t n) {
        const uint64_t over = static_cast<uint64_t>(-free_);  // 0..61
        const uint64_t word = (buf_ << (n - over)) | (v >> over);
        if (!store8(word)) return false;
        buf_ = v;
        free_ += 64;
        return true;
    }

    inline bool store8(uint64_t w) {
        if (end_ - out_ < 16) return false;
        const uint64_t t = ~w;
        if (((t - 0x0101010101010101ull) & ~t & 0x8080808080808080ull) == 0) {
            const uint64_t be = __builtin_bswap64(w);
            std::memcpy(out_, &be, 8);
            out_ += 8;
        } else {
            for (int k = 7; k >= 0; --k) {
                const Ozr8u b = static_cast<Ozr8u>(w >> (8 * k));
                *out_++ = b;
                if (b == 0xFF) *out_++ = 0;
            }
        }
        last_ = static_cast<uint32_t>(w & 0xFFu);
        return true;
    }

    uint64_t buf_ = 0;
    int64_t free_ = 64;
    uint32_t last_ = 0;
    Ozr8u* start_ = nullptr;
    Ozr8u* out_ = nullptr;
    Ozr8u* end_ = nullptr;
};

using FastBitWriter = BitWriter<0>;

// ------------------------------------------------- block preparation kernel
// Mask of the non-zero coefficients of a natural-order block in zigzag
// order: bit k is set when src[natural index of zigzag position k] != 0.
// The scalar form is the definition; the SSSE3 form must give the same mask
// for any source alignment.
namespace scalar {
uint64_t zigzagNonzeroMask(const Ozr16s* src);
}
namespace ssse3 {
uint64_t zigzagNonzeroMask(const Ozr16s* src);
}

// The block encoders, internal forms without argument checks (pSrc in
// natural order).  encodeBlockCareful is the definition; the fast forms
// return false, with *pLastDC, position and state untouched, whenever they
// cannot produce exactly the careful result (short room, a symbol without a
// code, a state they do not know, a coefficient -32768).  encodeBlockFast is
// the baseline build, avx2::encodeBlockFast the same code built for AVX2
// processors (BMI2 shifts and bit fields); callers test cpuHasAvx2().
OzrStatus encodeBlockCareful(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                             Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                             const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
namespace avx2 {
bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
}

// The exported block encoder after its pointer checks: the argument checks
// that remain, in order, then the careful path.
OzrStatus encodeBlockChecked(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                             Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                             const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
// The fast path, or encodeBlockChecked when it declines (pointers non-null),
// in both builds.
OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                      Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                      const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
// The AVX-512 build (huffenc_avx512.cpp): blocks it declines go on to
// avx2::encodeBlock.  Callers test cpuHasAvx512().
namespace avx512 {
bool encodeBlockFast(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                     Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                     const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                      Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                      const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
}
namespace avx2 {
OzrStatus encodeBlock(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos,
                      Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* dc,
                      const OzriEncodeHuffmanSpec* ac, OzriEncodeHuffmanState* st);
}

}  // namespace huff
}  // namespace ozr

#endif  // OZRJ_JPEG_HUFFENC_H
