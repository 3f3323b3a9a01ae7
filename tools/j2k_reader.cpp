// JPEG2000 codestream reader over the library's public API (see j2k_reader.h).
#include "j2k_reader.h"

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <tuple>

#include <emmintrin.h>
#include <sys/mman.h>

#include "ozrj.h"

namespace {

// ------------------------------------------------------------------ errors
struct Failure {
    std::string what;
};
[[noreturn]] void fail(const std::string& what) { throw Failure{what}; }

int ceilDiv(int64_t a, int64_t b) { return static_cast<int>((a + b - 1) / b); }
int ceilDivPow2(int64_t a, int e) { return static_cast<int>((a + (int64_t(1) << e) - 1) >> e); }
int floorLog2(int v) {
    int l = 0;
    while (v > 1) {
        v >>= 1;
        ++l;
    }
    return l;
}

// ------------------------------------------------------------ byte reader
struct Bytes {
    const uint8_t* p;
    size_t n;
    size_t pos = 0;
    Bytes(const uint8_t* data, size_t size) : p(data), n(size) {}
    void need(size_t k) const {
        if (k > n - std::min(pos, n) || pos > n) fail("truncated codestream");
    }
    uint32_t u8() {
        need(1);
        return p[pos++];
    }
    uint32_t u16() {
        need(2);
        const uint32_t v = (uint32_t(p[pos]) << 8) | p[pos + 1];
        pos += 2;
        return v;
    }
    uint32_t u32() {
        const uint32_t hi = u16();
        return (hi << 16) | u16();
    }
};

// ---------------------------------------------------------- coding styles
struct CodingStyle {
    int levels = 0;
    int xcb = 6, ycb = 6;  // code-block size exponents
    int cbStyle = 0;
    int transform = 1;
    int ppx[33], ppy[33];
    CodingStyle() {
        for (int i = 0; i < 33; ++i) ppx[i] = ppy[i] = 15;
    }
};

struct Quant {
    int style = 0;
    int guard = 2;
    std::vector<int> eps;  // exponent per band (LL, then HL LH HH per level)
};

struct CompParams {
    int precision = 8;
    bool isSigned = false;
    int dx = 1, dy = 1;
    CodingStyle cs;
    Quant q;
};

struct TileParams {
    int progression = 0;
    int layers = 1;
    int mct = 0;
    bool sop = false, eph = false;
    std::vector<CompParams> comps;
};

struct ImageHeader {
    int64_t x1, y1, x0, y0, tw, th, tx0, ty0;
    int ncomp = 0;
    int tilesX = 0, tilesY = 0;
};

// The body (after the marker and its length) of one marker segment.
struct Segment {
    uint32_t marker;
    const uint8_t* p;
    size_t n;
};

void readSpcod(Bytes& b, CodingStyle* cs, bool precincts) {
    cs->levels = static_cast<int>(b.u8());
    if (cs->levels > 32) fail("more than 32 decomposition levels");
    cs->xcb = static_cast<int>(b.u8()) + 2;
    cs->ycb = static_cast<int>(b.u8()) + 2;
    if (cs->xcb > 10 || cs->ycb > 10 || cs->xcb + cs->ycb > 12) fail("bad code-block size");
    cs->cbStyle = static_cast<int>(b.u8());
    if (cs->cbStyle & 0xC0) fail("unsupported code-block style (high-throughput or unknown bits)");
    cs->transform = static_cast<int>(b.u8());
    if (cs->transform != 1) fail("only the reversible 5/3 wavelet is supported");
    for (int r = 0; r <= cs->levels; ++r) {
        if (precincts) {
            const uint32_t v = b.u8();
            cs->ppx[r] = static_cast<int>(v & 0xF);
            cs->ppy[r] = static_cast<int>(v >> 4);
            if (r > 0 && (cs->ppx[r] == 0 || cs->ppy[r] == 0)) fail("bad precinct size");
        } else {
            cs->ppx[r] = cs->ppy[r] = 15;
        }
    }
}

void readQuant(Bytes& b, Quant* q) {
    const uint32_t s = b.u8();
    q->style = static_cast<int>(s & 0x1F);
    q->guard = static_cast<int>(s >> 5);
    q->eps.clear();
    if (q->style == 0) {
        while (b.pos < b.n) q->eps.push_back(static_cast<int>(b.u8() >> 3));
    } else if (q->style == 1 || q->style == 2) {
        while (b.pos + 1 < b.n) q->eps.push_back(static_cast<int>(b.u16() >> 11));
    } else {
        fail("bad quantization style");
    }
    if (q->eps.empty()) fail("empty quantization marker");
}

int componentIndex(Bytes& b, int ncomp) {
    const int c = static_cast<int>(ncomp < 257 ? b.u8() : b.u16());
    if (c >= ncomp) fail("component index out of range");
    return c;
}

// Applies COD, COC, QCD, QCC segments in their order of precedence.
void applyCoding(const std::vector<Segment>& segs, TileParams* tp) {
    const int nc = static_cast<int>(tp->comps.size());
    for (const auto& s : segs) {
        if (s.marker != 0xFF52) continue;
        Bytes b(s.p, s.n);
        const uint32_t scod = b.u8();
        tp->progression = static_cast<int>(b.u8());
        if (tp->progression > 4) fail("bad progression order");
        tp->layers = static_cast<int>(b.u16());
        if (tp->layers < 1) fail("no quality layers");
        tp->mct = static_cast<int>(b.u8());
        tp->sop = scod & 2;
        tp->eph = scod & 4;
        CodingStyle cs;
        readSpcod(b, &cs, scod & 1);
        for (auto& c : tp->comps) c.cs = cs;
    }
    for (const auto& s : segs) {
        if (s.marker != 0xFF53) continue;
        Bytes b(s.p, s.n);
        const int c = componentIndex(b, nc);
        const uint32_t scoc = b.u8();
        readSpcod(b, &tp->comps[c].cs, scoc & 1);
    }
    for (const auto& s : segs) {
        if (s.marker != 0xFF5C) continue;
        Bytes b(s.p, s.n);
        Quant q;
        readQuant(b, &q);
        for (auto& c : tp->comps) c.q = q;
    }
    for (const auto& s : segs) {
        if (s.marker != 0xFF5D) continue;
        Bytes b(s.p, s.n);
        const int c = componentIndex(b, nc);
        readQuant(b, &tp->comps[c].q);
    }
}

// ------------------------------------------------------ packet header bits
struct BitReader {
    const uint8_t* p;
    size_t n;
    size_t pos;
    uint32_t buf = 0;
    int ct = 0;
    BitReader(const uint8_t* data, size_t size, size_t start) : p(data), n(size), pos(start) {}
    void byteIn() {
        buf = (buf << 8) & 0xFFFF;
        ct = buf == 0xFF00 ? 7 : 8;
        if (pos >= n) fail("packet header runs past the tile data");
        buf |= p[pos++];
    }
    uint32_t bit() {
        if (ct == 0) byteIn();
        --ct;
        return (buf >> ct) & 1u;
    }
    uint32_t bits(int k) {
        uint32_t v = 0;
        for (int i = 0; i < k; ++i) v = (v << 1) | bit();
        return v;
    }
    // Ends the header: a stuffed byte after a final 0xFF is consumed.
    void align() {
        if ((buf & 0xFF) == 0xFF) byteIn();
        ct = 0;
    }
};

// ---------------------------------------------------------------- tag tree
class TagTree {
public:
    void init(int w, int h) {
        nodes_.clear();
        levels_.clear();
        int lw = w, lh = h;
        for (;;) {
            levels_.push_back({static_cast<int>(nodes_.size()), lw, lh});
            nodes_.resize(nodes_.size() + static_cast<size_t>(lw) * lh);
            if (lw <= 1 && lh <= 1) break;
            lw = (lw + 1) >> 1;
            lh = (lh + 1) >> 1;
        }
    }
    // Reads bits until the leaf's value is known to be below threshold or
    // not; true when it is below.
    bool decode(BitReader& br, int x, int y, int threshold) {
        int path[40];
        int depth = 0;
        for (size_t l = 0; l < levels_.size(); ++l) {
            const Level& lv = levels_[l];
            path[depth++] = lv.offset + (y >> l) * lv.w + (x >> l);
        }
        int low = 0;
        for (int i = depth - 1; i >= 0; --i) {
            Node& nd = nodes_[path[i]];
            if (low > nd.low)
                nd.low = low;
            else
                low = nd.low;
            while (low < threshold && low < nd.value) {
                if (br.bit())
                    nd.value = low;
                else
                    ++low;
            }
            nd.low = low;
        }
        return nodes_[path[0]].value < threshold;
    }
    int value(int x, int y) const { return nodes_[levels_[0].offset + y * levels_[0].w + x].value; }

private:
    struct Node {
        int value = 1 << 30;
        int low = 0;
    };
    struct Level {
        int offset, w, h;
    };
    std::vector<Node> nodes_;
    std::vector<Level> levels_;
};

// ------------------------------------------------------------ tile layout
struct CodeBlock {
    int x0, y0, x1, y1;  // band coordinates
    bool included = false;
    int zeroPlanes = 0;
    int lblock = 3;
    int passes = 0;
    std::vector<int> segLen;     // bytes per codeword segment
    std::vector<int> segPasses;  // passes per codeword segment
    std::vector<uint8_t> data;
};

struct Band {
    int type = 0;  // 0 LL, 1 HL, 2 LH, 3 HH
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    int magnitudeBits = 0;  // Mb
    int cbw = 0, cbh = 0;   // code-block size exponents in this band
    int gx0 = 0, gy0 = 0, gw = 0, gh = 0;  // code-block grid
    std::vector<CodeBlock> blocks;
};

struct PrecinctBand {
    int cx0 = 0, cy0 = 0, cw = 0, ch = 0;  // code-block grid range (absolute grid indices)
    TagTree inclusion, zeroPlanes;
};

struct Precinct {
    std::vector<PrecinctBand> bands;
    int64_t refX = 0, refY = 0;  // position on the reference grid (progression)
};

struct Resolution {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    int ppx = 15, ppy = 15;
    int npx = 0, npy = 0;
    std::vector<Band> bands;
    std::vector<Precinct> precincts;
};

struct TileComp {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    std::vector<Resolution> res;
};

int bandIndex(int r, int type) { return r == 0 ? 0 : 1 + 3 * (r - 1) + (type - 1); }

// The library's mode flags for a code-block style byte of the codestream.
int modeFlags(int cbStyle) {
    int f = 0;
    if (cbStyle & 0x01) f |= OZR_J2K_CB_BYPASS;
    if (cbStyle & 0x02) f |= OZR_J2K_CB_RESET_CTX;
    if (cbStyle & 0x04) f |= OZR_J2K_CB_TERM_EACH_PASS;
    if (cbStyle & 0x08) f |= OZR_J2K_CB_VERTICALLY_CAUSAL;
    if (cbStyle & 0x10) f |= OZR_J2K_CB_PREDICTABLE_TERM;
    if (cbStyle & 0x20) f |= OZR_J2K_CB_SEGMENT_SYMBOLS;
    return f;
}

// Passes the codeword segment with index segIndex can hold.
int segmentCapacity(int cbStyle, int segIndex) {
    if (cbStyle & 0x04) return 1;
    if (cbStyle & 0x01) return segIndex == 0 ? 10 : ((segIndex - 1) % 2 == 0 ? 2 : 1);
    return 1 << 30;
}

// Reference-grid position (g << shift) * sub-sampling, saturated: only the
// order of positions matters.
int64_t gridPosition(int64_t g, int shift, int sub) {
    const __int128 v = (static_cast<__int128>(g) << shift) * sub;
    return v > INT64_MAX ? INT64_MAX : static_cast<int64_t>(v);
}

void buildTileComp(const CompParams& cp, int64_t tx0, int64_t ty0, int64_t tx1, int64_t ty1, int64_t tileX0,
                   int64_t tileY0, TileComp* tc) {
    tc->x0 = ceilDiv(tx0, cp.dx);
    tc->y0 = ceilDiv(ty0, cp.dy);
    tc->x1 = ceilDiv(tx1, cp.dx);
    tc->y1 = ceilDiv(ty1, cp.dy);
    const int nl = cp.cs.levels;
    tc->res.resize(nl + 1);
    for (int r = 0; r <= nl; ++r) {
        Resolution& R = tc->res[r];
        const int e = nl - r;
        R.x0 = ceilDivPow2(tc->x0, e);
        R.y0 = ceilDivPow2(tc->y0, e);
        R.x1 = ceilDivPow2(tc->x1, e);
        R.y1 = ceilDivPow2(tc->y1, e);
        R.ppx = cp.cs.ppx[r];
        R.ppy = cp.cs.ppy[r];
        R.npx = R.x1 > R.x0 ? ceilDivPow2(R.x1, R.ppx) - (R.x0 >> R.ppx) : 0;
        R.npy = R.y1 > R.y0 ? ceilDivPow2(R.y1, R.ppy) - (R.y0 >> R.ppy) : 0;
        if (int64_t(R.npx) * R.npy > (int64_t(1) << 20)) fail("too many precincts");
        const int nb = r == 0 ? 1 : 3;
        R.bands.resize(nb);
        const int cbw = r == 0 ? std::min(cp.cs.xcb, R.ppx) : std::min(cp.cs.xcb, R.ppx - 1);
        const int cbh = r == 0 ? std::min(cp.cs.ycb, R.ppy) : std::min(cp.cs.ycb, R.ppy - 1);
        for (int b = 0; b < nb; ++b) {
            Band& B = R.bands[b];
            B.type = r == 0 ? 0 : b + 1;
            if (r == 0) {
                B.x0 = R.x0, B.y0 = R.y0, B.x1 = R.x1, B.y1 = R.y1;
            } else {
                const int lev = nl - r + 1;
                const int64_t xo = (B.type == 1 || B.type == 3) ? int64_t(1) << (lev - 1) : 0;
                const int64_t yo = (B.type == 2 || B.type == 3) ? int64_t(1) << (lev - 1) : 0;
                B.x0 = ceilDivPow2(tc->x0 - xo, lev);
                B.y0 = ceilDivPow2(tc->y0 - yo, lev);
                B.x1 = ceilDivPow2(tc->x1 - xo, lev);
                B.y1 = ceilDivPow2(tc->y1 - yo, lev);
            }
            const int idx = bandIndex(r, B.type);
            int eps;
            if (cp.q.style == 1) {
                // Derived quantization: exponents fall by one per level.
                eps = cp.q.eps[0] - (r == 0 ? 0 : r - 1);
            } else {
                if (idx >= static_cast<int>(cp.q.eps.size())) fail("quantization marker too short");
                eps = cp.q.eps[idx];
            }
            B.magnitudeBits = cp.q.guard + eps - 1;
            B.cbw = cbw;
            B.cbh = cbh;
            if (B.x1 > B.x0 && B.y1 > B.y0) {
                B.gx0 = B.x0 >> cbw;
                B.gy0 = B.y0 >> cbh;
                B.gw = ceilDivPow2(B.x1, cbw) - B.gx0;
                B.gh = ceilDivPow2(B.y1, cbh) - B.gy0;
                if (int64_t(B.gw) * B.gh > (int64_t(1) << 22)) fail("too many code-blocks");
            }
            B.blocks.resize(static_cast<size_t>(B.gw) * B.gh);
            for (int j = 0; j < B.gh; ++j)
                for (int i = 0; i < B.gw; ++i) {
                    CodeBlock& cb = B.blocks[static_cast<size_t>(j) * B.gw + i];
                    cb.x0 = static_cast<int>(std::max<int64_t>(B.x0, int64_t(B.gx0 + i) << cbw));
                    cb.y0 = static_cast<int>(std::max<int64_t>(B.y0, int64_t(B.gy0 + j) << cbh));
                    cb.x1 = static_cast<int>(std::min<int64_t>(B.x1, int64_t(B.gx0 + i + 1) << cbw));
                    cb.y1 = static_cast<int>(std::min<int64_t>(B.y1, int64_t(B.gy0 + j + 1) << cbh));
                }
        }
        // Precincts and the code-blocks each one holds in each band.
        R.precincts.resize(static_cast<size_t>(R.npx) * R.npy);
        const int pxs = r == 0 ? R.ppx : R.ppx - 1;  // precinct size exponent in band coordinates
        const int pys = r == 0 ? R.ppy : R.ppy - 1;
        for (int j = 0; j < R.npy; ++j)
            for (int i = 0; i < R.npx; ++i) {
                Precinct& P = R.precincts[static_cast<size_t>(j) * R.npx + i];
                const int64_t gx = (R.x0 >> R.ppx) + i, gy = (R.y0 >> R.ppy) + j;
                P.refX = (gx << R.ppx) <= R.x0 ? tileX0 : gridPosition(gx, R.ppx + nl - r, cp.dx);
                P.refY = (gy << R.ppy) <= R.y0 ? tileY0 : gridPosition(gy, R.ppy + nl - r, cp.dy);
                P.bands.resize(nb);
                for (int b = 0; b < nb; ++b) {
                    const Band& B = R.bands[b];
                    PrecinctBand& pb = P.bands[b];
                    const int64_t px0 = std::max<int64_t>(B.x0, gx << pxs), px1 = std::min<int64_t>(B.x1, (gx + 1) << pxs);
                    const int64_t py0 = std::max<int64_t>(B.y0, gy << pys), py1 = std::min<int64_t>(B.y1, (gy + 1) << pys);
                    if (px1 > px0 && py1 > py0 && B.gw > 0) {
                        pb.cx0 = static_cast<int>(px0 >> cbw);
                        pb.cy0 = static_cast<int>(py0 >> cbh);
                        pb.cw = ceilDivPow2(px1, cbw) - pb.cx0;
                        pb.ch = ceilDivPow2(py1, cbh) - pb.cy0;
                        pb.inclusion.init(pb.cw, pb.ch);
                        pb.zeroPlanes.init(pb.cw, pb.ch);
                    }
                }
            }
    }
}

// ------------------------------------------------------------ packet reading
void readPacket(const uint8_t* data, size_t size, size_t* pos, const TileParams& tp, int layer,
                const CodingStyle& cs, Resolution& R, Precinct& P) {
    size_t p = *pos;
    if (tp.sop && p + 6 <= size && data[p] == 0xFF && data[p + 1] == 0x91) p += 6;
    BitReader br(data, size, p);
    struct Contribution {
        CodeBlock* cb;
        std::vector<int> lengths;
    };
    std::vector<Contribution> contrib;
    if (br.bit()) {
        for (size_t b = 0; b < P.bands.size(); ++b) {
            PrecinctBand& pb = P.bands[b];
            Band& B = R.bands[b];
            for (int j = 0; j < pb.ch; ++j)
                for (int i = 0; i < pb.cw; ++i) {
                    CodeBlock& cb =
                        B.blocks[static_cast<size_t>(pb.cy0 + j - B.gy0) * B.gw + (pb.cx0 + i - B.gx0)];
                    bool inc;
                    if (!cb.included)
                        inc = pb.inclusion.decode(br, i, j, layer + 1);
                    else
                        inc = br.bit() != 0;
                    if (!inc) continue;
                    if (!cb.included) {
                        int t = 0;
                        while (!pb.zeroPlanes.decode(br, i, j, t + 1)) {
                            if (++t > 74) fail("bad zero bit-plane count");
                        }
                        cb.zeroPlanes = pb.zeroPlanes.value(i, j);
                        cb.included = true;
                    }
                    // Number of new coding passes.
                    int n;
                    if (!br.bit())
                        n = 1;
                    else if (!br.bit())
                        n = 2;
                    else {
                        const int v = static_cast<int>(br.bits(2));
                        if (v < 3)
                            n = 3 + v;
                        else {
                            const int w = static_cast<int>(br.bits(5));
                            n = w < 31 ? 6 + w : 37 + static_cast<int>(br.bits(7));
                        }
                    }
                    while (br.bit()) {
                        if (++cb.lblock > 32) fail("bad code-block length indicator");
                    }
                    Contribution c{&cb, {}};
                    int left = n;
                    while (left > 0) {
                        const int seg = static_cast<int>(cb.segPasses.size());
                        int room;
                        if (seg > 0 && cb.segPasses.back() < segmentCapacity(cs.cbStyle, seg - 1))
                            room = segmentCapacity(cs.cbStyle, seg - 1) - cb.segPasses.back();
                        else {
                            cb.segPasses.push_back(0);
                            cb.segLen.push_back(0);
                            room = segmentCapacity(cs.cbStyle, seg);
                        }
                        const int take = std::min(left, room);
                        const int nbits = cb.lblock + floorLog2(take);
                        if (nbits > 31) fail("bad codeword segment length");
                        const int len = static_cast<int>(br.bits(nbits));
                        if (static_cast<size_t>(len) > size || int64_t(cb.segLen.back()) + len > (int64_t(1) << 30))
                            fail("bad codeword segment length");
                        cb.segPasses.back() += take;
                        cb.segLen.back() += len;
                        c.lengths.push_back(len);
                        left -= take;
                    }
                    cb.passes += n;
                    if (cb.passes > 3 * 32) fail("too many coding passes");
                    contrib.push_back(std::move(c));
                }
        }
    }
    br.align();
    p = br.pos;
    if (tp.eph) {
        if (p + 2 <= size && data[p] == 0xFF && data[p + 1] == 0x92)
            p += 2;
        else
            fail("missing EPH marker");
    }
    for (auto& c : contrib) {
        for (int len : c.lengths) {
            if (static_cast<size_t>(len) > size - p) fail("code-block data runs past the tile data");
            c.cb->data.insert(c.cb->data.end(), data + p, data + p + len);
            p += static_cast<size_t>(len);
        }
    }
    *pos = p;
}

// ------------------------------------------------------------ reconstruction
struct Decoder {
    std::vector<uint8_t> state;
    std::vector<int32_t> samples;
    double seconds = 0;
    bool timed = false;
    bool progressive = false;

