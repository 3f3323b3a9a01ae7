// Minimal baseline TIFF of the ozrj program: 8-bit grey or RGB, chunky,
// strips compressed with PackBits through the library (or uncompressed on
// reading).
#ifndef OZRJ_TOOLS_TIFF_FILE_H
#define OZRJ_TOOLS_TIFF_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "image_io.h"

namespace ozrtool {

bool writeTiffPackBits(const Image& img, std::vector<uint8_t>* out, std::string* error);
bool readTiff(const std::vector<uint8_t>& file, Image* img, std::string* error);

}  // namespace ozrtool

#endif
