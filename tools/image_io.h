// Image files of the ozrj program: binary PGM/PPM (8- or 16-bit), and a
// small interleaved image type shared by the commands.
#ifndef OZRJ_TOOLS_IMAGE_IO_H
#define OZRJ_TOOLS_IMAGE_IO_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace ozrtool {

struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;   // 1 (grey) or 3 (RGB)
    int maxval = 255;   // 255 for 8-bit samples, up to 65535 for 16-bit
    std::vector<uint16_t> samples;  // interleaved, row-major

    uint16_t& at(int x, int y, int c) { return samples[(static_cast<size_t>(y) * width + x) * channels + c]; }
    uint16_t at(int x, int y, int c) const { return samples[(static_cast<size_t>(y) * width + x) * channels + c]; }
    std::vector<uint8_t> bytes8() const;  // samples as bytes (maxval 255 only)
};

// Reads a P5 or P6 file; false with a one-line reason on any problem.
bool readPnm(const std::string& path, Image* img, std::string* error);
// Writes P5 (1 channel) or P6 (3 channels) through a temporary file renamed
// into place, so a failed write never leaves a file that looks good.
bool writePnm(const std::string& path, const Image& img, std::string* error);

// The header of a P5 (1 channel) or P6 (3 channels) file.
std::string pnmHeader(int width, int height, int channels, int maxval);

// The bytes of a P5/P6 file of `count` interleaved samples (0..maxval): the
// header, then the body, which fill(put) writes through put(k, value) for
// every sample index k (one byte each up to maxval 255, else two, high first).
template <class Fill>
std::vector<uint8_t> pnmBytes(int width, int height, int channels, int maxval, size_t count, Fill fill) {
    const std::string head = pnmHeader(width, height, channels, maxval);
    const bool wide = maxval > 255;
    std::vector<uint8_t> d(head.size() + count * (wide ? 2 : 1));
    std::memcpy(d.data(), head.data(), head.size());
    uint8_t* o = d.data() + head.size();
    if (wide) {
        fill([o](size_t k, uint16_t v) {
            o[2 * k] = static_cast<uint8_t>(v >> 8);
            o[2 * k + 1] = static_cast<uint8_t>(v);
        });
    } else {
        fill([o](size_t k, uint16_t v) { o[k] = static_cast<uint8_t>(v); });
    }
    return d;
}

// Reads a whole file / writes a whole file atomically (temporary + rename).
bool readFile(const std::string& path, std::vector<uint8_t>* data, std::string* error);
bool writeFileAtomic(const std::string& path, const std::vector<uint8_t>& data, std::string* error);

// Peak signal-to-noise ratio of two 8-bit images of one size, in dB.
double psnr(const Image& a, const Image& b);

}  // namespace ozrtool

#endif