    void decodeBlock(const CodeBlock& cb, const Band& B, int cbStyle, int32_t* dst, int dstStep) {
        const int w = cb.x1 - cb.x0, h = cb.y1 - cb.y0;
        const int magn = B.magnitudeBits - cb.zeroPlanes;
        if (magn <= 0 || magn > 31) fail("bad number of magnitude bit planes");
        if (cb.passes > 3 * magn - 2) fail("more coding passes than bit planes");
        int bytes = 0;
        const OzriSize size{w, h};
        if (ozriDecodeGetBufSize_JPEG2K(size, &bytes) != ozrStatusOk) fail("bad code-block size");
        if (state.size() < static_cast<size_t>(bytes) + 32) state.resize(static_cast<size_t>(bytes) + 32);
        const int subband = B.type == 0 ? 0 : B.type == 1 ? 2 : B.type == 2 ? 1 : 3;
        static const uint8_t kEmpty[1] = {0};
        const uint8_t* src = cb.data.empty() ? kEmpty : cb.data.data();
        auto* st = reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(state.data());
        std::chrono::steady_clock::time_point t0;
        if (timed) t0 = std::chrono::steady_clock::now();
        OzrStatus status;
        if (!progressive) {
            status = ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(src, dst, dstStep, size, subband, magn, cb.passes,
                                                          cb.segLen.data(), static_cast<int>(cb.segLen.size()),
                                                          modeFlags(cbStyle), nullptr, st);
        } else {
            status = ozriDecodeCBProgrInit_JPEG2K(st);
            if (status == ozrStatusOk)
                status = ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, dstStep, size, st, subband, magn,
                                                                modeFlags(cbStyle));
            if (status == ozrStatusOk) status = ozriDecodeCBProgrSetPassCounter_JPEG2K(cb.passes, st);
            size_t at = 0;
            for (size_t i = 0; i < cb.segLen.size() && status == ozrStatusOk; ++i) {
                status = ozriDecodeCBProgrStep_JPEG2K(src + at, cb.segLen[i], st);
                at += static_cast<size_t>(cb.segLen[i]);
            }
            int left = -1;
            if (status == ozrStatusOk) status = ozriDecodeCBProgrGetPassCounter_JPEG2K(st, &left);
            if (status == ozrStatusOk && left != 0) fail("code-block segments and pass count disagree");
        }
        if (timed) seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (status == ozrStatusCodeBlockCorrupt) fail("corrupt code-block data");
        if (status != ozrStatusOk) fail("code-block decoder refused its arguments");
    }
};

