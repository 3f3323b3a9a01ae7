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

// The fast kernel reads the data through a 64-bit reservoir refilled eight
// bytes at a time, and keeps on the side the careful reader's bit count
// (`vc`), stepping it exactly at the careful reader's fill points (a fill
// appends whole bytes until the count reaches 25 or more).  The number of
// data bytes that reader loaded follows from `vc` and the bits consumed, and
// from it the careful reader's final position and buffer are rebuilt at the
// end, so both paths agree without the fast one filling byte by byte.
namespace {
__attribute__((always_inline)) inline bool fastBlock(StateReader& r, Ozr16s* dst, Ozr16s* lastDC,
                                                     const OzriDecodeHuffmanSpec* dc,
                                                     const OzriDecodeHuffmanSpec* ac, int* position) {
    // A block consumes at most 248 data bytes and the reservoir runs at most
    // 8 ahead, each data byte being at most two source bytes; the reservoir's
    // 8-byte loads then stay inside the data.
    if (*r.marker != 0 || r.pos < 0 || r.len - r.pos < kFastMinBytes) return false;
    const Ozr8u* const src = r.src;
    const int c0 = r.count;
    int q = r.pos;         // next raw byte for the reservoir
    uint64_t res = c0 ? (r.buf & (0xFFFFFFFFu >> (32 - c0))) : 0;
    int nb = c0;           // valid reservoir bits; the next bit is bit nb - 1
    int vc = c0;           // the careful reader's count
    int added = 0;         // bits moved into the reservoir in this block
    bool stuffed = false;  // the reservoir met a stuffed 0xFF 0x00

    // Tops the reservoir up to at least 56 bits; false at a marker or fill
    // byte (the careful path then takes the block).
    auto refill = [&]() -> bool {
        uint64_t w;
        std::memcpy(&w, src + q, 8);
        w = __builtin_bswap64(w);
        const uint64_t t = ~w;
        if (__builtin_expect(((t - 0x0101010101010101ull) & ~t & 0x8080808080808080ull) == 0, 1)) {
            const int k = (63 - nb) >> 3;
            res = (res << (8 * k)) | (w >> (64 - 8 * k));
            nb += 8 * k;
            added += 8 * k;
            q += k;
            return true;
        }
        while (nb <= 55) {
            const uint32_t b = src[q];
            if (b == 0xFF) {
                if (src[q + 1] != 0) return false;
                stuffed = true;
                q += 2;
            } else {
                ++q;
            }
            res = (res << 8) | b;
            nb += 8;
            added += 8;
        }
        return true;
    };
    // Without a branch: whether the careful reader fills follows the data and
    // would be mispredicted often.
    auto emulateFill = [&](int need) {
        const int add = (32 - vc) & ~7;
        vc += add & ((vc - need) >> 31);
    };
    auto peek = [&](int n) -> uint32_t {
        return static_cast<uint32_t>(res >> (nb - n)) & ((1u << n) - 1u);
    };
    // One symbol; the reservoir holds at least 32 bits on entry.
    auto symbol = [&](const OzriDecodeHuffmanSpec* t, int* sym) -> bool {
        emulateFill(8);
        const uint32_t e = t->fast[peek(8)];
        if (__builtin_expect(fastEntryUsable(e), 1)) {
            const int len = static_cast<int>(e >> 16);
            nb -= len;
            vc -= len;
            *sym = static_cast<int>(e & 0xFFFFu);
            return true;
        }
        // Long code: the careful search fills at most once (a fill leaves 25
        // or more bits), at the first length that exceeds its count, so the
        // emulation only needs the final length.
        const uint32_t bits16 = peek(16);
        for (int L = 9; L <= 16; ++L) {
            const uint32_t code = bits16 >> (16 - L);
            const uint32_t last = t->lastCode[L];
            if (last != 0xFFFFu && code <= last) {
                const int idx = int(t->firstIndex[L]) + int(code) - int(t->firstCode[L]);
                if (idx < 0 || idx > 255) return false;
                emulateFill(L);
                nb -= L;
                vc -= L;
                *sym = t->symbols[idx];
                return true;
            }
        }
        return false;
    };
    // s magnitude bits sign-extended; s = 0 reads nothing and gives 0.
    auto value = [&](int s) -> int32_t {
        emulateFill(s);
        const int32_t v = static_cast<int32_t>(peek(s));
        nb -= s;
        vc -= s;
        // extend(): add 1 - 2^s when the top bit is clear.
        const int32_t full = int32_t(1) << s;
        return v + (((v - (full >> 1)) >> 31) & (1 - full));
    };

    zeroBlock(dst);
    if (!refill()) return false;
    int sym;
    if (!symbol(dc, &sym)) return false;
    int s = sym & 15;
    const Ozr16s pred = static_cast<Ozr16s>(*lastDC + value(s));  // no branch on s = 0
    dst[0] = pred;

    int k = 1;
    do {
        if (nb < 32 && !refill()) return false;
        if (!symbol(ac, &sym)) return false;
        const int run = sym >> 4;
        s = sym & 15;
        if (__builtin_expect(s != 0, 1)) {
            k += run;
            const int32_t v = value(s);
            if (k > 63) return false;  // guard entries and overruns: careful path
            dst[kZigzag[k]] = static_cast<Ozr16s>(v);
            ++k;
        } else if (run == 15) {
            k += 16;
        } else {
            break;
        }
    } while (k < 64);

    // Data bytes the careful reader loaded: its count grew by 8 per byte and
    // shrank by the bits consumed (= added - (nb - c0)).  It may have read a
    // few bytes further than the reservoir (its fills at magnitude bits reach
    // up to 32 bits past the consumed ones); those must hold no marker.
    const int n = (vc - c0 + added - (nb - c0)) >> 3;
    for (int i = added >> 3, qq = q; i < n; ++i) {
        if (src[qq] == 0xFF) {
            if (src[qq + 1] != 0) return false;
            stuffed = true;
            qq += 2;
        } else {
            ++qq;
        }
    }
    int pos = r.pos;
    uint64_t buf = r.buf;
    if (!stuffed) {
        pos += n;
        if (n >= 4) {
            uint32_t w;
            std::memcpy(&w, src + pos - 4, 4);
            buf = __builtin_bswap32(w);
        } else {
            for (int i = 0; i < n; ++i) buf = (buf << 8) | src[r.pos + i];
        }
    } else {
        for (int i = 0; i < n; ++i) {
            const uint32_t b = src[pos];
            pos += b == 0xFF ? 2 : 1;
            buf = (buf << 8) | b;
        }
    }
    r.pos = pos;
    r.buf = buf & 0xFFFFFFFFu;
    r.count = vc;
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

    StateReader r = stateReader(pSrc, srcLenBytes, *pSrcCurrPos, pMarker, pDecHuffState);
    int position = pDecHuffState->position;
    OzrStatus st = ozrStatusOk;
    if (!fastBlock(r, pDst, pLastDC, pDcTable, pAcTable, &position))
        st = decodeBlockCareful(r, pDst, pLastDC, pDcTable, pAcTable, &position);
    storeReader(r, pSrcCurrPos, pDecHuffState);
    pDecHuffState->position = position;
    return st;
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
