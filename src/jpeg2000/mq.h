// MQ arithmetic coder of the JPEG2000 code-block coder: the adaptive
// two-symbol coder with its 19-context bank, in the register convention of
// ITU-T T.800 Annex C (the decoder's C register holds complemented code bits).
//
// Contexts: 0 uniform, 1 run-length, 2..10 zero coding (2 = no significant
// neighbour), 11..15 sign coding, 16..18 magnitude refinement.
//
// The decoder never fails: bytes at or past the segment end read as 0xFF, a
// marker (0xFF followed by 0x90 or more) freezes the input and 1-bits are fed
// from then on.  Corruption is found only by the callers' segmentation-symbol
// test and by mqDecoderCheckErrPredTerm.
//
// The encoder is internal: it serves the tests and the code-block encoder.
// Its first stored byte is a dummy that the copy-out passes over.
#ifndef OZRJ_JPEG2000_MQ_H
#define OZRJ_JPEG2000_MQ_H

#include <cstdint>
#include <vector>

#include "ozrj.h"

namespace ozr {
namespace mq {

constexpr int kContexts = 19;
constexpr int kCtxUniform = 0;
constexpr int kCtxRunLength = 1;

// One probability state: Qe, next state after MPS renormalisation, next state
// after LPS, and whether an LPS exchanges the MPS sense.
struct Estimator {
    uint32_t qe;
    uint32_t nmps;
    uint32_t nlps;
    uint32_t sw;
};

inline constexpr Estimator owniEstimator_JPEG2K[47] = {
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},
    {0x0521, 5, 29, 0},  {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},
    {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0}, {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0},
    {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1}, {0x5401, 16, 14, 0},
    {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0},
    {0x1C01, 25, 22, 0}, {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0},
    {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0}, {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0},
    {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0}, {0x02A1, 36, 33, 0},
    {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0},
    {0x0005, 45, 42, 0}, {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
};

// The probability state and MPS of one context packed as a word
// Qe << 16 | (index << 1) | MPS, so that a decision finds its Qe in the
// context word itself; for each packed state the words after an MPS
// renormalisation and after an LPS (the exchange of the MPS sense folded in).
// The coding passes run on these; the record keeps the two arrays of the
// context bank.
struct PackedState {
    uint32_t nmps;
    uint32_t nlps;
};

constexpr int kPackedStates = 94;

constexpr uint32_t packedWord(uint32_t index, uint32_t mps) {
    return (owniEstimator_JPEG2K[index].qe << 16) | (index << 1) | mps;
}

struct PackedTable {
    PackedState s[kPackedStates];
};

constexpr PackedTable buildPackedTable() {
    PackedTable t{};
    for (uint32_t i = 0; i < 47; ++i)
        for (uint32_t mps = 0; mps < 2; ++mps) {
            const Estimator& e = owniEstimator_JPEG2K[i];
            t.s[2 * i + mps] = {packedWord(e.nmps, mps), packedWord(e.nlps, e.sw ? 1 - mps : mps)};
        }
    return t;
}

inline constexpr PackedTable kPacked = buildPackedTable();

// The word a context holds after a decision, as one array: entry
// 4 * (packed & 0xFF) + 2 * lps + kept, where kept is 1 when no
// renormalisation follows (the word stays; never with an LPS).
struct PackedStep {
    uint32_t w[4 * kPackedStates];
};

constexpr PackedStep buildPackedStep() {
    PackedStep t{};
    for (uint32_t i = 0; i < 47; ++i)
        for (uint32_t mps = 0; mps < 2; ++mps) {
            const uint32_t p = 2 * i + mps;
            t.w[4 * p] = kPacked.s[p].nmps;
            t.w[4 * p + 1] = packedWord(i, mps);
            t.w[4 * p + 2] = kPacked.s[p].nlps;
            t.w[4 * p + 3] = packedWord(i, mps);
        }
    return t;
}

inline constexpr PackedStep kPackedStep = buildPackedStep();

extern const int32_t owniInitialCtxIndexes_JPEG2K[kContexts];
extern const int32_t owniInitialMPS_JPEG2K[kContexts];

}  // namespace mq
}  // namespace ozr