// Sign-magnitude to two's complement, in place over a w x h region: the
// magnitude with its bits flipped and one added where the sign is set.
void toSigned(int32_t* p, int stride, int w, int h) {
    const __m128i magnitude = _mm_set1_epi32(0x7FFFFFFF);
    for (int y = 0; y < h; ++y) {
        int32_t* row = p + static_cast<size_t>(y) * stride;
        int x = 0;
        for (; x + 4 <= w; x += 4) {
            auto* q = reinterpret_cast<__m128i*>(row + x);
            const __m128i v = _mm_loadu_si128(q);
            const __m128i s = _mm_srai_epi32(v, 31);
            _mm_storeu_si128(q, _mm_sub_epi32(_mm_xor_si128(_mm_and_si128(v, magnitude), s), s));
        }
        for (; x < w; ++x) {
            const uint32_t v = static_cast<uint32_t>(row[x]);
            const int32_t m = static_cast<int32_t>(v & 0x7FFFFFFFu);
            row[x] = (v >> 31) ? -m : m;
        }
    }
}

// Whether all of p[0..n) lie within -(1 << 28)..(1 << 28), the range the
// lifting arithmetic takes without overflow.
bool withinLiftingRange(const int32_t* p, size_t n) {
    const __m128i hi = _mm_set1_epi32(1 << 28), lo = _mm_set1_epi32(-(1 << 28));
    __m128i out = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        out = _mm_or_si128(out, _mm_or_si128(_mm_cmpgt_epi32(v, hi), _mm_cmplt_epi32(v, lo)));
    }
    bool ok = _mm_movemask_epi8(out) == 0;
    for (; i < n; ++i) ok = ok && p[i] <= (1 << 28) && p[i] >= -(1 << 28);
    return ok;
}

