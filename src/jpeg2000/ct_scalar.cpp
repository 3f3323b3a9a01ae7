// Scalar component-transform kernels: the definitions of ct_ssse3.cpp.
#include <algorithm>

#include "jpeg2000/ct.h"

namespace ozr {
namespace ct {
namespace scalar {
namespace {

inline int32_t wrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t wrapMul(int32_t a, int32_t c) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(c));
}
inline int16_t sat16(int32_t v) { return static_cast<int16_t>(std::min(32767, std::max(-32768, v))); }

}  // namespace

template <>
void rctFwd<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t r = s0[i], g = s1[i], b = s2[i];
        d0[i] = static_cast<int16_t>((r + 2 * g + b) >> 2);
        d1[i] = static_cast<int16_t>(b - g);
        d2[i] = static_cast<int16_t>(r - g);
    }
}

template <>
void rctFwd<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t r = s0[i], g = s1[i], b = s2[i];
        d0[i] = wrapAdd(wrapAdd(r, wrapAdd(g, g)), b) >> 2;
        d1[i] = wrapSub(b, g);
        d2[i] = wrapSub(r, g);
    }
}

template <>
void rctInv<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t y = s0[i], cb = s1[i], cr = s2[i];
        const int32_t g = y - ((cb + cr) >> 2);
        d0[i] = static_cast<int16_t>(cr + g);
        d1[i] = static_cast<int16_t>(g);
        d2[i] = static_cast<int16_t>(cb + g);
    }
}

template <>
void rctInv<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t y = s0[i], cb = s1[i], cr = s2[i];
        const int32_t g = wrapSub(y, wrapAdd(cb, cr) >> 2);
        d0[i] = wrapAdd(cr, g);
        d1[i] = g;
        d2[i] = wrapAdd(cb, g);
    }
}

template <>
void ictFwd<float>(const float* s0, const float* s1, const float* s2, float* d0, float* d1, float* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const float r = s0[i], g = s1[i], b = s2[i];
        d0[i] = 0.299f * r + 0.587f * g + 0.114f * b;
        d1[i] = -0.16875f * r + -0.33126f * g + 0.5f * b;
        d2[i] = 0.5f * r + -0.41869f * g + -0.08131f * b;
    }
}

template <>
void ictInv<float>(const float* s0, const float* s1, const float* s2, float* d0, float* d1, float* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const float y = s0[i], cb = s1[i], cr = s2[i];
        d0[i] = y + 1.402f * cr;
        d1[i] = (cb * -0.34413f + cr * -0.71414f) + y;
        d2[i] = y + 1.772f * cb;
    }
}

template <>
void ictFwd<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t r = s0[i], g = s1[i], b = s2[i];
        d0[i] = wrapAdd(wrapAdd(wrapAdd(wrapMul(r, 4899), wrapMul(g, 9617)), wrapMul(b, 1868)), 8192) >> 14;
        d1[i] = wrapAdd(wrapAdd(wrapAdd(wrapMul(r, -2765), wrapMul(g, -5427)), wrapMul(b, 8192)), 8192) >> 14;
        d2[i] = wrapAdd(wrapAdd(wrapAdd(wrapMul(r, 8192), wrapMul(g, -6860)), wrapMul(b, -1332)), 8192) >> 14;
    }
}

template <>
void ictInv<int32_t>(const int32_t* s0, const int32_t* s1, const int32_t* s2, int32_t* d0, int32_t* d1,
                     int32_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t y = s0[i], cb = s1[i], cr = s2[i];
        d0[i] = wrapAdd(y, wrapAdd(wrapMul(cr, 22970), 8192) >> 14);
        d1[i] = wrapAdd(y, wrapAdd(wrapAdd(wrapMul(cb, -5638), wrapMul(cr, -11700)), 8192) >> 14);
        d2[i] = wrapAdd(y, wrapAdd(wrapMul(cb, 29032), 8192) >> 14);
    }
}

template <>
void ictFwd<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t r = s0[i], g = s1[i], b = s2[i];
        const int32_t s = 4899 * r + 9617 * g + 1868 * b;
        const int32_t db = static_cast<int16_t>((b * 16384 - s + 8192) >> 14);
        const int32_t dr = static_cast<int16_t>((r * 16384 - s + 8192) >> 14);
        d0[i] = sat16((s + 8192) >> 14);
        d1[i] = sat16((db * 9246 + 8192) >> 14);
        d2[i] = sat16((dr * 11686 + 8192) >> 14);
    }
}

template <>
void ictInv<int16_t>(const int16_t* s0, const int16_t* s1, const int16_t* s2, int16_t* d0, int16_t* d1,
                     int16_t* d2, int n) {
    for (int i = 0; i < n; ++i) {
        const int32_t y = s0[i], cb = s1[i], cr = s2[i];
        d0[i] = sat16(y + ((22970 * cr + 8192) >> 14));
        d1[i] = sat16(y - ((5638 * cb + 11700 * cr + 8192) >> 14));
        d2[i] = sat16(y + ((29032 * cb + 8192) >> 14));
    }
}

}  // namespace scalar
}  // namespace ct
}  // namespace ozr
