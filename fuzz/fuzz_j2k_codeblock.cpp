// Fuzzes the code-block decoders with arbitrary sizes, subbands, magnitude
// bit counts, flags, pass counts, segment lists and bytes.  Every buffer is
// allocated at its exact size so that the sanitizers see any access outside
// the segment data, the state or the code-block.
//
// Input: w, h, subband, magnBits, flags (4 bytes, little-endian), passes,
// driver (bit 0: progressive steps), segment count n, n 16-bit lengths, data.
#include <cstdint>
#include <cstring>
#include <vector>

#include "ozrj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 11) return 0;
    const int w = data[0] % 64 + 1;
    const int h = data[1] % (4096 / w) + 1;
    const int subband = data[2] % 5;
    const int magnBits = data[3] % 34 - 1;
    uint32_t flags;
    std::memcpy(&flags, data + 4, 4);
    const int passes = data[8] % 120 - 4;
    const bool progressive = data[9] & 1;
    const int nSeg = data[10] % 24;
    size_t pos = 11;
    std::vector<int> lengths;
    lengths.reserve(nSeg + 1);
    for (int i = 0; i < nSeg && pos + 2 <= size; ++i, pos += 2) lengths.push_back(data[pos] | (data[pos + 1] << 8));
    // The segments must lie in the data: clamp the lengths to what is left.
    const std::vector<uint8_t> bytes(data + pos, data + size);
    size_t left = bytes.size();
    for (int& l : lengths) {
        if (static_cast<size_t>(l) > left) l = static_cast<int>(left);
        left -= static_cast<size_t>(l);
    }
    int stateSize = 0;
    if (ozriDecodeGetBufSize_JPEG2K({w, h}, &stateSize) != ozrStatusOk) return 0;
    std::vector<uint8_t> state(static_cast<size_t>(stateSize));
    auto* st = reinterpret_cast<OzriDecodeCBProgrState_JPEG2K*>(state.data());
    const int extra = (flags >> 24) & 3;
    const int step = (w + extra) * 4;
    std::vector<Ozr32s> dst(static_cast<size_t>(w + extra) * (h - 1) + w);
    std::vector<uint8_t> src(bytes);
    if (src.empty()) src.push_back(0);
    if (!progressive) {
        int errPlane = 0;
        ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(src.data(), dst.data(), step, {w, h}, subband, magnBits, passes,
                                             lengths.data(), static_cast<int>(lengths.size()),
                                             static_cast<int>(flags), &errPlane, st);
        return 0;
    }
    ozriDecodeCBProgrInit_JPEG2K(st);
    ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(dst.data(), step, {w, h}, st, subband, magnBits,
                                           static_cast<int>(flags & ~0x80000u));
    ozriDecodeCBProgrSetPassCounter_JPEG2K(passes, st);
    size_t at = 0;
    for (int l : lengths) {
        // Each segment in its own exact-size buffer.
        std::vector<uint8_t> seg(bytes.begin() + at, bytes.begin() + at + l);
        if (seg.empty()) seg.push_back(0);
        const OzrStatus s = ozriDecodeCBProgrStep_JPEG2K(seg.data(), l, st);
        at += static_cast<size_t>(l);
        int bp = 0, counter = 0;
        ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(st, &bp);
        ozriDecodeCBProgrGetPassCounter_JPEG2K(st, &counter);
        if (s != ozrStatusOk && s != ozrStatusCodeBlockCorrupt) __builtin_trap();
    }
    return 0;
}
