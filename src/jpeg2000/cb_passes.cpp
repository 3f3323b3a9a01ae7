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

// The four entries of a stripe column OR-ed together (read as 16-bit
// entries: the neighbour updates just stored are 16-bit, and wider loads
// would stall on them).
inline uint32_t columnFlags(const Block& b, const uint16_t* col) {
    return static_cast<uint32_t>(col[0] | col[1] | col[b.rs] | col[b.rs + 1]);
}

// Updates a word as its two 16-bit entries: entries are read 16 bits wide
// right after 16-bit stores, and a 32-bit access would stall on those.
inline void or32(uint16_t* p, uint32_t v) {
    p[0] |= static_cast<uint16_t>(v);
    p[1] |= static_cast<uint16_t>(v >> 16);
}

// Entry of stripe row k (0..3) in the column whose row 0 entry is col.
inline uint16_t* entry(const Block& b, uint16_t* col, int k) { return col + (k >> 1) * b.rs + (k & 1); }

// Marks sample (stripe row k) significant and tells its eight neighbours.
// The sample's own word and the words left and right of it (each holding
// the sample's row and the other row of the pair) take one 32-bit update
// each; the three neighbours in the adjacent word-row take 16-bit updates.
inline void setSignificant(const Block& b, uint16_t* f, int k, uint32_t neg) {
    const uint32_t sgnN = neg ? kNNeg : 0, sgnS = neg ? kSNeg : 0, sgnW = neg ? kWNeg : 0, sgnE = neg ? kENeg : 0;
    if (!(k & 1)) {
        // Even row: low half of its word; the row below is the high half.
        or32(f, kSig | ((kN | sgnN) << 16));
        or32(f - 2, (kE | sgnE) | (uint32_t(kNE) << 16));
        or32(f + 2, (kW | sgnW) | (uint32_t(kNW) << 16));
        if (!(b.causal && k == 0)) {
            uint16_t* u = f + 1 - b.rs;  // row above: high half of the word-row above
            u[0] |= static_cast<uint16_t>(kS | sgnS);
            u[-2] |= kSE;
            u[2] |= kSW;
        }
    } else {
        // Odd row: high half; the row above is the low half of the same word.
        uint16_t* w = f - 1;
        or32(w, (kSig << 16) | (kS | sgnS));
        or32(w - 2, ((kE | sgnE) << 16) | kSE);
        or32(w + 2, ((kW | sgnW) << 16) | kSW);
        uint16_t* d = w + b.rs;  // row below: low half of the word-row below
        d[0] |= static_cast<uint16_t>(kN | sgnN);
        d[-2] |= kNE;
        d[2] |= kNW;
    }
}

__attribute__((always_inline)) inline uint32_t decodeSign(mq::MqRegs& mq, uint16_t fl) {
    const uint32_t packed = kContextTables.SignCodingLUT[(fl & 0xF) | ((fl >> 4) & 0xF0)];
    return mq::decodeRegsFlat(mq, static_cast<int>(packed & 0xF)) ^ (packed >> 31);
}

// Per-sample steps of the three passes.  k is the row within the stripe
// (0..3); d points at the sample.
template <bool kRaw>
__attribute__((always_inline)) inline void spSample(const Block& b, mq::MqRegs& m, RawReader& rr,
                                                    const int32_t* zc, uint32_t one, uint16_t* f, int k,
                                                    uint32_t* d) {
    const uint16_t fl = *f;
    // A candidate is not significant and has a significant neighbour.
    if (static_cast<uint32_t>((fl & (kSig | kNeighbours)) - 1) >= kNeighbours) return;
    const uint32_t bit = kRaw ? rr.bit() : mq::decodeRegsFlat(m, zc[fl & kNeighbours]);
    if (bit) {
        const uint32_t neg = kRaw ? rr.bit() : decodeSign(m, fl);
        *d |= one | (neg << 31);
        setSignificant(b, f, k, neg);
    }
    *f |= kVisit;
}