// dst[x] = min(hi, max(lo, src[x] + shift)) for n samples, with lo, hi and
// shift the output range and offset of a precision of at most 30 bits: the
// sample is clamped to lo - shift..hi - shift first, which no sum then
// overflows.
void clampRow(const int32_t* src, int32_t* dst, int n, int32_t lo, int32_t hi, int32_t shift) {
    const __m128i vlo = _mm_set1_epi32(lo - shift), vhi = _mm_set1_epi32(hi - shift), vs = _mm_set1_epi32(shift);
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x));
        const __m128i below = _mm_cmplt_epi32(v, vlo);
        v = _mm_or_si128(_mm_and_si128(below, vlo), _mm_andnot_si128(below, v));
        const __m128i above = _mm_cmpgt_epi32(v, vhi);
        v = _mm_or_si128(_mm_and_si128(above, vhi), _mm_andnot_si128(above, v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x), _mm_add_epi32(v, vs));
    }
    for (; x < n; ++x) dst[x] = std::min(hi - shift, std::max(lo - shift, src[x])) + shift;
}

// Samples of one tile-component, left uninitialised: every sample belongs to
// exactly one code-block, which either the decoder writes or, when it has no
// coding pass, is zeroed here.
struct Plane {
    J2kSamples p;
    size_t n = 0;
    // Every sample provably within the lifting range (see liftingBoundHolds).
    bool bounded = false;
    int32_t* data() { return p.data(); }
};

