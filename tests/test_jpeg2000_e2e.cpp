// End to end against a real encoder: images synthesised here are coded
// losslessly by OpenJPEG's opj_compress with every code-block style, several
// code-block sizes, resolution counts, progressions, tilings, precincts and
// layers, with and without the colour transform; the tools reader decodes
// them through the library and must give back every sample.  Damaged
// codestreams must give an error or an image, never a crash.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "j2k_reader.h"
#include "test_jpeg2000_cb_ref.h"
#include "test_util.h"

namespace {

namespace fs = std::filesystem;

bool haveOpj() { return std::system("command -v opj_compress > /dev/null 2>&1") == 0; }

struct TempDir {
    fs::path path;
    TempDir() {
        char tmpl[] = "/tmp/ozrj_j2k_XXXXXX";
        path = mkdtemp(tmpl);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
    std::string file(const std::string& name) const { return (path / name).string(); }
};

// Interleaved samples of a PNM image.
struct Image {
    int w = 0, h = 0, nc = 1, maxval = 255;
    std::vector<int> s;
};

// Smooth shading, texture, edges and noise: every coding pass and context
// gets work, as in a photograph.
Image synth(ozrtest::Rng& rng, int w, int h, int nc, int maxval) {
    Image im{w, h, nc, maxval, std::vector<int>(static_cast<size_t>(w) * h * nc)};
    const double scale = maxval / 255.0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < nc; ++c) {
                double v = 90 + 60 * std::sin(x * 0.11 + c) * std::cos(y * 0.07 - c) + (x * 40.0) / (w + 1);
                if (((x / 9) + (y / 7)) % 4 == 0) v += 50;
                v += rng.range(-12, 12);
                if (rng.range(0, 40) == 0) v = rng.range(0, 255);
                const int q = static_cast<int>(std::lround(std::min(255.0, std::max(0.0, v)) * scale));
                im.s[(static_cast<size_t>(y) * w + x) * nc + c] = std::min(maxval, q + rng.range(0, scale > 1 ? 3 : 0));
            }
    return im;
}

void writePnm(const std::string& path, const Image& im) {
    std::ofstream f(path, std::ios::binary);
    f << (im.nc == 3 ? "P6" : "P5") << "\n" << im.w << " " << im.h << "\n" << im.maxval << "\n";
    for (int v : im.s) {
        if (im.maxval > 255) f.put(static_cast<char>(v >> 8));
        f.put(static_cast<char>(v & 0xFF));
    }
}

// Codes the image with opj_compress and the given options; false if the
// encoder refused them.
bool opjEncode(const TempDir& dir, const Image& im, const std::string& out, const std::string& options) {
    const std::string in = dir.file(im.nc == 3 ? "in.ppm" : "in.pgm");
    writePnm(in, im);
    const std::string cmd = "opj_compress -i " + in + " -o " + out + " " + options + " > /dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

void expectSame(const std::string& file, const Image& im, int precision, const std::string& what,
                bool progressive = false) {
    J2kImage got;
    std::string err;
    J2kOptions opt;
    opt.progressive = progressive;
    ASSERT_EQ(j2kDecodeFile(file.c_str(), &got, &err, &opt), 0) << what << ": " << err;
    ASSERT_EQ(static_cast<int>(got.components.size()), im.nc) << what;
    for (int c = 0; c < im.nc; ++c) {
        const J2kComponent& comp = got.components[c];
        ASSERT_EQ(comp.width, im.w) << what;
        ASSERT_EQ(comp.height, im.h) << what;
        EXPECT_EQ(comp.precision, precision) << what;
        for (int i = 0; i < im.w * im.h; ++i)
            ASSERT_EQ(comp.samples[i], im.s[static_cast<size_t>(i) * im.nc + c])
                << what << ": component " << c << " sample (" << i % im.w << "," << i / im.w << ")";
    }
}

// Reads a binary PGM as opj_decompress writes it (a comment line may follow
// the magic number).
bool readPgm(const std::string& path, int* w, int* h, std::vector<int>* px) {
    std::ifstream f(path, std::ios::binary);
    std::string magic;
    int maxval = 0;
    f >> magic;
    f.get();
    while (f.peek() == '#') {
        std::string comment;
        std::getline(f, comment);
    }
    f >> *w >> *h >> maxval;
    f.get();
    if (magic != "P5" || maxval > 255 || !f) return false;
    std::vector<char> raw(static_cast<size_t>(*w) * *h);
    f.read(raw.data(), static_cast<std::streamsize>(raw.size()));
    px->assign(raw.begin(), raw.end());
    for (int& v : *px) v &= 0xFF;
    return static_cast<bool>(f);
}

#define REQUIRE_OPJ()                                                      \
    if (!haveOpj()) {                                                      \
        GTEST_SKIP() << "opj_compress (libopenjp2-tools) missing";         \
    }

}  // namespace

// Style 0, each single style bit and all six together, grey and colour, odd
// origins, with and without the colour transform; grey also in three layers
// and through the progressive interface.
TEST(J2kEndToEnd, CodeBlockStyles) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(1);
    const Image grey = synth(rng, 61, 45, 1, 255);
    const Image rgb = synth(rng, 40, 33, 3, 255);
    for (int style : {0, 1, 2, 4, 8, 16, 32, 63}) {
        const std::string out = dir.file("s.j2k");
        const std::string m = " -M " + std::to_string(style);
        ASSERT_TRUE(opjEncode(dir, grey, out, "-n 3 -b 16,16 -d 3,5 -r 6,2,1" + m));
        expectSame(out, grey, 8, "grey style " + std::to_string(style));
        // The same code-blocks through the progressive interface, one Step
        // per codeword segment (segments span layers here).
        expectSame(out, grey, 8, "grey style " + std::to_string(style) + ", progressive", true);
        for (int mct : {0, 1}) {
            ASSERT_TRUE(opjEncode(dir, rgb, out, "-n 2 -b 32,32 -d 1,0 -mct " + std::to_string(mct) + m));
            expectSame(out, rgb, 8, "rgb mct " + std::to_string(mct) + " style " + std::to_string(style));
        }
    }
}

