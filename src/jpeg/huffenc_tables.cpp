// Encoder Huffman code tables: building the symbol -> code table from a
// BITS/HUFFVAL pair, and building an optimal BITS/HUFFVAL pair from symbol
// counts.
#include <cstring>

#include "core/frame.h"
#include "jpeg/huffenc.h"

namespace ozr {
namespace huff {

OzrStatus initEncodeTable(const Ozr8u* bits, const Ozr8u* vals, OzriEncodeHuffmanSpec* table) {
    std::memset(table, 0, sizeof(*table));

    // Code lengths in canonical order, ended by 0.
    uint8_t sizes[257];
    int total = 0;
    for (int len = 1; len <= 16; ++len) {
        const int n = bits[len - 1];
        if (total + n > 256) return ozrStatusBadHuffmanTable;
        for (int i = 0; i < n; ++i) sizes[total++] = static_cast<uint8_t>(len);
    }
    sizes[total] = 0;

    // Canonical codes; after each length the next code must still fit.
    uint16_t codes[256];
    uint32_t code = 0;
    int size = sizes[0];
    int k = 0;
    while (sizes[k]) {
        while (sizes[k] == size) codes[k++] = static_cast<uint16_t>(code++);
        if (code >= (1u << size)) return ozrStatusBadHuffmanTable;
        while (sizes[k] && size < sizes[k]) {
            code <<= 1;
            ++size;
        }
    }

    for (int i = 0; i < total; ++i)
        table->entry[vals[i]] = codes[i] | (static_cast<uint32_t>(sizes[i]) << 16);
    return ozrStatusOk;
}

namespace {

// Optimal code lengths for the counts, following the classic procedure: the
// reserved symbol 256 (count 1) keeps every real code from being all 1-bits.
OzrStatus rawTable(const int* stats, Ozr8u* bitsOut, Ozr8u* valsOut) {
    int32_t freq[257];
    int codesize[257];
    int others[257];
    std::memcpy(freq, stats, 256 * sizeof(int32_t));
    freq[256] = 1;
    for (int i = 0; i < 257; ++i) {
        codesize[i] = 0;
        others[i] = -1;
    }

    for (;;) {
        // Smallest non-zero count; among equal counts the highest symbol.
        int c1 = -1, c2 = -1;
        int32_t v = 1000000000;
        for (int i = 0; i <= 256; ++i)
            if (freq[i] && freq[i] <= v) {
                v = freq[i];
                c1 = i;
            }
        v = 1000000000;
        for (int i = 0; i <= 256; ++i)
            if (freq[i] && freq[i] <= v && i != c1) {
                v = freq[i];
                c2 = i;
            }
        if (c2 < 0) break;

        // Counts are 32-bit and wrap as such (caller counts are not checked).
        freq[c1] = static_cast<int32_t>(static_cast<uint32_t>(freq[c1]) +
                                        static_cast<uint32_t>(freq[c2]));
        freq[c2] = 0;
        ++codesize[c1];
        int t = c1;
        while (others[t] >= 0) {
            t = others[t];
            ++codesize[t];
        }
        others[t] = c2;
        ++codesize[c2];
        t = c2;
        while (others[t] >= 0) {
            t = others[t];
            ++codesize[t];
        }
    }

    int hist[33] = {};
    bool any = false;
    for (int i = 0; i <= 256; ++i) {
        if (!codesize[i]) continue;
        if (codesize[i] > 32) return ozrStatusBadHuffmanTable;
        ++hist[codesize[i]];
        any = true;
    }
    if (!any) {
        // No symbol was counted: an empty table (all lengths zero).
        std::memset(bitsOut, 0, 16);
        return ozrStatusOk;
    }

    // Limit lengths to 16 bits.
    for (int i = 32; i > 16; --i) {
        while (hist[i] > 0) {
            int j = i - 2;
            while (j > 0 && hist[j] == 0) --j;
            if (j == 0) return ozrStatusBadHuffmanTable;  // not a complete tree
            hist[i] -= 2;
            hist[i - 1] += 1;
            hist[j + 1] += 2;
            hist[j] -= 1;
        }
    }
    // Drop the reserved code point (one of the longest codes).
    int i = 16;
    while (i > 0 && hist[i] == 0) --i;
    if (i > 0) --hist[i];

    for (int l = 1; l <= 16; ++l) bitsOut[l - 1] = static_cast<Ozr8u>(hist[l]);
    int p = 0;
    for (int l = 1; l <= 32; ++l)
        for (int s = 0; s < 256; ++s)
            if (codesize[s] == l) valsOut[p++] = static_cast<Ozr8u>(s);
    return ozrStatusOk;
}

}  // namespace
}  // namespace huff
}  // namespace ozr

using namespace ozr;

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
    return recordSize<OzriEncodeHuffmanSpec>(pSize);
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanSpecInit_JPEG_8u(const Ozr8u* pListBits,
                                                              const Ozr8u* pListVals,
                                                              OzriEncodeHuffmanSpec* pSpec) {
    if (OzrStatus st = firstFailure(ptr(pListBits), ptr(pListVals), ptr(pSpec))) return st;
    return huff::initEncodeTable(pListBits, pListVals, pSpec);
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(const Ozr8u* pListBits,
                                                                   const Ozr8u* pListVals,
                                                                   OzriEncodeHuffmanSpec** ppSpec) {
    if (OzrStatus st = firstFailure(ptr(pListBits), ptr(pListVals))) return st;
    return recordAlloc(ppSpec, [&](OzriEncodeHuffmanSpec* t) { return huff::initEncodeTable(pListBits, pListVals, t); });
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanSpecFree_JPEG_8u(OzriEncodeHuffmanSpec* pSpec) {
    return recordFree(pSpec);
}

extern "C" OZRAPI OzrStatus ozriEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256],
                                                                  Ozr8u* pListBits,
                                                                  Ozr8u* pListVals) {
    if (OzrStatus st = firstFailure(ptr(pStatistics), ptr(pListBits), ptr(pListVals))) return st;
    return huff::rawTable(pStatistics, pListBits, pListVals);
}
