// Reference code-block coder for the tests, the fuzz seeds and the
// benchmark: codes a block of sign-magnitude samples the way T.800 Annex D
// describes, computing every context from the neighbours directly (no
// incremental state), over the internal MQ encoder and a raw bit writer.
#ifndef OZRJ_TEST_JPEG2000_CB_REF_H
#define OZRJ_TEST_JPEG2000_CB_REF_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "jpeg2000/cb.h"
#include "jpeg2000/mq.h"

namespace cbref {

using ozr::mq::MqEncoder;

// Codes a block of sign-magnitude samples the way T.800 Annex D describes,
// computing every context from the neighbours directly.  It records the
// codeword segments and, after every pass, what a decoder knows of each
// sample.
struct Coded {
    std::vector<std::vector<uint8_t>> segments;
    std::vector<int> segmentPasses;
    std::vector<std::vector<uint32_t>> known;  // after pass k (index k-1)
    int magnBits = 0;
    int passes = 0;
};

class RefCoder {
public:
    RefCoder(const std::vector<uint32_t>& v, int w, int h, int subband, uint32_t flags, bool shortest)
        : v_(v), w_(w), h_(h), band_(subband), flags_(flags), sig_(w * h, 0), vis_(w * h, 0), ref_(w * h, 0),
          known_(w * h, 0) {
        uint32_t maxMag = 0;
        for (uint32_t s : v) maxMag = std::max(maxMag, s & 0x7FFFFFFFu);
        while ((1u << out_.magnBits) <= maxMag && out_.magnBits < 31) ++out_.magnBits;
        ozr::mq::encBufReset(&mq_, (flags & ozr::cb::kPredTerm) ? ozr::mq::kTermPredictable
                                   : shortest                    ? ozr::mq::kTermShortest
                                                                 : ozr::mq::kTermFullFlush);
    }

    Coded run() {
        const int mb = out_.magnBits;
        const int thr = ((flags_ & ozr::cb::kBypass) && mb >= 4) ? mb - 4 : 0;
        int segPasses = 0;
        for (int bp = mb - 1; bp >= 0; --bp) {
            for (int kind = (bp == mb - 1 ? 2 : 0); kind < 3; ++kind) {
                const bool raw = kind < 2 && bp < thr;
                if (kind == 0) sigProp(bp, raw);
                if (kind == 1) magRef(bp, raw);
                if (kind == 2) cleanup(bp);
                ++segPasses;
                ++out_.passes;
                out_.known.push_back(known_);
                if (kind == 2 || !raw)
                    if (flags_ & ozr::cb::kResetCtx) ozr::mq::mqEncoderResetCtx(&mq_);
                // Termination points: every pass, or where raw and arithmetic
                // coding alternate, and at the end.
                const bool nextRaw = kind == 2 ? (bp - 1 < thr) : (kind == 0 ? raw : false);
                const bool last = bp == 0 && kind == 2;
                if ((flags_ & ozr::cb::kTermAll) || nextRaw != raw || last) {
                    endSegment(raw);
                    out_.segmentPasses.push_back(segPasses);
                    segPasses = 0;
                }
            }
        }
        return out_;
    }

private:
    bool sigAt(int x, int y, int fromY) const {
        if (x < 0 || y < 0 || x >= w_ || y >= h_) return false;
        // Vertically causal: the last row of a stripe does not see the stripe below.
        if ((flags_ & ozr::cb::kVertCausal) && (fromY % 4) == 3 && y == fromY + 1) return false;
        return sig_[y * w_ + x] != 0;
    }
    bool negAt(int x, int y) const { return (v_[y * w_ + x] >> 31) != 0; }