// Code-block shapes from 4 x 4 to 64 x 64 and zero to five decomposition levels.
TEST(J2kEndToEnd, CodeBlockSizesAndLevels) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(2);
    const Image im = synth(rng, 130, 97, 1, 255);
    const Image odd = synth(rng, 77, 51, 3, 255);
    const struct {
        const char* cb;
        int levels;
        const char* modes;
    } cases[] = {{"64,64", 1, "0"}, {"64,64", 6, "0"}, {"4,4", 2, "0"},   {"8,32", 3, "63"},
                 {"32,8", 4, "1"},  {"16,64", 5, "36"}, {"8,8", 3, "17"}, {"64,16", 2, "10"}};
    for (const auto& c : cases) {
        const std::string out = dir.file("b.j2k");
        const std::string opts = std::string("-b ") + c.cb + " -n " + std::to_string(c.levels) + " -M " + c.modes;
        ASSERT_TRUE(opjEncode(dir, im, out, opts));
        expectSame(out, im, 8, opts);
        ASSERT_TRUE(opjEncode(dir, odd, out, opts + " -d 7,3"));
        expectSame(out, odd, 8, opts + " origin 7,3");
    }
}

// The five progression orders with precincts and layers, and with tiles,
// tile offsets and SOP/EPH markers.
TEST(J2kEndToEnd, ProgressionsTilesPrecinctsLayers) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(3);
    const Image im = synth(rng, 100, 70, 3, 255);
    for (const char* order : {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"}) {
        for (const char* extra : {"-c [32,32],[16,16] -r 20,5,1", "-t 48,40 -T 3,2 -SOP -EPH",
                                  "-t 40,36 -c [16,16] -r 8,1 -M 1"}) {
            const std::string out = dir.file("p.j2k");
            const std::string opts = std::string("-n 3 -d 5,4 -p ") + order + " " + extra;
            ASSERT_TRUE(opjEncode(dir, im, out, opts));
            expectSame(out, im, 8, opts);
        }
    }
}

// Deep samples, thin images and the JP2 container.
TEST(J2kEndToEnd, PrecisionShapesAndContainer) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(4);
    const std::string out = dir.file("d.j2k");
    const Image deep = synth(rng, 33, 21, 1, 65535);
    ASSERT_TRUE(opjEncode(dir, deep, out, "-n 3"));
    expectSame(out, deep, 16, "16-bit");
    {
        // Written back as PGM, the file equals the one the encoder read.
        J2kImage img;
        std::string err;
        ASSERT_EQ(j2kDecodeFile(out.c_str(), &img, &err), 0) << err;
        const std::string back = dir.file("back.pgm");
        ASSERT_EQ(j2kWritePnm(img, back.c_str(), &err), 0) << err;
        std::ifstream a(dir.file("in.pgm"), std::ios::binary), b(back, std::ios::binary);
        const std::string sa((std::istreambuf_iterator<char>(a)), {}), sb((std::istreambuf_iterator<char>(b)), {});
        EXPECT_TRUE(sa == sb) << "PGM written back differs";
    }
    const Image twelve = synth(rng, 45, 38, 3, 4095);
    ASSERT_TRUE(opjEncode(dir, twelve, out, "-n 4 -M 63 -b 8,8"));
    expectSame(out, twelve, 12, "12-bit colour");
    for (auto wh : {std::pair<int, int>{1, 37}, {29, 1}, {2, 2}, {1, 1}, {5, 3}}) {
        const Image thin = synth(rng, wh.first, wh.second, 1, 255);
        ASSERT_TRUE(opjEncode(dir, thin, out, "-n 1 -d 1,1"));
        expectSame(out, thin, 8, std::to_string(wh.first) + "x" + std::to_string(wh.second));
    }
    const Image thin = synth(rng, 3, 40, 1, 255);
    ASSERT_TRUE(opjEncode(dir, thin, out, "-n 2 -d 1,0"));
    expectSame(out, thin, 8, "3x40, two levels");
    const std::string jp2 = dir.file("c.jp2");
    const Image rgb = synth(rng, 50, 31, 3, 255);
    ASSERT_TRUE(opjEncode(dir, rgb, jp2, "-n 3"));
    expectSame(jp2, rgb, 8, "jp2 container");
}

