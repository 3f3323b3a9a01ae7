// Coding passes of the code-block decoder and the pass sequencing of one
// codeword segment.
#include <algorithm>
#include <cstring>

#include "core/frame.h"
#include "jpeg2000/cb.h"

namespace ozr {
namespace cb {
namespace {

constexpr int32_t labelLxHy(int h, int v, int d) {
    if (h == 2) return 8;
    if (h == 1) return v >= 1 ? 7 : d >= 1 ? 6 : 5;
    if (v == 2) return 4;
    if (v == 1) return 3;
    return d >= 2 ? 2 : d == 1 ? 1 : 0;
}

constexpr int32_t labelHxHy(int hv, int d) {
    if (d >= 3) return 8;
    if (d == 2) return hv >= 1 ? 7 : 6;
    if (d == 1) return hv >= 2 ? 5 : hv == 1 ? 4 : 3;
    return hv >= 2 ? 2 : hv == 1 ? 1 : 0;
}

constexpr int contribution(int sig, int neg) { return sig ? (neg ? -1 : 1) : 0; }
constexpr int clamp1(int v) { return v > 1 ? 1 : v < -1 ? -1 : v; }

constexpr ContextTables buildTables() {
    ContextTables t{};
    for (int i = 0; i < 256; ++i) {
        const int v = (i & 1) + ((i >> 1) & 1);
        const int h = ((i >> 2) & 1) + ((i >> 3) & 1);
        const int d = ((i >> 4) & 1) + ((i >> 5) & 1) + ((i >> 6) & 1) + ((i >> 7) & 1);
        t.ZeroCodingLUT_LxHy[i] = 2 + labelLxHy(h, v, d);
        t.ZeroCodingLUT_HxLy[i] = 2 + labelLxHy(v, h, d);
        t.ZeroCodingLUT_HxHy[i] = 2 + labelHxHy(h + v, d);
        // Sign index: bits 0..3 significance of N, S, W, E; bits 4..7 their signs.
        const int hc = clamp1(contribution(i & 4, i & 0x40) + contribution(i & 8, i & 0x80));
        const int vc = clamp1(contribution(i & 1, i & 0x10) + contribution(i & 2, i & 0x20));
        int label = 0;
        uint32_t flip = 0;
        if (hc == 0) {
            label = vc == 0 ? 9 : 10;
            flip = vc < 0;
        } else {
            label = vc == hc ? 13 : vc == 0 ? 12 : 11;
            flip = hc < 0;
        }
        t.SignCodingLUT[i] = static_cast<uint32_t>(label + 2) | (flip << 31);
    }
    for (int i = 0; i < 512; ++i) t.MagnRefineLUT[i] = i >= 256 ? 18 : i == 0 ? 16 : 17;
    return t;
}

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

struct Block {
    uint16_t* st;    // entry of sample (0, 0)
    int rs;          // 16-bit entries per word-row
    uint8_t* dst;    // sample (0, 0)
    int step;
    int w;
    int h;
    bool causal;
};

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

// The four entries of a stripe column OR-ed together (read as 16-bit
// entries: the neighbour updates just stored are 16-bit, and wider loads
// would stall on them).
inline uint32_t columnFlags(const Block& b, const uint16_t* col) {
    return static_cast<uint32_t>(col[0] | col[1] | col[b.rs] | col[b.rs + 1]);
}

// Entry of stripe row k (0..3) in the column whose row 0 entry is col.
inline uint16_t* entry(const Block& b, uint16_t* col, int k) { return col + (k >> 1) * b.rs + (k & 1); }

// Marks sample (stripe row k) significant and tells its eight neighbours,
// without a branch on the row: for an even row the other entry of its word
// is the row below and the adjacent word-row is the one above, for an odd
// row the other way round, and the flags each neighbour receives are the
// even row's flags shifted by one (N/S) or two (diagonals) places.
inline void setSignificant(const Block& b, uint16_t* f, int k, uint32_t neg) {
    const uint32_t p = static_cast<uint32_t>(k) & 1u;
    const std::ptrdiff_t dIn = 1 - 2 * static_cast<std::ptrdiff_t>(p);  // other entry of the word
    const std::ptrdiff_t dOut = dIn * (1 - b.rs);                        // adjacent word-row
    // No updates across the stripe boundary in vertically causal mode (no
    // branch: the row is hard to predict).
    const uint32_t outside = (static_cast<uint32_t>(b.causal) & static_cast<uint32_t>(k == 0)) - 1u;
    uint16_t* g = f + dIn;
    uint16_t* o = f + dOut;
    f[0] |= kSig;
    f[-2] |= static_cast<uint16_t>(kE | (neg << 11));
    f[2] |= static_cast<uint16_t>(kW | (neg << 10));
    g[0] |= static_cast<uint16_t>((kN | (neg << 8)) << p);
    g[-2] |= static_cast<uint16_t>(kNE << (2 * p));
    g[2] |= static_cast<uint16_t>(kNW << (2 * p));
    o[0] |= static_cast<uint16_t>(((kS | (neg << 9)) >> p) & outside);
    o[-2] |= static_cast<uint16_t>((kSE >> (2 * p)) & outside);
    o[2] |= static_cast<uint16_t>((kSW >> (2 * p)) & outside);
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

template <Select kSel>
inline uint64_t stripeMask(uint16_t* col, int rs, int n) {
    if (n == 16) return columnPairs<kSel>(col, rs, 16);  // unrolled
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

inline uint64_t candidateMask(const uint16_t* col, int rs, int n, uint64_t* insig) {
    if (n == 16) return candidatePairs(col, rs, 16, insig);  // unrolled
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

void cleanup(const Block& blk, mq::MqRegs& mq, const int32_t* zc, uint32_t one) {
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
        // a significant neighbour (known only when reached) is in run-length
        // mode.
        for (int x0 = 0; x0 < b.w; x0 += 16, col += 32) {
            uint64_t sel = stripeMask<Select::kUncoded>(col, b.rs, std::min(16, b.w - x0));
            // Row 0 bits of the columns with four samples to code.
            const uint64_t full = sel & (sel >> 1) & (sel >> 2) & (sel >> 3) & 0x1111111111111111ull;
            while (sel) {
                const int i = __builtin_ctzll(sel);
                const int x = x0 + (i >> 2);
                uint16_t* c = col + 2 * (i >> 2);
                int k = i & 3;
                if (((full >> i) & 1u) && !(columnFlags(b, c) & kNeighbours)) {
                    // Run-length mode: four quiet samples.
                    const uint64_t column = uint64_t(0xF) << i;
                    sel &= ~column;
                    if (!mq::decodeRegs(m, mq::kCtxRunLength)) continue;
                    k = static_cast<int>(mq::decodeRegsFlat(m, mq::kCtxUniform) << 1);
                    k |= static_cast<int>(mq::decodeRegsFlat(m, mq::kCtxUniform));
                    uint16_t* f = c + off[k];
                    const uint32_t neg = decodeSign(m, *f);
                    dr[k][x] |= one | (neg << 31);
                    setSignificant(b, f, k, neg);
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
                }
            }
        }
    }
    mq::copyRegsBack(m, &mq);
}

inline bool isRaw(int32_t cursor) { return cursor == kRawMagRef || cursor == kRawSigProp; }

}  // namespace

const ContextTables kContextTables = buildTables();

bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len) {
    Block b;
    b.rs = static_cast<int>(stateRowBytes(s->width) / 2);
    b.st = sampleState(s) + b.rs + 2;
    b.dst = reinterpret_cast<uint8_t*>(s->pDst);
    b.step = s->dstStep;
    b.w = s->width;
    b.h = s->height;
    b.causal = (s->flags & kVertCausal) != 0;
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

}  // namespace cb
}  // namespace ozr
