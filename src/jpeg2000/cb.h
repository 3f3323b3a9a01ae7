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

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <emmintrin.h>

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

// The same, built for AVX2 processors; decodeSegment calls it where the
// processor has AVX2.
namespace avx2 {
bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len);
}

// ------------------------------------------------------------ coding passes
// The passes and the segment loop, compiled into the baseline build
// (cb_passes.cpp) and the AVX2 build (cb_passes_avx2.cpp).  Everything here
// has internal linkage, so that neither build ever calls into the other.
namespace kernel {
namespace {

// Raw (bypass) bit reader: most significant bit first, 7 bits after a 0xFF,
// 0xFF past the end and 1-bits for good once a marker is seen.
struct RawReader {
    const uint8_t* p = nullptr;
    int32_t len = 0;
    int32_t pos = 0;
    uint32_t c = 0;
    uint32_t ct = 0;
    void init(const uint8_t* data, int32_t n) {
        p = data;
        len = n;
        pos = 0;
        c = 0;
        ct = 0;
    }
    uint32_t at(int32_t i) const { return i < len ? p[i] : 0xFFu; }
    uint32_t bit() {
        if (ct == 0) {
            if (c == 0xFF) {
                const uint32_t next = at(pos);
                if (next > 0x8F) {
                    ct = 8;
                } else {
                    c = next;
                    ++pos;
                    ct = 7;
                }
            } else {
                c = at(pos);
                if (pos < len) ++pos;
                ct = 8;
            }
        }
        --ct;
        return (c >> ct) & 1u;
    }
};

// What a sample of stripe row k that becomes significant tells the
// neighbours outside its own row: the other entry of its word (in) and the
// adjacent word-row (out) get their flags for a positive sample and the sign
// flag added for a negative one; the diagonals get theirs either way.
struct NeighbourFlags {
    std::ptrdiff_t in, out;  // entry offsets
    uint16_t inSig, inNeg, inW, inE;
    uint16_t outSig, outNeg, outW, outE;
};

struct Block {
    uint16_t* st;    // entry of sample (0, 0)
    int rs;          // 16-bit entries per word-row
    uint8_t* dst;    // sample (0, 0)
    int step;
    int w;
    int h;
    bool causal;
    NeighbourFlags nb[4];  // by stripe row
};

// For an even row the other entry of its word is the row below and the
// adjacent word-row the one above, for an odd row the other way round, and
// the flags each neighbour receives are the even row's flags shifted by one
// (N/S) or two (diagonals) places.  In vertically causal mode nothing
// crosses the stripe's upper boundary.
inline void setNeighbourFlags(Block* b) {
    for (int k = 0; k < 4; ++k) {
        const uint32_t p = static_cast<uint32_t>(k) & 1u;
        const uint32_t outside = (b->causal && k == 0) ? 0u : 0xFFFFu;
        NeighbourFlags& u = b->nb[k];
        u.in = 1 - 2 * static_cast<std::ptrdiff_t>(p);
        u.out = u.in * (1 - b->rs);
        u.inSig = static_cast<uint16_t>(kN << p);
        u.inNeg = static_cast<uint16_t>(kNNeg << p);
        u.inW = static_cast<uint16_t>(kNE << (2 * p));
        u.inE = static_cast<uint16_t>(kNW << (2 * p));
        u.outSig = static_cast<uint16_t>((kS >> p) & outside);
        u.outNeg = static_cast<uint16_t>((kSNeg >> p) & outside);
        u.outW = static_cast<uint16_t>((kSE >> (2 * p)) & outside);
        u.outE = static_cast<uint16_t>((kSW >> (2 * p)) & outside);
    }
}

inline uint32_t* dstRow(const Block& b, int y) {
    return reinterpret_cast<uint32_t*>(b.dst + static_cast<std::ptrdiff_t>(b.step) * y);
}

// The stripe of rows y0..y0+3 (fewer at the bottom): its destination rows,
// its first state column, and the state offsets of its four rows within a
// column.
struct Stripe {
    int rows;
    uint32_t* dr[4];
    uint16_t* col;
    std::ptrdiff_t off[4];
    Stripe(const Block& b, int y0)
        : rows(std::min(4, b.h - y0)), col(b.st + (y0 >> 1) * b.rs), off{0, 1, b.rs, b.rs + 1} {
        for (int k = 0; k < rows; ++k) dr[k] = dstRow(b, y0 + k);
    }
};

// Entry of stripe row k (0..3) in the column whose row 0 entry is col.
inline uint16_t* entry(const Block& b, uint16_t* col, int k) { return col + (k >> 1) * b.rs + (k & 1); }

// Marks sample (stripe row k) significant and tells its eight neighbours,
// without a branch on the row (hard to predict): the row's entry of the
// neighbour table gives the places and flags.  own: more bits for its own
// entry.
inline void setSignificant(const Block& b, uint16_t* f, int k, uint32_t neg, uint16_t own = 0) {
    const NeighbourFlags& u = b.nb[k];
    const uint16_t negative = static_cast<uint16_t>(0u - neg);
    uint16_t* g = f + u.in;
    uint16_t* o = f + u.out;
    f[0] |= static_cast<uint16_t>(kSig | own);
    f[-2] |= static_cast<uint16_t>(kE | (kENeg & negative));
    f[2] |= static_cast<uint16_t>(kW | (kWNeg & negative));
    g[0] |= static_cast<uint16_t>(u.inSig | (u.inNeg & negative));
    g[-2] |= u.inW;
    g[2] |= u.inE;
    o[0] |= static_cast<uint16_t>(u.outSig | (u.outNeg & negative));
    o[-2] |= u.outW;
    o[2] |= u.outE;
}

// Selection masks of a stripe (four rows): bit 4c + k stands for stripe
// row k of column c.  The entries are read four at a time (the two entries
// of two adjacent words); a lane test leaves bit 0 of each 16-bit lane, and
// a multiplication gathers the four lane bits of each of the two word-rows
// into the bits of a byte, in scan order.
enum class Select { kRefine, kInsignificant, kCandidate, kUncoded };

template <Select kSel>
inline uint64_t laneBits(uint64_t x) {
    constexpr uint64_t kLanes = 0x0001000100010001ull;
    if (kSel == Select::kRefine) return (x >> 12) & ~(x >> 14) & kLanes;  // significant, not visited
    if (kSel == Select::kInsignificant) return ~(x >> 12) & kLanes;        // not significant
    if (kSel == Select::kCandidate) {
        // Not significant, with a significant neighbour: the neighbour byte
        // plus 0xFF carries into bit 8 when it is not zero.
        constexpr uint64_t kLow = 0x00FF00FF00FF00FFull;
        return (((x & kLow) + kLow) >> 8) & ~(x >> 12) & kLanes;
    }
    return ~((x >> 12) | (x >> 14)) & kLanes;  // neither significant nor visited
}

// n columns (1..16) from entry col of their row 0.  Reads one word past the
// last column when n is odd (the border word).  The cleanup's selection
// clears the visited bits of the entries read (the border's are never set).
template <Select kSel>
__attribute__((always_inline)) inline uint64_t columnPairs(uint16_t* col, int rs, int n) {
    uint64_t m = 0;
    for (int c = 0; c < n; c += 2) {
        uint64_t x0, x1;
        std::memcpy(&x0, col + 2 * c, 8);
        std::memcpy(&x1, col + rs + 2 * c, 8);
        if (kSel == Select::kUncoded) {
            constexpr uint64_t kNotVisited = ~(uint64_t(kVisit) * 0x0001000100010001ull);
            const uint64_t y0 = x0 & kNotVisited, y1 = x1 & kNotVisited;
            std::memcpy(col + 2 * c, &y0, 8);
            std::memcpy(col + rs + 2 * c, &y1, 8);
        }
        // Lanes 0..3 of x0 to bits 48, 49, 52, 53; of x1 to 50, 51, 54, 55.
        const uint64_t g = (laneBits<kSel>(x0) * 0x0001000200100020ull) |
                           (laneBits<kSel>(x1) * 0x0004000800400080ull);
        m |= ((g >> 48) & 0xFFu) << (4 * c);
    }
    return m;
}

// The lane test of columnPairs on eight entries: all ones where selected.
template <Select kSel>
__attribute__((always_inline)) inline __m128i laneTest(__m128i x) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i sig = _mm_set1_epi16(static_cast<short>(kSig));
    const __m128i sigVisit = _mm_set1_epi16(static_cast<short>(kSig | kVisit));
    if (kSel == Select::kRefine) return _mm_cmpeq_epi16(_mm_and_si128(x, sigVisit), sig);
    if (kSel == Select::kInsignificant) return _mm_cmpeq_epi16(_mm_and_si128(x, sig), zero);
    if (kSel == Select::kCandidate)
        return _mm_andnot_si128(_mm_cmpeq_epi16(_mm_and_si128(x, _mm_set1_epi16(kNeighbours)), zero),
                                _mm_cmpeq_epi16(_mm_and_si128(x, sig), zero));
    return _mm_cmpeq_epi16(_mm_and_si128(x, sigVisit), zero);
}

// The lane tests of the two word-rows of four columns as mask bits in scan
// order: interleaved by 32-bit words the entries follow the scan (rows 0, 1
// from the first word-row, 2, 3 from the second, column by column).
__attribute__((always_inline)) inline uint64_t scanBits(__m128i t0, __m128i t1) {
    const __m128i b = _mm_packs_epi16(_mm_unpacklo_epi32(t0, t1), _mm_unpackhi_epi32(t0, t1));
    return static_cast<uint32_t>(_mm_movemask_epi8(b));
}

// columnPairs on 16 columns, eight entries at a time.
template <Select kSel>
__attribute__((always_inline)) inline uint64_t columns16(uint16_t* col, int rs) {
    uint64_t m = 0;
    for (int q = 0; q < 4; ++q) {
        __m128i* p0 = reinterpret_cast<__m128i*>(col + 8 * q);
        __m128i* p1 = reinterpret_cast<__m128i*>(col + rs + 8 * q);
        const __m128i x0 = _mm_loadu_si128(p0), x1 = _mm_loadu_si128(p1);
        if (kSel == Select::kUncoded) {
            const __m128i notVisited = _mm_set1_epi16(static_cast<short>(~kVisit));
            _mm_storeu_si128(p0, _mm_and_si128(x0, notVisited));
            _mm_storeu_si128(p1, _mm_and_si128(x1, notVisited));
        }
        m |= scanBits(laneTest<kSel>(x0), laneTest<kSel>(x1)) << (16 * q);
    }
    return m;
}

template <Select kSel>
inline uint64_t stripeMask(uint16_t* col, int rs, int n) {
    if (n == 16) return columns16<kSel>(col, rs);
    return columnPairs<kSel>(col, rs, n) & ((uint64_t(1) << (4 * n)) - 1);
}

// The significance propagation's two selections in one reading: the
// candidates (returned) and the insignificant samples.
__attribute__((always_inline)) inline uint64_t candidatePairs(const uint16_t* col, int rs, int n, uint64_t* insig) {
    uint64_t m = 0, z = 0;
    for (int c = 0; c < n; c += 2) {
        uint64_t x0, x1;
        std::memcpy(&x0, col + 2 * c, 8);
        std::memcpy(&x1, col + rs + 2 * c, 8);
        const uint64_t g = (laneBits<Select::kCandidate>(x0) * 0x0001000200100020ull) |
                           (laneBits<Select::kCandidate>(x1) * 0x0004000800400080ull);
        const uint64_t h = (laneBits<Select::kInsignificant>(x0) * 0x0001000200100020ull) |
                           (laneBits<Select::kInsignificant>(x1) * 0x0004000800400080ull);
        m |= ((g >> 48) & 0xFFu) << (4 * c);
        z |= ((h >> 48) & 0xFFu) << (4 * c);
    }
    *insig = z;
    return m;
}

// candidatePairs on 16 columns, eight entries at a time.
__attribute__((always_inline)) inline uint64_t candidates16(const uint16_t* col, int rs, uint64_t* insig) {
    uint64_t m = 0, z = 0;
    for (int q = 0; q < 4; ++q) {
        const __m128i x0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(col + 8 * q));
        const __m128i x1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(col + rs + 8 * q));
        m |= scanBits(laneTest<Select::kCandidate>(x0), laneTest<Select::kCandidate>(x1)) << (16 * q);
        z |= scanBits(laneTest<Select::kInsignificant>(x0), laneTest<Select::kInsignificant>(x1)) << (16 * q);
    }
    *insig = z;
    return m;
}

