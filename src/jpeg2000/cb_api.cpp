// Exported functions of the progressive and the one-call code-block decoder.
#include <climits>
#include <cstring>

#include "core/frame.h"
#include "jpeg2000/cb.h"

namespace ozr {
namespace cb {
namespace {

using State = OzriDecodeCBProgrState_JPEG2K;

OzrStatus tag(const State* s) {
    return std::memcmp(s->tag, kTag, 4) == 0 ? ozrStatusOk : ozrStatusContextMismatch;
}

// Largest code-block whose state size fits a signed 32-bit count.
OzrStatus sizeFits(OzriSize r) { return failIf(stateSize(r.width, r.height) > INT_MAX, ozrStatusBadSize); }

void initState(State* s) {
    ozrsZero_8u(reinterpret_cast<Ozr8u*>(s), static_cast<int>(sizeof(State)));
    std::memcpy(s->tag, kTag, 4);
    const uintptr_t fixedEnd = reinterpret_cast<uintptr_t>(s) + sizeof(State);
    const uintptr_t aligned = (fixedEnd + 31) & ~static_cast<uintptr_t>(31);
    s->arrayOffset = static_cast<uint32_t>(aligned - reinterpret_cast<uintptr_t>(s));
    s->bitPlane = -1;
}

OzrStatus getSize(OzriSize r, int* pSize) {
    if (OzrStatus st = firstFailure(size(r), sizeFits(r), ptr(pSize))) return st;
    *pSize = static_cast<int>(stateSize(r.width, r.height));
    return ozrStatusOk;
}

}  // namespace
}  // namespace cb
}  // namespace ozr

using namespace ozr;
using namespace ozr::cb;