template <bool kRaw>
__attribute__((always_inline)) inline void mrSample(mq::MqRegs& m, RawReader& rr, uint32_t one, uint16_t* f,
                                                    uint32_t* d) {
    const uint16_t fl = *f;
    if ((fl & (kSig | kVisit)) != kSig) return;
    const uint32_t bit =
        kRaw ? rr.bit()
             : mq::decodeRegsFlat(m, kContextTables.MagnRefineLUT[((fl & kRef) ? 256 : 0) | (fl & kNeighbours)]);
    *d |= one & (0u - bit);
    *f |= kRef;
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
        const int rows = std::min(4, b.h - y0);
        uint32_t* dr[4];
        for (int k = 0; k < rows; ++k) dr[k] = dstRow(b, y0 + k);
        uint16_t* col = b.st + (y0 >> 1) * b.rs;
        if (rows == 4) {
            for (int x = 0; x < b.w; ++x, col += 2) {
                if (columnFlags(b, col) == 0) continue;  // nothing significant around
                spSample<kRaw>(b, m, rr, zc, one, col, 0, dr[0] + x);
                spSample<kRaw>(b, m, rr, zc, one, col + 1, 1, dr[1] + x);
                spSample<kRaw>(b, m, rr, zc, one, col + b.rs, 2, dr[2] + x);
                spSample<kRaw>(b, m, rr, zc, one, col + b.rs + 1, 3, dr[3] + x);
            }
        } else {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) spSample<kRaw>(b, m, rr, zc, one, entry(b, col, k), k, dr[k] + x);
        }
    }
    mq = m;
}

template <bool kRaw>
void magRef(const Block& blk, mq::MqRegs& mq, RawReader& rr, uint32_t one) {
    const Block b = blk;
    mq::MqRegs m = mq;
    for (int y0 = 0; y0 < b.h; y0 += 4) {
        const int rows = std::min(4, b.h - y0);
        uint32_t* dr[4];
        for (int k = 0; k < rows; ++k) dr[k] = dstRow(b, y0 + k);
        uint16_t* col = b.st + (y0 >> 1) * b.rs;
        if (rows == 4) {
            for (int x = 0; x < b.w; ++x, col += 2) {
                if (!(columnFlags(b, col) & kSig)) continue;
                mrSample<kRaw>(m, rr, one, col, dr[0] + x);
                mrSample<kRaw>(m, rr, one, col + 1, dr[1] + x);
                mrSample<kRaw>(m, rr, one, col + b.rs, dr[2] + x);
                mrSample<kRaw>(m, rr, one, col + b.rs + 1, dr[3] + x);
            }
        } else {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) mrSample<kRaw>(m, rr, one, entry(b, col, k), dr[k] + x);
        }
    }
    mq = m;
}

void cleanup(const Block& blk, mq::MqRegs& mq, const int32_t* zc, uint32_t one) {
    const Block b = blk;
    mq::MqRegs m = mq;
    for (int y0 = 0; y0 < b.h; y0 += 4) {
        const int rows = std::min(4, b.h - y0);
        uint32_t* dr[4];
        for (int k = 0; k < rows; ++k) dr[k] = dstRow(b, y0 + k);
        uint16_t* col = b.st + (y0 >> 1) * b.rs;
        if (rows < 4) {
            for (int x = 0; x < b.w; ++x, col += 2)
                for (int k = 0; k < rows; ++k) cuSample(b, m, zc, one, entry(b, col, k), k, dr[k] + x);
            continue;
        }
        for (int x = 0; x < b.w; ++x, col += 2) {
            int k = 0;
            if (!(columnFlags(b, col) & (kNeighbours | kSig | kVisit))) {
                // Run-length mode: four quiet samples.
                if (!mq::decodeRegs(m, mq::kCtxRunLength)) continue;
                k = static_cast<int>(mq::decodeRegs(m, mq::kCtxUniform) << 1);
                k |= static_cast<int>(mq::decodeRegs(m, mq::kCtxUniform));
                uint16_t* f = entry(b, col, k);
                const uint32_t neg = decodeSign(m, *f);
                dr[k][x] |= one | (neg << 31);
                setSignificant(b, f, k, neg);
                ++k;
            }
            switch (k) {
            case 0: cuSample(b, m, zc, one, col, 0, dr[0] + x); [[fallthrough]];
            case 1: cuSample(b, m, zc, one, col + 1, 1, dr[1] + x); [[fallthrough]];
            case 2: cuSample(b, m, zc, one, col + b.rs, 2, dr[2] + x); [[fallthrough]];
            case 3: cuSample(b, m, zc, one, col + b.rs + 1, 3, dr[3] + x); break;
            default: break;
            }
        }
    }
    mq = m;
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
