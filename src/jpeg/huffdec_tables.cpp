// Decoder table record and decoder state records.
#include <cstring>

#include "core/frame.h"
#include "jpeg/huffdec.h"

namespace ozr {
namespace huffdec {

OzrStatus specInit(const Ozr8u* bits, const Ozr8u* vals, OzriDecodeHuffmanSpec* tbl) {
    std::memset(tbl, 0, sizeof(*tbl));

    // Code lengths in canonical order.
    uint8_t sizes[257];
    int total = 0;
    for (int L = 1; L <= 16; ++L) {
        const int n = bits[L - 1];
        if (total + n > 256) return ozrStatusBadHuffmanTable;
        for (int i = 0; i < n; ++i) sizes[total++] = static_cast<uint8_t>(L);
    }
    sizes[total] = 0;

    // Canonical codes, without an over-subscription test: an over-full
    // length simply runs on into larger values.
    uint32_t codes[256];
    {
        uint32_t code = 0;
        int k = 0, si = sizes[0];
        while (sizes[k]) {
            while (sizes[k] == si) {
                if (k >= 256) return ozrStatusBadHuffmanTable;
                codes[k++] = code++;
            }
            code <<= 1;
            ++si;
        }
    }

    // Per-length bounds and the symbol list.
    int k = 0;
    for (int L = 1; L <= 16; ++L) {
        const int n = bits[L - 1];
        tbl->firstIndex[L] = static_cast<uint16_t>(k);
        if (n > 0) {
            tbl->firstCode[L] = static_cast<uint16_t>(codes[k]);
            for (int i = 0; i < n; ++i, ++k) {
                if (k >= 256) return ozrStatusBadHuffmanTable;
                tbl->symbols[k] = vals[k];
            }
            tbl->lastCode[L] = static_cast<uint16_t>(codes[k - 1]);
        } else {
            tbl->lastCode[L] = 0xFFFF;
        }
    }
    tbl->lastCode[17] = 0xFFFF;

    // Fast table for codes of up to 8 bits.  The index bound is 256, one past
    // the table: an over-full short length may write that one entry, which
    // lands on the first two first-code words of the record (never outside
    // it); a well-formed table never gets there.
    auto* raw = reinterpret_cast<uint8_t*>(tbl);
    k = 0;
    for (int L = 1; L <= 8; ++L) {
        for (int i = 0; i < bits[L - 1]; ++i, ++k) {
            const uint32_t entry = vals[k] | (static_cast<uint32_t>(L) << 16);
            const uint32_t base = codes[k] << (8 - L);
            for (uint32_t j = 0; j < (1u << (8 - L)); ++j) {
                const uint32_t idx = base + j;
                if (idx > 256) return ozrStatusBadHuffmanTable;
                std::memcpy(raw + offsetof(OzriDecodeHuffmanSpec, fast) + 4 * idx, &entry, 4);
            }
        }
    }
    return ozrStatusOk;
}

}  // namespace huffdec
}  // namespace ozr

using namespace ozr;

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
    return recordSize<OzriDecodeHuffmanSpec>(pSize);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanSpecInit_JPEG_8u(const Ozr8u* pListBits,
                                                            const Ozr8u* pListVals,
                                                            OzriDecodeHuffmanSpec* pSpec) {
    if (OzrStatus st = firstFailure(ptr(pListBits), ptr(pListVals), ptr(pSpec))) return st;
    return huffdec::specInit(pListBits, pListVals, pSpec);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanSpecInitAlloc_JPEG_8u(const Ozr8u* pListBits,
                                                                 const Ozr8u* pListVals,
                                                                 OzriDecodeHuffmanSpec** ppSpec) {
    if (OzrStatus st = firstFailure(ptr(pListBits), ptr(pListVals))) return st;
    return recordAlloc(ppSpec, [&](OzriDecodeHuffmanSpec* t) { return huffdec::specInit(pListBits, pListVals, t); });
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanSpecFree_JPEG_8u(OzriDecodeHuffmanSpec* pSpec) {
    return recordFree(pSpec);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
    return recordSize<OzriDecodeHuffmanState>(pSize);
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanStateInit_JPEG_8u(OzriDecodeHuffmanState* pState) {
    if (OzrStatus st = firstFailure(ptr(pState))) return st;
    std::memset(pState, 0, sizeof(*pState));
    return ozrStatusOk;
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanStateInitAlloc_JPEG_8u(OzriDecodeHuffmanState** ppState) {
    return recordAlloc(ppState, [](OzriDecodeHuffmanState* s) { return ozriDecodeHuffmanStateInit_JPEG_8u(s); });
}

extern "C" OZRAPI OzrStatus ozriDecodeHuffmanStateFree_JPEG_8u(OzriDecodeHuffmanState* pState) {
    return recordFree(pState);
}
