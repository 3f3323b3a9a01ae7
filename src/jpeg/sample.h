// Level shift and sub-/up-sampling of planes: row kernels.
//
// The scalar kernels (namespace scalar) are the definition; the SSSE3 kernels
// give the same bytes for every width and alignment.  n is always the number
// of destination samples of the row.
//
//  * ownpj_Sub128Row:   d = s - 128.
//  * ownpj_Add128Row:   d = clamp(s + 128, 0, 255).
//  * ownpj_DownH2V1Row: d[k] = (s[2k] + s[2k+1] + 1) >> 1, reads s[0 .. 2n-1].
//  * ownpj_DownH2V2Row: d[k] = (a + b + c + d + 3) >> 2 over columns 2k, 2k+1
//                       of rows s0 and s1.
//  * ownpj_UpH2V1Row:   d[2k] = (3 s[k] + s[k-1] + 1) >> 2,
//                       d[2k+1] = (3 s[k] + s[k+1] + 2) >> 2; reads s[-1] and,
//                       for an even n, s[n/2] (one beyond those it doubles).
//  * ownpj_UpH2V2Row:   t[k] = 3 near[k] + far[k];
//                       d[2k] = (3 t[k] + t[k-1] + 8) >> 4,
//                       d[2k+1] = (3 t[k] + t[k+1] + 7) >> 4; reads columns
//                       as ownpj_UpH2V1Row does, in both rows.
//
// The 16-bit rows may sit at odd addresses (any byte step is allowed), so the
// kernels never assume alignment of 16-bit data.
#ifndef OZRJ_JPEG_SAMPLE_H
#define OZRJ_JPEG_SAMPLE_H

#include <cstdint>

namespace ozr {
namespace sample {

#define OZR_SAMPLE_KERNELS                                                           \
    void ownpj_Sub128Row(const uint8_t* s, int16_t* d, int n);                       \
    void ownpj_Add128Row(const int16_t* s, uint8_t* d, int n);                       \
    void ownpj_DownH2V1Row(const uint8_t* s, uint8_t* d, int n);                     \
    void ownpj_DownH2V2Row(const uint8_t* s0, const uint8_t* s1, uint8_t* d, int n); \
    void ownpj_UpH2V1Row(const uint8_t* s, uint8_t* d, int n);                       \
    void ownpj_UpH2V2Row(const uint8_t* nearRow, const uint8_t* farRow, uint8_t* d, int n);

namespace scalar {
OZR_SAMPLE_KERNELS
}  // namespace scalar

namespace ssse3 {
OZR_SAMPLE_KERNELS
}  // namespace ssse3

#undef OZR_SAMPLE_KERNELS

}  // namespace sample
}  // namespace ozr

#endif  // OZRJ_JPEG_SAMPLE_H