// Whether coefficients of at most `magn` magnitude bits keep every input of
// `levels` inverse 5/3 levels, and their output, within the lifting range.
// One level in one direction turns a bound B into 2.5B + 1 (even samples
// take B + (B + 1) / 2, odd ones B plus the floor of the mean of two even
// ones), so a two-dimensional level into 6.25B + 3.5.  When this holds the
// samples need no scan; otherwise (damaged or unusual streams) they are
// scanned.
bool liftingBoundHolds(int magn, int levels) {
    const double limit = double(1 << 28);
    double b = std::ldexp(1.0, magn);
    for (int k = 0; k < levels && b <= limit; ++k) b = 6.25 * b + 3.5;
    return b <= limit;
}

void reconstructComponent(const CompParams& cp, TileComp& tc, Decoder& dec, Plane* out) {
    const int w = tc.x1 - tc.x0, h = tc.y1 - tc.y0;
    if (w <= 0 || h <= 0) return;
    out->n = static_cast<size_t>(w) * h;
    out->p.resize(out->n);
    int32_t* base = out->data();
    const int nl = cp.cs.levels;
    int maxMagn = 0;
    // Each band goes to its quadrant of the resolution it belongs to; the
    // lower resolutions sit in the top-left corner.
    for (int r = 0; r <= nl; ++r) {
        Resolution& R = tc.res[r];
        for (Band& B : R.bands) {
            int ox = 0, oy = 0;
            if (r > 0) {
                const Resolution& L = tc.res[r - 1];
                if (B.type == 1 || B.type == 3) ox = L.x1 - L.x0;
                if (B.type == 2 || B.type == 3) oy = L.y1 - L.y0;
            }
            for (CodeBlock& cb : B.blocks) {
                int32_t* dst = base + static_cast<size_t>(oy + cb.y0 - B.y0) * w + (ox + cb.x0 - B.x0);
                if (cb.passes == 0) {
                    for (int y = 0; y < cb.y1 - cb.y0; ++y)
                        std::memset(dst + static_cast<size_t>(y) * w, 0, sizeof(int32_t) * (cb.x1 - cb.x0));
                    continue;
                }
                dec.decodeBlock(cb, B, cp.cs.cbStyle, dst, w * 4);
                maxMagn = std::max(maxMagn, B.magnitudeBits - cb.zeroPlanes);
                toSigned(dst, w, cb.x1 - cb.x0, cb.y1 - cb.y0);
                std::vector<uint8_t>().swap(cb.data);
            }
        }
    }
    out->bounded = liftingBoundHolds(maxMagn, nl);
    for (int r = 1; r <= nl; ++r) {
        const Resolution& R = tc.res[r];
        const int rw = R.x1 - R.x0, rh = R.y1 - R.y0;
        if (rw <= 0 || rh <= 0) continue;
        // Lossless coefficients stay far below this; larger ones (from a
        // damaged stream) would overflow the lifting arithmetic.
        if (!out->bounded)
            for (int y = 0; y < rh; ++y)
                if (!withinLiftingRange(base + static_cast<size_t>(y) * w, static_cast<size_t>(rw)))
                    fail("wavelet coefficients out of range");
        const OzriRect rect{R.x0, R.y0, rw, rh};
        int bufSize = 0;
        if (ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect, &bufSize) != ozrStatusOk) fail("wavelet buffer query failed");
        std::vector<Ozr8u> buf(static_cast<size_t>(bufSize) + 16);
        if (ozriWTInv_B53_JPEG2K_32s_C1IR(base, w * 4, &rect, buf.data()) != ozrStatusOk)
            fail("inverse wavelet failed");
    }
}

