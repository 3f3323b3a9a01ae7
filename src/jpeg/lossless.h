// Lossless JPEG: row prediction (samples <-> differences) and row-wise
// Huffman coding of up to four interleaved components.  All sample and
// difference arithmetic is modulo 65536: operands are read as signed 16-bit
// values, predictions are formed in 32 bits (">> 1" is an arithmetic halving)
// and only the low 16 bits of a result are kept.  Reading the samples as
// signed matters only to the halving predictors 5..7 on 16-bit samples of
// 32768 and above, where unsigned arithmetic would predict differently.
#ifndef OZRJ_JPEG_LOSSLESS_H
#define OZRJ_JPEG_LOSSLESS_H

#include <cstdint>

#include "ozrj.h"

namespace ozr {
namespace lossless {

// Most components one row call interleaves; larger counts are taken as this.
constexpr int kMaxComponents = 4;

// Prediction of predictor 1..7 from the left (a), above (b) and above-left
// (c) samples, as a 32-bit value whose low 16 bits count.
inline int32_t predict(int predictor, int32_t a, int32_t b, int32_t c) {
    switch (predictor) {
        case 1: return a;
        case 2: return b;
        case 3: return c;
        case 4: return a + b - c;
        case 5: return a + ((b - c) >> 1);
        case 6: return b + ((a - c) >> 1);
        default: return (a + b) >> 1;
    }
}

inline Ozr16s wrap16(int32_t v) { return static_cast<Ozr16s>(static_cast<uint16_t>(v)); }

// The first-row prediction of the first sample: 2^(P - Pt - 1), or 0 when
// Pt >= P leaves no bits to centre.
inline int32_t firstRowBase(int P, int Pt) {
    const int e = P - Pt - 1;
    return e >= 0 ? (int32_t(1) << e) : 0;
}

// Row kernels (no checks).  diffRow/reconstructRow take predictor 1..7.
void diffFirstRow(const Ozr16s* src, Ozr16s* dst, int width, int32_t base);
void reconstructFirstRow(const Ozr16s* diff, Ozr16s* dst, int width, int32_t base);
void diffRow(const Ozr16s* src, const Ozr16s* prev, Ozr16s* dst, int width, int predictor);
void reconstructRow(const Ozr16s* diff, const Ozr16s* prev, Ozr16s* dst, int width, int predictor);

}  // namespace lossless
}  // namespace ozr

#endif  // OZRJ_JPEG_LOSSLESS_H