extern "C" {

OZRAPI OzrStatus ozriDecodeCBProgrGetStateSize_JPEG2K(OzriSize codeBlockSize, int* pSize) {
    return getSize(codeBlockSize, pSize);
}

OZRAPI OzrStatus ozriDecodeGetBufSize_JPEG2K(OzriSize codeBlockSize, int* pSize) {
    return getSize(codeBlockSize, pSize);
}

OZRAPI OzrStatus ozriDecodeCBProgrInit_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState) {
    if (OzrStatus st = ptr(pState)) return st;
    initState(pState);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrInitAlloc_JPEG2K(OzriDecodeCBProgrState_JPEG2K** ppState,
                                                   OzriSize codeBlockSize) {
    if (OzrStatus st = firstFailure(ptr(ppState), size(codeBlockSize), sizeFits(codeBlockSize))) return st;
    const int bytes = static_cast<int>(stateSize(codeBlockSize.width, codeBlockSize.height));
    Ozr8u* mem = ozrsMalloc_8u(bytes);
    if (!mem) {
        *ppState = nullptr;
        return ozrStatusNoMemory;
    }
    auto* s = reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(mem);
    initState(s);
    s->capacity = static_cast<uint32_t>(bytes);
    *ppState = s;
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrFree_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState) {
    if (OzrStatus st = firstFailure(ptr(pState), pState ? tag(pState) : ozrStatusOk)) return st;
    std::memset(pState->tag, 0, 4);
    ozrsFree(pState);
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(Ozr32s* pDst, int dstStep, OzriSize codeBlockSize,
                                                        OzriDecodeCBProgrState_JPEG2K* pState, int subband,
                                                        int magnBits, int flags) {
    if (OzrStatus st = ptr(pState)) return st;
    if (OzrStatus st = firstFailure(tag(pState), ptr(pDst), step(dstStep), size(codeBlockSize))) return st;
    // A state from InitAlloc knows its size: a larger code-block does not fit.
    if (OzrStatus st = firstFailure(sizeFits(codeBlockSize),
                                    failIf(pState->capacity != 0 &&
                                               stateSize(codeBlockSize.width, codeBlockSize.height) >
                                                   static_cast<int64_t>(pState->capacity),
                                           ozrStatusBadSize)))
        return st;
    State* s = pState;
    const uint32_t f = static_cast<uint32_t>(flags);
    s->pDst = pDst;
    s->dstStep = dstStep;
    s->width = codeBlockSize.width;
    s->height = codeBlockSize.height;
    s->flags = f;
    if (!(f & kKeepSamples)) {
        for (int y = 0; y < s->height; ++y)
            ozrsZero_8u(reinterpret_cast<Ozr8u*>(rowPtr(pDst, dstStep, y)), s->width * 4);
    }
    if (!(f & kKeepState)) {
        ozrsZero_8u(reinterpret_cast<Ozr8u*>(sampleState(s)),
                    static_cast<int>(stateRowBytes(s->width) * stateRows(s->height)));
    }
    mq::mqDecoderResetCtx(&s->mq);
    s->zcTable = zeroCodingTable(subband);
    s->rawThreshold = ((f & kBypass) && magnBits >= 4) ? magnBits - 4 : 0;
    s->attached = 1;
    s->bitPlane = magnBits == INT_MIN ? INT_MIN : magnBits - 1;
    s->passCounter = 0;
    s->cursor = kCleanup;
    s->error = 0;
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrStep_JPEG2K(const Ozr8u* pSegment, int segmentLength,
                                              OzriDecodeCBProgrState_JPEG2K* pState) {
    if (OzrStatus st = firstFailure(ptr(pSegment), ptr(pState))) return st;
    if (OzrStatus st = firstFailure(tag(pState), failIf(!pState->attached, ozrStatusNotAttached),
                                    failIf(pState->error != 0, ozrStatusCodeBlockCorrupt)))
        return st;
    if (pState->passCounter <= 0 || pState->bitPlane < 0) return ozrStatusOk;
    return decodeSegment(pState, pSegment, segmentLength < 0 ? 0 : segmentLength) ? ozrStatusOk
                                                                                  : ozrStatusCodeBlockCorrupt;
}

OZRAPI OzrStatus ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState,
                                                           int* pBitPlane) {
    if (OzrStatus st = ptr(pState)) return st;
    if (OzrStatus st = firstFailure(tag(pState), ptr(pBitPlane))) return st;
    *pBitPlane = pState->bitPlane;
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrGetPassCounter_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState, int* pCounter) {
    if (OzrStatus st = firstFailure(ptr(pState), ptr(pCounter))) return st;
    if (OzrStatus st = tag(pState)) return st;
    *pCounter = pState->passCounter;
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCBProgrSetPassCounter_JPEG2K(int counter, OzriDecodeCBProgrState_JPEG2K* pState) {
    if (OzrStatus st = ptr(pState)) return st;
    if (OzrStatus st = tag(pState)) return st;
    pState->passCounter = counter;
    return ozrStatusOk;
}

OZRAPI OzrStatus ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(const Ozr8u* pSrc, Ozr32s* pDst, int dstStep,
                                                      OzriSize codeBlockSize, int subband, int magnBits,
                                                      int nOfPasses, const int* pSegmentLengths,
                                                      int nOfSegments, int flags, int* pErrorBitPlane,
                                                      OzriDecodeCBProgrState_JPEG2K* pState) {
    if (OzrStatus st = firstFailure(ptr(pSrc), ptr(pState), size(codeBlockSize), ptr(pSegmentLengths),
                                    ptr(pDst), step(dstStep), sizeFits(codeBlockSize)))
        return st;
    ozriDecodeCBProgrInit_JPEG2K(pState);
    ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(pDst, dstStep, codeBlockSize, pState, subband, magnBits, flags);
    ozriDecodeCBProgrSetPassCounter_JPEG2K(nOfPasses, pState);
    OzrStatus st = ozrStatusOk;
    const Ozr8u* src = pSrc;
    for (int i = 0; i < nOfSegments; ++i) {
        // A negative length is taken as an empty segment: the source never
        // moves backwards.
        const int len = pSegmentLengths[i] < 0 ? 0 : pSegmentLengths[i];
        st = ozriDecodeCBProgrStep_JPEG2K(src, len, pState);
        if (st != ozrStatusOk) break;
        src += len;
    }
    const int p = pState->bitPlane;
    const uint32_t f = static_cast<uint32_t>(flags);
    const int w = codeBlockSize.width, h = codeBlockSize.height;
    if (st == ozrStatusCodeBlockCorrupt) {
        if (pErrorBitPlane) *pErrorBitPlane = p;
        if ((f & kConceal) && p >= 0) {
            const uint32_t keep = p >= 32 ? 0u : ~0u << p;
            const uint32_t mid = p >= 31 ? 0u : 1u << p;
            for (int y = 0; y < h; ++y) {
                uint32_t* row = reinterpret_cast<uint32_t*>(rowPtr(pDst, dstStep, y));
                for (int x = 0; x < w; ++x) {
                    const uint32_t v = row[x] & keep;
                    row[x] = (v & 0x7FFFFFFFu) ? (v | mid) : 0u;
                }
            }
        }
    }
    if (!(f & kKeepLowBits) && p >= 1) {
        const Ozr32s mask = p >= 32 ? 0 : static_cast<Ozr32s>(~0u << p);
        ozriAndC_32s_C1IR(mask, pDst, dstStep, codeBlockSize);
    }
    return st;
}

}  // extern "C"
