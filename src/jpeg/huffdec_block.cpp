// Baseline block decoding: the careful path (the definition), the fast
// kernel that must match it exactly, the Direct form and the one-value
// decoder.
#include <cstring>

#include <emmintrin.h>

#include "core/frame.h"
#include "jpeg/huffdec.h"

namespace ozr {
namespace huffdec {

namespace {
// Zeroes one block with eight 16-byte stores, written out: as a loop or a
// memset the compiler turns it into a string instruction that is slow to
// start, which costs more than a small block takes to decode.
inline void zeroBlock(Ozr16s* dst) {
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
}  // namespace

OzrStatus decodeBlockCareful(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                             const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac,
                             int* position) {
    zeroBlock(dst);
    int sym;
    if (OzrStatus st = r.symbol(dc, &sym)) {
        *position = 0;
        return st;
    }
    int s = sym & 15;
    if (s) {
        uint32_t v;
        if (OzrStatus st = r.bits(s, &v)) {
            *position = 0;
            return st;
        }
        *lastDC = static_cast<Ozr16s>(*lastDC + extend(v, s));
    }
    dst[0] = *lastDC;

    OzrStatus status = ozrStatusOk;
    int k = 1, open = 63;
    while (open > 0) {
        if ((status = r.symbol(ac, &sym))) break;
        const int run = sym >> 4;
        s = sym & 15;
        if (s) {
            k += run;
            open -= run + 1;
            uint32_t v;
            if ((status = r.bits(s, &v))) break;
            if (k >= kZigzagLen) return ozrStatusBlockOverrun;
            dst[kZigzag[k]] = static_cast<Ozr16s>(extend(v, s));
            ++k;
        } else if (run < 15) {
            break;  // end of block
        } else {
            k += 16;
            open -= 16;
        }
    }
    *position = 64 - open;
    return status;
}

// The fast kernel reads the data through a 64-bit reservoir kept left-aligned
// (the next bit is the top bit) and refilled eight bytes at a time.  Beside
// it runs the careful reader's bookkeeping, reduced to two numbers: `x`, the
// bits consumed in this block minus the count on entry, and `g`, eight times
// the data bytes the careful reader has loaded in this block.  Its count is
// then g - x, and a fill for `need` bits happens exactly when x + need > g,
// after which g = (x + 32) & ~7 (whole bytes until the count reaches 25 or
// more).  From g and x the careful reader's final position, buffer and count
// are rebuilt at the end, so both paths agree without the fast one filling
// byte by byte.
namespace {
// Careful-reader fill check: `demand` is x + need, `base` the x at the fill.
__attribute__((always_inline)) inline void carefulFill(int demand, int base, int& g) {
    const int filled = (base + 32) & ~7;
    g = demand > g ? filled : g;
}

// s (0..15) magnitude bits at the top of r, sign-extended as extend() does;
// s = 0 gives 0.
__attribute__((always_inline)) inline int32_t magnitude(uint64_t r, int s) {
    const int32_t v = static_cast<int32_t>((r >> (63 - s)) >> 1);
    const int32_t mask = (int32_t(1) << s) - 1;
    // extend(): subtract 2^s - 1 when the top bit is clear.
    const int32_t clear = static_cast<int32_t>(~(static_cast<int64_t>(r) >> 63));
    return v - (clear & mask);
}

// The same for s 1..15: the top bit, copied down and complemented, shifted
// like the field gives the 2^s - 1 to subtract.
__attribute__((always_inline)) inline int32_t magnitudeNonZero(uint64_t r, int s) {
    const int c = 64 - s;
    const uint64_t clear = ~static_cast<uint64_t>(static_cast<int64_t>(r) >> 63);
    return static_cast<int32_t>(r >> c) - static_cast<int32_t>(clear >> c);
}

__attribute__((always_inline)) inline bool fastBlock(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                                                     const OzriDecodeHuffmanSpec* dc,
                                                     const OzriDecodeHuffmanSpec* ac, int* position) {
    // A block consumes at most 248 data bytes and the reservoir runs at most
    // 8 ahead, each data byte being at most two source bytes; the reservoir's
    // 8-byte loads then stay inside the data.
    if (*r.marker != 0 || r.pos < 0 || r.len - r.pos < kFastMinBytes) return false;
    const Ozr8u* const src = r.src;
    const int c0 = r.count;
    int q = r.pos;  // next raw byte for the reservoir
    // Valid bits are the top nb; the bits below them are either zero or the
    // raw bytes from q on (what the next fast refill would put there).
    uint64_t bb = c0 ? static_cast<uint64_t>(r.buf & (0xFFFFFFFFu >> (32 - c0))) << (64 - c0) : 0;
    int nb = c0;
    int x = -c0;           // bits consumed minus c0
    int g = 0;             // 8 x data bytes the careful reader loaded
    bool stuffed = false;  // the reservoir met a stuffed 0xFF 0x00

    // Tops the reservoir up to at least 56 bits; false at a marker or fill
    // byte (the careful path then takes the block).
    auto refill = [&]() -> bool {
        uint64_t w;
        std::memcpy(&w, src + q, 8);
        w = __builtin_bswap64(w);
        const uint64_t t = ~w;
        if (__builtin_expect(((t - 0x0101010101010101ull) & ~t & 0x8080808080808080ull) == 0, 1)) {
            bb |= w >> nb;
            q += (63 - nb) >> 3;
            nb |= 56;
            return true;
        }
        bb = nb ? bb & (~uint64_t(0) << (64 - nb)) : 0;
        while (nb <= 55) {
            const uint64_t b = src[q];
            if (b == 0xFF) {
                if (src[q + 1] != 0) return false;
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
    // One symbol as symbol | (code length << 16), 0 for a bad code; the
    // reservoir holds at least 16 bits.
    auto symbol = [&](const OzriDecodeHuffmanSpec* t) -> uint32_t {
        carefulFill(x + 8, x, g);
        const uint32_t e = t->fast[bb >> 56];
        if (__builtin_expect(fastEntryUsable(e), 1)) return e;
        // Long code: the careful search fills at most once (a fill leaves 25
        // or more bits), at the first length that exceeds its count, and
        // consumes nothing before it, so only the final length matters.
        const uint32_t bits16 = static_cast<uint32_t>(bb >> 48);
        for (int L = 9; L <= 16; ++L) {
            const uint32_t code = bits16 >> (16 - L);
            const uint32_t last = t->lastCode[L];
            if (last != 0xFFFFu && code <= last) {
                const int idx = int(t->firstIndex[L]) + int(code) - int(t->firstCode[L]);
                if (idx < 0 || idx > 255) return 0;
                carefulFill(x + L, x, g);
                return t->symbols[idx] | (static_cast<uint32_t>(L) << 16);
            }
        }
        return 0;
    };

    zeroBlock(dst);
    if (!refill()) return false;
    uint32_t e = symbol(dc);
    if (e == 0) return false;
    int len = static_cast<int>(e >> 16);
    int s = static_cast<int>(e & 15);
    {
        // Magnitude read: the careful reader fills when the count after the
        // code is below s (s = 0 never fills).
        const int xs = x + len;
        x = xs + s;
        carefulFill(x, xs, g);
        const int32_t v = magnitude(bb << len, s);
        bb <<= len + s;
        nb -= len + s;
        dst[0] = static_cast<Ozr16s>(*lastDC + v);
    }
    const Ozr16s pred = dst[0];

    int k = 1;
    do {
        if (nb < 32 && !refill()) return false;
        e = symbol(ac);
        if (e == 0) return false;
        len = static_cast<int>(e >> 16);
        const int run = static_cast<int>((e >> 4) & 0xFFFu);
        s = static_cast<int>(e & 15);
        if (__builtin_expect(s != 0, 1)) {
            k += run;
            const int xs = x + len;
            x = xs + s;
            carefulFill(x, xs, g);
            const int32_t v = magnitudeNonZero(bb << len, s);
            bb <<= len + s;
            nb -= len + s;
            if (k > 63) return false;  // guard entries and overruns: careful path
            dst[kZigzag[k]] = static_cast<Ozr16s>(v);
            ++k;
        } else {
            x += len;
            bb <<= len;
            nb -= len;
            if (run < 15) break;  // end of block
            k += 16;
        }
    } while (k < 64);

    // Data bytes the careful reader loaded, n; the reservoir loaded `added`
    // bits.  The careful reader may have read a few bytes further than the
    // reservoir (its fills at magnitude bits reach up to 32 bits past the
    // consumed ones); those must hold no marker.
    const int n = g >> 3;
    const int added = nb + x;
    int more = n - (added >> 3);  // at most 4: the careful count is at most 32
    more &= ~(more >> 31);
    {
        uint32_t w;
        std::memcpy(&w, src + q, 4);  // byte i in bits 8i..8i+7
        const uint32_t t = ~w;
        const uint32_t ff = (t - 0x01010101u) & ~t & 0x80808080u;
        // A 0xFF among the first `more` bytes (the borrow trick only errs on
        // bytes after a true one).
        if (__builtin_expect((ff & static_cast<uint32_t>((uint64_t(1) << (8 * more)) - 1)) != 0, 0)) {
            for (int i = 0, qq = q; i < more; ++i) {
                if (src[qq] == 0xFF) {
                    if (src[qq + 1] != 0) return false;
                    stuffed = true;
                    qq += 2;
                } else {
                    ++qq;
                }
            }
        }
    }
    int pos = r.pos;
    uint64_t buf = r.buf;
    if (__builtin_expect(!stuffed, 1)) {
        // The careful buffer ends with the last four bytes loaded; with fewer
        // than four loaded, the old buffer's bytes precede them.
        const int over = (n - 4) & ~((n - 4) >> 31);  // max(n - 4, 0)
        const int fresh = n - over;                     // min(n, 4)
        uint32_t w;
        std::memcpy(&w, src + pos + over, 4);
        const uint64_t two = ((buf & 0xFFFFFFFFu) << 32) | __builtin_bswap32(w);
        buf = two >> (32 - 8 * fresh);
        pos += n;
    } else {
        for (int i = 0; i < n; ++i) {
            const uint32_t b = src[pos];
            pos += b == 0xFF ? 2 : 1;
            buf = (buf << 8) | b;
        }
    }
    r.pos = pos;
    r.buf = buf & 0xFFFFFFFFu;
    r.count = g - x;
    *lastDC = pred;
    *position = k;
    return true;
}
}  // namespace

bool decodeBlockFast(StateReader& r, Ozr16s* dst, Ozr16s* lastDC, const OzriDecodeHuffmanSpec* dc,
                     const OzriDecodeHuffmanSpec* ac, int* position) {
    return fastBlock(r, dst, lastDC, dc, ac, position);
}

OzrStatus decodeBlockDirect(DirectReader& r, Ozr16s* dst, Ozr16s* lastDC,
                            const OzriDecodeHuffmanSpec* dc, const OzriDecodeHuffmanSpec* ac) {
    zeroBlock(dst);
    int sym;
    if (OzrStatus st = r.symbol(dc, &sym))
        return st == ozrStatusMarkerFound ? ozrStatusOk : ozrStatusBadCodeOrValue;
    int s = sym & 15;
    if (s) {
        uint32_t v;
        if (r.bits(s, &v)) return ozrStatusBadCodeOrValue;
        *lastDC = static_cast<Ozr16s>(*lastDC + extend(v, s));
    }
    dst[0] = *lastDC;

    int k = 1;
    while (k < 64) {
        if (OzrStatus st = r.symbol(ac, &sym)) {
            if (st != ozrStatusMarkerFound) return ozrStatusBadCodeOrValue;
            r.count = 0;  // the rest before the marker is padding
            return ozrStatusOk;
        }
        const int run = sym >> 4;
        s = sym & 15;
        if (s) {
            k += run;
            uint32_t v;
            if (r.bits(s, &v)) return ozrStatusBadCodeOrValue;
            if (k >= kZigzagLen) return ozrStatusBlockOverrun;
            dst[kZigzag[k]] = static_cast<Ozr16s>(extend(v, s));
            ++k;
        } else if (run < 15) {
            break;
        } else {
            k += 16;
        }
    }
    return ozrStatusOk;
}

}  // namespace huffdec
}  // namespace ozr

using namespace ozr;
using namespace ozr::huffdec;

namespace {
// The careful path for a block the fast kernel declined (kept out of line so
// that the common path stays small).
__attribute__((noinline)) OzrStatus carefulBlock(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos,
                                                 Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker,
                                                 const OzriDecodeHuffmanSpec* pDcTable,
                                                 const OzriDecodeHuffmanSpec* pAcTable,
                                                 OzriDecodeHuffmanState* pDecHuffState) {
    StateReader r = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    int position = pDecHuffState->position;
    const OzrStatus st = decodeBlockCareful(r, pDst, pLastDC, pDcTable, pAcTable, &position);
    storeReader(r, pSrcCurrPos, pDecHuffState);
    pDecHuffState->position = position;
    return st;
}
}  // namespace

extern "C" OZRAPI OzrStatus ozriDecodeHuffman8x8_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, Ozr16s* pLastDC,
    int* pMarker, const OzriDecodeHuffmanSpec* pDcTable, const OzriDecodeHuffmanSpec* pAcTable,
    OzriDecodeHuffmanState* pDecHuffState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), failIf(srcLenBytes < 0, ozrStatusBadArgument),
                                    ptr(pSrcCurrPos), ptr(pDst), ptr(pLastDC), ptr(pMarker),
                                    ptr(pDcTable), ptr(pAcTable), ptr(pDecHuffState)))
        return st;
    if (*pSrcCurrPos < 0) return ozrStatusBadArgument;
    if (pDecHuffState->count < 0 || pDecHuffState->count > 32) return ozrStatusBadSize;

