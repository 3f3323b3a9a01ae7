// Splitting 16-bit rows into two byte planes and joining them back.
// Plane 0 holds each sample's most significant byte, plane 1 its least
// significant byte; samples are in host (little-endian) order.  Each SIMD
// kernel has a scalar twin in namespace scalar that is its definition.
#ifndef OZRJ_TIFF_ROWS_H
#define OZRJ_TIFF_ROWS_H

#include <cstdint>

namespace ozr {
namespace tiff {

namespace scalar {
void splitRow(const uint16_t* src, uint8_t* hi, uint8_t* lo, int n);
void joinRow(const uint8_t* hi, const uint8_t* lo, uint16_t* dst, int n);
}  // namespace scalar

namespace ssse3 {
void splitRow(const uint16_t* src, uint8_t* hi, uint8_t* lo, int n);
void joinRow(const uint8_t* hi, const uint8_t* lo, uint16_t* dst, int n);
}  // namespace ssse3

}  // namespace tiff
}  // namespace ozr

#endif  // OZRJ_TIFF_ROWS_H
