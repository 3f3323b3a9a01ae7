// AVX2 form of the 8u level-shifted forward DCT with quantization, built
// from the blocks of dct_wide.h.
#include "jpeg/dct_wide.h"

namespace ozr {
namespace dct {
namespace avx2 {

using namespace wide;

void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
    __m256i y[4];
    columnPass(src, srcStep, y);
    if (!table)
        rowsStore<Quant::None>(y, dst, table);
    else if (smallMultipliers(table))
        rowsStore<Quant::SmallT>(y, dst, table);
    else
        rowsStore<Quant::Any>(y, dst, table);
}

}  // namespace avx2
}  // namespace dct
}  // namespace ozr
