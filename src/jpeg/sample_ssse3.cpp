// Level shift and sampling of planes, SSSE3 kernels.  sample_scalar.cpp is the
// definition; these give the same bytes.  Rows go 16 (or 32) outputs per step,
// then 8 and 4, and finish with the scalar loop; no step reads a sample that
// the scalar loop would not read.
#include <tmmintrin.h>

#include <cstddef>
#include <cstring>

#include "jpeg/sample.h"

namespace ozr {
namespace sample {
namespace ssse3 {

namespace {
inline __m128i loadu(const void* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load8(const void* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load4(const void* p) {
    int x;
    std::memcpy(&x, p, 4);
    return _mm_cvtsi32_si128(x);
}
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
inline void store4(void* p, __m128i v) {
    const int x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, 4);
}
inline __m128i load2(const void* p) {
    uint16_t x;
    std::memcpy(&x, p, 2);
    return _mm_cvtsi32_si128(x);
}

// 3*a + b per byte pair, in 16-bit lanes: (a, b) interleaved times (3, 1).
inline __m128i near3(__m128i ab) { return _mm_maddubs_epi16(ab, _mm_set1_epi16(0x0103)); }
}  // namespace

void ownpj_Sub128Row(const uint8_t* s, int16_t* d, int n) {
    const __m128i z = _mm_setzero_si128(), k = _mm_set1_epi16(128);
    std::ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i v = loadu(s + i);
        storeu(d + i, _mm_sub_epi16(_mm_unpacklo_epi8(v, z), k));
        storeu(d + i + 8, _mm_sub_epi16(_mm_unpackhi_epi8(v, z), k));
    }
    if (i + 8 <= n) {
        storeu(d + i, _mm_sub_epi16(_mm_unpacklo_epi8(load8(s + i), z), k));
        i += 8;
    }
    if (i + 4 <= n) {
        store8(d + i, _mm_sub_epi16(_mm_unpacklo_epi8(load4(s + i), z), k));
        i += 4;
    }
    if (i < n) scalar::ownpj_Sub128Row(s + i, d + i, n - i);
}

void ownpj_Add128Row(const int16_t* s, uint8_t* d, int n) {
    // Signed saturation to -128..127 then flipping the top bit is v + 128
    // clamped to 0..255.
    const __m128i flip = _mm_set1_epi8(static_cast<char>(0x80));
    std::ptrdiff_t i = 0;
    for (; i + 16 <= n; i += 16) storeu(d + i, _mm_xor_si128(_mm_packs_epi16(loadu(s + i), loadu(s + i + 8)), flip));
    if (i + 8 <= n) {
        const __m128i v = loadu(s + i);
        store8(d + i, _mm_xor_si128(_mm_packs_epi16(v, v), flip));
        i += 8;
    }
    if (i + 4 <= n) {
        const __m128i v = load8(s + i);
        store4(d + i, _mm_xor_si128(_mm_packs_epi16(v, v), flip));
        i += 4;
    }
    if (i < n) scalar::ownpj_Add128Row(s + i, d + i, n - i);
}

void ownpj_DownH2V1Row(const uint8_t* s, uint8_t* d, int n) {
    const __m128i ones = _mm_set1_epi8(1), r = _mm_set1_epi16(1);
    auto half = [&](__m128i v) { return _mm_srli_epi16(_mm_add_epi16(_mm_maddubs_epi16(v, ones), r), 1); };
    std::ptrdiff_t k = 0;
    for (; k + 16 <= n; k += 16) storeu(d + k, _mm_packus_epi16(half(loadu(s + 2 * k)), half(loadu(s + 2 * k + 16))));
    if (k + 8 <= n) {
        const __m128i v = half(loadu(s + 2 * k));
        store8(d + k, _mm_packus_epi16(v, v));
        k += 8;
    }
    if (k + 4 <= n) {
        const __m128i v = half(load8(s + 2 * k));
        store4(d + k, _mm_packus_epi16(v, v));
        k += 4;
    }
    if (k < n) scalar::ownpj_DownH2V1Row(s + 2 * k, d + k, n - k);
}

void ownpj_DownH2V2Row(const uint8_t* s0, const uint8_t* s1, uint8_t* d, int n) {
    const __m128i ones = _mm_set1_epi8(1), r = _mm_set1_epi16(3);
    auto quarter = [&](__m128i a, __m128i b) {
        const __m128i sum = _mm_add_epi16(_mm_maddubs_epi16(a, ones), _mm_maddubs_epi16(b, ones));
        return _mm_srli_epi16(_mm_add_epi16(sum, r), 2);
    };
    std::ptrdiff_t k = 0;
    for (; k + 16 <= n; k += 16) {
        const __m128i lo = quarter(loadu(s0 + 2 * k), loadu(s1 + 2 * k));
        const __m128i hi = quarter(loadu(s0 + 2 * k + 16), loadu(s1 + 2 * k + 16));
        storeu(d + k, _mm_packus_epi16(lo, hi));
    }
    if (k + 8 <= n) {
        const __m128i v = quarter(loadu(s0 + 2 * k), loadu(s1 + 2 * k));
        store8(d + k, _mm_packus_epi16(v, v));
        k += 8;
    }
    if (k + 4 <= n) {
        const __m128i v = quarter(load8(s0 + 2 * k), load8(s1 + 2 * k));
        store4(d + k, _mm_packus_epi16(v, v));
        k += 4;
    }
    if (k < n) scalar::ownpj_DownH2V2Row(s0 + 2 * k, s1 + 2 * k, d + k, n - k);
}

void ownpj_UpH2V1Row(const uint8_t* s, uint8_t* d, int n) {
    // An odd destination address takes the scalar loop for the whole row.
    if (reinterpret_cast<uintptr_t>(d) & 1) {
        scalar::ownpj_UpH2V1Row(s, d, n);
        return;
    }
    const __m128i r1 = _mm_set1_epi16(1), r2 = _mm_set1_epi16(2);
    std::ptrdiff_t k = 0;
    // 32 outputs from source samples k .. k+15 (reading k-1 .. k+16).
    for (; 2 * k + 32 <= n; k += 16) {
        const __m128i c = loadu(s + k), p = loadu(s + k - 1), x = loadu(s + k + 1);
        const __m128i eLo = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpacklo_epi8(c, p)), r1), 2);
        const __m128i eHi = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpackhi_epi8(c, p)), r1), 2);
        const __m128i oLo = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpacklo_epi8(c, x)), r2), 2);
        const __m128i oHi = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpackhi_epi8(c, x)), r2), 2);
        const __m128i e = _mm_packus_epi16(eLo, eHi), o = _mm_packus_epi16(oLo, oHi);
        storeu(d + 2 * k, _mm_unpacklo_epi8(e, o));
        storeu(d + 2 * k + 16, _mm_unpackhi_epi8(e, o));
    }
    // 16, 8 and 4 outputs from 8, 4 and 2 source samples.
    auto few = [&](auto load, auto store, int m) {
        const __m128i c = load(s + k), p = load(s + k - 1), x = load(s + k + 1);
        const __m128i ev = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpacklo_epi8(c, p)), r1), 2);
        const __m128i od = _mm_srli_epi16(_mm_add_epi16(near3(_mm_unpacklo_epi8(c, x)), r2), 2);
        store(d + 2 * k, _mm_unpacklo_epi8(_mm_packus_epi16(ev, ev), _mm_packus_epi16(od, od)));
        k += m;
    };
    if (2 * k + 16 <= n) few(load8, storeu, 8);
    if (2 * k + 8 <= n) few(load4, store8, 4);
    if (2 * k + 4 <= n) few(load2, store4, 2);
    if (2 * k < n) scalar::ownpj_UpH2V1Row(s + k, d + 2 * k, n - 2 * k);
}

