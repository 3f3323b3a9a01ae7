// DXT decoders and encoders on arbitrary bytes, sizes and steps.  The
// destination is allocated to the exact extent of the region so that any
// write outside it is caught by the address sanitizer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ozrj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 5) return 0;
    const int which = data[0] % 7;
    const int w = 1 + data[1] % 70, h = 1 + data[2] % 70, extra = data[3] % 9;
    const bool bottomUp = data[4] & 1;
    data += 5;
    size -= 5;
    if (which < 3) {
        const size_t need = static_cast<size_t>((w + 3) / 4) * ((h + 3) / 4) * (which == 0 ? 8 : 16);
        if (size < need) return 0;
        const std::vector<uint8_t> src(data, data + need);  // exact size: reads past it are caught
        const int step = w * 4 + extra;
        std::vector<uint8_t> dst(static_cast<size_t>(step) * (h - 1) + w * 4);
        uint8_t* first = bottomUp ? dst.data() + static_cast<size_t>(step) * (h - 1) : dst.data();
        const int s = bottomUp ? -step : step;
        if (which == 0) ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(src.data(), first, s, {w, h});
        if (which == 1) ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(src.data(), first, s, {w, h});
        if (which == 2) ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(src.data(), first, s, {w, h});
    } else {
        const int bpp = which == 6 ? 3 : 4;
        const int step = w * bpp + extra;
        const size_t need = static_cast<size_t>(step) * (h - 1) + w * bpp;
        if (size < need) return 0;
        const std::vector<uint8_t> src(data, data + need);
        std::vector<uint8_t> dst(static_cast<size_t>((w + 3) / 4) * ((h + 3) / 4) * (which == 3 ? 8 : 16));
        const uint8_t* first = bottomUp ? src.data() + static_cast<size_t>(step) * (h - 1) : src.data();
        const int s = bottomUp ? -step : step;
        if (which == 3) ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(first, s, {w, h}, dst.data());
        if (which == 4) ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(first, s, {w, h}, dst.data());
        if (which == 5) ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(first, s, {w, h}, dst.data());
        if (which == 6) ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(first, s, {w, h}, dst.data());
    }
    return 0;
}
