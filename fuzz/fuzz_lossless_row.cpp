// Lossless row decoding over arbitrary bytes and up to four tables from the
// input, followed by reconstruction of the decoded differences with a
// predictor from the input.
//
// Input: flags byte (bits 0-2: components 1..8, bits 3-5: predictor), a
// width byte, one table per used component (16 BITS bytes plus HUFFVAL
// bytes), then the entropy-coded data.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_tables.h"
#include "jpeg/huffdec.h"

using namespace ozrfuzz;
using namespace ozr::jpegstd;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > (1u << 20)) return 0;
    const uint8_t flags = data[0];
    const int nc = (flags & 7) + 1;  // above 4 is taken as 4
    const int used = nc > 4 ? 4 : nc;
    const int predictor = ((flags >> 3) & 7) ? ((flags >> 3) & 7) : 1;
    const int width = data[1] + 1;
    const uint8_t* p = data + 2;
    const uint8_t* end = data + size;
    OzriDecodeHuffmanSpec tables[4];
    for (int c = 0; c < used; ++c) {
        if (flags & 0x40)
            ozriDecodeHuffmanSpecInit_JPEG_8u(kDcLumaBits, kDcLumaVals, &tables[c]);
        else
            takeTable(p, end, &tables[c]);
    }
    const OzriDecodeHuffmanSpec* tp[4] = {&tables[0], &tables[1], &tables[2], &tables[3]};
    std::vector<uint8_t> src(p, end);
    const int len = static_cast<int>(src.size());
    if (len < 1) return 0;
    // Exactly sized rows, one vector each.
    std::vector<std::vector<Ozr16s>> rows(used, std::vector<Ozr16s>(width));
    std::vector<std::vector<Ozr16s>> prev(used, std::vector<Ozr16s>(width, 0));
    std::vector<Ozr16s> rec(width);
    Ozr16s* dst[4] = {nullptr, nullptr, nullptr, nullptr};
    for (int c = 0; c < used; ++c) dst[c] = rows[c].data();
    OzriDecodeHuffmanState st;
    ozriDecodeHuffmanStateInit_JPEG_8u(&st);
    int pos = 0, marker = 0;
    for (int y = 0; y < 4096; ++y) {
        const OzrStatus s = ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(src.data(), len, &pos, dst, width, nc, &marker, tp, &st);
        check(pos >= 0 && pos <= len && st.count >= 0 && st.count <= 32);
        if (s != ozrStatusOk) break;
        for (int c = 0; c < used; ++c) {
            const OzrStatus r = y == 0 ? ozriReconstructPredFirstRow_JPEG_16s_C1(rows[c].data(), rec.data(), width, 2 + flags % 15, predictor - 1)
                                       : ozriReconstructPredRow_JPEG_16s_C1(rows[c].data(), prev[c].data(), rec.data(), width, predictor);
            check(r == ozrStatusOk);
            // Forward prediction must give the differences back.
            std::vector<Ozr16s> again(width);
            const OzrStatus f = y == 0 ? ozriDiffPredFirstRow_JPEG_16s_C1(rec.data(), again.data(), width, 2 + flags % 15, predictor - 1)
                                       : ozriDiffPredRow_JPEG_16s_C1(rec.data(), prev[c].data(), again.data(), width, predictor);
            check(f == ozrStatusOk && again == rows[c]);
            prev[c] = rec;
        }
    }
    return 0;
}