    int position = pDecHuffState->position;
    {
        // The fast kernel's reader stays apart from the careful one's, which
        // is passed by address, so that it can live in registers.
        StateReader f = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
        if (__builtin_expect(fastBlock(f, pDst, pLastDC, pDcTable, pAcTable, &position), 1)) {
            storeReader(f, pSrcCurrPos, pDecHuffState);
            pDecHuffState->position = position;
            return ozrStatusOk;
        }
    }
    return carefulBlock(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable,
                        pDecHuffState);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int* pSrcBitsLen, Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker,
    Ozr32u* pPrefetchedBits, int* pNumValidPrefetchedBits, const OzriDecodeHuffmanSpec* pDcTable,
    const OzriDecodeHuffmanSpec* pAcTable) {
    // The counts are read only once their pointers are known to be valid.
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pSrcBitsLen))) return st;
    if (*pSrcBitsLen < 0) return ozrStatusBadArgument;
    if (OzrStatus st = firstFailure(ptr(pDst), ptr(pLastDC), ptr(pMarker), ptr(pPrefetchedBits),
                                    ptr(pNumValidPrefetchedBits)))
        return st;
    if (*pNumValidPrefetchedBits < 0 || *pNumValidPrefetchedBits > 32) return ozrStatusBadArgument;
    if (OzrStatus st = firstFailure(ptr(pDcTable), ptr(pAcTable))) return st;

    DirectReader r;
    r.src = pSrc;
    r.len = 0;
    r.pos = *pSrcBitsLen >> 3;
    r.marker = pMarker;
    r.buf = *pPrefetchedBits;
    r.count = *pNumValidPrefetchedBits;
    const OzrStatus st = decodeBlockDirect(r, pDst, pLastDC, pDcTable, pAcTable);
    *pSrcBitsLen = static_cast<int>(static_cast<uint32_t>(r.pos) * 8u);
    *pPrefetchedBits = static_cast<Ozr32u>(r.buf);
    *pNumValidPrefetchedBits = r.count;
    return st;
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanOne_JPEG_1u16s_C1(
    const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, int* pMarker,
    const OzriDecodeHuffmanSpec* pTable, OzriDecodeHuffmanState* pDecHuffState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), length(srcLenBytes), ptr(pSrcCurrPos), ptr(pDst),
                                    ptr(pMarker), ptr(pTable), ptr(pDecHuffState)))
        return st;
    if (*pSrcCurrPos < 0) return ozrStatusBadArgument;
    if (pDecHuffState->count < 0 || pDecHuffState->count > 32) return ozrStatusBadSize;

    StateReader r = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    Ozr16s v;
    const OzrStatus st = decodeValue(r, pTable, &v);
    if (st == ozrStatusOk) *pDst = v;
    storeReader(r, pSrcCurrPos, pDecHuffState);
    return st;
}
