// Scalar definitions of the forward DCT and quantization kernels.  Every
// 16-bit lane operation of the vector forms is spelled out here (saturating
// add/sub, wrapping shift, pmulhw, pmaddwd with 32-bit wrap), so these loops
// are the reference the SSSE3 code must reproduce bit for bit.
#include <cmath>
#include <cstring>

#include "jpeg/dct.h"

namespace ozr {
namespace dct {

void scaleRawTable(uint8_t table[64], int quality) {
    // 64-bit arithmetic: any quality above 100 gives a negative scale and
    // every entry 1, however large the quality.
    const int64_t q = quality;
    const int64_t s = q < 50 ? 5000 / q : 200 - 2 * q;
    for (int i = 0; i < 64; ++i) {
        int64_t v = (int64_t{table[i]} * s + 50) / 100;
        if (v > 255) v = 255;
        if (v < 1) v = 1;
        table[i] = static_cast<uint8_t>(v);
    }
}

namespace scalar {
namespace {

// ---- 16-bit lane primitives
inline int16_t sat16(int32_t v) {
    return static_cast<int16_t>(v > 32767 ? 32767 : (v < -32768 ? -32768 : v));
}
inline int16_t adds(int16_t a, int16_t b) {
    return sat16(int32_t{a} + b);
}
inline int16_t subs(int16_t a, int16_t b) {
    return sat16(int32_t{a} - b);
}
inline int16_t shl(int16_t a, int n) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint16_t>(a) << n));
}
inline int16_t mulhi(int16_t a, int16_t b) {
    return static_cast<int16_t>((int32_t{a} * b) >> 16);
}
inline int16_t or1(int16_t a) {
    return static_cast<int16_t>(a | 1);
}
// One half of a pmaddwd: a*m0 + b*m1 with the 32-bit wrap of the instruction.
inline uint32_t madd(const int16_t* m, int16_t a, int16_t b) {
    return static_cast<uint32_t>(int32_t{m[0]} * a) + static_cast<uint32_t>(int32_t{m[1]} * b);
}

// Column pass on one column: x[0..7] are rows 0..7, y[0..7] frequencies 0..7.
void columnPass(const int16_t x[8], int16_t y[8]) {
    int16_t t0 = adds(x[0], x[7]), t7 = subs(x[0], x[7]);
    int16_t t1 = adds(x[1], x[6]), t6 = subs(x[1], x[6]);
    int16_t t2 = adds(x[2], x[5]), t5 = subs(x[2], x[5]);
    int16_t t3 = adds(x[3], x[4]), t4 = subs(x[3], x[4]);
    t0 = shl(t0, 3), t1 = shl(t1, 3), t2 = shl(t2, 3), t3 = shl(t3, 3);
    t4 = shl(t4, 3), t7 = shl(t7, 3), t5 = shl(t5, 4), t6 = shl(t6, 4);

    const int16_t p03 = adds(t0, t3), m03 = subs(t0, t3);
    const int16_t p12 = adds(t1, t2), m12 = subs(t1, t2);
    y[0] = adds(p03, p12);
    y[4] = subs(p03, p12);
    y[2] = adds(m03, or1(mulhi(m12, kTg2)));
    y[6] = subs(or1(mulhi(m03, kTg2)), m12);

    const int16_t u6 = or1(mulhi(adds(t6, t5), kCos4));
    const int16_t u5 = or1(mulhi(subs(t6, t5), kCos4));
    const int16_t q4 = adds(t4, u5), q5 = subs(t4, u5);
    const int16_t q7 = adds(t7, u6), q6 = subs(t7, u6);
    y[1] = adds(q7, mulhi(q4, kTg1));
    y[7] = subs(mulhi(q7, kTg1), q4);
    y[5] = adds(q5, adds(mulhi(q6, kTg3m1), q6));
    y[3] = subs(q6, adds(mulhi(q5, kTg3m1), q5));
}

// Row pass on one row of column outputs y[0..7] (horizontal index x),
// giving F(u, v) for u = 0..7 with the table of row v.
//
// Groups g0..g7 of the table (four multipliers each) feed the outputs so:
//   F0 = g0.lo(e0,e1) + g2.lo(e2,e3)   F1 = g0.hi(o0,o1) + g2.hi(o2,o3)
//   F2 = g3.lo(e0,e1) + g1.lo(e2,e3)   F3 = g3.hi(o0,o1) + g1.hi(o2,o3)
//   F4 = g4.lo(e0,e1) + g6.lo(e2,e3)   F5 = g4.hi(o0,o1) + g6.hi(o2,o3)
//   F6 = g7.lo(e0,e1) + g5.lo(e2,e3)   F7 = g7.hi(o0,o1) + g5.hi(o2,o3)
void rowPass(const int16_t y[8], const int16_t* tab, int16_t out[8]) {
    int16_t e[4], o[4];
    for (int k = 0; k < 4; ++k) {
        e[k] = adds(y[k], y[7 - k]);
        o[k] = subs(y[k], y[7 - k]);
    }
    auto g = [tab](int group, int half) { return tab + 4 * group + 2 * half; };
    uint32_t f[8];
    f[0] = madd(g(0, 0), e[0], e[1]) + madd(g(2, 0), e[2], e[3]);
    f[1] = madd(g(0, 1), o[0], o[1]) + madd(g(2, 1), o[2], o[3]);
    f[2] = madd(g(3, 0), e[0], e[1]) + madd(g(1, 0), e[2], e[3]);
    f[3] = madd(g(3, 1), o[0], o[1]) + madd(g(1, 1), o[2], o[3]);
    f[4] = madd(g(4, 0), e[0], e[1]) + madd(g(6, 0), e[2], e[3]);
    f[5] = madd(g(4, 1), o[0], o[1]) + madd(g(6, 1), o[2], o[3]);
    f[6] = madd(g(7, 0), e[0], e[1]) + madd(g(5, 0), e[2], e[3]);
    f[7] = madd(g(7, 1), o[0], o[1]) + madd(g(5, 1), o[2], o[3]);
    for (int u = 0; u < 8; ++u) {
        // The accumulator wraps as 32-bit sums do; the rounding term is added
        // to its value without a further wrap (the result lies in -2048..2048).
        const int64_t r = int64_t{static_cast<int32_t>(f[u])} + kRowRound;
        out[u] = sat16(static_cast<int32_t>(r >> kRowShift));
    }
}

// ---- single precision
void butterfly32f(const float x[8], float z[8]) {
    const float t0 = x[0] + x[7], t7 = x[0] - x[7];
    const float t1 = x[1] + x[6], t6 = x[1] - x[6];
    const float t2 = x[2] + x[5], t5 = x[2] - x[5];
    const float t3 = x[3] + x[4], t4 = x[3] - x[4];

    const float p03 = t0 + t3, m03 = t0 - t3;
    const float p12 = t1 + t2, m12 = t1 - t2;
    z[0] = p03 + p12;
    z[4] = p03 - p12;
    const float z1 = (m12 + m03) * kF_Cos4;
    z[2] = m03 + z1;
    z[6] = m03 - z1;

    const float a10 = t4 + t5, a11 = t5 + t6, a12 = t6 + t7;
    const float z2 = a10 - a12 * kF_Tan8;
    const float z4 = a12 + a10 * kF_Tan8;
    const float z3 = a11 * kF_Cos4OverCos8;
    const float w = t7 * kF_InvCos8;
    const float z11 = w + z3, z13 = w - z3;
    z[5] = z13 + z2;
    z[3] = z13 - z2;
    z[1] = z11 + z4;
    z[7] = z11 - z4;
}

}  // namespace