// The cleanup's selection (the samples to code, returned; the visited bits
// of the entries read are cleared) and, in the same reading, the quiet
// samples: to code, with no significant neighbour.
__attribute__((always_inline)) inline uint64_t uncodedPairs(uint16_t* col, int rs, int n, uint64_t* quiet) {
    constexpr uint64_t kLanes = 0x0001000100010001ull;
    constexpr uint64_t kNotVisited = ~(uint64_t(kVisit) * kLanes);
    constexpr uint64_t kQuietBits = uint64_t(kSig | kVisit | kNeighbours) * kLanes;
    uint64_t m = 0, z = 0;
    for (int c = 0; c < n; c += 2) {
        uint64_t x0, x1;
        std::memcpy(&x0, col + 2 * c, 8);
        std::memcpy(&x1, col + rs + 2 * c, 8);
        const uint64_t y0 = x0 & kNotVisited, y1 = x1 & kNotVisited;
        std::memcpy(col + 2 * c, &y0, 8);
        std::memcpy(col + rs + 2 * c, &y1, 8);
        // A lane of x & kQuietBits plus 0x7FFF reaches bit 15 (and no further)
        // when it is not zero.
        const uint64_t q0 = ~(((x0 & kQuietBits) + 0x7FFF * kLanes) >> 15) & kLanes;
        const uint64_t q1 = ~(((x1 & kQuietBits) + 0x7FFF * kLanes) >> 15) & kLanes;
        const uint64_t g = (laneBits<Select::kUncoded>(x0) * 0x0001000200100020ull) |
                           (laneBits<Select::kUncoded>(x1) * 0x0004000800400080ull);
        const uint64_t h = (q0 * 0x0001000200100020ull) | (q1 * 0x0004000800400080ull);
        m |= ((g >> 48) & 0xFFu) << (4 * c);
        z |= ((h >> 48) & 0xFFu) << (4 * c);
    }
    *quiet = z;
    return m;
}

