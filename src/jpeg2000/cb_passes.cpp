// Context tables of the code-block decoder, and the choice between the two
// builds of its coding passes (cb.h).
#include "core/frame.h"
#include "jpeg2000/cb.h"

namespace ozr {
namespace cb {
namespace {

constexpr int32_t labelLxHy(int h, int v, int d) {
    if (h == 2) return 8;
    if (h == 1) return v >= 1 ? 7 : d >= 1 ? 6 : 5;
    if (v == 2) return 4;
    if (v == 1) return 3;
    return d >= 2 ? 2 : d == 1 ? 1 : 0;
}

constexpr int32_t labelHxHy(int hv, int d) {
    if (d >= 3) return 8;
    if (d == 2) return hv >= 1 ? 7 : 6;
    if (d == 1) return hv >= 2 ? 5 : hv == 1 ? 4 : 3;
    return hv >= 2 ? 2 : hv == 1 ? 1 : 0;
}

constexpr int contribution(int sig, int neg) { return sig ? (neg ? -1 : 1) : 0; }
constexpr int clamp1(int v) { return v > 1 ? 1 : v < -1 ? -1 : v; }

constexpr ContextTables buildTables() {
    ContextTables t{};
    for (int i = 0; i < 256; ++i) {
        const int v = (i & 1) + ((i >> 1) & 1);
        const int h = ((i >> 2) & 1) + ((i >> 3) & 1);
        const int d = ((i >> 4) & 1) + ((i >> 5) & 1) + ((i >> 6) & 1) + ((i >> 7) & 1);
        t.ZeroCodingLUT_LxHy[i] = 2 + labelLxHy(h, v, d);
        t.ZeroCodingLUT_HxLy[i] = 2 + labelLxHy(v, h, d);
        t.ZeroCodingLUT_HxHy[i] = 2 + labelHxHy(h + v, d);
        // Sign index: bits 0..3 significance of N, S, W, E; bits 4..7 their signs.
        const int hc = clamp1(contribution(i & 4, i & 0x40) + contribution(i & 8, i & 0x80));
        const int vc = clamp1(contribution(i & 1, i & 0x10) + contribution(i & 2, i & 0x20));
        int label = 0;
        uint32_t flip = 0;
        if (hc == 0) {
            label = vc == 0 ? 9 : 10;
            flip = vc < 0;
        } else {
            label = vc == hc ? 13 : vc == 0 ? 12 : 11;
            flip = hc < 0;
        }
        t.SignCodingLUT[i] = static_cast<uint32_t>(label + 2) | (flip << 31);
    }
    for (int i = 0; i < 512; ++i) t.MagnRefineLUT[i] = i >= 256 ? 18 : i == 0 ? 16 : 17;
    return t;
}

}  // namespace

const ContextTables kContextTables = buildTables();

// The AVX2 build of the passes where the processor has it (BMI1/BMI2 bit
// operations, shifts that leave the count register free), else the baseline
// build: the same source, the same results.
bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len) {
    if (cpuHasAvx2()) return avx2::decodeSegment(s, seg, len);
    return kernel::decodeSegment(s, seg, len);
}

}  // namespace cb
}  // namespace ozr
