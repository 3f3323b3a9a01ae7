// Baseline TIFF writing (PackBits strips) and reading (PackBits or none).
#include "tiff_file.h"

#include <algorithm>
#include <cstring>

#include "ozrj.h"

namespace ozrtool {
namespace {

constexpr int kRowsPerStrip = 16;

void put16(std::vector<uint8_t>* o, uint32_t v) {
    o->push_back(static_cast<uint8_t>(v));
    o->push_back(static_cast<uint8_t>(v >> 8));
}
void put32(std::vector<uint8_t>* o, uint32_t v) {
    put16(o, v & 0xFFFF);
    put16(o, v >> 16);
}
void set32(std::vector<uint8_t>* o, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) (*o)[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

struct Reader {
    const std::vector<uint8_t>& d;
    bool little;
    bool ok = true;
    uint32_t u16(size_t at) {
        if (at + 2 > d.size()) return ok = false, 0;
        return little ? d[at] | d[at + 1] << 8 : d[at] << 8 | d[at + 1];
    }
    uint32_t u32(size_t at) {
        if (at + 4 > d.size()) return ok = false, 0;
        return little ? d[at] | d[at + 1] << 8 | d[at + 2] << 16 | uint32_t(d[at + 3]) << 24
                      : uint32_t(d[at]) << 24 | d[at + 1] << 16 | d[at + 2] << 8 | d[at + 3];
    }
};

}  // namespace

bool writeTiffPackBits(const Image& img, std::vector<uint8_t>* out, std::string* error) {
    if (img.maxval != 255 || (img.channels != 1 && img.channels != 3)) {
        *error = "TIFF writing needs an 8-bit grey or RGB image";
        return false;
    }
    const int rowBytes = img.width * img.channels;
    const std::vector<uint8_t> px = img.bytes8();
    const int strips = (img.height + kRowsPerStrip - 1) / kRowsPerStrip;
    out->assign({'I', 'I', 42, 0, 0, 0, 0, 0});
    std::vector<uint32_t> offsets, counts;
    // Worst case of PackBits: one header byte per 128 literal bytes.
    std::vector<Ozr8u> packed(static_cast<size_t>(rowBytes) + rowBytes / 128 + 16);
    for (int s = 0; s < strips; ++s) {
        offsets.push_back(static_cast<uint32_t>(out->size()));
        const int y1 = std::min(img.height, (s + 1) * kRowsPerStrip);
        for (int y = s * kRowsPerStrip; y < y1; ++y) {
            int pos = 0;
            OzrStatus st = ozriPackBitsRow_TIFF_8u_C1(&px[static_cast<size_t>(y) * rowBytes], rowBytes, packed.data(),
                                                      &pos, static_cast<int>(packed.size()));
            if (st != ozrStatusOk) {
                *error = "PackBits failed (status " + std::to_string(st) + ")";
                return false;
            }
            out->insert(out->end(), packed.begin(), packed.begin() + pos);
        }
        counts.push_back(static_cast<uint32_t>(out->size() - offsets.back()));
        if (out->size() & 1) out->push_back(0);
    }
    // Out-of-line arrays: strip offsets, byte counts, bits per sample.
    auto array32 = [&](const std::vector<uint32_t>& v) {
        const uint32_t at = static_cast<uint32_t>(out->size());
        for (uint32_t x : v) put32(out, x);
        return at;
    };
    const uint32_t offAt = strips > 1 ? array32(offsets) : offsets[0];
    const uint32_t cntAt = strips > 1 ? array32(counts) : counts[0];
    uint32_t bpsAt = 8;
    if (img.channels == 3) {
        bpsAt = static_cast<uint32_t>(out->size());
        put16(out, 8), put16(out, 8), put16(out, 8), put16(out, 0);
    }
    const uint32_t ifd = static_cast<uint32_t>(out->size());
    set32(out, 4, ifd);
    struct Entry { uint16_t tag, type; uint32_t count, value; };
    const Entry entries[] = {
        {256, 4, 1, static_cast<uint32_t>(img.width)},
        {257, 4, 1, static_cast<uint32_t>(img.height)},
        {258, 3, static_cast<uint32_t>(img.channels), bpsAt},
        {259, 3, 1, 32773},
        {262, 3, 1, img.channels == 3 ? 2u : 1u},
        {273, 4, static_cast<uint32_t>(strips), offAt},
        {277, 3, 1, static_cast<uint32_t>(img.channels)},
        {278, 4, 1, kRowsPerStrip},
        {279, 4, static_cast<uint32_t>(strips), cntAt},
        {284, 3, 1, 1},
    };
    put16(out, sizeof entries / sizeof entries[0]);
    for (const Entry& e : entries) {
        put16(out, e.tag);
        put16(out, e.type);
        put32(out, e.count);
        if (e.type == 3 && e.count == 1) {
            put16(out, e.value);
            put16(out, 0);
        } else {
            put32(out, e.value);
        }
    }
    put32(out, 0);
    return true;
}

bool readTiff(const std::vector<uint8_t>& d, Image* img, std::string* error) {
    if (d.size() < 8 || !((d[0] == 'I' && d[1] == 'I') || (d[0] == 'M' && d[1] == 'M'))) {
        *error = "not a TIFF file";
        return false;
    }
    Reader r{d, d[0] == 'I'};
    if (r.u16(2) != 42) {
        *error = "not a classic TIFF file";
        return false;
    }
    const uint32_t ifd = r.u32(4);
    const uint32_t n = r.u16(ifd);
    if (!r.ok || n == 0 || n > 1000) {
        *error = "malformed TIFF directory";
        return false;
    }
    uint32_t width = 0, height = 0, compression = 1, spp = 1, rowsPerStrip = 0xFFFFFFFF, planar = 1;
    uint32_t bps = 8, photometric = 1;
    uint32_t offType = 0, offCount = 0, offValue = 0, cntType = 0, cntCount = 0, cntValue = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const size_t e = ifd + 2 + 12 * static_cast<size_t>(i);
        const uint32_t tag = r.u16(e), type = r.u16(e + 2), count = r.u32(e + 4);
        const uint32_t value = type == 3 && count == 1 ? r.u16(e + 8) : r.u32(e + 8);
        switch (tag) {
            case 256: width = value; break;
            case 257: height = value; break;
            case 258: bps = count == 1 ? value : r.u16(value); break;
            case 259: compression = value; break;
            case 262: photometric = value; break;
            case 273: offType = type, offCount = count, offValue = value; break;
            case 277: spp = value; break;
            case 278: rowsPerStrip = value; break;
            case 279: cntType = type, cntCount = count, cntValue = value; break;
            case 284: planar = value; break;
            default: break;
        }
    }
    if (!r.ok) {
        *error = "truncated TIFF directory";
        return false;
    }
    if (width < 1 || height < 1 || width > 65535 || height > 65535 || bps != 8 || (spp != 1 && spp != 3) ||
        planar != 1 || (compression != 1 && compression != 32773) || photometric > 2 || offCount == 0 ||
        offCount != cntCount) {
        *error = "unsupported TIFF variant (need 8-bit grey or RGB, chunky, PackBits or none)";
        return false;
    }
    if (rowsPerStrip == 0 || rowsPerStrip > height) rowsPerStrip = height;
    const uint32_t strips = (height + rowsPerStrip - 1) / rowsPerStrip;
    if (strips != offCount) {
        *error = "strip count does not match the image";
        return false;
    }
    auto entryAt = [&](uint32_t type, uint32_t count, uint32_t value, uint32_t k) -> uint32_t {
        if (count == 1) return value;
        return type == 3 ? r.u16(value + 2 * k) : r.u32(value + 4 * k);
    };
    img->width = static_cast<int>(width);
    img->height = static_cast<int>(height);
    img->channels = static_cast<int>(spp);
    img->maxval = 255;
    const int rowBytes = img->width * img->channels;
    std::vector<Ozr8u> px(static_cast<size_t>(rowBytes) * height);
    for (uint32_t s = 0; s < strips; ++s) {
        const uint32_t off = entryAt(offType, offCount, offValue, s);
        const uint32_t len = entryAt(cntType, cntCount, cntValue, s);
        if (!r.ok || off > d.size() || len > d.size() - off) {
            *error = "strip outside the file";
            return false;
        }
        const uint32_t y0 = s * rowsPerStrip, y1 = std::min(height, y0 + rowsPerStrip);
        int srcPos = 0;
        for (uint32_t y = y0; y < y1; ++y) {
            Ozr8u* row = &px[static_cast<size_t>(y) * rowBytes];
            if (compression == 1) {
                if (static_cast<uint64_t>(srcPos) + rowBytes > len) {
                    *error = "strip too short";
                    return false;
                }
                std::memcpy(row, &d[off + srcPos], static_cast<size_t>(rowBytes));
                srcPos += rowBytes;
            } else {
                OzrStatus st = ozriUnpackBitsRow_TIFF_8u_C1(len ? &d[off] : nullptr, &srcPos, static_cast<int>(len),
                                                            row, rowBytes);
                if (st != ozrStatusOk) {
                    *error = "corrupt PackBits data in strip " + std::to_string(s) + " (status " +
                             std::to_string(st) + ")";
                    return false;
                }
            }
        }
    }
    img->samples.assign(px.begin(), px.end());
    return true;
}

}  // namespace ozrtool