struct TileData {
    std::vector<uint8_t> bytes;
    std::vector<Segment> header;  // coding markers of the first tile-part
    bool seen = false;
};

void decodeTile(const ImageHeader& ih, const TileParams& mainTp, int tileIndex, TileData& td, J2kImage* img,
                Decoder& dec) {
    TileParams tp = mainTp;
    applyCoding(td.header, &tp);
    const int tpx = tileIndex % ih.tilesX, tpy = tileIndex / ih.tilesX;
    const int64_t tx0 = std::max(ih.tx0 + tpx * ih.tw, ih.x0), ty0 = std::max(ih.ty0 + tpy * ih.th, ih.y0);
    const int64_t tx1 = std::min(ih.tx0 + (tpx + 1) * ih.tw, ih.x1), ty1 = std::min(ih.ty0 + (tpy + 1) * ih.th, ih.y1);
    const int nc = ih.ncomp;
    std::vector<TileComp> tcs(nc);
    int64_t packets = 0;
    int maxRes = 0;
    for (int c = 0; c < nc; ++c) {
        buildTileComp(tp.comps[c], tx0, ty0, tx1, ty1, tx0, ty0, &tcs[c]);
        maxRes = std::max(maxRes, tp.comps[c].cs.levels + 1);
        for (const auto& R : tcs[c].res) packets += int64_t(R.npx) * R.npy;
    }
    if (packets * tp.layers > (int64_t(1) << 20)) fail("too many packets");

    // Packet order.
    struct Pkt {
        int64_t k[5];
        int l, r, c, p;
    };
    std::vector<Pkt> order;
    order.reserve(static_cast<size_t>(packets * tp.layers));
    for (int c = 0; c < nc; ++c)
        for (int r = 0; r < static_cast<int>(tcs[c].res.size()); ++r) {
            const Resolution& R = tcs[c].res[r];
            for (int p = 0; p < static_cast<int>(R.precincts.size()); ++p) {
                const Precinct& P = R.precincts[p];
                for (int l = 0; l < tp.layers; ++l) {
                    Pkt k{{0, 0, 0, 0, 0}, l, r, c, p};
                    switch (tp.progression) {
                    case 0: k.k[0] = l, k.k[1] = r, k.k[2] = c, k.k[3] = p; break;                      // LRCP
                    case 1: k.k[0] = r, k.k[1] = l, k.k[2] = c, k.k[3] = p; break;                      // RLCP
                    case 2: k.k[0] = r, k.k[1] = P.refY, k.k[2] = P.refX, k.k[3] = c, k.k[4] = l; break;  // RPCL
                    case 3: k.k[0] = P.refY, k.k[1] = P.refX, k.k[2] = c, k.k[3] = r, k.k[4] = l; break;  // PCRL
                    default: k.k[0] = c, k.k[1] = P.refY, k.k[2] = P.refX, k.k[3] = r, k.k[4] = l; break; // CPRL
                    }
                    order.push_back(k);
                }
            }
        }
    std::stable_sort(order.begin(), order.end(), [](const Pkt& a, const Pkt& b) {
        return std::lexicographical_compare(a.k, a.k + 5, b.k, b.k + 5);
    });
    size_t pos = 0;
    for (const Pkt& k : order) {
        if (pos >= td.bytes.size()) break;  // the remaining packets were not written
        Resolution& R = tcs[k.c].res[k.r];
        readPacket(td.bytes.data(), td.bytes.size(), &pos, tp, k.l, tp.comps[k.c].cs, R, R.precincts[k.p]);
    }

    std::vector<Plane> planes(nc);
    for (int c = 0; c < nc; ++c) reconstructComponent(tp.comps[c], tcs[c], dec, &planes[c]);

    if (tp.mct) {
        if (nc < 3) fail("colour transform needs three components");
        for (int c = 1; c < 3; ++c)
            if (tcs[c].x1 - tcs[c].x0 != tcs[0].x1 - tcs[0].x0 || tcs[c].y1 - tcs[c].y0 != tcs[0].y1 - tcs[0].y0)
                fail("colour transform over components of different sizes");
        const int w = tcs[0].x1 - tcs[0].x0, h = tcs[0].y1 - tcs[0].y0;
        if (w > 0 && h > 0) {
            for (int c = 0; c < 3; ++c)
                if (!planes[c].bounded && !withinLiftingRange(planes[c].data(), planes[c].n))
                    fail("colour transform input out of range");
            Ozr32s* pl[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
            if (ozriRCTInv_JPEG2K_32s_P3IR(pl, w * 4, OzriSize{w, h}) != ozrStatusOk)
                fail("inverse colour transform failed");
        }
    }
    for (int c = 0; c < nc; ++c) {
        const CompParams& cp = tp.comps[c];
        J2kComponent& out = img->components[c];
        const int w = tcs[c].x1 - tcs[c].x0, h = tcs[c].y1 - tcs[c].y0;
        const int ox = tcs[c].x0 - ceilDiv(ih.x0, cp.dx), oy = tcs[c].y0 - ceilDiv(ih.y0, cp.dy);
        const int64_t lo = cp.isSigned ? -(int64_t(1) << (cp.precision - 1)) : 0;
        const int64_t hi = cp.isSigned ? (int64_t(1) << (cp.precision - 1)) - 1 : (int64_t(1) << cp.precision) - 1;
        const int64_t shift = cp.isSigned ? 0 : int64_t(1) << (cp.precision - 1);
        if (w <= 0 || h <= 0) continue;
        if (out.samples.empty() && ox == 0 && oy == 0 && w == out.width && h == out.height && cp.precision <= 30) {
            // The tile covers the whole component (a single-tile image): the
            // plane becomes the component's samples.
            int32_t* p = planes[c].data();
            for (int y = 0; y < h; ++y)
                clampRow(p + static_cast<size_t>(y) * w, p + static_cast<size_t>(y) * w, w, static_cast<int32_t>(lo),
                         static_cast<int32_t>(hi), static_cast<int32_t>(shift));
            out.samples.swap(planes[c].p);
            continue;
        }
        if (out.samples.empty()) out.samples.assign(static_cast<size_t>(out.width) * out.height, 0);
        for (int y = 0; y < h; ++y) {
            const int32_t* src = planes[c].data() + static_cast<size_t>(y) * w;
            int32_t* dst = out.samples.data() + static_cast<size_t>(oy + y) * out.width + ox;
            if (cp.precision <= 30) {
                clampRow(src, dst, w, static_cast<int32_t>(lo), static_cast<int32_t>(hi), static_cast<int32_t>(shift));
                continue;
            }
            for (int x = 0; x < w; ++x) dst[x] = static_cast<int32_t>(std::min(hi, std::max(lo, src[x] + shift)));
        }
    }
}

const uint8_t* findCodestream(const uint8_t* data, size_t size, size_t* csSize) {
    static const uint8_t kJp2Sig[12] = {0, 0, 0, 0x0C, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};
    if (size >= 12 && std::memcmp(data, kJp2Sig, 12) == 0) {
        size_t pos = 0;
        while (pos + 8 <= size) {
            uint64_t len = (uint64_t(data[pos]) << 24) | (uint64_t(data[pos + 1]) << 16) |
                           (uint64_t(data[pos + 2]) << 8) | data[pos + 3];
            size_t hdr = 8;
            if (len == 1) {
                if (pos + 16 > size) break;
                len = 0;
                for (int i = 0; i < 8; ++i) len = (len << 8) | data[pos + 8 + i];
                hdr = 16;
            } else if (len == 0) {
                len = size - pos;
            }
            if (len < hdr || len > size - pos) fail("bad JP2 box");
            if (std::memcmp(data + pos + 4, "jp2c", 4) == 0) {
                *csSize = static_cast<size_t>(len - hdr);
                return data + pos + hdr;
            }
            pos += static_cast<size_t>(len);
        }
        fail("no codestream box in the JP2 file");
    }
    *csSize = size;
    return data;
}

void decode(const uint8_t* file, size_t fileSize, J2kImage* img, const J2kOptions& opt, Decoder& dec) {
    size_t size = 0;
    const uint8_t* data = findCodestream(file, fileSize, &size);
    Bytes b(data, size);
    if (b.u16() != 0xFF4F) fail("not a JPEG2000 codestream (no SOC)");
    ImageHeader ih;
    TileParams mainTp;
    std::vector<Segment> mainSegs;
    bool haveSiz = false, haveCod = false, haveQcd = false;
    // Main header.
    for (;;) {
        const uint32_t m = b.u16();
        if (m == 0xFF90) break;  // first SOT
        if (m < 0xFF00) fail("marker expected in the main header");
        const uint32_t len = b.u16();
        if (len < 2) fail("bad marker segment length");
        b.need(len - 2);
        Segment s{m, data + b.pos, len - 2u};
        b.pos += len - 2;
        switch (m) {
        case 0xFF51: {
            Bytes sb(s.p, s.n);
            sb.u16();  // capabilities
            ih.x1 = sb.u32(), ih.y1 = sb.u32(), ih.x0 = sb.u32(), ih.y0 = sb.u32();
            ih.tw = sb.u32(), ih.th = sb.u32(), ih.tx0 = sb.u32(), ih.ty0 = sb.u32();
            ih.ncomp = static_cast<int>(sb.u16());
            if (ih.ncomp < 1 || ih.ncomp > 16384) fail("bad component count");
            if (ih.x1 <= ih.x0 || ih.y1 <= ih.y0 || ih.tw < 1 || ih.th < 1 || ih.tx0 > ih.x0 ||
                ih.ty0 > ih.y0 || ih.tx0 + ih.tw <= ih.x0 || ih.ty0 + ih.th <= ih.y0)
                fail("bad image or tile geometry");
            if (ih.x1 > 0x7FFFFFFF || ih.y1 > 0x7FFFFFFF) fail("image too large");
            mainTp.comps.resize(ih.ncomp);
            for (auto& c : mainTp.comps) {
                const uint32_t ssiz = sb.u8();
                c.precision = static_cast<int>(ssiz & 0x7F) + 1;
                c.isSigned = ssiz & 0x80;
                c.dx = static_cast<int>(sb.u8());
                c.dy = static_cast<int>(sb.u8());
                if (c.precision > 30 || c.dx < 1 || c.dy < 1) fail("bad component parameters");
            }
            haveSiz = true;
            break;
        }
        case 0xFF52: haveCod = true; mainSegs.push_back(s); break;
        case 0xFF5C: haveQcd = true; mainSegs.push_back(s); break;
        case 0xFF53:
        case 0xFF5D: mainSegs.push_back(s); break;
        case 0xFF5E: fail("region of interest (RGN) is not supported");
        case 0xFF5F: fail("progression order changes (POC) are not supported");
        case 0xFF60: fail("packed packet headers (PPM) are not supported");
        default: break;  // TLM, PLM, CRG, COM, CAP, ...: nothing we need
        }
    }
    if (!haveSiz || !haveCod || !haveQcd) fail("main header lacks SIZ, COD or QCD");
    applyCoding(mainSegs, &mainTp);
    ih.tilesX = ceilDiv(ih.x1 - ih.tx0, ih.tw);
    ih.tilesY = ceilDiv(ih.y1 - ih.ty0, ih.th);
    if (int64_t(ih.tilesX) * ih.tilesY > 65535) fail("too many tiles");

    img->x0 = static_cast<int>(ih.x0), img->y0 = static_cast<int>(ih.y0);
    img->x1 = static_cast<int>(ih.x1), img->y1 = static_cast<int>(ih.y1);
    img->components.assign(ih.ncomp, J2kComponent());
    int64_t total = 0;
    for (int c = 0; c < ih.ncomp; ++c) {
        const CompParams& cp = mainTp.comps[c];
        J2kComponent& out = img->components[c];
        out.width = ceilDiv(ih.x1, cp.dx) - ceilDiv(ih.x0, cp.dx);
        out.height = ceilDiv(ih.y1, cp.dy) - ceilDiv(ih.y0, cp.dy);
        out.precision = cp.precision;
        out.isSigned = cp.isSigned;
        out.dx = cp.dx, out.dy = cp.dy;
        total += int64_t(out.width) * out.height;
        if (total > opt.maxSamples) fail("image too large for this reader's limit");
    }
    // Component samples are allocated by the first tile that writes them (or
    // taken over from a tile that covers the whole component); what no tile
    // writes stays zero.

    // Tile-parts.
    std::vector<TileData> tiles(static_cast<size_t>(ih.tilesX) * ih.tilesY);
    b.pos -= 2;
    for (;;) {
        const uint32_t m = b.u16();
        if (m == 0xFFD9) break;
        if (m != 0xFF90) fail("SOT expected");
        const size_t sotStart = b.pos - 2;
        const uint32_t lsot = b.u16();
        if (lsot != 10) fail("bad SOT length");
        const uint32_t isot = b.u16();
        const uint32_t psot = b.u32();
        b.u8();
        b.u8();
        if (isot >= tiles.size()) fail("tile index out of range");
        const size_t end = psot == 0 ? size : sotStart + psot;
        if (psot != 0 && (psot < 14 || end > size)) fail("bad tile-part length");
        TileData& td = tiles[isot];
        const bool first = !td.seen;
        td.seen = true;
        for (;;) {
            const uint32_t hm = b.u16();
            if (hm == 0xFF93) break;
            const uint32_t len = b.u16();
            if (len < 2) fail("bad marker segment length");
            b.need(len - 2);
            if (hm == 0xFF52 || hm == 0xFF53 || hm == 0xFF5C || hm == 0xFF5D) {
                if (first) td.header.push_back(Segment{hm, data + b.pos, len - 2u});
            } else if (hm == 0xFF5E || hm == 0xFF5F || hm == 0xFF61) {
                fail("RGN, POC and PPT in tile headers are not supported");
            }
            b.pos += len - 2;
        }
        if (b.pos > end) fail("tile-part header runs past the tile-part");
        td.bytes.insert(td.bytes.end(), data + b.pos, data + end);
        b.pos = end;
        if (b.pos >= size) break;  // tolerate a missing EOC
    }
    for (size_t t = 0; t < tiles.size(); ++t) {
        TileData& td = tiles[t];
        if (!td.seen) fail("a tile is missing");
        decodeTile(ih, mainTp, static_cast<int>(t), td, img, dec);
        std::vector<uint8_t>().swap(td.bytes);
    }
    for (auto& c : img->components)
        if (c.samples.empty()) c.samples.assign(static_cast<size_t>(c.width) * c.height, 0);
}

}  // namespace

