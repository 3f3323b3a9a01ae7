// Helpers shared by the Huffman fuzz harnesses: decoder tables read from the
// fuzz input, the standard tables, and a hard failure the fuzzer reports.
#ifndef OZRJ_FUZZ_TABLES_H
#define OZRJ_FUZZ_TABLES_H

#include <cstdint>
#include <cstdlib>

#include "jpeg/huffdec.h"
#include "jpeg/std_tables.h"

namespace ozrfuzz {

// Builds a table from the input; the record is used whatever Init said, so
// partly filled records are decoded with too.
inline void takeTable(const uint8_t*& p, const uint8_t* end, OzriDecodeHuffmanSpec* tbl) {
    uint8_t bits[16] = {}, vals[256] = {};
    for (int i = 0; i < 16 && p < end; ++i) bits[i] = *p++;
    int n = 0;
    for (int i = 0; i < 16; ++i) n += bits[i];
    for (int i = 0; i < n && i < 256 && p < end; ++i) vals[i] = *p++;
    ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, tbl);
}

inline void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace ozrfuzz

#endif
