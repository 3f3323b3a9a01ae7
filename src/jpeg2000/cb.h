// Progressive code-block decoder: the private layout of the "PAMC" state and
// the coding passes (significance propagation, magnitude refinement, cleanup
// with run-length mode, and the raw variants of the first two).
//
// Sample-state array: rows of 32-bit words, each word holding the coding
// state of two vertically adjacent samples (rows 2r and 2r+1 of the
// code-block in its low and high 16-bit half), one border word left and right
// of each row and one border word-row above and below.  Viewed as 16-bit
// entries, sample (x, y) sits at ((y >> 1) + 1) * rowStride16 + 2 * (x + 1) +
// (y & 1).  Each 16-bit entry carries:
//   bits 0..7   significance of the neighbours N, S, W, E, NW, NE, SW, SE
//   bits 8..11  sign (1 = negative) of the neighbours N, S, W, E
//   bit 12      significant, bit 13 refined, bit 14 visited in this plane
// A sample that becomes significant sets these bits in its eight neighbours,
// so every context label is one table lookup on its own entry.
#ifndef OZRJ_JPEG2000_CB_H
#define OZRJ_JPEG2000_CB_H

#include <cstddef>
#include <cstdint>

#include "jpeg2000/mq.h"
#include "ozrj.h"

namespace ozr {
namespace cb {

constexpr char kTag[4] = {'P', 'A', 'M', 'C'};
constexpr int kFixedBytes = 472;  // the constant of the state-size formula

// Mode flags.
constexpr uint32_t kVertCausal = 0x1;
constexpr uint32_t kBypass = 0x2;
constexpr uint32_t kTermAll = 0x4;
constexpr uint32_t kResetCtx = 0x8;
constexpr uint32_t kSegSymbols = 0x10;
constexpr uint32_t kConceal = 0x10000;
constexpr uint32_t kKeepSamples = 0x20000;
constexpr uint32_t kKeepLowBits = 0x40000;
constexpr uint32_t kKeepState = 0x80000;
constexpr uint32_t kPredTerm = 0x100000;

// Pass-type cursor.
enum Cursor : int32_t {
    kCleanup = 0,
    kMagRef = 1,
    kSigProp = 2,
    kCleanupLow = 3,
    kRawMagRef = 4,
    kRawSigProp = 5
};

// Sample-state bits.
constexpr uint16_t kN = 1u << 0, kS = 1u << 1, kW = 1u << 2, kE = 1u << 3;
constexpr uint16_t kNW = 1u << 4, kNE = 1u << 5, kSW = 1u << 6, kSE = 1u << 7;
constexpr uint16_t kNNeg = 1u << 8, kSNeg = 1u << 9, kWNeg = 1u << 10, kENeg = 1u << 11;
constexpr uint16_t kSig = 1u << 12, kRef = 1u << 13, kVisit = 1u << 14;
constexpr uint16_t kNeighbours = 0xFF;

// Context tables.  Zero coding: 8 neighbour bits -> context 2..10; sign:
// 8 bits (significance then sign of N, S, W, E) -> context | prediction << 31;
// refinement: refined << 8 | neighbour bits -> 16..18.
struct ContextTables {
    int32_t ZeroCodingLUT_LxHy[256];  // LL and LH
    int32_t ZeroCodingLUT_HxLy[256];  // HL
    int32_t ZeroCodingLUT_HxHy[256];  // HH
    uint32_t SignCodingLUT[256];
    int32_t MagnRefineLUT[512];
};
extern const ContextTables kContextTables;

// Zero-coding table of a subband code (2 HL, 3 HH, anything else LL/LH).
inline const int32_t* zeroCodingTable(int subband) {
    return subband == 2 ? kContextTables.ZeroCodingLUT_HxLy
                        : subband == 3 ? kContextTables.ZeroCodingLUT_HxHy
                                       : kContextTables.ZeroCodingLUT_LxHy;
}

// Row layout of the sample-state array for a code-block size.
inline int64_t stateRowBytes(int width) { return ((static_cast<int64_t>(width) + 2) * 4 + 31) / 32 * 32; }
inline int64_t stateRows(int height) { return (static_cast<int64_t>(height) + 1) / 2 + 2; }
inline int64_t stateSize(int width, int height) {
    return stateRowBytes(width) * stateRows(height) + kFixedBytes;
}

}  // namespace cb
}  // namespace ozr

struct OzriDecodeCBProgrState_JPEG2K {
    char tag[4];
    int32_t dstStep;
    Ozr32s* pDst;
    int32_t width;
    int32_t height;
    uint32_t flags;
    MqDecoderState mq;
    const int32_t* zcTable;
    int32_t bitPlane;
    int32_t rawThreshold;
    int32_t passCounter;
    int32_t cursor;
    uint32_t error;
    uint32_t attached;
    // Bytes the record was allocated with by InitAlloc (0: caller memory of
    // unknown size), checked at attach.
    uint32_t capacity;
    // Start of the sample-state array, counted from the record's start.
    uint32_t arrayOffset;
};

static_assert(sizeof(OzriDecodeCBProgrState_JPEG2K) + 31 <= ozr::cb::kFixedBytes,
              "fixed part and alignment must fit the state-size constant");

namespace ozr {
namespace cb {

inline uint16_t* sampleState(OzriDecodeCBProgrState_JPEG2K* s) {
    return reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(s) + s->arrayOffset);
}

// Runs the passes one codeword segment carries, from the state's cursor;
// returns false when a pass found corruption (the error flag is then set).
bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len);

}  // namespace cb
}  // namespace ozr

#endif  // OZRJ_JPEG2000_CB_H