void* j2kAllocatePlane(size_t bytes) {
    constexpr size_t kHuge = size_t(2) << 20;
    if (bytes < 2 * kHuge) {
        if (void* p = std::malloc(bytes ? bytes : 1)) return p;
        throw std::bad_alloc();
    }
    const size_t rounded = (bytes + kHuge - 1) & ~(kHuge - 1);
    void* p = std::aligned_alloc(kHuge, rounded);
    if (!p) throw std::bad_alloc();
    madvise(p, rounded, MADV_HUGEPAGE);  // a hint: without huge pages nothing changes
    return p;
}

void j2kFreePlane(void* p) noexcept { std::free(p); }

int j2kDecodeMemory(const uint8_t* data, size_t size, J2kImage* out, std::string* error, const J2kOptions* options) {
    const J2kOptions opt = options ? *options : J2kOptions();
    Decoder dec;
    dec.timed = opt.codeBlockSeconds != nullptr;
    dec.progressive = opt.progressive;
    try {
        if (!data || !out) fail("no input");
        decode(data, size, out, opt, dec);
    } catch (const Failure& f) {
        if (error) *error = f.what;
        return -1;
    } catch (const std::bad_alloc&) {
        if (error) *error = "out of memory";
        return -1;
    }
    if (opt.codeBlockSeconds) *opt.codeBlockSeconds = dec.seconds;
    return 0;
}

