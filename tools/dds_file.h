// DDS container of the ozrj program: DXT1, DXT3 and DXT5 textures (one
// surface, no mipmaps).  A YCoCg-scaled DXT5 texture is marked in the
// header's reserved words so that the decoder can turn it back into RGB.
#ifndef OZRJ_TOOLS_DDS_FILE_H
#define OZRJ_TOOLS_DDS_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ozrtool {

enum class DxtFormat { Dxt1, Dxt3, Dxt5, YCoCg };

struct DdsTexture {
    int width = 0, height = 0;
    DxtFormat format = DxtFormat::Dxt1;
    std::vector<uint8_t> blocks;  // row-major blocks, ceil(w/4) x ceil(h/4)
};

size_t dxtBlockBytes(DxtFormat f);
void writeDds(const DdsTexture& tex, std::vector<uint8_t>* out);
bool readDds(const std::vector<uint8_t>& file, DdsTexture* tex, std::string* error);

}  // namespace ozrtool

#endif