// uncodedPairs on 16 columns, eight entries at a time.
__attribute__((always_inline)) inline uint64_t uncoded16(uint16_t* col, int rs, uint64_t* quiet) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i quietBits = _mm_set1_epi16(static_cast<short>(kSig | kVisit | kNeighbours));
    uint64_t m = 0, z = 0;
    for (int q = 0; q < 4; ++q) {
        __m128i* p0 = reinterpret_cast<__m128i*>(col + 8 * q);
        __m128i* p1 = reinterpret_cast<__m128i*>(col + rs + 8 * q);
        const __m128i x0 = _mm_loadu_si128(p0), x1 = _mm_loadu_si128(p1);
        const __m128i notVisited = _mm_set1_epi16(static_cast<short>(~kVisit));
        _mm_storeu_si128(p0, _mm_and_si128(x0, notVisited));
        _mm_storeu_si128(p1, _mm_and_si128(x1, notVisited));
        m |= scanBits(laneTest<Select::kUncoded>(x0), laneTest<Select::kUncoded>(x1)) << (16 * q);
        z |= scanBits(_mm_cmpeq_epi16(_mm_and_si128(x0, quietBits), zero),
                      _mm_cmpeq_epi16(_mm_and_si128(x1, quietBits), zero))
             << (16 * q);
    }
    *quiet = z;
    return m;
}

