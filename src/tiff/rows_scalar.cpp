// Row split/join, one sample at a time: the definition of the kernels.
#include "tiff/rows.h"

namespace ozr {
namespace tiff {
namespace scalar {

void splitRow(const uint16_t* src, uint8_t* hi, uint8_t* lo, int n) {
    for (int i = 0; i < n; ++i) {
        hi[i] = static_cast<uint8_t>(src[i] >> 8);
        lo[i] = static_cast<uint8_t>(src[i]);
    }
}

void joinRow(const uint8_t* hi, const uint8_t* lo, uint16_t* dst, int n) {
    for (int i = 0; i < n; ++i) dst[i] = static_cast<uint16_t>(hi[i] << 8 | lo[i]);
}

}  // namespace scalar
}  // namespace tiff
}  // namespace ozr
