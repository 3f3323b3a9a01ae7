// Test helper: wraps a baseline entropy-coded segment in the marker segments
// of a JFIF file (SOI, APP0, DQT, SOF0, DHT, DRI, SOS ... EOI) so that an
// independent decoder can read the coefficients back, and gives the block
// order (MCU layout) of one interleaved or single-component scan.
// Header-only; quantization tables are all ones, so coefficients pass
// through a decoder's coefficient interface unchanged.
#ifndef OZRJ_TEST_JFIF_WRITER_H
#define OZRJ_TEST_JFIF_WRITER_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "jpeg/std_tables.h"

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
inline HuffTable stdTable(const uint8_t* bits, const uint8_t* vals, int count) {
    HuffTable t{};
    std::copy(bits, bits + 16, t.bits);
    t.vals.assign(vals, vals + count);
    return t;
}
inline HuffTable stdDcLuminance() { return stdTable(ozr::jpegstd::kDcLumaBits, ozr::jpegstd::kDcLumaVals, 12); }
inline HuffTable stdDcChrominance() { return stdTable(ozr::jpegstd::kDcChromaBits, ozr::jpegstd::kDcChromaVals, 12); }
inline HuffTable stdAcLuminance() { return stdTable(ozr::jpegstd::kAcLumaBits, ozr::jpegstd::kAcLumaVals, 162); }
inline HuffTable stdAcChrominance() { return stdTable(ozr::jpegstd::kAcChromaBits, ozr::jpegstd::kAcChromaVals, 162); }

}  // namespace jfif

#endif  // OZRJ_TEST_JFIF_WRITER_H
