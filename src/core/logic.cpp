// Bitwise AND/OR/XOR of 32-bit samples with per-channel constants or with a
// second image.  Plain loops: the compiler vectorises them.
#include "core/frame.h"
#include "core/kernels.h"

namespace {

struct AndOp { static Ozr32s apply(Ozr32s a, Ozr32s b) { return a & b; } };
struct OrOp  { static Ozr32s apply(Ozr32s a, Ozr32s b) { return a | b; } };
struct XorOp { static Ozr32s apply(Ozr32s a, Ozr32s b) { return a ^ b; } };

// Pixels of Stride samples, of which the first Used are combined.
template <typename Op, int Stride, int Used>
OzrStatus constRegion(const Ozr32s* src, int srcStep, const Ozr32s* value, Ozr32s* dst,
                      int dstStep, OzriSize roi) {
    for (int y = 0; y < roi.height; ++y) {
        const Ozr32s* s = ozr::rowPtr(src, srcStep, y);
        Ozr32s* d = ozr::rowPtr(dst, dstStep, y);
        for (int x = 0; x < roi.width; ++x)
            for (int c = 0; c < Used; ++c)
                d[x * Stride + c] = Op::apply(s[x * Stride + c], value[c]);
    }
    return ozrStatusOk;
}

template <typename Op, int Stride, int Used>
OzrStatus imageRegion(const Ozr32s* src1, int src1Step, const Ozr32s* src2, int src2Step,
                      Ozr32s* dst, int dstStep, OzriSize roi) {
    for (int y = 0; y < roi.height; ++y) {
        const Ozr32s* a = ozr::rowPtr(src1, src1Step, y);
        const Ozr32s* b = ozr::rowPtr(src2, src2Step, y);
        Ozr32s* d = ozr::rowPtr(dst, dstStep, y);
        for (int x = 0; x < roi.width; ++x)
            for (int c = 0; c < Used; ++c)
                d[x * Stride + c] = Op::apply(a[x * Stride + c], b[x * Stride + c]);
    }
    return ozrStatusOk;
}

}  // namespace

#define OZR_LOGIC_DEF(Op, Impl)                                                                   \
    OzrStatus ownpi_##Op##C_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s value, Ozr32s* pDst,  \
                                    int dstStep, OzriSize roi) {                                  \
        return constRegion<Impl, 1, 1>(pSrc, srcStep, &value, pDst, dstStep, roi);               \
    }                                                                                             \
    OzrStatus ownpi_##Op##C_32s_C3R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[3],       \
                                    Ozr32s* pDst, int dstStep, OzriSize roi) {                    \
        return constRegion<Impl, 3, 3>(pSrc, srcStep, value, pDst, dstStep, roi);                 \
    }                                                                                             \
    OzrStatus ownpi_##Op##C_32s_C4R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[4],       \
                                    Ozr32s* pDst, int dstStep, OzriSize roi) {                    \
        return constRegion<Impl, 4, 4>(pSrc, srcStep, value, pDst, dstStep, roi);                 \
    }                                                                                             \
    OzrStatus ownpi_##Op##C_32s_AC4R(const Ozr32s* pSrc, int srcStep, const Ozr32s value[3],      \
                                     Ozr32s* pDst, int dstStep, OzriSize roi) {                   \
        return constRegion<Impl, 4, 3>(pSrc, srcStep, value, pDst, dstStep, roi);                 \
    }                                                                                             \
    OzrStatus ownpi_##Op##_32s_C1R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,        \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi) {       \
        return imageRegion<Impl, 1, 1>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi);     \
    }                                                                                             \
    OzrStatus ownpi_##Op##_32s_C3R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,        \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi) {       \
        return imageRegion<Impl, 3, 3>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi);     \
    }                                                                                             \
    OzrStatus ownpi_##Op##_32s_C4R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,        \
                                   int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi) {       \
        return imageRegion<Impl, 4, 4>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi);     \
    }                                                                                             \
    OzrStatus ownpi_##Op##_32s_AC4R(const Ozr32s* pSrc1, int src1Step, const Ozr32s* pSrc2,       \
                                    int src2Step, Ozr32s* pDst, int dstStep, OzriSize roi) {      \
        return imageRegion<Impl, 4, 3>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roi);     \
    }

OZR_LOGIC_DEF(And, AndOp)
OZR_LOGIC_DEF(Or, OrOp)
OZR_LOGIC_DEF(Xor, XorOp)
#undef OZR_LOGIC_DEF