int j2kDecodeFile(const char* path, J2kImage* out, std::string* error, const J2kOptions* options) {
    FILE* f = std::fopen(path, "rb");
    if (!f) {
        if (error) *error = std::string("cannot open ") + path;
        return -1;
    }
    std::vector<uint8_t> bytes;
    // One read of the whole file when its size is known, else in chunks.
    if (std::fseek(f, 0, SEEK_END) == 0) {
        const long size = std::ftell(f);
        if (size > 0 && std::fseek(f, 0, SEEK_SET) == 0) {
            bytes.resize(static_cast<size_t>(size));
            bytes.resize(std::fread(bytes.data(), 1, bytes.size(), f));
        }
    }
    uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(f);
    return j2kDecodeMemory(bytes.data(), bytes.size(), out, error, options);
}

int j2kWritePnm(const J2kImage& image, const char* path, std::string* error) {
    const auto& cs = image.components;
    const int nc = cs.size() >= 3 ? 3 : 1;
    if (cs.empty()) {
        if (error) *error = "no components";
        return -1;
    }
    for (int c = 1; c < nc; ++c)
        if (cs[c].width != cs[0].width || cs[c].height != cs[0].height) {
            if (error) *error = "components differ in size (sub-sampled image)";
            return -1;
        }
    int prec = 1;
    for (int c = 0; c < nc; ++c) prec = std::max(prec, cs[c].precision);
    const int maxval = prec > 16 ? 65535 : (1 << prec) - 1;
    FILE* f = std::fopen(path, "wb");
    if (!f) {
        if (error) *error = std::string("cannot create ") + path;
        return -1;
    }
    std::fprintf(f, "%s\n%d %d\n%d\n", nc == 3 ? "P6" : "P5", cs[0].width, cs[0].height, maxval);
    std::vector<uint8_t> row;
    for (int y = 0; y < cs[0].height; ++y) {
        row.clear();
        for (int x = 0; x < cs[0].width; ++x)
            for (int c = 0; c < nc; ++c) {
                const J2kComponent& k = cs[c];
                int v = k.samples[static_cast<size_t>(y) * k.width + x];
                if (k.isSigned) v += 1 << (k.precision - 1);
                v = std::min(maxval, std::max(0, v));
                if (maxval > 255) row.push_back(static_cast<uint8_t>(v >> 8));
                row.push_back(static_cast<uint8_t>(v));
            }
        std::fwrite(row.data(), 1, row.size(), f);
    }
    const bool ok = std::fclose(f) == 0;
    if (!ok && error) *error = std::string("cannot write ") + path;
    return ok ? 0 : -1;
}
