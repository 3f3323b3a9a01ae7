// PGM/PPM reading and writing, whole-file helpers and PSNR.
#include "image_io.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace ozrtool {

std::vector<uint8_t> Image::bytes8() const {
    std::vector<uint8_t> out(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) out[i] = static_cast<uint8_t>(samples[i]);
    return out;
}

bool readFile(const std::string& path, std::vector<uint8_t>* data, std::string* error) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    data->clear();
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) data->insert(data->end(), buf, buf + n);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) *error = path + ": read error";
    return !bad;
}

bool writeFileAtomic(const std::string& path, const std::vector<uint8_t>& data, std::string* error) {
    const std::string tmp = path + ".part";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    const bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    const bool closed = std::fclose(f) == 0;
    if (!ok || !closed || std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::remove(tmp.c_str());
        *error = path + ": write failed";
        return false;
    }
    return true;
}

namespace {
// Reads the next header integer, skipping white space and comments.
bool headerInt(const std::vector<uint8_t>& d, size_t* pos, long* value) {
    size_t p = *pos;
    for (;;) {
        while (p < d.size() && std::strchr(" \t\r\n", d[p]) && d[p]) ++p;
        if (p < d.size() && d[p] == '#') {
            while (p < d.size() && d[p] != '\n') ++p;
            continue;
        }
        break;
    }
    if (p >= d.size() || d[p] < '0' || d[p] > '9') return false;
    long v = 0;
    while (p < d.size() && d[p] >= '0' && d[p] <= '9') {
        v = v * 10 + (d[p] - '0');
        if (v > 1000000) return false;
        ++p;
    }
    *value = v;
    *pos = p;
    return true;
}
}  // namespace

bool readPnm(const std::string& path, Image* img, std::string* error) {
    std::vector<uint8_t> d;
    if (!readFile(path, &d, error)) return false;
    if (d.size() < 2 || d[0] != 'P' || (d[1] != '5' && d[1] != '6')) {
        *error = path + ": not a binary PGM or PPM file";
        return false;
    }
    size_t pos = 2;
    long w, h, maxval;
    if (!headerInt(d, &pos, &w) || !headerInt(d, &pos, &h) || !headerInt(d, &pos, &maxval) ||
        pos >= d.size()) {
        *error = path + ": malformed header";
        return false;
    }
    ++pos;  // the single white-space byte after maxval
    if (w < 1 || h < 1 || w > 65535 || h > 65535 || maxval < 1 || maxval > 65535) {
        *error = path + ": unsupported size or maxval";
        return false;
    }
    const int ch = d[1] == '5' ? 1 : 3;
    const int bps = maxval > 255 ? 2 : 1;
    const size_t count = static_cast<size_t>(w) * h * ch;
    if (d.size() - pos < count * bps) {
        *error = path + ": file is truncated";
        return false;
    }
    img->width = static_cast<int>(w);
    img->height = static_cast<int>(h);
    img->channels = ch;
    img->maxval = static_cast<int>(maxval);
    img->samples.resize(count);
    for (size_t i = 0; i < count; ++i)
        img->samples[i] = bps == 1 ? d[pos + i] : static_cast<uint16_t>(d[pos + 2 * i] << 8 | d[pos + 2 * i + 1]);
    return true;
}

std::string pnmHeader(int width, int height, int channels, int maxval) {
    char head[64];
    const int n = std::snprintf(head, sizeof head, "P%c\n%d %d\n%d\n", channels == 1 ? '5' : '6', width, height,
                                maxval);
    return std::string(head, static_cast<size_t>(n));
}

bool writePnm(const std::string& path, const Image& img, std::string* error) {
    const uint16_t* s = img.samples.data();
    const size_t count = img.samples.size();
    return writeFileAtomic(path, pnmBytes(img.width, img.height, img.channels, img.maxval, count,
                                          [s, count](auto put) {
                                              for (size_t i = 0; i < count; ++i) put(i, s[i]);
                                          }),
                           error);
}

double psnr(const Image& a, const Image& b) {
    if (a.samples.size() != b.samples.size() || a.samples.empty()) return 0.0;
    double se = 0;
    for (size_t i = 0; i < a.samples.size(); ++i) {
        const double e = double(a.samples[i]) - double(b.samples[i]);
        se += e * e;
    }
    if (se == 0) return INFINITY;
    const double mse = se / double(a.samples.size());
    return 10.0 * std::log10(double(a.maxval) * a.maxval / mse);
}

}  // namespace ozrtool
