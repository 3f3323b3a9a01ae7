// Lossless JPEG (process 14) written from the library's prediction and row
// coding, read back by a peer: DCMTK's dcmdjpeg decodes it inside a minimal
// DICOM wrapper (libjpeg-turbo 2.1 reads no lossless JPEG).  Greyscale 12-
// and 16-bit images with every predictor, and 8-bit RGB with three
// interleaved components; the peer's samples must equal the originals.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "jpeg/huffenc.h"
#include "jpeg_parse.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

struct TempDir {
    std::string path;
    TempDir() {
        char tmpl[] = "/tmp/ozrj_lossless_XXXXXX";
        if (mkdtemp(tmpl)) path = tmpl;
    }
    ~TempDir() {
        if (!path.empty()) std::system(("rm -rf '" + path + "'").c_str());
    }
};

void put16be(std::vector<uint8_t>& v, int x) {
    v.push_back(static_cast<uint8_t>(x >> 8));
    v.push_back(static_cast<uint8_t>(x));
}

// Lossless JPEG of nc interleaved components (planes[c][y * w + x]).
std::vector<uint8_t> makeLosslessJpeg(const std::vector<std::vector<Ozr16s>>& planes, int w, int h, int P,
                                      int predictor) {
    const int nc = static_cast<int>(planes.size());
    // Differences of every row, per component.
    std::vector<std::vector<Ozr16s>> diffs(nc, std::vector<Ozr16s>(static_cast<size_t>(w) * h));
    int stats[256] = {};
    for (int c = 0; c < nc; ++c)
        for (int y = 0; y < h; ++y) {
            const Ozr16s* row = &planes[c][static_cast<size_t>(y) * w];
            Ozr16s* d = &diffs[c][static_cast<size_t>(y) * w];
            if (y == 0)
                EXPECT_EQ(ozriDiffPredFirstRow_JPEG_16s_C1(row, d, w, P, 0), ozrStatusOk);
            else
                EXPECT_EQ(ozriDiffPredRow_JPEG_16s_C1(row, row - w, d, w, predictor), ozrStatusOk);
            for (int x = 0; x < w; ++x) EXPECT_EQ(ozriGetHuffmanStatisticsOne_JPEG_16s_C1(&d[x], stats), ozrStatusOk);
        }
    Ozr8u bits[16], vals[256];
    EXPECT_EQ(ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, vals), ozrStatusOk);
    OzriEncodeHuffmanSpec tbl;
    EXPECT_EQ(ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &tbl), ozrStatusOk);
    int nvals = 0;
    for (int i = 0; i < 16; ++i) nvals += bits[i];

    std::vector<uint8_t> f = {0xFF, 0xD8};
    f.insert(f.end(), {0xFF, 0xC4});  // DHT: one DC-class table 0
    put16be(f, 2 + 1 + 16 + nvals);
    f.push_back(0x00);
    f.insert(f.end(), bits, bits + 16);
    f.insert(f.end(), vals, vals + nvals);
    f.insert(f.end(), {0xFF, 0xC3});  // SOF3
    put16be(f, 8 + 3 * nc);
    f.push_back(static_cast<uint8_t>(P));
    put16be(f, h);
    put16be(f, w);
    f.push_back(static_cast<uint8_t>(nc));
    for (int c = 0; c < nc; ++c) f.insert(f.end(), {static_cast<uint8_t>(c + 1), 0x11, 0x00});
    f.insert(f.end(), {0xFF, 0xDA});  // SOS
    put16be(f, 6 + 2 * nc);
    f.push_back(static_cast<uint8_t>(nc));
    for (int c = 0; c < nc; ++c) f.insert(f.end(), {static_cast<uint8_t>(c + 1), 0x00});
    f.insert(f.end(), {static_cast<uint8_t>(predictor), 0x00, 0x00});

    std::vector<Ozr8u> data(static_cast<size_t>(w) * h * nc * 6 + 64);
    OzriEncodeHuffmanState st;
    ozriEncodeHuffmanStateInit_JPEG_8u(&st);
    int pos = 0;
    const OzriEncodeHuffmanSpec* tables[4] = {&tbl, &tbl, &tbl, &tbl};
    for (int y = 0; y < h; ++y) {
        const Ozr16s* rows[4] = {};
        for (int c = 0; c < nc; ++c) rows[c] = &diffs[c][static_cast<size_t>(y) * w];
        EXPECT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, w, nc, data.data(), int(data.size()), &pos, tables, &st, 0),
                  ozrStatusOk);
    }
    EXPECT_EQ(ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, data.data(), int(data.size()), &pos, nullptr, &st, 1),
              ozrStatusOk);
    f.insert(f.end(), data.begin(), data.begin() + pos);
    f.insert(f.end(), {0xFF, 0xD9});
    return f;
}

