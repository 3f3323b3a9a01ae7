// Minimal DDS container for the texture tests: writes the 128-byte header of a
// single-level DXT1/DXT3/DXT5 texture in front of the blocks, and reads one
// back (width, height, FourCC and the block payload).  Header-only.
#ifndef OZRJ_TEST_DDS_WRITER_H
#define OZRJ_TEST_DDS_WRITER_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace ozrtest {
namespace dds {

constexpr uint32_t kCaps = 0x1, kHeight = 0x2, kWidth = 0x4, kPixelFormat = 0x1000, kLinearSize = 0x80000;
constexpr uint32_t kFourCCFlag = 0x4, kTexture = 0x1000;

inline void put32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint32_t get32(const uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// The 128-byte header; fourcc: "DXT1", "DXT3" or "DXT5"; n: payload bytes.
inline void header(const char* fourcc, int width, int height, size_t n, uint8_t f[128]) {
    std::memset(f, 0, 128);
    std::memcpy(f, "DDS ", 4);
    put32(&f[4], 124);
    put32(&f[8], kCaps | kHeight | kWidth | kPixelFormat | kLinearSize);
    put32(&f[12], static_cast<uint32_t>(height));
    put32(&f[16], static_cast<uint32_t>(width));
    put32(&f[20], static_cast<uint32_t>(n));
    put32(&f[28], 1);  // one mip level
    put32(&f[76], 32);
    put32(&f[80], kFourCCFlag);
    std::memcpy(&f[84], fourcc, 4);
    put32(&f[108], kTexture);
}

// Writes a DDS file holding one level of n bytes of blocks.
inline bool write(const std::string& path, const char* fourcc, int width, int height, const uint8_t* blocks, size_t n) {
    uint8_t hdr[128];
    header(fourcc, width, height, n, hdr);
    FILE* fp = std::fopen(path.c_str(), "wb");
    if (!fp) return false;
    const bool ok = std::fwrite(hdr, 1, 128, fp) == 128 && std::fwrite(blocks, 1, n, fp) == n;
    return std::fclose(fp) == 0 && ok;
}

inline bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* fp = std::fopen(path.c_str(), "wb");
    if (!fp) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), fp) == bytes.size();
    return std::fclose(fp) == 0 && ok;
}

inline bool readFile(const std::string& path, std::vector<uint8_t>* bytes) {
    FILE* fp = std::fopen(path.c_str(), "rb");
    if (!fp) return false;
    bytes->clear();
    uint8_t buf[65536];
    size_t got;
    while ((got = std::fread(buf, 1, sizeof buf, fp)) > 0) bytes->insert(bytes->end(), buf, buf + got);
    std::fclose(fp);
    return true;
}

struct Texture {
    int width = 0, height = 0;
    std::string fourcc;
    std::vector<uint8_t> blocks;  // the first (largest) level only
};

// Parses a DXT-compressed DDS file; false when it is not one.
inline bool parse(const std::vector<uint8_t>& f, Texture* t) {
    if (f.size() < 128 || std::memcmp(f.data(), "DDS ", 4) != 0 || get32(&f[4]) != 124) return false;
    if (!(get32(&f[80]) & kFourCCFlag)) return false;
    t->height = static_cast<int>(get32(&f[12]));
    t->width = static_cast<int>(get32(&f[16]));
    t->fourcc.assign(reinterpret_cast<const char*>(&f[84]), 4);
    const size_t blockBytes = t->fourcc == "DXT1" ? 8 : 16;
    const size_t n = static_cast<size_t>((t->width + 3) / 4) * ((t->height + 3) / 4) * blockBytes;
    if (t->width < 1 || t->height < 1 || f.size() < 128 + n) return false;
    t->blocks.assign(f.begin() + 128, f.begin() + 128 + static_cast<std::ptrdiff_t>(n));
    return true;
}

}  // namespace dds
}  // namespace ozrtest

#endif
