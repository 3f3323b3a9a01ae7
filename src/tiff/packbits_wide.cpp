// PackBits packet planning eight bytes at a time, and the dispatching row packer.
#include "tiff/packbits.h"

namespace ozr {
namespace tiff {
namespace {

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kHighs = 0x8080808080808080ull;

inline uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Index (0..7) of the lowest zero byte of v, or 8 when there is none.  The
// borrow trick may flag bytes above the first zero, never below it.
inline int firstZeroByte(uint64_t v) {
    const uint64_t z = (v - kOnes) & ~v & kHighs;
    return z ? __builtin_ctzll(z) >> 3 : 8;
}

// The word plan, inlined into the row loop below.
inline Packet planWords(const uint8_t* s, int n) {
    const int limit = n < kMaxPacketRun ? n : kMaxPacketRun;
    int c;
    if (n >= 2 && s[0] == s[1]) {
        const uint64_t pattern = s[0] * kOnes;
        for (c = 2; c + 8 <= limit; c += 8) {
            const uint64_t diff = load64(s + c) ^ pattern;
            if (diff) return {c + (__builtin_ctzll(diff) >> 3), true};
        }
        while (c < limit && s[c] == s[0]) ++c;
        return {c, true};
    }
    // Byte j of (w0 ^ w1) | (w1 ^ w2) is zero exactly when s[c+j], s[c+j+1]
    // and s[c+j+2] are equal.  Words are taken while all three loads lie
    // inside the row, so every position they cover has two more bytes after
    // it and only the three-equal rule applies there.
    for (c = 1; c < limit && c + 10 <= n; c += 8) {
        const uint64_t w0 = load64(s + c), w1 = load64(s + c + 1), w2 = load64(s + c + 2);
        const int j = firstZeroByte((w0 ^ w1) | (w1 ^ w2));
        if (j < 8) return {c + j < limit ? c + j : limit, false};
    }
    if (c >= limit) return {limit, false};
    for (; c < limit; ++c) {
        if (c + 2 < n && s[c] == s[c + 1] && s[c + 1] == s[c + 2]) break;
        if (c + 2 == n && s[c] == s[c + 1]) break;
    }
    return {c, false};
}

}  // namespace

Packet wide::planPacket(const uint8_t* s, int n) { return planWords(s, n); }

OzrStatus packBitsRow(const uint8_t* src, int n, uint8_t* dst, int* pos, int room) {
    return packRowWith(src, n, dst, pos, room, [](const uint8_t* s, int left, int roomLeft) {
        // With more than 127 source bytes and room for the biggest packet the
        // word scan runs without bound tests on the output.
        return (left > kMaxPacketRun - 1 && roomLeft > kMaxPacketRun) ? planWords(s, left)
                                                                     : scalar::planPacket(s, left);
    });
}

}  // namespace tiff
}  // namespace ozr
