// Baseline JFIF encoder of the ozrj program, built only from the library's
// primitives: colour conversion, down-sampling, DCT with quantization,
// Huffman statistics, optimal tables and block encoding.  The program writes
// the markers and headers itself.
#ifndef OZRJ_TOOLS_JPEG_ENCODER_H
#define OZRJ_TOOLS_JPEG_ENCODER_H

#include <cstdint>
#include <string>
#include <vector>

#include "image_io.h"

namespace ozrtool {

struct JpegOptions {
    int quality = 75;
    int subsampling = 420;  // 444, 422 or 420 (ignored for grey images)
    int restartInterval = 0;  // MCUs per restart interval, 0 for none
    bool optimize = false;    // optimal Huffman tables from a first pass
};

// Encodes interleaved 8-bit grey or RGB pixels (rows of width*channels
// bytes, no gap); false with a one-line reason.
bool encodeJpeg(const uint8_t* pixels, int width, int height, int channels, const JpegOptions& opt,
                std::vector<uint8_t>* out, std::string* error);
// Encodes an 8-bit grey or RGB image.
bool encodeJpeg(const Image& img, const JpegOptions& opt, std::vector<uint8_t>* out, std::string* error);

}  // namespace ozrtool

#endif