inline uint64_t uncodedMask(uint16_t* col, int rs, int n, uint64_t* quiet) {
    if (n == 16) return uncoded16(col, rs, quiet);
    const uint64_t keep = (uint64_t(1) << (4 * n)) - 1;
    const uint64_t m = uncodedPairs(col, rs, n, quiet) & keep;
    *quiet &= keep;
    return m;
}

inline uint64_t candidateMask(const uint16_t* col, int rs, int n, uint64_t* insig) {
    if (n == 16) return candidates16(col, rs, insig);
    const uint64_t keep = (uint64_t(1) << (4 * n)) - 1;
    const uint64_t m = candidatePairs(col, rs, n, insig) & keep;
    *insig &= keep;
    return m;
}

__attribute__((always_inline)) inline uint32_t decodeSign(mq::MqRegs& mq, uint16_t fl) {
    const uint32_t packed = kContextTables.SignCodingLUT[(fl & 0xF) | ((fl >> 4) & 0xF0)];
    return mq::decodeRegsFlat(mq, static_cast<int>(packed & 0xF)) ^ (packed >> 31);
}

// Per-sample steps of the three passes.  k is the row within the stripe
// (0..3); d points at the sample.
// Returns whether the sample became significant.
// kSelected: the caller knows the sample is a candidate.
template <bool kRaw, bool kSelected = false>
__attribute__((always_inline)) inline bool spSample(const Block& b, mq::MqRegs& m, RawReader& rr,
                                                    const int32_t* zc, uint32_t one, uint16_t* f, int k,
                                                    uint32_t* d) {
    const uint16_t fl = *f;
    // A candidate is not significant and has a significant neighbour.
    if (!kSelected && static_cast<uint32_t>((fl & (kSig | kNeighbours)) - 1) >= kNeighbours) return false;
    const uint32_t bit = kRaw ? rr.bit() : mq::decodeRegsFlat(m, zc[fl & kNeighbours]);
    if (bit) {
        const uint32_t neg = kRaw ? rr.bit() : decodeSign(m, fl);
        *d |= one | (neg << 31);
        setSignificant(b, f, k, neg);
    }
    *f |= kVisit;
    return bit != 0;
}

