// Shared internal kernels of the library frame.  Each kernel that has a SIMD
// form keeps a scalar twin in namespace ozr::scalar which is its definition;
// the SIMD form (namespace ozr::ssse3) must give identical results.
//
// Reverse division: dst[i] = value / src[i] computed in single precision and
// rounded to nearest even; src 0 -> 65535 (reported); quotients other than
// value / 1 saturate at 32767; value 0 -> all zero.
#ifndef OZRJ_CORE_KERNELS_H
#define OZRJ_CORE_KERNELS_H

#include <cstdint>

#include "ozrj.h"

namespace ozr {

// Natural (row-major) index -> zigzag position.
extern const int32_t kZigzagPos[64];
// Zigzag position -> natural index.
inline constexpr int32_t kZigzagNatural[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
    12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
    35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
    58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

namespace scalar {
// Returns true when some src element was zero.
bool divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n);
void convertRow8u16u(const uint8_t* src, uint16_t* dst, int n);
}  // namespace scalar

namespace ssse3 {
bool divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n);
// nonTemporal: write with stores that bypass the cache where aligned.
void convertRow8u16u(const uint8_t* src, uint16_t* dst, int n, bool nonTemporal);
}  // namespace ssse3

// The dispatching reverse division, with the parallel form from 2048 elements.
OzrStatus divCRev16u(const uint16_t* src, uint16_t value, uint16_t* dst, int n);

// Lengths at or above which the reverse division may run on two threads.
constexpr int kParallelDivLength = 2048;

}  // namespace ozr

// ----------------------------------------------------------- bitwise family
// Constant forms take one constant per channel (C1: 1, C3: 3, C4: 4, AC4: 3,
// the fourth channel of AC4 is left untouched in the destination).  Image
// forms combine two images sample by sample.  Arguments are not checked:
// these are internal region kernels for the families.
#define OZR_LOGIC_DECL(Op)                                                                       \
    OzrStatus ownpi_##Op##C_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s value, Ozr32s* pDst, \
                                    int dstStep, OzriSize roi);                                  \
    OzrStatus ownpi_##Op##C_32s_C3R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[3],      \
                                    Ozr32s* pDst, int dstStep, OzriSize roi);                    \
    OzrStatus ownpi_##Op##C_32s_C4R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[4],      \
                                    Ozr32s* pDst, int dstStep, OzriSize roi);                    \
    OzrStatus ownpi_##Op##C_32s_AC4R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[3],     \
                                     Ozr32s* pDst, int dstStep, OzriSize roi);                   \
    OzrStatus ownpi_##Op##_32s_C1R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,       \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi);       \
    OzrStatus ownpi_##Op##_32s_C3R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,       \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi);       \
    OzrStatus ownpi_##Op##_32s_C4R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,       \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi);       \
    OzrStatus ownpi_##Op##_32s_AC4R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,      \
                                    int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi);

OZR_LOGIC_DECL(And)
OZR_LOGIC_DECL(Or)
OZR_LOGIC_DECL(Xor)
#undef OZR_LOGIC_DECL

#endif  // OZRJ_CORE_KERNELS_H
