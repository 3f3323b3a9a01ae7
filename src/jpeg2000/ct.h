// JPEG2000 component transforms (RCT, ICT) on planar rows.
//
// Each kernel transforms n pixels given as three component rows; in-place
// use passes the same rows as source and destination (every pixel is read
// completely before it is written).  ozr::ct::scalar holds the definitions,
// ozr::ct::ssse3 the vector forms, identical for every length and input.
//
//   RCT forward  Y = (R + 2G + B) >> 2, Cb = B - G, Cr = R - G
//   RCT inverse  G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G
//   16s: sums in 32 bits, results stored in 16 bits (wrapping); 32s: 32-bit
//   wrapping throughout.
//
//   ICT 32f: single-precision products added left to right.
//   ICT 32s: 14-bit fixed point, direct matrix, 32-bit wrapping.
//   ICT 16s: 14-bit fixed point; forward in the difference form
//     S = 4899R + 9617G + 1868B, Y = sat((S + 8192) >> 14),
//     dB = (int16)(((B << 14) - S + 8192) >> 14), Cb = sat((dB*9246 + 8192) >> 14),
//     dR likewise with 11686; inverse saturated, its green term subtracted after
//     rounding the positive sum.
#ifndef OZRJ_JPEG2000_CT_H
#define OZRJ_JPEG2000_CT_H

#include <cstdint>

namespace ozr {
namespace ct {

#define OZR_CT_KERNELS                                                                           \
    template <class T>                                                                           \
    void rctFwd(const T* s0, const T* s1, const T* s2, T* d0, T* d1, T* d2, int n);              \
    template <class T>                                                                           \
    void rctInv(const T* s0, const T* s1, const T* s2, T* d0, T* d1, T* d2, int n);              \
    template <class T>                                                                           \
    void ictFwd(const T* s0, const T* s1, const T* s2, T* d0, T* d1, T* d2, int n);              \
    template <class T>                                                                           \
    void ictInv(const T* s0, const T* s1, const T* s2, T* d0, T* d1, T* d2, int n);

namespace scalar {
OZR_CT_KERNELS
}
namespace ssse3 {
OZR_CT_KERNELS
}
#undef OZR_CT_KERNELS

}  // namespace ct
}  // namespace ozr

#endif  // OZRJ_JPEG2000_CT_H