// Stripe-mask bits, relative to the sample's column, of the neighbours that
// follow sample row k in the scan: the row below, and rows k-1..k+1 of the
// next column.
constexpr uint64_t kLater[4] = {0x32, 0x74, 0xE8, 0xC0};

// What a sample of stripe row k that became significant gives the entry of
// the sample delta places later in the scan of its 16 columns (delta 0..7,
// nothing past that): the row below gets N, the next column's rows k-1, k,
// k+1 get SW, W and NW; significance in the low half, the sign flag a
// negative sample adds in the high half.
struct LaterFlags {
    uint32_t v[4][8];
};

constexpr LaterFlags buildLaterFlags() {
    LaterFlags t{};
    for (int k = 0; k < 4; ++k) {
        if (k < 3) t.v[k][1] = kN | (uint32_t(kNNeg) << 16);
        if (k > 0) t.v[k][3] = kSW;
        t.v[k][4] = kW | (uint32_t(kWNeg) << 16);
        if (k < 3) t.v[k][5] = kNW;
    }
    return t;
}

inline constexpr LaterFlags kLaterFlags = buildLaterFlags();

// The significance propagation of one full stripe over up to 16 columns
// (col: their first entry, dr: their destination; sel: the candidates at the
// start, insig: the insignificant samples).  After a sample became
// significant the next candidate (often its neighbour) is read before the
// neighbour updates are stored, and what this sample gives it is added in
// registers: its context then waits neither for the sign decision nor for
// the stores.
__attribute__((always_inline)) inline void sigPropStripe(const Block& b, mq::MqRegs& m, const int32_t* zc,
                                                         uint32_t one, uint16_t* col, const std::ptrdiff_t* off,
                                                         uint32_t* const* dr, uint64_t sel, uint64_t insig) {
    int i = __builtin_ctzll(sel);
    sel &= sel - 1;
    uint16_t* f = col + 2 * (i >> 2) + off[i & 3];
    uint32_t fl = *f;
    int cx = zc[fl & kNeighbours];
    for (;;) {
        const int k = i & 3;
        if (mq::decodeRegsFlat(m, cx)) {
            sel |= (kLater[k] << (i & ~3)) & insig;
            const uint32_t neg = decodeSign(m, static_cast<uint16_t>(fl));
            dr[k][i >> 2] |= one | (neg << 31);
            if (!sel) {
                setSignificant(b, f, k, neg, kVisit);
                break;
            }
            const int in = __builtin_ctzll(sel);
            sel &= sel - 1;
            uint16_t* const fn = col + 2 * (in >> 2) + off[in & 3];
            const uint32_t later = kLaterFlags.v[k][std::min(in - i, 7)];
            const uint32_t fln = *fn | (later & kNeighbours);
            cx = zc[fln & kNeighbours];
            setSignificant(b, f, k, neg, kVisit);
            fl = fln | ((later >> 16) & (0u - neg));
            i = in;
            f = fn;
        } else {
            *f |= kVisit;
            if (!sel) break;
            i = __builtin_ctzll(sel);
            sel &= sel - 1;
            f = col + 2 * (i >> 2) + off[i & 3];
            fl = *f;
            cx = zc[fl & kNeighbours];
        }
    }
}

