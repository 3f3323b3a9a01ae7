// DDS header writing and reading.
#include "dds_file.h"

#include <cstring>

namespace ozrtool {
namespace {

constexpr uint32_t fourcc(char a, char b, char c, char d) {
    return uint32_t(uint8_t(a)) | uint32_t(uint8_t(b)) << 8 | uint32_t(uint8_t(c)) << 16 | uint32_t(uint8_t(d)) << 24;
}
constexpr uint32_t kYCoCgTag = fourcc('Y', 'C', 'G', '1');
constexpr size_t kHeaderBytes = 128;  // "DDS " and the 124-byte header

void put32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t get32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

}  // namespace

size_t dxtBlockBytes(DxtFormat f) { return f == DxtFormat::Dxt1 ? 8 : 16; }

void writeDds(const DdsTexture& tex, std::vector<uint8_t>* out) {
    out->assign(kHeaderBytes, 0);
    uint8_t* h = out->data();
    put32(h, fourcc('D', 'D', 'S', ' '));
    put32(h + 4, 124);
    put32(h + 8, 0x1 | 0x2 | 0x4 | 0x1000 | 0x80000);  // caps, height, width, pixel format, linear size
    put32(h + 12, static_cast<uint32_t>(tex.height));
    put32(h + 16, static_cast<uint32_t>(tex.width));
    put32(h + 20, static_cast<uint32_t>(tex.blocks.size()));
    put32(h + 28, 1);  // mipmap count
    if (tex.format == DxtFormat::YCoCg) put32(h + 32, kYCoCgTag);  // first reserved word
    put32(h + 76, 32);   // pixel format size
    put32(h + 80, 0x4);  // DDPF_FOURCC
    const uint32_t fmt = tex.format == DxtFormat::Dxt1   ? fourcc('D', 'X', 'T', '1')
                         : tex.format == DxtFormat::Dxt3 ? fourcc('D', 'X', 'T', '3')
                                                         : fourcc('D', 'X', 'T', '5');
    put32(h + 84, fmt);
    put32(h + 108, 0x1000);  // DDSCAPS_TEXTURE
    out->insert(out->end(), tex.blocks.begin(), tex.blocks.end());
}

bool readDds(const std::vector<uint8_t>& d, DdsTexture* tex, std::string* error) {
    if (d.size() < kHeaderBytes || get32(d.data()) != fourcc('D', 'D', 'S', ' ') || get32(d.data() + 4) != 124) {
        *error = "not a DDS file";
        return false;
    }
    const uint8_t* h = d.data();
    const uint32_t height = get32(h + 12), width = get32(h + 16);
    const uint32_t pfFlags = get32(h + 80), fmt = get32(h + 84);
    if (width < 1 || height < 1 || width > 65536 || height > 65536) {
        *error = "unsupported DDS size";
        return false;
    }
    if (!(pfFlags & 0x4)) {
        *error = "unsupported DDS pixel format (only DXT1, DXT3, DXT5)";
        return false;
    }
    if (fmt == fourcc('D', 'X', 'T', '1')) tex->format = DxtFormat::Dxt1;
    else if (fmt == fourcc('D', 'X', 'T', '3')) tex->format = DxtFormat::Dxt3;
    else if (fmt == fourcc('D', 'X', 'T', '5')) tex->format = get32(h + 32) == kYCoCgTag ? DxtFormat::YCoCg : DxtFormat::Dxt5;
    else {
        *error = "unsupported DDS compression (only DXT1, DXT3, DXT5)";
        return false;
    }
    tex->width = static_cast<int>(width);
    tex->height = static_cast<int>(height);
    const size_t need = size_t((width + 3) / 4) * ((height + 3) / 4) * dxtBlockBytes(tex->format);
    if (d.size() - kHeaderBytes < need) {
        *error = "DDS file is truncated";
        return false;
    }
    tex->blocks.assign(d.begin() + kHeaderBytes, d.begin() + kHeaderBytes + need);
    return true;
}

}  // namespace ozrtool
