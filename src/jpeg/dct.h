// Quantization tables and the forward 8x8 DCT with quantization.  Internal.
//
// Tables
// ------
//  * raw table: 64 quantizer steps (1..255) in zigzag order, as a DQT
//    segment carries them;
//  * forward table: 64 Ozr16u multipliers T = round(32768 / Q) in natural
//    order (15 fractional bits, Q = 1 gives 32768, Q = 0 gives 65535).
//
// Two quantizers, which round differently on purpose:
//  * quantHalfUp (ozriQuantFwd8x8_JPEG_16s_C1I), 16-bit lanes:
//        ((hi16((F << 3) * (T >> 1)) + 1) >> 1)
//    i.e. F*T/32768 rounded half toward plus infinity, low bit of T dropped,
//    exact for |F| < 4096 (F << 3 wraps in 16 bits beyond that);
//  * quantEven (the combined DCT functions): P = F*T in 32 bits (T read as
//    unsigned), (P + 16383 + bit15(P)) >> 15, saturated to 16 bits: F*T/32768
//    rounded to nearest, ties to even.
//
// Fixed-point forward DCT (fdct16s)
// ---------------------------------
// Column pass, every lane an Ozr16s with saturating add/sub, pmulhw-style
// products (high 16 bits of the signed 32-bit product, i.e. floor(a*c/65536))
// and wrapping left shifts:
//     t0..t3 = x0+x7, x1+x6, x2+x5, x3+x4      t7,t6,t5,t4 = x0-x7, x1-x6, x2-x5, x3-x4
//     t0..t3, t4, t7 <<= 3;  t5, t6 <<= 4     (t5, t6 enter the cos(pi/4) product)
//   even:  p03 = t0+t3, m03 = t0-t3, p12 = t1+t2, m12 = t1-t2
//          Y0 = p03+p12, Y4 = p03-p12
//          Y2 = m03 + (mulhi(m12, TG2) | 1),  Y6 = (mulhi(m03, TG2) | 1) - m12
//   odd:   u6 = mulhi(t6+t5, C4) | 1,  u5 = mulhi(t6-t5, C4) | 1
//          q4 = t4+u5, q5 = t4-u5, q7 = t7+u6, q6 = t7-u6
//          Y1 = q7 + mulhi(q4, TG1),   Y7 = mulhi(q7, TG1) - q4
//          Y5 = q5 + (mulhi(q6, TG3M1) + q6),  Y3 = q6 - (mulhi(q5, TG3M1) + q5)
//   with TG1 = 13036, TG2 = 27146, TG3M1 = -21746 (tan(3pi/16) - 1), C4 = 23170.
//   The forced low bit ("| 1") corrects the downward bias of the truncating
//   products; it is applied to each cos(pi/4) product and to each tangent
//   product of the even part, before it is added to its partner.
// Row pass, per row v with the table of its row pair (0/4, 1/7, 2/6, 3/5):
//     e_k = sat(Y_k + Y_{7-k}), o_k = sat(Y_k - Y_{7-k})   (k = 0..3, 16 bits)
//     X = (e0,e1,o0,o1,e2,e3,o2,o3), Xs = X with its 64-bit halves swapped
//     S_0..3 = madd(X, K0) + madd(Xs, K1),  S_4..7 = madd(X, K2) + madd(Xs, K3)
//   where K0..K3 are the table's 32 multipliers in their given order, eight
//   at a time, and madd is pmaddwd (pairwise products summed into 32 bits);
//   the sums wrap as 32-bit additions do.  Then
//     out_u = saturate16(floor((S_u + 2^19) / 2^20)),
//   the rounding term added to the 32-bit value without a further wrap, so
//   that every output lies in -2048..2048.  (An 8-bit block never comes near
//   either wrap; only 16-bit input far outside the level-shifted range can.)
//
// Single-precision forward DCT (16-bit samples)
// ---------------------------------------------
// Separable, vertical pass first, then horizontal, each a scaled butterfly
// with cos(pi/4) = 0.7071068, tan(pi/8) = 0.4142136, 0.7653669 (cos(pi/4) /
// cos(pi/8)) and 1.0823922 (1 / cos(pi/8)); the unnormalised output Z(u,v) is
// multiplied by kNorm[u] * kNorm[v] (a float product) and then by the
// caller's table entry, and the result is clamped to -32768..32767 in single
// precision (min then max; a NaN becomes 32767) before it is rounded to
// nearest even.  The clamp is what "signed saturation" means for products
// of any magnitude; without it, products of 2^31 or more would turn into
// -32768 in the vector conversion.
//
// Every kernel has a scalar twin (namespace scalar) which is its definition;
// the SSSE3 forms (namespace ssse3) and the AVX2 and AVX-512 forms give
// identical results for every input.
#ifndef OZRJ_JPEG_DCT_H
#define OZRJ_JPEG_DCT_H

#include <cstdint>

#include "ozrj.h"