void fdct16s(const int16_t* src, int16_t* dst) {
    int16_t col[8][8];  // col[v][x]: frequency v of column x
    for (int x = 0; x < 8; ++x) {
        int16_t in[8], out[8];
        for (int r = 0; r < 8; ++r) in[r] = src[8 * r + x];
        columnPass(in, out);
        for (int v = 0; v < 8; ++v) col[v][x] = out[v];
    }
    for (int v = 0; v < 8; ++v) rowPass(col[v], kRowTables[kRowPair[v]], dst + 8 * v);
}

void quantEven(int16_t* blk, const uint16_t* table) {
    for (int i = 0; i < 64; ++i) {
        const int32_t p = int32_t{blk[i]} * int32_t{table[i]};
        blk[i] = sat16((p + 16383 + ((p >> 15) & 1)) >> 15);
    }
}

void quantHalfUp(int16_t* blk, const uint16_t* table) {
    for (int i = 0; i < 64; ++i) {
        const int16_t a = shl(blk[i], 3);
        const int16_t b = static_cast<int16_t>(table[i] >> 1);
        const int16_t p = mulhi(a, b);
        blk[i] = static_cast<int16_t>((p + 1) >> 1);
    }
}

void fdctQuant16s(const int16_t* src, int16_t* dst, const uint16_t* table) {
    fdct16s(src, dst);
    if (table) quantEven(dst, table);
}

void fdctQuantLS8u(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
    int16_t blk[64];
    for (int r = 0; r < 8; ++r) {
        const uint8_t* row = src + static_cast<std::ptrdiff_t>(srcStep) * r;
        for (int x = 0; x < 8; ++x) blk[8 * r + x] = static_cast<int16_t>(row[x] - 128);
    }
    fdctQuant16s(blk, dst, table);
}

void fdctLS16u(const uint16_t* src, int srcStep, float* out) {
    float v[8][8];  // v[freq][x] after the vertical pass
    for (int x = 0; x < 8; ++x) {
        float in[8], z[8];
        for (int r = 0; r < 8; ++r) {
            uint16_t s;
            std::memcpy(
                &s, reinterpret_cast<const uint8_t*>(src) + static_cast<std::ptrdiff_t>(srcStep) * r + 2 * x,
                2);
            in[r] = static_cast<float>(static_cast<int16_t>(s)) - 2048.0f;
        }
        butterfly32f(in, z);
        for (int k = 0; k < 8; ++k) v[k][x] = z[k];
    }
    for (int k = 0; k < 8; ++k) {
        float z[8];
        butterfly32f(v[k], z);
        for (int u = 0; u < 8; ++u) out[8 * k + u] = z[u] * kNorm2D.v[8 * k + u];
    }
}

void fdctQuantLS16u(const uint16_t* src, int srcStep, int16_t* dst, const float* table) {
    float f[64];
    fdctLS16u(src, srcStep, f);
    for (int i = 0; i < 64; ++i) {
        float q = f[i] * table[i];
        q = q < 32767.0f ? q : 32767.0f;    // minps: a NaN takes the bound
        q = q > -32768.0f ? q : -32768.0f;  // maxps
        dst[i] = static_cast<int16_t>(std::nearbyint(q));
    }
}

}  // namespace scalar
}  // namespace dct
}  // namespace ozr
