// The one-value decoder over arbitrary bytes and a table from the input
// (flags bit 0) or the standard luminance DC table.
//
// Input: flags byte; optionally 16 BITS bytes plus HUFFVAL bytes; the rest is
// entropy-coded data.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_tables.h"
#include "jpeg/huffdec.h"

using namespace ozrfuzz;
using namespace ozr::jpegstd;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > (1u << 20)) return 0;
    const uint8_t flags = data[0];
    const uint8_t* p = data + 1;
    const uint8_t* end = data + size;
    OzriDecodeHuffmanSpec t;
    if (flags & 1)
        takeTable(p, end, &t);
    else
        ozriDecodeHuffmanSpecInit_JPEG_8u(kDcLumaBits, kDcLumaVals, &t);
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