namespace ozr {
namespace dct {

// Column-pass constants (16-bit lanes).
constexpr int16_t kTg1 = 13036;     // tan(pi/16) * 2^16
constexpr int16_t kTg2 = 27146;     // tan(pi/8) * 2^16
constexpr int16_t kTg3m1 = -21746;  // (tan(3pi/16) - 1) * 2^16
constexpr int16_t kCos4 = 23170;    // cos(pi/4) * 2^15

// Row tables of the four row pairs, index kRowPair[v] for row v.
// clang-format off
alignas(16) inline constexpr int16_t kRowTables[4][32] = {
    // rows 0 and 4: K0, K1, K2, K3
    { 16384,  16384,  22725,  19266,  -8867, -21407, -22725, -12873,
      16384,  16384,  12873,   4520,  21407,   8867,  19266,  -4520,
      16384, -16384,  12873, -22725,  21407,  -8867,  19266, -22725,
     -16384,  16384,   4520,  19266,   8867, -21407,   4520, -12873},
    // rows 1 and 7: K0, K1, K2, K3
    { 22725,  22725,  31521,  26722, -12299, -29692, -31521, -17855,
      22725,  22725,  17855,   6270,  29692,  12299,  26722,  -6270,
      22725, -22725,  17855, -31521,  29692, -12299,  26722, -31521,
     -22725,  22725,   6270,  26722,  12299, -29692,   6270, -17855},
    // rows 2 and 6: K0, K1, K2, K3
    { 21407,  21407,  29692,  25172, -11585, -27969, -29692, -16819,
      21407,  21407,  16819,   5906,  27969,  11585,  25172,  -5906,
      21407, -21407,  16819, -29692,  27969, -11585,  25172, -29692,
     -21407,  21407,   5906,  25172,  11585, -27969,   5906, -16819},
    // rows 3 and 5: K0, K1, K2, K3
    { 19266,  19266,  26722,  22654, -10426, -25172, -26722, -15137,
      19266,  19266,  15137,   5315,  25172,  10426,  22654,  -5315,
      19266, -19266,  15137, -26722,  25172, -10426,  22654, -26722,
     -19266,  19266,   5315,  22654,  10426, -25172,   5315, -15137},
};
// clang-format on
constexpr int kRowPair[8] = {0, 1, 2, 3, 0, 3, 2, 1};
constexpr int32_t kRowRound = 1 << 19;
constexpr int kRowShift = 20;

// Single-precision transform constants.
constexpr float kF_Cos4 = 0.7071068f;
constexpr float kF_Tan8 = 0.4142136f;
constexpr float kF_Cos4OverCos8 = 0.7653669f;
constexpr float kF_InvCos8 = 1.0823922f;
inline constexpr float kNorm[8] = {0.353553f, 0.235494f, 0.270598f, 0.277785f,
                                   0.353553f, 0.415735f, 0.653281f, 1.183913f};
// kNorm[v] * kNorm[u] (a float product) at natural index 8v + u.
struct Norm2D {
    float v[64];
    constexpr Norm2D() : v() {
        for (int i = 0; i < 64; ++i) v[i] = kNorm[i >> 3] * kNorm[i & 7];
    }
};
inline constexpr Norm2D kNorm2D{};

// Raw table scaling of ozriQuantFwdRawTableInit_JPEG_8u.
void scaleRawTable(uint8_t table[64], int quality);

namespace scalar {
// Transform only (no quantization): src and dst may be the same block.
void fdct16s(const int16_t* src, int16_t* dst);
void quantEven(int16_t* blk, const uint16_t* table);
void quantHalfUp(int16_t* blk, const uint16_t* table);
// Level shift + transform + quantEven; table null: transform only.
void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table);
// Transform + quantEven; table null: transform only.
void fdctQuant16s(const int16_t* src, int16_t* dst, const uint16_t* table);
// The single-precision path before the table: normalised F(u,v), natural order.
void fdctLS16u(const uint16_t* src, int srcStep, float* out);
void fdctQuantLS16u(const uint16_t* src, int srcStep, int16_t* dst, const float* table);
}  // namespace scalar

namespace ssse3 {
void quantEven(int16_t* blk, const uint16_t* table);
void quantHalfUp(int16_t* blk, const uint16_t* table);
void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table);
void fdctQuant16s(const int16_t* src, int16_t* dst, const uint16_t* table);
void fdctLS16u(const uint16_t* src, int srcStep, float* out);
void fdctQuantLS16u(const uint16_t* src, int srcStep, int16_t* dst, const float* table);
}  // namespace ssse3

// AVX2 form of the 8u kernel, for CPUs that have it.
namespace avx2 {
void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table);
}  // namespace avx2

// AVX-512 form of the 8u kernel (cpuHasAvx512()).
namespace avx512 {
void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table);
}  // namespace avx512

}  // namespace dct
}  // namespace ozr

#endif  // OZRJ_JPEG_DCT_H