// kSelected: the caller knows the sample is significant and not visited.
template <bool kRaw, bool kSelected = false>
__attribute__((always_inline)) inline void mrSample(mq::MqRegs& m, RawReader& rr, uint32_t one, uint16_t* f,
                                                    uint32_t* d) {
    const uint16_t fl = *f;
    if (!kSelected && (fl & (kSig | kVisit)) != kSig) return;
    const uint32_t bit =
        kRaw ? rr.bit() : mq::decodeRegsFlat(m, kContextTables.MagnRefineLUT[((fl >> 5) & 0x100) | (fl & kNeighbours)]);
    *d |= one & (0u - bit);
    *f = static_cast<uint16_t>(fl | kRef);
}

__attribute__((always_inline)) inline void cuSample(const Block& b, mq::MqRegs& m, const int32_t* zc, uint32_t one,
                                                    uint16_t* f, int k, uint32_t* d) {
    const uint16_t fl = *f;
    if (!(fl & (kSig | kVisit))) {
        if (mq::decodeRegsFlat(m, zc[fl & kNeighbours])) {
            const uint32_t neg = decodeSign(m, fl);
            *d |= one | (neg << 31);
            setSignificant(b, f, k, neg);
        }
    }
    *f &= static_cast<uint16_t>(~kVisit);
}

template <bool kRaw>
void sigProp(const Block& blk, mq::MqRegs& mq, RawReader& rr, const int32_t* zc, uint32_t one) {
    const Block b = blk;  // a local copy the state-array stores cannot alias
    mq::MqRegs m = mq;
    for (int y0 = 0; y0 < b.h; y0 += 4) {
        Stripe sp(b, y0);
        const int rows = sp.rows;
        uint32_t* const* dr = sp.dr;
        uint16_t* col = sp.col;
        const std::ptrdiff_t* off = sp.off;
        if (rows == 4) {
            // The candidates at the start of 16 columns; a sample that becomes
            // significant adds those of its insignificant neighbours that
            // come later in the scan (below it, and in the next column).
            for (int x0 = 0; x0 < b.w; x0 += 16, col += 32) {
                uint64_t insig;
                uint64_t sel = candidateMask(col, b.rs, std::min(16, b.w - x0), &insig);
                if (!sel) continue;
                if constexpr (!kRaw) {
                    uint32_t* const drx[4] = {dr[0] + x0, dr[1] + x0, dr[2] + x0, dr[3] + x0};
                    sigPropStripe(b, m, zc, one, col, off, drx, sel, insig);
                    continue;
                }
                do {
                    const int i = __builtin_ctzll(sel);
                    sel &= sel - 1;
                    const int k = i & 3;
                    if (spSample<kRaw, true>(b, m, rr, zc, one, col + 2 * (i >> 2) + off[k], k, dr[k] + x0 + (i >> 2)))
                        sel |= (kLater[k] << (i & ~3)) & insig;
                } while (sel);
            }
        } else {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) spSample<kRaw>(b, m, rr, zc, one, entry(b, col, k), k, dr[k] + x);
        }
    }
    mq::copyRegsBack(m, &mq);
}

