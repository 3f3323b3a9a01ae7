// The one-value decoder over arbitrary bytes and a table from the input
// (flags bit 0) or the standard luminance DC table.
//
// Input: flags byte; optionally 16 BITS bytes plus HUFFVAL bytes; the rest is
// entropy-coded data.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "jpeg/huffdec.h"

namespace {

const uint8_t kDcBits[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const uint8_t kDcVals[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
// Builds a table from the input; the record is used whatever Init said, so
// partly filled records are decoded with too.
void takeTable(const uint8_t*& p, const uint8_t* end, OzriDecodeHuffmanSpec* tbl) {
    uint8_t bits[16] = {}, vals[256] = {};
    for (int i = 0; i < 16 && p < end; ++i) bits[i] = *p++;
    int n = 0;
    for (int i = 0; i < 16; ++i) n += bits[i];
    for (int i = 0; i < n && i < 256 && p < end; ++i) vals[i] = *p++;
    ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, tbl);
}

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > (1u << 20)) return 0;
    const uint8_t flags = data[0];
    const uint8_t* p = data + 1;
    const uint8_t* end = data + size;
    OzriDecodeHuffmanSpec t;
    if (flags & 1)
        takeTable(p, end, &t);
    else
        ozriDecodeHuffmanSpecInit_JPEG_8u(kDcBits, kDcVals, &t);
    std::vector<uint8_t> src(p, end);
    const int len = static_cast<int>(src.size());
    if (len < 1) return 0;
    OzriDecodeHuffmanState st;
    ozriDecodeHuffmanStateInit_JPEG_8u(&st);
    int pos = 0, marker = 0;
    for (int i = 0; i < 1 << 16; ++i) {
        Ozr16s v = 0x5A5A;
        const int before = pos;
        const OzrStatus s = ozriDecodeHuffmanOne_JPEG_1u16s_C1(src.data(), len, &pos, &v, &marker, &t, &st);
        check(pos >= before && pos <= len && st.count >= 0 && st.count <= 32);
        if (s != ozrStatusOk) {
            check(v == 0x5A5A);
            if (marker && pos < len) {
                marker = 0;
                ozriDecodeHuffmanStateInit_JPEG_8u(&st);
                continue;
            }
            break;
        }
    }
    return 0;
}