    int zcContext(int x, int y) const {
        const int h = sigAt(x - 1, y, y) + sigAt(x + 1, y, y);
        const int v = sigAt(x, y - 1, y) + sigAt(x, y + 1, y);
        const int d = sigAt(x - 1, y - 1, y) + sigAt(x + 1, y - 1, y) + sigAt(x - 1, y + 1, y) +
                      sigAt(x + 1, y + 1, y);
        int label;
        if (band_ == 3) {
            const int hv = h + v;
            label = d >= 3 ? 8 : d == 2 ? (hv >= 1 ? 7 : 6) : d == 1 ? (hv >= 2 ? 5 : hv == 1 ? 4 : 3)
                                                                       : (hv >= 2 ? 2 : hv);
        } else {
            const int a = band_ == 2 ? v : h, b = band_ == 2 ? h : v;
            label = a == 2 ? 8 : a == 1 ? (b >= 1 ? 7 : d >= 1 ? 6 : 5) : b == 2 ? 4 : b == 1 ? 3 : d >= 2 ? 2 : d;
        }
        return 2 + label;
    }

    // Context and prediction of the sign of (x, y).
    void signContext(int x, int y, int* cx, uint32_t* xorBit) const {
        auto c = [&](int xx, int yy) { return sigAt(xx, yy, y) ? (negAt(xx, yy) ? -1 : 1) : 0; };
        auto clamp = [](int t) { return t > 1 ? 1 : t < -1 ? -1 : t; };
        const int hc = clamp(c(x - 1, y) + c(x + 1, y)), vc = clamp(c(x, y - 1) + c(x, y + 1));
        static const int kLabel[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}};
        const int label = kLabel[1 - hc][1 - vc];
        *cx = label + 2;
        *xorBit = (hc < 0 || (hc == 0 && vc < 0)) ? 1u : 0u;
    }

    bool anySigNeighbour(int x, int y) const {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if ((dx || dy) && sigAt(x + dx, y + dy, y)) return true;
        return false;
    }

    void code(uint32_t d, int cx, bool raw) {
        if (raw)
            rawBit(d);
        else
            ozr::mq::mqEncoderEncode(&mq_, d, cx);
    }
    void rawBit(uint32_t d) {
        rawByte_ = (rawByte_ << 1) | d;
        if (++rawCount_ == rawBits_) {
            raw_.push_back(static_cast<uint8_t>(rawByte_));
            rawBits_ = rawByte_ == 0xFF ? 7 : 8;
            rawByte_ = 0;
            rawCount_ = 0;
        }
    }
    void endSegment(bool raw) {
        if (raw) {
            if (rawCount_) {
                // Pad with alternating bits, as predictable termination asks.
                uint32_t pad = 0;
                while (rawCount_) rawBit(pad ^= 1);
            }
            out_.segments.push_back(raw_);
            raw_.clear();
            rawBits_ = 8;
        } else {
            out_.segments.push_back(ozr::mq::mqEncoderFinish(&mq_));
        }
    }

    void becomeSignificant(int x, int y, int bp, bool raw) {
        const int i = y * w_ + x;
        const uint32_t neg = v_[i] >> 31;
        if (raw) {
            rawBit(neg);
        } else {
            int cx;
            uint32_t xb;
            signContext(x, y, &cx, &xb);
            ozr::mq::mqEncoderEncode(&mq_, neg ^ xb, cx);
        }
        sig_[i] = 1;
        known_[i] |= (1u << bp) | (neg << 31);
    }

    uint32_t bitOf(int i, int bp) const { return (v_[i] >> bp) & 1u; }

    void sigProp(int bp, bool raw) {
        for (int y0 = 0; y0 < h_; y0 += 4)
            for (int x = 0; x < w_; ++x)
                for (int y = y0; y < std::min(y0 + 4, h_); ++y) {
                    const int i = y * w_ + x;
                    if (sig_[i] || !anySigNeighbour(x, y)) continue;
                    const uint32_t b = bitOf(i, bp);
                    code(b, zcContext(x, y), raw);
                    if (b) becomeSignificant(x, y, bp, raw);
                    vis_[i] = 1;
                }
    }