template <bool kRaw>
void magRef(const Block& blk, mq::MqRegs& mq, RawReader& rr, uint32_t one) {
    const Block b = blk;
    mq::MqRegs m = mq;
    for (int y0 = 0; y0 < b.h; y0 += 4) {
        Stripe sp(b, y0);
        const int rows = sp.rows;
        uint32_t* const* dr = sp.dr;
        uint16_t* col = sp.col;
        const std::ptrdiff_t* off = sp.off;
        if (rows == 4) {
            for (int x0 = 0; x0 < b.w; x0 += 16, col += 32) {
                uint64_t sel = stripeMask<Select::kRefine>(col, b.rs, std::min(16, b.w - x0));
                while (sel) {
                    const int i = __builtin_ctzll(sel);
                    sel &= sel - 1;
                    const int k = i & 3;
                    mrSample<kRaw, true>(m, rr, one, col + 2 * (i >> 2) + off[k], dr[k] + x0 + (i >> 2));
                }
            }
        } else {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) mrSample<kRaw>(m, rr, one, entry(b, col, k), dr[k] + x);
        }
    }
    mq::copyRegsBack(m, &mq);
}

inline void cleanup(const Block& blk, mq::MqRegs& mq, const int32_t* zc, uint32_t one) {
    const Block b = blk;
    mq::MqRegs m = mq;
    for (int y0 = 0; y0 < b.h; y0 += 4) {
        Stripe sp(b, y0);
        const int rows = sp.rows;
        uint32_t* const* dr = sp.dr;
        uint16_t* col = sp.col;
        const std::ptrdiff_t* off = sp.off;
        if (rows < 4) {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) cuSample(b, m, zc, one, entry(b, col, k), k, dr[k] + x);
            continue;
        }
        // The samples to code are known at the start (only a sample's own
        // decision makes it significant); a column of four of them without
        // a significant neighbour is in run-length mode.  Which columns are
        // is known at the start too, but for those after a column in which
        // a sample becomes significant (it gives them W flags).
        for (int x0 = 0; x0 < b.w; x0 += 16, col += 32) {
            uint64_t q;
            uint64_t sel = uncodedMask(col, b.rs, std::min(16, b.w - x0), &q);
            // Row 0 bits of the quiet columns.
            uint64_t run = q & (q >> 1) & (q >> 2) & (q >> 3) & 0x1111111111111111ull;
            while (sel) {
                int i = __builtin_ctzll(sel);
                if ((run >> i) & 1u) {
                    // Run-length mode: four quiet samples.  While the MPS is
                    // 0 and the decisions stay in the MPS sub-interval with
                    // no renormalisation (the context word does not change),
                    // consecutive quiet columns go by with the registers and
                    // Qe in hand.
                    const uint32_t w = mq::ctxWord(m, mq::kCtxRunLength);
                    if (!(w & 1u)) {
                        const uint32_t qe = w & 0xFFFF0000u;
                        const uint64_t qe64 = static_cast<uint64_t>(qe) << 32;
                        uint32_t a = m.a;
                        uint64_t cr = m.c;
                        bool more = true;
                        while (cr >= qe64 && ((a - qe) & 0x80000000u)) {
                            a -= qe;
                            cr -= qe64;
                            sel &= ~(uint64_t(0xF) << i);
                            if (i == 60 || !((run >> (i + 4)) & 1u)) {
                                more = false;
                                break;
                            }
                            i += 4;
                        }
                        m.a = a;
                        m.c = cr;
                        if (!more) continue;
                    }
                }
                const int x = x0 + (i >> 2);
                uint16_t* c = col + 2 * (i >> 2);
                int k = i & 3;
                if ((run >> i) & 1u) {
                    const uint64_t column = uint64_t(0xF) << i;
                    sel &= ~column;
                    if (!mq::decodeRegs(m, mq::kCtxRunLength)) continue;
                    k = static_cast<int>(mq::decodeRegsFlat(m, mq::kCtxUniform) << 1);
                    k |= static_cast<int>(mq::decodeRegsFlat(m, mq::kCtxUniform));
                    uint16_t* f = c + off[k];
                    const uint32_t neg = decodeSign(m, *f);
                    dr[k][x] |= one | (neg << 31);
                    setSignificant(b, f, k, neg);
                    run &= ~(uint64_t(2) << (i | 3));     // the next column is not quiet now
                    sel |= (uint64_t(0xE) << (i + k)) & column;  // the samples after it
                    continue;
                }
                sel &= sel - 1;
                uint16_t* f = c + off[k];
                const uint16_t fl = *f;
                if (mq::decodeRegsFlat(m, zc[fl & kNeighbours])) {
                    const uint32_t neg = decodeSign(m, fl);
                    dr[k][x] |= one | (neg << 31);
                    setSignificant(b, f, k, neg);
                    run &= ~(uint64_t(2) << (i | 3));
                }
            }
        }
    }
    mq::copyRegsBack(m, &mq);
}