void ownpj_UpH2V2Row(const uint8_t* nearRow, const uint8_t* farRow, uint8_t* d, int n) {
    const __m128i r8 = _mm_set1_epi16(8), r7 = _mm_set1_epi16(7);
    auto outputs = [&](__m128i tc, __m128i tp, __m128i tn, __m128i* ev, __m128i* od) {
        const __m128i t3 = _mm_add_epi16(_mm_add_epi16(tc, tc), tc);
        *ev = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(t3, tp), r8), 4);
        *od = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(t3, tn), r7), 4);
    };
    std::ptrdiff_t k = 0;
    for (; 2 * k + 32 <= n; k += 16) {
        const __m128i nc = loadu(nearRow + k), np = loadu(nearRow + k - 1), nn = loadu(nearRow + k + 1);
        const __m128i fc = loadu(farRow + k), fp = loadu(farRow + k - 1), fn = loadu(farRow + k + 1);
        __m128i eLo, oLo, eHi, oHi;
        outputs(near3(_mm_unpacklo_epi8(nc, fc)), near3(_mm_unpacklo_epi8(np, fp)), near3(_mm_unpacklo_epi8(nn, fn)),
                &eLo, &oLo);
        outputs(near3(_mm_unpackhi_epi8(nc, fc)), near3(_mm_unpackhi_epi8(np, fp)), near3(_mm_unpackhi_epi8(nn, fn)),
                &eHi, &oHi);
        const __m128i e = _mm_packus_epi16(eLo, eHi), o = _mm_packus_epi16(oLo, oHi);
        storeu(d + 2 * k, _mm_unpacklo_epi8(e, o));
        storeu(d + 2 * k + 16, _mm_unpackhi_epi8(e, o));
    }
    auto few = [&](auto load, auto store, int m) {
        __m128i ev, od;
        outputs(near3(_mm_unpacklo_epi8(load(nearRow + k), load(farRow + k))),
                near3(_mm_unpacklo_epi8(load(nearRow + k - 1), load(farRow + k - 1))),
                near3(_mm_unpacklo_epi8(load(nearRow + k + 1), load(farRow + k + 1))), &ev, &od);
        store(d + 2 * k, _mm_unpacklo_epi8(_mm_packus_epi16(ev, ev), _mm_packus_epi16(od, od)));
        k += m;
    };
    if (2 * k + 16 <= n) few(load8, storeu, 8);
    if (2 * k + 8 <= n) few(load4, store8, 4);
    if (2 * k + 4 <= n) few(load2, store4, 2);
    if (2 * k < n) scalar::ownpj_UpH2V2Row(nearRow + k, farRow + k, d + 2 * k, n - 2 * k);
}

}  // namespace ssse3
}  // namespace sample
}  // namespace ozr