// Decoder registers (field order is part of the record's definition).
struct MqDecoderState {
    const uint8_t* data;  // first byte of the codeword segment (caller's)
    int32_t length;       // segment length in bytes
    int32_t pos;          // index of the current byte B
    uint32_t A;           // interval, normalised to at least 0x8000
    uint32_t C;           // code register; Chigh = C >> 16
    uint32_t CT;          // bits left before the next byte-in
    uint32_t index[ozr::mq::kContexts];
    uint32_t mps[ozr::mq::kContexts];
    uint32_t marker;  // a marker was reached: feed 1-bits
};

// Encoder registers.  The finished bytes go to the byte store of the owner
// (MqEncoder below keeps one of its own).
struct MqEncoderState {
    uint32_t writeIndex;
    uint32_t readIndex;
    uint32_t B;          // held byte, formed but not yet stored
    uint32_t dropFirst;  // 1 until the dummy first byte was passed over
    uint32_t A;
    uint32_t C;
    uint32_t CT;
    uint32_t index[ozr::mq::kContexts];
    uint32_t mps[ozr::mq::kContexts];
    int32_t emitted;  // bytes formed by byte-out since the last restart
    uint32_t pendingTermination;
    uint32_t termMode;
};

namespace ozr {
namespace mq {

// ------------------------------------------------------------------ decoder
void mqDecoderInit(MqDecoderState* s, const uint8_t* data, int length);
void mqDecoderResetCtx(MqDecoderState* s);
uint32_t mqDecoderDecode(MqDecoderState* s, int cx);
// packed: context in the low 4 bits, sign prediction in bit 31.
uint32_t mqDecoderDecodeSign(MqDecoderState* s, uint32_t packed);
// 1 when the tail of a predictably terminated segment is wrong.
int mqDecoderCheckErrPredTerm(MqDecoderState* s);

// Byte fetch: anything at or past the end reads as 0xFF.
inline uint32_t byteAt(const MqDecoderState& s, int32_t i) {
    return i < s.length ? s.data[i] : 0xFFu;
}

inline void byteIn(MqDecoderState& s) {
    if (s.marker) {
        s.CT = 8;
        return;
    }
    const uint32_t b = byteAt(s, s.pos);
    const uint32_t b1 = byteAt(s, s.pos + 1);
    if (b < 0xFF) {
        ++s.pos;
        s.C += 0xFF00u - (b1 << 8);
        s.CT = 8;
    } else if (b1 < 0x90) {
        ++s.pos;
        s.C += 0xFE00u - (b1 << 9);
        s.CT = 7;
    } else {
        s.marker = 1;
        s.CT = 8;
    }
}

// The decision procedure, inlined into the coding passes.  index/mps are the
// context bank (the state's own arrays).
inline uint32_t decode(MqDecoderState& s, int cx) {
    const Estimator& e = owniEstimator_JPEG2K[s.index[cx]];
    const uint32_t qe = e.qe;
    uint32_t d;
    s.A -= qe;
    if ((s.C >> 16) < s.A) {
        if (s.A & 0x8000u) return s.mps[cx];
        if (s.A < qe) {
            d = 1u - s.mps[cx];
            if (e.sw) s.mps[cx] = d;
            s.index[cx] = e.nlps;
        } else {
            d = s.mps[cx];
            s.index[cx] = e.nmps;
        }
    } else {
        s.C -= s.A << 16;
        if (s.A < qe) {
            d = s.mps[cx];
            s.index[cx] = e.nmps;
        } else {
            d = 1u - s.mps[cx];
            if (e.sw) s.mps[cx] = d;
            s.index[cx] = e.nlps;
        }
        s.A = qe;
    }
    do {
        if (s.CT == 0) byteIn(s);
        s.A <<= 1;
        s.C <<= 1;
        --s.CT;
    } while (!(s.A & 0x8000u));
    return d;
}

// ----------------------------------------------------- register-level decoder
// The decoder's registers in locals of the coding passes, with the same
// decisions as decode() above but the code register kept in the other,
// uncomplemented sense: c = (A << 16) - (1 << (16 - CT)) - C.  Both registers
// hold zeros in the 16 - CT positions not yet filled, so "Chigh < A - Qe"
// becomes "c >= Qe << 16", a test that does not wait for the subtraction.
// The interval is kept as a = A << 16, in the same scale as c and as the Qe
// half of a packed context word: no shifts in a decision, and a needs a
// renormalisation exactly when its top bit is clear.
//
// The code register sits in the top half of a 64-bit register whose lower
// part holds bytes read ahead, each at the place where byte-in would add it
// (a marker adds 0xFF, the 1-bits); ct counts the bits in hand below c's
// bit 16, read-ahead included.  The read-ahead is topped up four to six
// bytes at a time, so only about one renormalisation in forty bits waits for
// the byte supply.  Bytes are added, never shifted in, so the sum is the
// same whenever they come: only the byte after a 0xFF that reaches into the
// bit above it (0x80..0x8F, a carry into the byte before) waits until the
// bits in hand run out, as in byte-in.  storeRegs takes back whatever
// byte-in would not have read yet.
//
// The byte supply (segment, position, marker) lives in the registers that
// loadRegs filled and is reached through a pointer that copies share: the
// out-of-line refill never takes the address of a working copy, whose
// registers then stay in machine registers in the coding passes.  A working
// copy goes back with copyRegsBack.
//
// The coding passes are compiled for the baseline and for AVX2 processors;
// the functions here get names of their own in each build, so that the
// linker never joins a baseline caller to an out-of-line copy from the AVX2
// build.
#ifdef __AVX2__
inline namespace regs_avx2 {
#else
inline namespace regs_base {
#endif

struct MqSupply {
    const uint8_t* data;
    int32_t len, pos;
    uint32_t marker;
    int32_t pos0;      // pos when loaded
    uint32_t marker0;  // marker when loaded
    uint32_t feeds;    // marker feeds read since loaded
};

// The word of the context last decided on is kept in a register (lastW) and
// written to ctx only when a decision on another context follows: a run of
// decisions on one context then never waits for a store to reach the next
// load.  ctx[lastCx] may be stale; ctxWord gives the true word of any context.
struct MqRegs {
    uint64_t c;  // code register in bits 32..63, read-ahead below
    uint32_t a, ct;
    MqSupply* in;
    MqSupply supply;
    uint32_t ctx[kContexts];  // packed context words
    uint32_t lastW;           // the word of context lastCx
    int32_t lastCx;
};

// The word of context cx, without a branch on the context.
__attribute__((always_inline)) inline uint32_t ctxWord(const MqRegs& r, int cx) {
    uint32_t w = r.ctx[cx];
#if defined(__GNUC__) && defined(__x86_64__)
    __asm__("cmpl %[cx], %[last]\n\t"
            "cmovel %[lw], %[w]"
            : [w] "+r"(w)
            : [cx] "r"(cx), [last] "r"(r.lastCx), [lw] "r"(r.lastW)
            : "cc");
#else
    if (cx == r.lastCx) w = r.lastW;
#endif
    return w;
}

// Context cx takes the word nw; the word in the register goes to memory.
__attribute__((always_inline)) inline void setCtxWord(MqRegs& r, int cx, uint32_t nw) {
    r.ctx[r.lastCx] = r.lastW;
    r.lastCx = cx;
    r.lastW = nw;
}

// (A << 16) - (1 << (16 - CT)): the sum of the two senses of the code register.
inline uint32_t codeSum(uint32_t a16, uint32_t ct) { return a16 - (1u << (ct <= 16 ? 16 - ct : 0)); }

inline void loadRegs(const MqDecoderState& s, MqRegs* r) {
    r->a = s.A << 16;
    r->c = static_cast<uint64_t>(codeSum(r->a, s.CT) - s.C) << 32;
    r->ct = s.CT;
    r->in = &r->supply;
    r->supply.data = s.data;
    r->supply.len = s.length;
    r->supply.pos = s.pos;
    r->supply.marker = s.marker;
    r->supply.pos0 = s.pos;
    r->supply.marker0 = s.marker;
    r->supply.feeds = 0;
    for (int i = 0; i < kContexts; ++i) r->ctx[i] = packedWord(s.index[i] % 47, s.mps[i] & 1);
    r->lastCx = 0;
    r->lastW = r->ctx[0];
}

inline uint32_t byteAtRegs(const MqSupply& r, int32_t i) { return i < r.len ? r.data[i] : 0xFFu; }

inline void storeRegs(const MqRegs& r, MqDecoderState* s) {
    // Take back, last first, the bytes and feeds read ahead that byte-in
    // would not have read: those with all their bits still in hand.
    const MqSupply& in = *r.in;
    uint64_t c = r.c;
    uint32_t ct = r.ct;
    int32_t pos = in.pos;
    uint32_t feeds = in.feeds;
    for (;;) {
        if (feeds > 0) {
            if (ct < 8) break;
            c -= uint64_t(0xFF) << (48 - ct);
            ct -= 8;
            --feeds;
            continue;
        }
        if (pos <= in.pos0) break;
        const uint32_t width = byteAtRegs(in, pos - 1) == 0xFF ? 7u : 8u;
        if (ct < width) break;
        c -= uint64_t(byteAtRegs(in, pos)) << (48 - ct);
        ct -= width;
        --pos;
    }
    s->A = r.a >> 16;
    s->C = codeSum(r.a, ct) - static_cast<uint32_t>(c >> 32);
    s->CT = ct;
    s->pos = pos;
    s->marker = in.marker0 | (feeds > 0 ? 1u : 0u);
    for (int i = 0; i < kContexts; ++i) {
        const uint32_t w = i == r.lastCx ? r.lastW : r.ctx[i];
        s->index[i] = (w & 0xFFFFu) >> 1;
        s->mps[i] = w & 1u;
    }
}

// A working copy of the registers handed back to the registers it was copied
// from (the byte supply is the original's already).
inline void copyRegsBack(const MqRegs& from, MqRegs* to) {
    to->c = from.c;
    to->a = from.a;
    to->ct = from.ct;
    for (int i = 0; i < kContexts; ++i) to->ctx[i] = from.ctx[i];
    to->lastW = from.lastW;
    to->lastCx = from.lastCx;
}

inline void resetRegsCtx(MqRegs* r) {
    for (int i = 0; i < kContexts; ++i)
        r->ctx[i] = packedWord(static_cast<uint32_t>(owniInitialCtxIndexes_JPEG2K[i]),
                               static_cast<uint32_t>(owniInitialMPS_JPEG2K[i]));
    r->lastW = r->ctx[r->lastCx];
}

// Byte-in of one byte or feed into the 64-bit register (ct + 8 <= 48).
// With late set, a byte that carries into the one before is not read: 0 is
// returned and nothing changes.
__attribute__((always_inline)) inline uint32_t byteInRegs(MqSupply& r, uint64_t& c, uint32_t& ct, bool late) {
    if (r.marker) {
        c += uint64_t(0xFF) << (40 - ct);
        ct += 8;
        ++r.feeds;
        return 1;
    }
    const uint32_t b = byteAtRegs(r, r.pos);
    const uint32_t b1 = byteAtRegs(r, r.pos + 1);
    if (b < 0xFF) {
        ++r.pos;
        c += uint64_t(b1) << (40 - ct);
        ct += 8;
    } else if (b1 < 0x90) {
        if (late && b1 >= 0x80) return 0;
        ++r.pos;
        c += uint64_t(b1) << (41 - ct);
        ct += 7;
    } else {
        r.marker = 1;
        ++r.feeds;
        c += uint64_t(0xFF) << (40 - ct);
        ct += 8;
    }
    return 1;
}

// Reads ahead while at least a byte fits below c's bit 16: as many plain
// bytes as fit at once (four to six) where there is no 0xFF among them and
// the byte before them.
inline void readAhead(MqSupply& r, uint64_t& c, uint32_t& ct) {
    if (!r.marker && r.len - r.pos >= 8 && ct <= 16) {
        const uint32_t k = (48 - ct) >> 3;  // bytes that fit
        uint64_t x;
        __builtin_memcpy(&x, r.data + r.pos, 8);
        // Bytes pos..pos+k-1 (the ones before those read): none 0xFF.
        const uint64_t notB = ~x | (~uint64_t(0) << (8 * k));
        if (!((notB - 0x0101010101010101ull) & ~notB & 0x8080808080808080ull)) {
            const uint64_t v = (__builtin_bswap64(x) << 8) >> (64 - 8 * k);  // bytes pos+1..pos+k
            c += v << (48 - ct - 8 * k);
            ct += 8 * k;
            r.pos += static_cast<int32_t>(k);
            return;
        }
    }
    while (ct <= 40 && byteInRegs(r, c, ct, true)) {
    }
}

// The bits in hand run short (fewer than n): reads ahead, then shifts as
// byte-in would read.  Returns c, and a << 32 | ct.
struct RenormResult {
    uint64_t c;
    uint64_t act;
};

__attribute__((noinline)) inline RenormResult renormSlow(MqSupply* in, uint32_t a, uint64_t c, uint32_t ct,
                                                         uint32_t n) {
    readAhead(*in, c, ct);
    while (n > ct) {
        a <<= ct;
        c <<= ct;
        n -= ct;
        ct = 0;
        byteInRegs(*in, c, ct, false);
    }
    return {c << n, (static_cast<uint64_t>(a << n) << 32) | (ct - n)};
}

// Shifts a and c left by the leading zeros of a (a is never 0).
__attribute__((always_inline)) inline void renormRegs(MqRegs& r, uint32_t a, uint64_t c) {
    const uint32_t n = static_cast<uint32_t>(__builtin_clz(a));
    if (__builtin_expect(n > r.ct, 0)) {
        const RenormResult x = renormSlow(r.in, a, c, r.ct, n);
        r.c = x.c;
        r.a = static_cast<uint32_t>(x.act >> 32);
        r.ct = static_cast<uint32_t>(x.act);
        return;
    }
    r.a = a << n;
    r.c = c << n;
    r.ct -= n;
}

__attribute__((always_inline)) inline uint32_t decodeRegs(MqRegs& r, int cx) {
    const uint32_t w = ctxWord(r, cx);
    const uint32_t qe = w & 0xFFFF0000u;
    const uint64_t qe64 = static_cast<uint64_t>(qe) << 32;
    const uint32_t mps = w & 1u;
    uint32_t d;
    uint32_t a = r.a - qe;
    uint64_t c = r.c;
    if (c >= qe64) {
        // MPS sub-interval.
        c -= qe64;
        if (a & 0x80000000u) {
            r.a = a;
            r.c = c;
            return mps;
        }
        const PackedState& e = kPacked.s[w & 0xFFu];
        if (a < qe) {
            d = mps ^ 1u;
            setCtxWord(r, cx, e.nlps);
        } else {
            d = mps;
            setCtxWord(r, cx, e.nmps);
        }
    } else {
        // LPS sub-interval.
        const PackedState& e = kPacked.s[w & 0xFFu];
        if (a < qe) {
            d = mps;
            setCtxWord(r, cx, e.nmps);
        } else {
            d = mps ^ 1u;
            setCtxWord(r, cx, e.nlps);
        }
        a = qe;
    }
    renormRegs(r, a, c);
    return d;
}

// The same decision without a branch on the sub-interval: both outcomes are
// formed and selected by conditional moves.  The coding passes use it for
// every decision but the run-length ones: lossless code-blocks spend most
// decisions in the low bit-planes, near even odds, where the branch of
// decodeRegs is often mispredicted.
__attribute__((always_inline)) inline uint32_t decodeRegsFlat(MqRegs& r, int cx) {
    const uint32_t w = ctxWord(r, cx);
    const uint32_t qe = w & 0xFFFF0000u;
    const uint64_t qe64 = static_cast<uint64_t>(qe) << 32;
    const uint32_t a = r.a - qe;
    const uint32_t inMps = r.c >= qe64 ? 1u : 0u;  // MPS sub-interval
#if defined(__GNUC__) && defined(__x86_64__)
    // Conditional moves written out: written as selects, these come out as
    // branches, which is what this form is meant to avoid.
    uint32_t na = qe;
    uint64_t c = r.c;
    const uint64_t cMps = r.c - qe64;
    __asm__("cmpq %[qe], %[c]\n\t"
            "cmovael %[a], %[na]\n\t"
            "cmovaeq %[cMps], %[c]"
            : [na] "+r"(na), [c] "+r"(c)
            : [qe] "r"(qe64), [a] "r"(a), [cMps] "r"(cMps)
            : "cc");
#else
    const uint32_t mask = 0u - inMps;
    const uint32_t na = qe ^ ((a ^ qe) & mask);
    const uint64_t c = r.c - (qe64 & (uint64_t(0) - inMps));
#endif
    // The LPS symbol: the smaller sub-interval was taken (conditional exchange).
    const uint32_t lps = (a < qe ? 1u : 0u) ^ inMps ^ 1u;
    // The successors of the word are read as soon as the word is known,
    // beside the comparison, and the new word is picked by conditional
    // moves: the word stays when no renormalisation follows (top bit of na
    // set), else it takes its LPS or MPS successor.
    const PackedState& e = kPacked.s[w & 0xFFu];
#if defined(__GNUC__) && defined(__x86_64__)
    uint32_t nw = e.nmps;
    __asm__("testl %[lps], %[lps]\n\t"
            "cmovnzl %[nlps], %[nw]\n\t"
            "testl %[na], %[na]\n\t"
            "cmovsl %[w], %[nw]"
            : [nw] "+&r"(nw)
            : [lps] "r"(lps), [nlps] "rm"(e.nlps), [na] "r"(na), [w] "r"(w)
            : "cc");
    setCtxWord(r, cx, nw);
#else
    setCtxWord(r, cx, kPackedStep.w[((w & 0xFFu) << 2) | (lps << 1) | (na >> 31)]);
#endif
    renormRegs(r, na, c);
    return (w & 1u) ^ lps;
}

}  // inline namespace regs_avx2 / regs_base

// ------------------------------------------------------------------ encoder
// Termination modes.
constexpr uint32_t kTermFullFlush = 0;
constexpr uint32_t kTermShortest = 1;
constexpr uint32_t kTermPredictable = 2;

// Encoder registers with a byte store of their own.
struct MqEncoder {
    MqEncoderState s;
    std::vector<uint8_t> store;
};

// Registers, contexts and store restart; the mode is kept for terminations.
void encBufReset(MqEncoder* e, uint32_t termMode);
void mqEncoderResetCtx(MqEncoder* e);
// Codes one decision d (0 or 1) in context cx.
void mqEncoderEncode(MqEncoder* e, uint32_t d, int cx);
// Terminates the segment with the mode given at reset.
void mqEncoderTerminate(MqEncoder* e);
// Hands out the stored bytes not yet copied (the dummy first byte never) and,
// once everything of a terminated segment is out, restarts the registers for
// the next segment (contexts untouched).
void mqEncoderCopyOut(MqEncoder* e, std::vector<uint8_t>* out);
// Terminates and copies out: the complete codeword segment.
std::vector<uint8_t> mqEncoderFinish(MqEncoder* e);

}  // namespace mq
}  // namespace ozr

#endif  // OZRJ_JPEG2000_MQ_H
