// A small JPEG marker parser for the tests: frame header, Huffman tables,
// restart interval and the entropy-coded data of the first scan (with its
// restart markers left in place).  Header-only; it trusts its input only as
// far as the tests' own files need and reports anything else as failure.
#ifndef OZRJ_TEST_JPEG_PARSE_H
#define OZRJ_TEST_JPEG_PARSE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace jpegparse {

struct HuffTable {
    bool present = false;
    uint8_t bits[16] = {};
    std::vector<uint8_t> vals;
};

struct Component {
    int id = 0, h = 1, v = 1, tq = 0;
    int td = 0, ta = 0;  // scan tables
};

struct File {
    int sof = -1;  // 0xC0.. marker of the frame
    int precision = 8, width = 0, height = 0;
    std::vector<Component> comps;      // frame components
    std::vector<int> scanComps;        // indexes into comps, in scan order
    int ss = 0, se = 63, ah = 0, al = 0;  // spectral selection / approximation (SOS)
    int restartInterval = 0;
    HuffTable dc[4], ac[4];
    std::vector<uint8_t> entropy;      // from after SOS to the first non-RST marker
};

inline bool readFile(const std::string& path, std::vector<uint8_t>* out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    out->clear();
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out->insert(out->end(), buf, buf + n);
    std::fclose(f);
    return true;
}

// Parses up to the end of the first scan's entropy-coded data.
inline bool parse(const std::vector<uint8_t>& d, File* out) {
    File f;
    size_t p = 0;
    auto u16 = [&](size_t q) { return (d[q] << 8) | d[q + 1]; };
    if (d.size() < 4 || d[0] != 0xFF || d[1] != 0xD8) return false;
    p = 2;
    while (p + 4 <= d.size()) {
        if (d[p] != 0xFF) return false;
        const int m = d[p + 1];
        if (m == 0xFF) { ++p; continue; }
        const size_t len = static_cast<size_t>(u16(p + 2));
        const size_t seg = p + 4, end = p + 2 + len;
        if (len < 2 || end > d.size()) return false;
        if (m == 0xC4) {
            size_t q = seg;
            while (q < end) {
                const int tc = d[q] >> 4, th = d[q] & 15;
                if (th > 3 || q + 17 > end) return false;
                HuffTable& t = tc ? f.ac[th] : f.dc[th];
                int n = 0;
                for (int i = 0; i < 16; ++i) n += t.bits[i] = d[q + 1 + i];
                if (q + 17 + n > end) return false;
                t.vals.assign(d.begin() + q + 17, d.begin() + q + 17 + n);
                t.present = true;
                q += 17 + n;
            }
        } else if (m == 0xDD) {
            f.restartInterval = u16(seg);
        } else if ((m >= 0xC0 && m <= 0xC3) || (m >= 0xC5 && m <= 0xC7)) {
            f.sof = m;
            f.precision = d[seg];
            f.height = u16(seg + 1);
            f.width = u16(seg + 3);
            const int nc = d[seg + 5];
            for (int i = 0; i < nc; ++i) {
                Component c;
                c.id = d[seg + 6 + 3 * i];
                c.h = d[seg + 7 + 3 * i] >> 4;
                c.v = d[seg + 7 + 3 * i] & 15;
                c.tq = d[seg + 8 + 3 * i];
                f.comps.push_back(c);
            }
        } else if (m == 0xDA) {
            const int ns = d[seg];
            for (int i = 0; i < ns; ++i) {
                const int id = d[seg + 1 + 2 * i], tt = d[seg + 2 + 2 * i];
                int found = -1;
                for (size_t k = 0; k < f.comps.size(); ++k)
                    if (f.comps[k].id == id) found = static_cast<int>(k);
                if (found < 0) return false;
                f.comps[found].td = tt >> 4;
                f.comps[found].ta = tt & 15;
                f.scanComps.push_back(found);
            }
            f.ss = d[seg + 1 + 2 * ns];
            f.se = d[seg + 2 + 2 * ns];
            f.ah = d[seg + 3 + 2 * ns] >> 4;
            f.al = d[seg + 3 + 2 * ns] & 15;
            // Entropy-coded data runs to the first marker that is not RSTn.
            size_t q = end;
            while (q + 1 < d.size()) {
                if (d[q] == 0xFF && d[q + 1] != 0 && !(d[q + 1] >= 0xD0 && d[q + 1] <= 0xD7) &&
                    d[q + 1] != 0xFF)
                    break;
                ++q;
            }
            f.entropy.assign(d.begin() + end, d.begin() + q);
            *out = f;
            return true;
        }
        p = end;
    }
    return false;
}

}  // namespace jpegparse

#endif