// ------------------------------------------------------ minimal DICOM file
void tag(std::vector<uint8_t>& v, int group, int elem, const char* vr, const std::vector<uint8_t>& value) {
    v.push_back(static_cast<uint8_t>(group));
    v.push_back(static_cast<uint8_t>(group >> 8));
    v.push_back(static_cast<uint8_t>(elem));
    v.push_back(static_cast<uint8_t>(elem >> 8));
    v.push_back(static_cast<uint8_t>(vr[0]));
    v.push_back(static_cast<uint8_t>(vr[1]));
    const uint32_t n = static_cast<uint32_t>(value.size());
    if (!std::strcmp(vr, "OB") || !std::strcmp(vr, "OW")) {
        v.insert(v.end(), {0, 0});
        for (int i = 0; i < 4; ++i) v.push_back(static_cast<uint8_t>(n >> (8 * i)));
    } else {
        v.push_back(static_cast<uint8_t>(n));
        v.push_back(static_cast<uint8_t>(n >> 8));
    }
    v.insert(v.end(), value.begin(), value.end());
}
std::vector<uint8_t> str(const std::string& s, char pad) {
    std::vector<uint8_t> v(s.begin(), s.end());
    if (v.size() % 2) v.push_back(static_cast<uint8_t>(pad));
    return v;
}
std::vector<uint8_t> us(int x) { return {static_cast<uint8_t>(x), static_cast<uint8_t>(x >> 8)}; }

