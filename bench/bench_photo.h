// The photographs that scripts/fetch-photos.sh puts in data/photos/, for the
// benchmarks: real detail makes entropy coders and code-block decoders work as
// they do on real images.  Each benchmark falls back to its own generated
// picture when the photograph is not there.
#ifndef OZRJ_BENCH_PHOTO_H
#define OZRJ_BENCH_PHOTO_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace ozrbench {

// Interleaved 8-bit RGB of data/photos/photo-WxH.ppm, or empty.
inline std::vector<uint8_t> loadPhotoRGB(int w, int h) {
    const std::string path = std::string(OZRJ_SOURCE_DIR) + "/data/photos/photo-" + std::to_string(w) + "x" +
                             std::to_string(h) + ".ppm";
    std::vector<uint8_t> rgb;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return rgb;
    int fw = 0, fh = 0, maxval = 0;
    if (std::fscanf(f, "P6 %d %d %d", &fw, &fh, &maxval) == 3 && fw == w && fh == h && maxval == 255 &&
        std::fgetc(f) != EOF) {
        rgb.resize(static_cast<size_t>(w) * h * 3);
        if (std::fread(rgb.data(), 1, rgb.size(), f) != rgb.size()) rgb.clear();
    }
    std::fclose(f);
    return rgb;
}

}  // namespace ozrbench

#endif
