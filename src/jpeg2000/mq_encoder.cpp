// MQ encoder: decisions, byte-out with bit stuffing and carry, and the three
// terminations (full flush, shortest, predictable).
#include "jpeg2000/mq.h"

namespace ozr {
namespace mq {
namespace {

void store(MqEncoder* e, uint32_t byte) {
    if (e->s.writeIndex >= e->store.size()) e->store.resize(e->store.size() * 2 + 64);
    e->store[e->s.writeIndex++] = static_cast<uint8_t>(byte);
}

void byteOut(MqEncoder* e) {
    MqEncoderState& s = e->s;
    ++s.emitted;
    if (s.B == 0xFF) {
        store(e, s.B);
        s.B = s.C >> 20;
        s.C &= 0xFFFFF;
        s.CT = 7;
    } else if (s.C < 0x8000000u) {
        store(e, s.B);
        s.B = s.C >> 19;
        s.C &= 0x7FFFF;
        s.CT = 8;
    } else {
        s.B = (s.B + 1) & 0xFF;
        if (s.B == 0xFF) {
            s.C &= 0x7FFFFFF;
            store(e, s.B);
            s.B = s.C >> 20;
            s.C &= 0xFFFFF;
            s.CT = 7;
        } else {
            store(e, s.B);
            s.B = s.C >> 19;
            s.C &= 0x7FFFF;
            s.CT = 8;
        }
    }
}

void renormE(MqEncoder* e) {
    MqEncoderState& s = e->s;
    do {
        s.A <<= 1;
        s.C <<= 1;
        if (--s.CT == 0) byteOut(e);
    } while (!(s.A & 0x8000u));
}

void restartRegisters(MqEncoderState& s) {
    s.A = 0x8000;
    s.C = 0;
    s.CT = 12;
    s.B = 0;
    s.dropFirst = 1;
    s.emitted = 0;
    s.writeIndex = 0;
    s.readIndex = 0;
}

void flushFull(MqEncoder* e) {
    MqEncoderState& s = e->s;
    const uint32_t t = s.C + s.A;
    s.C |= 0xFFFF;
    if (s.C >= t) s.C -= 0x8000;
    s.C <<= s.CT;
    byteOut(e);
    s.C = (s.C | 0x7FFF) << s.CT;
    byteOut(e);
    s.C |= 0x7FFF;
    if (s.B == 0xFF) return;  // a final 0xFF is implied by the reader's 0xFF fill
    s.C <<= s.CT;
    byteOut(e);  // stores B; the byte formed now is not stored
}

void flushPredictable(MqEncoder* e) {
    MqEncoderState& s = e->s;
    int k = 12 - static_cast<int>(s.CT);
    while (k > 0) {
        s.C <<= s.CT;
        byteOut(e);
        k -= static_cast<int>(s.CT);
    }
    if (s.B == 0xFF) return;
    s.C <<= s.CT;
    byteOut(e);
}

// Shortest termination: pick, inside the final interval [C, C + A), the value
// with the longest run of trailing 1-bits, push it out with 1-bits shifted in
// behind it, and drop the trailing bytes that the reader's 0xFF fill
// reproduces (0xFF, and a 0x7F that follows a stuffed 0xFF).
void flushShortest(MqEncoder* e) {
    MqEncoderState& s = e->s;
    const uint64_t low = s.C;
    const uint64_t high = static_cast<uint64_t>(s.C) + s.A;
    uint64_t v = high - 1;
    for (int k = 32; k >= 0; --k) {
        const uint64_t cand = ((high >> k) << k);
        if (cand > low && cand >= 1) {
            v = cand - 1;
            break;
        }
    }
    s.C = static_cast<uint32_t>(v);
    for (int i = 0; i < 4; ++i) {
        const uint32_t ct = s.CT;
        s.C = (s.C << ct) | ((1u << ct) - 1);
        byteOut(e);
    }
    store(e, s.B);
    // Trim what the 1-fill of the reader gives back.  The dummy first byte
    // always stays.
    for (;;) {
        const uint32_t n = s.writeIndex;
        if (n <= 1) break;
        const uint8_t last = e->store[n - 1];
        if (last == 0xFF) {
            --s.writeIndex;
        } else if (last == 0x7F && n >= 3 && e->store[n - 2] == 0xFF) {
            --s.writeIndex;
        } else {
            break;
        }
    }
}

}  // namespace

void mqEncoderResetCtx(MqEncoder* e) {
    for (int i = 0; i < kContexts; ++i) {
        e->s.index[i] = static_cast<uint32_t>(owniInitialCtxIndexes_JPEG2K[i]);
        e->s.mps[i] = static_cast<uint32_t>(owniInitialMPS_JPEG2K[i]);
    }
}

void encBufReset(MqEncoder* e, uint32_t termMode) {
    restartRegisters(e->s);
    e->s.pendingTermination = 0;
    e->s.termMode = termMode;
    mqEncoderResetCtx(e);
    if (e->store.empty()) e->store.resize(256);
}

void mqEncoderEncode(MqEncoder* e, uint32_t d, int cx) {
    MqEncoderState& s = e->s;
    const Estimator& est = owniEstimator_JPEG2K[s.index[cx]];
    const uint32_t qe = est.qe;
    s.pendingTermination = 1;
    if (d == s.mps[cx]) {
        s.A -= qe;
        if (s.A & 0x8000u) {
            s.C += qe;
            return;
        }
        if (s.A < qe)
            s.A = qe;
        else
            s.C += qe;
        s.index[cx] = est.nmps;
        renormE(e);
    } else {
        s.A -= qe;
        if (s.A < qe)
            s.C += qe;
        else
            s.A = qe;
        if (est.sw) s.mps[cx] = 1 - s.mps[cx];
        s.index[cx] = est.nlps;
        renormE(e);
    }
}

void mqEncoderTerminate(MqEncoder* e) {
    e->s.pendingTermination = 0;
    switch (e->s.termMode) {
    case kTermPredictable: flushPredictable(e); break;
    case kTermShortest: flushShortest(e); break;
    default: flushFull(e); break;
    }
}

void mqEncoderCopyOut(MqEncoder* e, std::vector<uint8_t>* out) {
    MqEncoderState& s = e->s;
    if (s.dropFirst && s.readIndex < s.writeIndex) {
        ++s.readIndex;
        s.dropFirst = 0;
    }
    if (!s.dropFirst)
        out->insert(out->end(), e->store.begin() + s.readIndex, e->store.begin() + s.writeIndex);
    s.readIndex = s.writeIndex;
    if (!s.pendingTermination) {
        const uint32_t mode = s.termMode;
        restartRegisters(s);
        s.termMode = mode;
    }
}

std::vector<uint8_t> mqEncoderFinish(MqEncoder* e) {
    std::vector<uint8_t> out;
    mqEncoderTerminate(e);
    mqEncoderCopyOut(e, &out);
    return out;
}

}  // namespace mq
}  // namespace ozr