inline bool isRaw(int32_t cursor) { return cursor == kRawMagRef || cursor == kRawSigProp; }

inline bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len) {
    Block b;
    b.rs = static_cast<int>(stateRowBytes(s->width) / 2);
    b.st = sampleState(s) + b.rs + 2;
    b.dst = reinterpret_cast<uint8_t*>(s->pDst);
    b.step = s->dstStep;
    b.w = s->width;
    b.h = s->height;
    b.causal = (s->flags & kVertCausal) != 0;
    setNeighbourFlags(&b);
    const int32_t* zc = s->zcTable;
    const uint32_t flags = s->flags;

    RawReader rr;
    if (s->passCounter > 0 && s->bitPlane >= 0) {
        if (isRaw(s->cursor))
            rr.init(seg, len);
        else
            mq::mqDecoderInit(&s->mq, seg, len);
    }
    mq::MqRegs mq;
    mq::loadRegs(s->mq, &mq);
    bool ok = true;
    while (s->passCounter > 0 && s->bitPlane >= 0) {
        const int32_t cur = s->cursor;
        const int32_t bp = s->bitPlane;
        const uint32_t one = bp < 31 ? 1u << bp : 0u;
        int32_t next;
        bool termPoint;
        switch (cur) {
        case kCleanup:
        case kCleanupLow: {
            cleanup(b, mq, zc, one);
            next = (cur == kCleanup && bp - 1 >= s->rawThreshold) ? kSigProp : kRawSigProp;
            termPoint = (flags & kTermAll) || isRaw(next) || bp == 0;
            bool bad = false;
            if (flags & kSegSymbols) {
                uint32_t v = mq::decodeRegs(mq, mq::kCtxUniform) << 3;
                v |= mq::decodeRegs(mq, mq::kCtxUniform) << 2;
                v |= mq::decodeRegs(mq, mq::kCtxUniform) << 1;
                v |= mq::decodeRegs(mq, mq::kCtxUniform);
                bad = v != 0xA;
            }
            if (!bad && (flags & kPredTerm) && termPoint) {
                mq::storeRegs(mq, &s->mq);
                bad = mq::mqDecoderCheckErrPredTerm(&s->mq) != 0;
                mq::loadRegs(s->mq, &mq);
            }
            if (flags & kResetCtx) mq::resetRegsCtx(&mq);
            if (bad) {
                ok = false;
                next = cur;
            } else {
                s->bitPlane = bp - 1;
            }
            break;
        }
        case kSigProp:
            sigProp<false>(b, mq, rr, zc, one);
            next = kMagRef;
            termPoint = (flags & kTermAll) != 0;
            break;
        case kMagRef:
            magRef<false>(b, mq, rr, one);
            next = kCleanup;
            termPoint = (flags & kTermAll) != 0;
            break;
        case kRawSigProp:
            sigProp<true>(b, mq, rr, zc, one);
            next = kRawMagRef;
            termPoint = (flags & kTermAll) != 0;
            break;
        case kRawMagRef:
            magRef<true>(b, mq, rr, one);
            next = kCleanupLow;
            termPoint = true;
            break;
        default:  // a cursor no pass has: the record was overwritten
            ok = false;
            next = cur;
            termPoint = true;
            break;
        }
        if (cur != kCleanup && cur != kCleanupLow && (flags & kResetCtx)) mq::resetRegsCtx(&mq);
        s->cursor = next;
        --s->passCounter;
        if (!ok) {
            s->error = 1;
            break;
        }
        if (termPoint) break;
    }
    mq::storeRegs(mq, &s->mq);
    return ok;
}

}  // namespace
}  // namespace kernel

}  // namespace cb
}  // namespace ozr

#endif  // OZRJ_JPEG2000_CB_H