    void magRef(int bp, bool raw) {
        for (int y0 = 0; y0 < h_; y0 += 4)
            for (int x = 0; x < w_; ++x)
                for (int y = y0; y < std::min(y0 + 4, h_); ++y) {
                    const int i = y * w_ + x;
                    if (!sig_[i] || vis_[i]) continue;
                    const int cx = ref_[i] ? 18 : anySigNeighbour(x, y) ? 17 : 16;
                    const uint32_t b = bitOf(i, bp);
                    code(b, cx, raw);
                    known_[i] |= b << bp;
                    ref_[i] = 1;
                }
    }

    void cleanup(int bp) {
        for (int y0 = 0; y0 < h_; y0 += 4)
            for (int x = 0; x < w_; ++x) {
                int y = y0;
                if (y0 + 4 <= h_) {
                    bool quiet = true;
                    for (int k = 0; k < 4; ++k) {
                        const int i = (y0 + k) * w_ + x;
                        quiet = quiet && !sig_[i] && !vis_[i] && !anySigNeighbour(x, y0 + k);
                    }
                    if (quiet) {
                        int r = 0;
                        while (r < 4 && !bitOf((y0 + r) * w_ + x, bp)) ++r;
                        ozr::mq::mqEncoderEncode(&mq_, r < 4, 1);
                        if (r == 4) continue;
                        ozr::mq::mqEncoderEncode(&mq_, r >> 1, 0);
                        ozr::mq::mqEncoderEncode(&mq_, r & 1, 0);
                        becomeSignificant(x, y0 + r, bp, false);
                        y = y0 + r + 1;
                    }
                }
                for (; y < std::min(y0 + 4, h_); ++y) {
                    const int i = y * w_ + x;
                    if (!sig_[i] && !vis_[i]) {
                        const uint32_t b = bitOf(i, bp);
                        ozr::mq::mqEncoderEncode(&mq_, b, zcContext(x, y));
                        if (b) becomeSignificant(x, y, bp, false);
                    }
                    vis_[i] = 0;
                }
            }
        if (flags_ & ozr::cb::kSegSymbols)
            for (uint32_t b : {1u, 0u, 1u, 0u}) ozr::mq::mqEncoderEncode(&mq_, b, 0);
    }

    const std::vector<uint32_t>& v_;
    int w_, h_, band_;
    uint32_t flags_;
    std::vector<uint8_t> sig_, vis_, ref_;
    std::vector<uint32_t> known_;
    MqEncoder mq_;
    std::vector<uint8_t> raw_;
    uint32_t rawByte_ = 0;
    int rawCount_ = 0, rawBits_ = 8;
    Coded out_;
};

struct BitWriter {
    std::vector<uint8_t> out;
    uint32_t cur = 0;
    int n = 0, cap = 8;
    void bit(uint32_t b) {
        cur = (cur << 1) | (b & 1);
        if (++n == cap) {
            out.push_back(static_cast<uint8_t>(cur));
            cap = cur == 0xFF ? 7 : 8;
            cur = 0;
            n = 0;
        }
    }
    void bits(uint32_t v, int k) {
        for (int i = k - 1; i >= 0; --i) bit(v >> i);
    }
    void flush() {
        while (n) bit(0);
        if (!out.empty() && out.back() == 0xFF) out.push_back(0);
    }
};

inline int floorLog2(int v) {
    int l = 0;
    while (v > 1) v >>= 1, ++l;
    return l;
}
inline int bitsFor(int v) {
    int b = 0;
    while ((1 << b) <= v) ++b;
    return b;
}

inline void put16(std::vector<uint8_t>& o, uint32_t v) {
    o.push_back(static_cast<uint8_t>(v >> 8));
    o.push_back(static_cast<uint8_t>(v));
}
inline void put32(std::vector<uint8_t>& o, uint32_t v) {
    put16(o, v >> 16);
    put16(o, v & 0xFFFF);
}