// Truncated and damaged codestreams: a clear error or an image, never a
// crash (the sanitizer build checks every access).  Under segmentation
// symbols and predictable termination most damage to code-block data is
// reported as such.
TEST(J2kEndToEnd, DamagedCodestreams) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(5);
    const Image im = synth(rng, 64, 48, 3, 255);
    const std::string out = dir.file("x.j2k");
    ASSERT_TRUE(opjEncode(dir, im, out, "-n 3 -b 16,16 -M 52 -r 4,1"));
    std::ifstream f(out, std::ios::binary);
    const std::vector<uint8_t> good((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    ASSERT_GT(good.size(), 200u);
    for (size_t cut = 0; cut < good.size(); cut += 1 + cut / 8) {
        std::vector<uint8_t> part(good.begin(), good.begin() + cut);
        J2kImage img;
        std::string err;
        if (j2kDecodeMemory(part.data(), part.size(), &img, &err) != 0) {
            EXPECT_FALSE(err.empty());
        }
    }
    int corrupt = 0;
    for (int t = 0; t < 150; ++t) {
        std::vector<uint8_t> bad = good;
        const size_t at = t < 100 ? bad.size() / 2 + rng.range(0, static_cast<int>(bad.size() / 2) - 3)
                                  : static_cast<size_t>(rng.range(0, static_cast<int>(bad.size()) - 1));
        bad[at] ^= static_cast<uint8_t>(1 + rng.range(0, 254));
        J2kImage img;
        std::string err;
        if (j2kDecodeMemory(bad.data(), bad.size(), &img, &err) != 0) {
            EXPECT_FALSE(err.empty());
            corrupt += err == "corrupt code-block data";
        }
    }
    EXPECT_GT(corrupt, 20);
}

// The other direction: code-blocks coded here (the reference coder over the
// internal MQ encoder, full-flush, shortest and predictable terminations) in
// a minimal codestream, decoded by opj_decompress.
TEST(J2kEndToEnd, OpenJpegDecodesOurCodeBlocks) {
    REQUIRE_OPJ();
    TempDir dir;
    ozrtest::Rng rng(6);
    for (int combo = 0; combo < 64; ++combo) {
        uint32_t flags = 0;
        const uint32_t bits[6] = {0x1, 0x2, 0x4, 0x8, 0x10, 0x100000};
        for (int b = 0; b < 6; ++b)
            if (combo & (1 << b)) flags |= bits[b];
        const int w = rng.range(1, 62), h = rng.range(1, 63);  // one 64 x 64 code-block with the origin
        std::vector<uint32_t> v(static_cast<size_t>(w) * h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int s = static_cast<int>(60 * std::sin(x * 0.3 + combo) * std::cos(y * 0.2)) + rng.range(-20, 20);
                if (rng.range(0, 9) == 0) s = rng.range(-128, 127);
                v[static_cast<size_t>(y) * w + x] = static_cast<uint32_t>(std::abs(s)) | (s < 0 ? 0x80000000u : 0u);
            }
        const bool shortest = combo & 1;
        const cbref::Coded c = cbref::RefCoder(v, w, h, 0, flags, shortest).run();
        const std::vector<uint8_t> cs = cbref::writeCodestream(c, w, h, flags, combo % 3, combo % 2);
        const std::string j2k = dir.file("ours.j2k"), pgm = dir.file("ours.pgm");
        std::ofstream(j2k, std::ios::binary).write(reinterpret_cast<const char*>(cs.data()),
                                                   static_cast<std::streamsize>(cs.size()));
        const std::string cmd = "opj_decompress -i " + j2k + " -o " + pgm + " > /dev/null 2>&1";
        ASSERT_EQ(std::system(cmd.c_str()), 0) << "flags " << flags;
        int pw = 0, ph = 0;
        std::vector<int> px;
        ASSERT_TRUE(readPgm(pgm, &pw, &ph, &px));
        ASSERT_EQ(pw, w);
        ASSERT_EQ(ph, h);
        for (int i = 0; i < w * h; ++i) {
            const int mag = static_cast<int>(v[i] & 0x7FFFFFFF);
            ASSERT_EQ(px[i], 128 + ((v[i] >> 31) ? -mag : mag)) << "flags " << flags << " sample " << i;
        }
    }
}
