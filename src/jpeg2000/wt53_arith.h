// Scalar lifting arithmetic of the 5/3 kernels, per sample type and mode
// (see wt53.h).  Shared by the scalar kernels and the vector kernels' tails.
#ifndef OZRJ_JPEG2000_WT53_ARITH_H
#define OZRJ_JPEG2000_WT53_ARITH_H

#include <cstdint>

namespace ozr {
namespace wt53 {

template <class T, bool Wrap>
struct Arith;

// 32-bit: wrapping sums (done unsigned), arithmetic shifts.
template <bool Wrap>
struct Arith<int32_t, Wrap> {
    static int32_t avg(int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)) >> 1;
    }
    static int32_t upd(int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b) + 2u) >> 2;
    }
    static int32_t add(int32_t x, int32_t d) {
        return static_cast<int32_t>(static_cast<uint32_t>(x) + static_cast<uint32_t>(d));
    }
    static int32_t sub(int32_t x, int32_t d) {
        return static_cast<int32_t>(static_cast<uint32_t>(x) - static_cast<uint32_t>(d));
    }
};

// 16-bit, sums in 32 bits, results stored in 16 bits.
template <>
struct Arith<int16_t, false> {
    static int32_t avg(int32_t a, int32_t b) { return (a + b) >> 1; }
    static int32_t upd(int32_t a, int32_t b) { return (a + b + 2) >> 2; }
    static int16_t add(int32_t x, int32_t d) { return static_cast<int16_t>(x + d); }
    static int16_t sub(int32_t x, int32_t d) { return static_cast<int16_t>(x - d); }
};

// 16-bit wrapping: every sum wraps to 16 bits before its shift.
template <>
struct Arith<int16_t, true> {
    static int32_t avg(int32_t a, int32_t b) { return static_cast<int16_t>(a + b) >> 1; }
    static int32_t upd(int32_t a, int32_t b) { return static_cast<int16_t>(a + b + 2) >> 2; }
    static int16_t add(int32_t x, int32_t d) { return static_cast<int16_t>(x + d); }
    static int16_t sub(int32_t x, int32_t d) { return static_cast<int16_t>(x - d); }
};

}  // namespace wt53
}  // namespace ozr

#endif  // OZRJ_JPEG2000_WT53_ARITH_H
