// Level shift and sampling of planes, scalar kernels: the definition.
#include <cstddef>
#include <cstring>

#include "jpeg/sample.h"

namespace ozr {
namespace sample {
namespace scalar {

namespace {
inline int16_t load16(const int16_t* p) {
    int16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store16(int16_t* p, int16_t v) { std::memcpy(p, &v, sizeof v); }
}  // namespace

void ownpj_Sub128Row(const uint8_t* s, int16_t* d, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) store16(d + i, static_cast<int16_t>(s[i] - 128));
}

void ownpj_Add128Row(const int16_t* s, uint8_t* d, int n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const int v = load16(s + i) + 128;
        d[i] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
}

void ownpj_DownH2V1Row(const uint8_t* s, uint8_t* d, int n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = static_cast<uint8_t>((s[2 * k] + s[2 * k + 1] + 1) >> 1);
}

void ownpj_DownH2V2Row(const uint8_t* s0, const uint8_t* s1, uint8_t* d, int n) {
    for (std::ptrdiff_t k = 0; k < n; ++k)
        d[k] = static_cast<uint8_t>((s0[2 * k] + s0[2 * k + 1] + s1[2 * k] + s1[2 * k + 1] + 3) >> 2);
}

void ownpj_UpH2V1Row(const uint8_t* s, uint8_t* d, int n) {
    for (std::ptrdiff_t k = 0; 2 * k < n; ++k) {
        const int c3 = 3 * s[k];
        d[2 * k] = static_cast<uint8_t>((c3 + s[k - 1] + 1) >> 2);
        if (2 * k + 1 < n) d[2 * k + 1] = static_cast<uint8_t>((c3 + s[k + 1] + 2) >> 2);
    }
}

void ownpj_UpH2V2Row(const uint8_t* nearRow, const uint8_t* farRow, uint8_t* d, int n) {
    auto t = [&](std::ptrdiff_t k) { return 3 * nearRow[k] + farRow[k]; };
    for (std::ptrdiff_t k = 0; 2 * k < n; ++k) {
        const int c3 = 3 * t(k);
        d[2 * k] = static_cast<uint8_t>((c3 + t(k - 1) + 8) >> 4);
        if (2 * k + 1 < n) d[2 * k + 1] = static_cast<uint8_t>((c3 + t(k + 1) + 7) >> 4);
    }
}

}  // namespace scalar
}  // namespace sample
}  // namespace ozr
