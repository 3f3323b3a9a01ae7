// Encoder colour conversion, scalar kernels: the definition of every formula.
#include <cmath>
#include <cstddef>
#include <cstring>

#include "jpeg/color.h"

namespace ozr {
namespace color {
namespace scalar {

namespace {

inline uint8_t clamp8(int32_t v) {
    // Signed saturation to 16 bits followed by unsigned saturation to 8 bits
    // is a clamp to 0..255.
    return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// 15-bit set: groups of 8 pixels of the pixel-order conversion.
inline void ycc15(int r, int g, int b, uint8_t* y, uint8_t* cb, uint8_t* cr) {
    *y = clamp8((9798 * r + 19235 * g + 3736 * b + 16266) >> 15);
    *cb = clamp8((-5529 * r - 10855 * g + 16384 * b + 4210688) >> 15);
    *cr = clamp8((16384 * r - 13720 * g - 2664 * b + 4210704) >> 15);
}

// 14-bit set: the group of 4 and single pixels, CMYK pixel order, packed pixels.
inline void ycc14(int r, int g, int b, uint8_t* y, uint8_t* cb, uint8_t* cr) {
    *y = clamp8((4899 * r + 9617 * g + 1868 * b + 8192) >> 14);
    *cb = clamp8((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14);
    *cr = clamp8((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14);
}

// 16-bit planar set.
inline void yccPlanar(uint32_t r, uint32_t g, uint32_t b, uint8_t* y, uint8_t* cb, uint8_t* cr) {
    const int32_t yy = static_cast<int32_t>((19595u * r + 38470u * g + 7471u * b + 32768u) >> 16);
    *y = clamp8(yy);
    *cb = clamp8((18491 * (static_cast<int32_t>(b) - yy) + 4210688) >> 15);
    *cr = clamp8((23373 * (static_cast<int32_t>(r) - yy) + 4210688) >> 15);
}

inline uint16_t load16(const uint16_t* p) {
    uint16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

}  // namespace

void rgbToYCbCrRow(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, bool bgr) {
    const int ri = bgr ? 2 : 0, bi = bgr ? 0 : 2;
    const int n8 = n & ~7;
    std::ptrdiff_t i = 0;
    for (; i < n8; ++i, src += 3) ycc15(src[ri], src[1], src[bi], y + i, cb + i, cr + i);
    for (; i < n; ++i, src += 3) ycc14(src[ri], src[1], src[bi], y + i, cb + i, cr + i);
}

void rgbToYRow(const uint8_t* src, uint8_t* y, int n, bool bgr) {
    const int ri = bgr ? 2 : 0, bi = bgr ? 0 : 2;
    for (std::ptrdiff_t i = 0; i < n; ++i, src += 3)
        y[i] = clamp8((9798 * src[ri] + 19235 * src[1] + 3736 * src[bi] + 16266) >> 15);
}

void ownpj_RGBToYCbCr_JPEG_8u_P3R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, uint8_t* cb,
                                      uint8_t* cr, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) yccPlanar(r[i], g[i], b[i], y + i, cb + i, cr + i);
}

void ownpj_RGBToY_JPEG_8u_P3C1R_opt(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        float v = 0.299f * static_cast<float>(r[i]) + 0.587f * static_cast<float>(g[i]);
        v = v + 0.114f * static_cast<float>(b[i]);
        y[i] = clamp8(static_cast<int32_t>(std::nearbyint(v)));
    }
}

void ownpj_CMYKToYCCK_JPEG_8u_C4P4R_opt(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* k, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i, src += 4) {
        ycc14(255 - src[0], 255 - src[1], 255 - src[2], y + i, cb + i, cr + i);
        k[i] = src[3];
    }
}

void ownpj_CMYKToYCCK_JPEG_8u_P4R_opt(const uint8_t* c, const uint8_t* m, const uint8_t* ye, const uint8_t* k,
                                      uint8_t* y, uint8_t* cb, uint8_t* cr, uint8_t* kOut, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        // K is read before the Y/Cb/Cr planes are written, so a caller that
        // converts in place (K plane shared) still gets its K back.
        const uint8_t kv = k[i];
        yccPlanar(255u - c[i], 255u - m[i], 255u - ye[i], y + i, cb + i, cr + i);
        kOut[i] = kv;
    }
}

void packedToYCbCrRow(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n, Packed fmt) {
    const bool is565 = fmt == Packed::RGB565 || fmt == Packed::BGR565;
    const bool redHigh = fmt == Packed::RGB555 || fmt == Packed::RGB565;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const unsigned p = load16(src + i);
        const int low = static_cast<int>((p & 31u) << 3);
        const int mid = is565 ? static_cast<int>((p & 2016u) >> 3) : static_cast<int>((p & 992u) >> 2);
        const int high = is565 ? static_cast<int>((p & 63488u) >> 8) : static_cast<int>((p & 31744u) >> 7);
        if (redHigh)
            ycc14(high, mid, low, y + i, cb + i, cr + i);
        else
            ycc14(low, mid, high, y + i, cb + i, cr + i);
    }
}

// ------------------------------------------------------------- named kernels
void ownpj_RGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRow(src, y, cb, cr, n, false);
}
void ownpj_BGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    rgbToYCbCrRow(src, y, cb, cr, n, true);
}
void ownpj_RGBToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n) { rgbToYRow(src, y, n, false); }
void ownpj_BGRToY_JPEG_8u_C3C1R(const uint8_t* src, uint8_t* y, int n) { rgbToYRow(src, y, n, true); }
void ownpj_RGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::RGB555);
}
void ownpj_BGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::BGR555);
}
void ownpj_RGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::RGB565);
}
void ownpj_BGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int n) {
    packedToYCbCrRow(src, y, cb, cr, n, Packed::BGR565);
}

}  // namespace scalar
}  // namespace color
}  // namespace ozr
