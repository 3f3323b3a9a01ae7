// TIFF helpers for tests and benchmarks that meet libtiff: a hand-written
// minimal little-endian TIFF around one strip of PackBits data, and an
// in-memory stream so libtiff reads and writes without touching the disk.
#ifndef OZRJ_TEST_TIFF_STRIP_H
#define OZRJ_TEST_TIFF_STRIP_H

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace ozrtest {

// A grey image of width x height samples of bitsPerSample (8 or 16), all rows
// in one strip whose bytes (already PackBits-coded) are `strip`.  Tags are in
// ascending order as TIFF requires; values wider than four bytes do not occur.
inline std::vector<uint8_t> packBitsTiff(int width, int height, int bitsPerSample,
                                         const std::vector<uint8_t>& strip) {
    std::vector<uint8_t> f;
    auto u16 = [&f](uint32_t v) { f.push_back(uint8_t(v)); f.push_back(uint8_t(v >> 8)); };
    auto u32 = [&](uint32_t v) { u16(v & 0xFFFF); u16(v >> 16); };
    const uint32_t stripAt = 8;
    f = {'I', 'I', 42, 0};
    u32(stripAt + static_cast<uint32_t>(strip.size() + (strip.size() & 1)));  // IFD offset, word aligned
    f.insert(f.end(), strip.begin(), strip.end());
    if (strip.size() & 1) f.push_back(0);
    struct Entry { uint16_t tag, type; uint32_t value; };
    const Entry entries[] = {
        {256, 4, uint32_t(width)},          // ImageWidth
        {257, 4, uint32_t(height)},         // ImageLength
        {258, 3, uint32_t(bitsPerSample)},  // BitsPerSample
        {259, 3, 32773},                    // Compression: PackBits
        {262, 3, 1},                        // PhotometricInterpretation: BlackIsZero
        {273, 4, stripAt},                  // StripOffsets
        {277, 3, 1},                        // SamplesPerPixel
        {278, 4, uint32_t(height)},         // RowsPerStrip
        {279, 4, uint32_t(strip.size())},   // StripByteCounts
    };
    u16(sizeof entries / sizeof entries[0]);
    for (const Entry& e : entries) {
        u16(e.tag);
        u16(e.type);
        u32(1);
        if (e.type == 3) { u16(e.value); u16(0); } else { u32(e.value); }
    }
    u32(0);  // no next IFD
    return f;
}

// A growable byte buffer that libtiff reads from and writes to.
class MemoryTiff {
public:
    MemoryTiff() = default;
    explicit MemoryTiff(std::vector<uint8_t> bytes) : data_(std::move(bytes)) {}
    // mode "r" or "w"; the caller closes with TIFFClose.
    TIFF* open(const char* mode) {
        pos_ = 0;
        return TIFFClientOpen("memory", mode, this, &read, &write, &seek, &close, &size, &map, &unmap);
    }
    const std::vector<uint8_t>& bytes() const { return data_; }

private:
    static MemoryTiff* self(thandle_t h) { return static_cast<MemoryTiff*>(h); }
    static tmsize_t read(thandle_t h, void* buf, tmsize_t n) {
        MemoryTiff* m = self(h);
        const size_t left = m->pos_ < m->data_.size() ? m->data_.size() - m->pos_ : 0;
        const size_t k = std::min(left, static_cast<size_t>(n));
        if (k) std::memcpy(buf, m->data_.data() + m->pos_, k);
        m->pos_ += k;
        return static_cast<tmsize_t>(k);
    }
    static tmsize_t write(thandle_t h, void* buf, tmsize_t n) {
        MemoryTiff* m = self(h);
        if (m->pos_ + static_cast<size_t>(n) > m->data_.size()) m->data_.resize(m->pos_ + static_cast<size_t>(n));
        std::memcpy(m->data_.data() + m->pos_, buf, static_cast<size_t>(n));
        m->pos_ += static_cast<size_t>(n);
        return n;
    }
    static toff_t seek(thandle_t h, toff_t off, int whence) {
        MemoryTiff* m = self(h);
        const int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? int64_t(m->pos_) : int64_t(m->data_.size());
        const int64_t to = base + static_cast<int64_t>(off);
        if (to < 0) return static_cast<toff_t>(-1);
        m->pos_ = static_cast<size_t>(to);
        return static_cast<toff_t>(to);
    }
    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t h) { return self(h)->data_.size(); }
    static int map(thandle_t h, void** base, toff_t* sz) {
        MemoryTiff* m = self(h);
        *base = m->data_.data();
        *sz = m->data_.size();
        return 1;
    }
    static void unmap(thandle_t, void*, toff_t) {}

    std::vector<uint8_t> data_;
    size_t pos_ = 0;
};

}  // namespace ozrtest

#endif  // OZRJ_TEST_TIFF_STRIP_H
