// DXT (S3TC / BC1, BC2, BC3) texture blocks: the real-time encoders and the
// decoders.  Internal header of module texture_dxt.
//
// Encoding is single-pass: one bounding box per block pulled inward by
// (max - min) >> 4, end points quantised to 5:6:5 by truncation, colour0 is
// always the maximum end point (four-colour mode only).  The palette used to
// choose indices expands the end points with replicated high bits; the
// decoders expand with zero low bits (0xFFFF -> 248, 252, 248) and use opaque
// white as the fourth colour of DXT1's three-colour mode.  Both choices are
// deliberate and part of the defined output.
//
// YCoCg-DXT5: luma is coded as a DXT5 alpha block (no inset), the two chroma
// channels are scaled by s in {1, 2, 4} and coded in the red and green fields,
// s - 1 in the blue field of both end points.  Its index rule yields only
// indices 0, 2 and 3.  When a scaled chroma channel spans fewer than 7 levels
// next to 0, the inset minimum end point comes out at -1; we clamp it to 0.
//
// Every block kernel exists twice: namespace scalar holds the definition,
// namespace ssse3 the fast form, which must give identical bytes.  Divisions
// by 3, 5, 7 and 14 in the fast forms are reciprocal multiplications, exact
// over the ranges that occur (see the recip* helpers below).
#ifndef OZRJ_TEXTURE_DXT_H
#define OZRJ_TEXTURE_DXT_H

#include <cstddef>
#include <cstdint>

#include "ozrj.h"

namespace ozr {
namespace texture {

// Block coder: reads a 4x4 block whose rows start at p, p + step, ... (16
// bytes per row for RGBA, 12 for YCoCg) and writes one block at out.
using EncodeBlockFn = void (*)(const uint8_t* p, std::ptrdiff_t step, uint8_t* out);
// Row kernel: four blocks side by side -> 16 x 4 RGBA pixels at dst.
using DecodeRowFn = void (*)(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep);
// Edge kernel: one block -> the first w columns of the first h rows at dst.
using DecodePadFn = void (*)(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w,
                             int h);

// Reciprocal division used by the fast forms: (n * m) >> 16, equal to n / d
// for n in [0, limit].  Checked exhaustively by the tests.
constexpr uint32_t kRecip3 = 21846;   // n <= 765
constexpr uint32_t kRecip5 = 13108;   // n <= 1022
constexpr uint32_t kRecip7 = 9363;    // n <= 1788
constexpr uint32_t kRecip14 = 4682;   // n <= 255
constexpr uint32_t recipDiv(uint32_t n, uint32_t m) { return (n * m) >> 16; }

#define OZR_DXT_KERNELS                                                                     \
    void encode_block_rgba_dxt1(const uint8_t* p, std::ptrdiff_t step, uint8_t* out);      \
    void encode_block_rgba_dxt3(const uint8_t* p, std::ptrdiff_t step, uint8_t* out);      \
    void encode_block_rgba_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out);      \
    void encode_block_ycocg_dxt5(const uint8_t* p, std::ptrdiff_t step, uint8_t* out);     \
    void decodeRowDXT1(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep);        \
    void decodeRowDXT3(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep);        \
    void decodeRowDXT5(const uint8_t* blocks, uint8_t* dst, std::ptrdiff_t dstStep);        \
    void decodePadDXT1(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w,   \
                       int h);                                                              \
    void decodePadDXT3(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w,   \
                       int h);                                                              \
    void decodePadDXT5(const uint8_t* block, uint8_t* dst, std::ptrdiff_t dstStep, int w, int h);

namespace scalar {
OZR_DXT_KERNELS
}  // namespace scalar
namespace ssse3 {
OZR_DXT_KERNELS
}  // namespace ssse3
#undef OZR_DXT_KERNELS

// Image walks.  Arguments are not checked (the exported functions do that).
// bytesPerPixel is 4 (RGBA) or 3 (YCoCg); blockBytes 8 (DXT1) or 16.
void encodeImage(const uint8_t* src, int srcStep, OzriSize roi, uint8_t* dst, int bytesPerPixel,
                 int blockBytes, EncodeBlockFn block);
void decodeImage(const uint8_t* src, uint8_t* dst, int dstStep, OzriSize roi, int blockBytes,
                 DecodeRowFn row, DecodePadFn pad);

}  // namespace texture
}  // namespace ozr

#endif  // OZRJ_TEXTURE_DXT_H