inline int styleBits(uint32_t flags) {
    int s = 0;
    if (flags & ozr::cb::kBypass) s |= 0x01;
    if (flags & ozr::cb::kResetCtx) s |= 0x02;
    if (flags & ozr::cb::kTermAll) s |= 0x04;
    if (flags & ozr::cb::kVertCausal) s |= 0x08;
    if (flags & ozr::cb::kPredTerm) s |= 0x10;
    if (flags & ozr::cb::kSegSymbols) s |= 0x20;
    return s;
}

// A one-tile, one-component, 8-bit codestream without decomposition whose
// only code-block is c (its samples are the block's values + 128), with the
// image origin at (x0, y0).  The code-block grid is anchored at 0 on the
// reference grid, so x0 + w and y0 + h must not exceed 64.
inline std::vector<uint8_t> writeCodestream(const Coded& c, int w, int h, uint32_t flags, int x0, int y0) {
    const int guard = 2, eps = 8, mb = guard + eps - 1;
    BitWriter bw;
    bw.bit(1);  // non-empty packet
    bw.bit(1);  // included in layer 0
    for (int i = 0; i < mb - c.magnBits; ++i) bw.bit(0);
    bw.bit(1);  // zero bit planes
    const int n = c.passes;
    if (n == 1)
        bw.bit(0);
    else if (n == 2)
        bw.bits(2, 2);
    else if (n <= 5)
        bw.bits(0xC | (n - 3), 4);
    else if (n <= 36)
        bw.bits((0xF << 5) | (n - 6), 9);
    else
        bw.bits((0x1FF << 7) | (n - 37), 16);
    int lblock = 3;
    for (size_t s = 0; s < c.segments.size(); ++s)
        lblock = std::max(lblock, bitsFor(static_cast<int>(c.segments[s].size())) - floorLog2(c.segmentPasses[s]));
    for (int i = 3; i < lblock; ++i) bw.bit(1);
    bw.bit(0);
    for (size_t s = 0; s < c.segments.size(); ++s)
        bw.bits(static_cast<uint32_t>(c.segments[s].size()), lblock + floorLog2(c.segmentPasses[s]));
    bw.flush();
    std::vector<uint8_t> tile = bw.out;
    for (const auto& seg : c.segments) tile.insert(tile.end(), seg.begin(), seg.end());

    std::vector<uint8_t> cs;
    put16(cs, 0xFF4F);
    put16(cs, 0xFF51);
    put16(cs, 41);
    put16(cs, 0);
    put32(cs, w + x0), put32(cs, h + y0), put32(cs, x0), put32(cs, y0);
    put32(cs, w + x0), put32(cs, h + y0), put32(cs, 0), put32(cs, 0);
    put16(cs, 1);
    cs.push_back(7), cs.push_back(1), cs.push_back(1);
    put16(cs, 0xFF52);
    put16(cs, 12);
    cs.push_back(0), cs.push_back(0);
    put16(cs, 1);
    cs.push_back(0);
    cs.push_back(0), cs.push_back(6 - 2), cs.push_back(6 - 2);
    cs.push_back(static_cast<uint8_t>(styleBits(flags))), cs.push_back(1);
    put16(cs, 0xFF5C);
    put16(cs, 4);
    cs.push_back(static_cast<uint8_t>(guard << 5));
    cs.push_back(static_cast<uint8_t>(eps << 3));
    put16(cs, 0xFF90);
    put16(cs, 10);
    put16(cs, 0);
    put32(cs, static_cast<uint32_t>(12 + 2 + tile.size()));
    cs.push_back(0), cs.push_back(1);
    put16(cs, 0xFF93);
    cs.insert(cs.end(), tile.begin(), tile.end());
    put16(cs, 0xFFD9);
    return cs;
}

}  // namespace cbref

#endif