std::vector<uint8_t> wrapDicom(const std::vector<uint8_t>& jpeg, int w, int h, int nc, int P) {
    const std::string sopClass = "1.2.840.10008.5.1.4.1.1.7", sopInst = "1.2.826.0.1.3680043.2.1143.1.1";
    std::vector<uint8_t> meta;
    tag(meta, 0x0002, 0x0001, "OB", {0, 1});
    tag(meta, 0x0002, 0x0002, "UI", str(sopClass, 0));
    tag(meta, 0x0002, 0x0003, "UI", str(sopInst, 0));
    tag(meta, 0x0002, 0x0010, "UI", str("1.2.840.10008.1.2.4.57", 0));  // lossless, process 14
    std::vector<uint8_t> out(128, 0);
    out.insert(out.end(), {'D', 'I', 'C', 'M'});
    const uint32_t ml = static_cast<uint32_t>(meta.size());
    tag(out, 0x0002, 0x0000, "UL", {static_cast<uint8_t>(ml), static_cast<uint8_t>(ml >> 8),
                                    static_cast<uint8_t>(ml >> 16), static_cast<uint8_t>(ml >> 24)});
    out.insert(out.end(), meta.begin(), meta.end());
    tag(out, 0x0008, 0x0016, "UI", str(sopClass, 0));
    tag(out, 0x0008, 0x0018, "UI", str(sopInst, 0));
    tag(out, 0x0028, 0x0002, "US", us(nc));
    tag(out, 0x0028, 0x0004, "CS", str(nc == 3 ? "RGB" : "MONOCHROME2", ' '));
    if (nc == 3) tag(out, 0x0028, 0x0006, "US", us(0));
    tag(out, 0x0028, 0x0010, "US", us(h));
    tag(out, 0x0028, 0x0011, "US", us(w));
    tag(out, 0x0028, 0x0100, "US", us(P > 8 ? 16 : 8));
    tag(out, 0x0028, 0x0101, "US", us(P));
    tag(out, 0x0028, 0x0102, "US", us(P - 1));
    tag(out, 0x0028, 0x0103, "US", us(0));
    // Encapsulated pixel data: empty offset table, one fragment, delimiter.
    out.insert(out.end(), {0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    out.insert(out.end(), {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0});
    std::vector<uint8_t> frag = jpeg;
    if (frag.size() % 2) frag.push_back(0);
    const uint32_t fl = static_cast<uint32_t>(frag.size());
    out.insert(out.end(), {0xFE, 0xFF, 0x00, 0xE0, static_cast<uint8_t>(fl), static_cast<uint8_t>(fl >> 8),
                           static_cast<uint8_t>(fl >> 16), static_cast<uint8_t>(fl >> 24)});
    out.insert(out.end(), frag.begin(), frag.end());
    out.insert(out.end(), {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0});
    return out;
}

// Pixel data of an uncompressed explicit-little-endian DICOM file.
bool pixelData(const std::vector<uint8_t>& f, std::vector<uint8_t>* px) {
    for (size_t i = f.size() >= 12 ? f.size() - 12 : 0; i-- > 0;) {
        if (f[i] == 0xE0 && f[i + 1] == 0x7F && f[i + 2] == 0x10 && f[i + 3] == 0x00 &&
            (f[i + 4] == 'O') && (f[i + 5] == 'W' || f[i + 5] == 'B')) {
            const uint32_t n = f[i + 8] | (f[i + 9] << 8) | (f[i + 10] << 16) | (uint32_t(f[i + 11]) << 24);
            if (i + 12 + n > f.size()) return false;
            px->assign(f.begin() + i + 12, f.begin() + i + 12 + n);
            return true;
        }
    }
    return false;
}

bool haveDcmdjpeg() { return std::system("command -v dcmdjpeg > /dev/null 2>&1") == 0; }

bool writeFile(const std::string& path, const std::vector<uint8_t>& v) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(v.data(), 1, v.size(), f) == v.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

TEST(LosslessPeer, DcmtkDecodesOurLosslessJpeg) {
    if (!haveDcmdjpeg()) GTEST_SKIP() << "dcmdjpeg (Debian package dcmtk) not installed";
    TempDir tmp;
    ASSERT_FALSE(tmp.path.empty());
    Rng rng(77);
    // The halving predictors 5..7 form their prediction from the samples read
    // as signed 16-bit values; for 16-bit samples of 32768 and above that is
    // not the unsigned arithmetic other decoders use, so those cases keep
    // their samples below 32768 (maxv).
    struct Case {
        int nc, P, predictor, w, h, maxv;
    };
    const Case cases[] = {
        {1, 12, 1, 37, 23, 4095},  {1, 12, 2, 64, 9, 4095},    {1, 12, 3, 17, 31, 4095},
        {1, 12, 4, 40, 40, 4095},  {1, 12, 5, 33, 12, 4095},   {1, 12, 6, 8, 50, 4095},
        {1, 12, 7, 61, 19, 4095},  {1, 16, 1, 29, 17, 65535},  {1, 16, 2, 18, 14, 65535},
        {1, 16, 3, 22, 13, 65535}, {1, 16, 4, 21, 11, 65535},  {1, 16, 5, 30, 20, 32767},
        {1, 16, 6, 25, 15, 32767}, {1, 16, 7, 30, 20, 32767},  {3, 8, 1, 24, 16, 255},
        {3, 8, 6, 35, 21, 255},    {3, 8, 7, 16, 9, 255},
    };
    int idx = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE("components " + std::to_string(c.nc) + " P " + std::to_string(c.P) + " predictor " +
                     std::to_string(c.predictor));
        const int maxv = c.maxv;
        std::vector<std::vector<Ozr16s>> planes(c.nc, std::vector<Ozr16s>(static_cast<size_t>(c.w) * c.h));
        for (int k = 0; k < c.nc; ++k)
            for (int y = 0; y < c.h; ++y)
                for (int x = 0; x < c.w; ++x) {
                    // Smooth ramps with noise and the extremes (P = 16 makes
                    // differences of -32768, coded as category 16).
                    int v = (x * 97 + y * 53 + k * 1000) % (maxv + 1);
                    v = (v + rng.range(-20, 20)) & ((1 << c.P) - 1);
                    if (v > maxv) v = maxv;
                    if ((x + y) % 11 == 0) v = (x % 2) ? maxv : 0;
                    planes[k][static_cast<size_t>(y) * c.w + x] = static_cast<Ozr16s>(static_cast<uint16_t>(v));
                }
        const std::vector<uint8_t> jpeg = makeLosslessJpeg(planes, c.w, c.h, c.P, c.predictor);
        const std::string in = tmp.path + "/in" + std::to_string(idx) + ".dcm";
        const std::string out = tmp.path + "/out" + std::to_string(idx) + ".dcm";
        ++idx;
        ASSERT_TRUE(writeFile(in, wrapDicom(jpeg, c.w, c.h, c.nc, c.P)));
        ASSERT_EQ(std::system(("dcmdjpeg -q +te '" + in + "' '" + out + "'").c_str()), 0);
        std::vector<uint8_t> file, px;
        ASSERT_TRUE(jpegparse::readFile(out, &file));
        ASSERT_TRUE(pixelData(file, &px));
        const int bytesPer = c.P > 8 ? 2 : 1;
        ASSERT_GE(px.size(), static_cast<size_t>(c.w) * c.h * c.nc * bytesPer);
        int bad = 0;
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x)
                for (int k = 0; k < c.nc; ++k) {
                    const size_t i = (static_cast<size_t>(y) * c.w + x) * c.nc + k;  // interleaved samples
                    const int got = bytesPer == 2 ? (px[2 * i] | (px[2 * i + 1] << 8)) : px[i];
                    const int want = static_cast<uint16_t>(planes[k][static_cast<size_t>(y) * c.w + x]);
                    if (got != want && bad++ < 5)
                        ADD_FAILURE() << "sample (" << x << "," << y << ") component " << k << ": " << got << " vs " << want;
                }
        EXPECT_EQ(bad, 0);
    }
}
