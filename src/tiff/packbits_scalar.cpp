// PackBits packet planning, byte by byte: the definition of the packer.
#include "tiff/packbits.h"

namespace ozr {
namespace tiff {
namespace scalar {

Packet planPacket(const uint8_t* s, int n) {
    const int limit = n < kMaxPacketRun ? n : kMaxPacketRun;
    int c;
    if (n >= 2 && s[0] == s[1]) {
        for (c = 2; c < limit && s[c] == s[0];) ++c;
        return {c, true};
    }
    for (c = 1; c < limit; ++c) {
        if (c + 2 < n && s[c] == s[c + 1] && s[c + 1] == s[c + 2]) break;  // three equal
        if (c + 2 == n && s[c] == s[c + 1]) break;                          // the row's last pair
    }
    return {c, false};
}

OzrStatus packBitsRow(const uint8_t* src, int n, uint8_t* dst, int* pos, int room) {
    return packRowWith(src, n, dst, pos, room, [](const uint8_t* s, int left, int) { return planPacket(s, left); });
}

}  // namespace scalar
}  // namespace tiff
}  // namespace ozr
