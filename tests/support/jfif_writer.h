// Test helper: wraps a baseline entropy-coded segment in the marker segments
// of a JFIF file (SOI, APP0, DQT, SOF0, DHT, DRI, SOS ... EOI) so that an
// independent decoder can read the coefficients back, and gives the block
// order (MCU layout) of one interleaved or single-component scan.
// Header-only; quantization tables are all ones, so coefficients pass
// through a decoder's coefficient interface unchanged.
#ifndef OZRJ_TEST_JFIF_WRITER_H
#define OZRJ_TEST_JFIF_WRITER_H

#include <cstdint>
#include <vector>

namespace jfif {

struct HuffTable {
    uint8_t bits[16];           // number of codes of length 1..16
    std::vector<uint8_t> vals;  // symbols in code order
};

struct Component {
    int id;
    int h, v;    // sampling factors 1..4
    int dcTable; // 0 or 1
    int acTable; // 0 or 1
};

struct Frame {
    int width = 0, height = 0;
    std::vector<Component> comps;
    HuffTable dc[2], ac[2];
    int restartInterval = 0;  // MCUs per interval, 0 = none
};

// Block geometry of one scan over all components of the frame.
struct Layout {
    int hmax = 1, vmax = 1;
    int mcusX = 0, mcusY = 0;
    std::vector<int> blocksW, blocksH;  // per component, padded to whole MCUs
    explicit Layout(const Frame& f) {
        for (const auto& c : f.comps) {
            hmax = c.h > hmax ? c.h : hmax;
            vmax = c.v > vmax ? c.v : vmax;
        }
        if (f.comps.size() == 1) {
            // A single-component scan codes the component's own blocks.
            const auto& c = f.comps[0];
            const int w = (f.width * c.h + hmax - 1) / hmax, h = (f.height * c.v + vmax - 1) / vmax;
            mcusX = (w + 7) / 8;
            mcusY = (h + 7) / 8;
            blocksW.push_back(mcusX);
            blocksH.push_back(mcusY);
        } else {
            mcusX = (f.width + 8 * hmax - 1) / (8 * hmax);
            mcusY = (f.height + 8 * vmax - 1) / (8 * vmax);
            for (const auto& c : f.comps) {
                blocksW.push_back(mcusX * c.h);
                blocksH.push_back(mcusY * c.v);
            }
        }
    }
    // Calls fn(component, blockX, blockY) in coding order for MCU m.
    template <typename Fn>
    void forMcu(const Frame& f, int m, Fn&& fn) const {
        const int mx = m % mcusX, my = m / mcusX;
        if (f.comps.size() == 1) {
            fn(0, mx, my);
            return;
        }
        for (size_t c = 0; c < f.comps.size(); ++c)
            for (int y = 0; y < f.comps[c].v; ++y)
                for (int x = 0; x < f.comps[c].h; ++x)
                    fn(static_cast<int>(c), mx * f.comps[c].h + x, my * f.comps[c].v + y);
    }
    int mcus() const { return mcusX * mcusY; }
};

inline void put16(std::vector<uint8_t>& o, int v) {
    o.push_back(static_cast<uint8_t>(v >> 8));
    o.push_back(static_cast<uint8_t>(v));
}

inline void putHuff(std::vector<uint8_t>& o, int cls, int id, const HuffTable& t) {
    o.push_back(0xFF);
    o.push_back(0xC4);
    put16(o, 2 + 1 + 16 + static_cast<int>(t.vals.size()));
    o.push_back(static_cast<uint8_t>(cls << 4 | id));
    o.insert(o.end(), t.bits, t.bits + 16);
    o.insert(o.end(), t.vals.begin(), t.vals.end());
}

// The complete file around `entropy` (which must include any RSTn markers).
inline std::vector<uint8_t> wrap(const Frame& f, const std::vector<uint8_t>& entropy) {
    std::vector<uint8_t> o = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
    o.push_back(0xFF);
    o.push_back(0xDB);
    put16(o, 2 + 65);
    o.push_back(0);  // 8-bit table 0
    for (int i = 0; i < 64; ++i) o.push_back(1);
    o.push_back(0xFF);
    o.push_back(0xC0);
    put16(o, 8 + 3 * static_cast<int>(f.comps.size()));
    o.push_back(8);
    put16(o, f.height);
    put16(o, f.width);
    o.push_back(static_cast<uint8_t>(f.comps.size()));
    for (const auto& c : f.comps) {
        o.push_back(static_cast<uint8_t>(c.id));
        o.push_back(static_cast<uint8_t>(c.h << 4 | c.v));
        o.push_back(0);
    }
    bool dcUsed[2] = {}, acUsed[2] = {};
    for (const auto& c : f.comps) dcUsed[c.dcTable] = acUsed[c.acTable] = true;
    for (int t = 0; t < 2; ++t) {
        if (dcUsed[t]) putHuff(o, 0, t, f.dc[t]);
        if (acUsed[t]) putHuff(o, 1, t, f.ac[t]);
    }
    if (f.restartInterval) {
        o.push_back(0xFF);
        o.push_back(0xDD);
        put16(o, 4);
        put16(o, f.restartInterval);
    }
    o.push_back(0xFF);
    o.push_back(0xDA);
    put16(o, 6 + 2 * static_cast<int>(f.comps.size()));
    o.push_back(static_cast<uint8_t>(f.comps.size()));
    for (const auto& c : f.comps) {
        o.push_back(static_cast<uint8_t>(c.id));
        o.push_back(static_cast<uint8_t>(c.dcTable << 4 | c.acTable));
    }
    o.push_back(0);
    o.push_back(63);
    o.push_back(0);
    o.insert(o.end(), entropy.begin(), entropy.end());
    o.push_back(0xFF);
    o.push_back(0xD9);
    return o;
}

// The typical tables of ISO/IEC 10918-1 Annex K (K.3 to K.6).
inline HuffTable stdDcLuminance() {
    return {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}
inline HuffTable stdDcChrominance() {
    return {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}
inline HuffTable stdAcLuminance() {
    return {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d},
            {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51,
             0x61, 0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1,
             0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0a, 0x16, 0x17, 0x18,
             0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39,
             0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57,
             0x58, 0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75,
             0x76, 0x77, 0x78, 0x79, 0x7a, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92,
             0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7,
             0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
             0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8,
             0xd9, 0xda, 0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2,
             0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}};
}
inline HuffTable stdAcChrominance() {
    return {{0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
            {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07,
             0x61, 0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09,
             0x23, 0x33, 0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1, 0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25,
             0xf1, 0x17, 0x18, 0x19, 0x1a, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x35, 0x36, 0x37, 0x38,
             0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56,
             0x57, 0x58, 0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74,
             0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89,
             0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3, 0xa4, 0xa5,
             0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba,
             0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6,
             0xd7, 0xd8, 0xd9, 0xda, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf2,
             0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}};
}

}  // namespace jfif

#endif  // OZRJ_TEST_JFIF_WRITER_H
