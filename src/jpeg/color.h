// Encoder colour conversion: row kernels behind the RGB/BGR/CMYK/packed to
// Y, YCbCr and YCCK region functions.
//
// The scalar kernels (namespace scalar) are the definition; the SSSE3 and AVX2
// kernels must give the same bytes for every width and alignment.  Several
// fixed-point sets live side by side and each stays where it belongs:
//
//  * pixel-order RGB/BGR -> YCbCr: the first floor(n/8)*8 pixels of a row use
//    the 15-bit set (Y rounding 16266, Cr rounding 128*2^15 + 16400), the rest
//    of the row (one group of 4, then single pixels) the 14-bit set.  The same
//    pixel can therefore convert differently at different places in a row.
//  * pixel-order RGB/BGR -> Y: the 15-bit Y for every pixel of the row.
//  * planar RGB -> YCbCr and planar CMYK -> YCCK: the 16-bit Y
//    (19595, 38470, 7471, rounding 2^15) and Cb/Cr from the differences B-Y
//    and R-Y (18491, 23373, shift 15).  Y never exceeds 255 here, so it makes
//    no difference whether the differences take it before or after clamping.
//  * planar RGB -> Y: single precision ((0.299f*R + 0.587f*G) + 0.114f*B),
//    evaluated in that order without fused multiply-add, rounded to nearest
//    even by the current (default) rounding mode, clamped to 0..255.
//  * pixel-order CMYK -> YCCK and the packed 555/565 forms: the 14-bit set for
//    every pixel.  C, M and Y are inverted (255 - v) before conversion; the K
//    plane receives the source K unchanged.
//
// Packed pixels: the RGB forms keep red in the high field and blue in the low
// field (bits 10-14 / 11-15 red, bits 0-4 blue); the BGR forms the opposite.
// Fields move to the top bits of a byte without replicating their high bits
// (a full 5-bit field gives 248, a full 6-bit field 252).
#ifndef OZRJ_JPEG_COLOR_H
#define OZRJ_JPEG_COLOR_H

#include <cstdint>

namespace ozr {
namespace color {

enum class Packed { RGB555, BGR555, RGB565, BGR565 };

// One kernel per conversion, each converting one row of n pixels.  The
// pixel-order and packed kernels of one family share a generic form (bgr
// selects the B, G, R channel order), which the scalar namespace also offers
// to the SIMD kernels for the ends of their rows.
#define OZR_COLOR_KERNELS                                                                                          \
    void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);          \
    void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);          \
    void ownpj_RGBToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n);                                        \
    void ownpj_BGRToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n);                                        \
    void ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y,        \
                                          uint8_t* cb, uint8_t* cr, int n);                                        \
    void ownpj_RGBToY_JPEG_8u_P3C1R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, int n);  \
    void ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* k,  \
                                            int n);                                                                \
    void ownpj_CMYKToYCCK_JPEG_8u_P4R_opt(const uint8_t* c, const uint8_t* m, const uint8_t* ye, const uint8_t* k, \
                                          uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* kOut, int n);             \
    void ownpj_RGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);   \
    void ownpj_BGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);   \
    void ownpj_RGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);   \
    void ownpj_BGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);

namespace scalar {
OZR_COLOR_KERNELS
void rgbToYCbCrRow(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, bool bgr);
void rgbToYRow(const uint8_t* src, uint8_t* y, int n, bool bgr);
void packedToYCbCrRow(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, Packed fmt);
}  // namespace scalar

namespace ssse3 {
OZR_COLOR_KERNELS
}  // namespace ssse3

// AVX2 forms of the pixel-order YCbCr kernels, for CPUs that have it.
namespace avx2 {
void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);
void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);
}  // namespace avx2

// AVX-512 forms of the same (cpuHasAvx512()).
namespace avx512 {
void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);
void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n);
}  // namespace avx512

#undef OZR_COLOR_KERNELS

}  // namespace color
}  // namespace ozr

#endif  // OZRJ_JPEG_COLOR_H
