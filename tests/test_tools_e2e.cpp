// End to end: files the ozrj program writes are opened by independent peers
// (libjpeg, libtiff), JPEG quality and size are on par with libjpeg's own
// encoder, and bad input gives a one-line error and no output file.
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <setjmp.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "dds_file.h"
#include "jpeg_encoder.h"
#include "tiff_file.h"

using namespace ozrtool;

namespace {

struct JpegErr {
    jpeg_error_mgr mgr;
    jmp_buf jump;
};
void onJpegError(j_common_ptr c) { longjmp(reinterpret_cast<JpegErr*>(c->err)->jump, 1); }

// Decodes with libjpeg; counts warnings.  False on a fatal error.
bool libjpegDecode(const std::vector<uint8_t>& jpg, Image* out, long* warnings) {
    jpeg_decompress_struct d;
    JpegErr err;
    d.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = onJpegError;
    err.mgr.output_message = [](j_common_ptr) {};
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&d);
        return false;
    }
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, jpg.data(), jpg.size());
    jpeg_read_header(&d, TRUE);
    d.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&d);
    out->width = static_cast<int>(d.output_width);
    out->height = static_cast<int>(d.output_height);
    out->channels = d.output_components;
    out->maxval = 255;
    std::vector<uint8_t> row(static_cast<size_t>(out->width) * out->channels);
    out->samples.clear();
    while (d.output_scanline < d.output_height) {
        JSAMPROW r = row.data();
        jpeg_read_scanlines(&d, &r, 1);
        out->samples.insert(out->samples.end(), row.begin(), row.end());
    }
    jpeg_finish_decompress(&d);
    *warnings = err.mgr.num_warnings;
    jpeg_destroy_decompress(&d);
    return true;
}

// libjpeg's encoder with the accurate integer DCT, standard tables.
std::vector<uint8_t> libjpegEncode(const Image& img, int quality, int subsampling) {
    jpeg_compress_struct c;
    jpeg_error_mgr em;
    c.err = jpeg_std_error(&em);
    jpeg_create_compress(&c);
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &mem, &size);
    c.image_width = img.width;
    c.image_height = img.height;
    c.input_components = img.channels;
    c.in_color_space = img.channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, quality, TRUE);
    c.dct_method = JDCT_ISLOW;
    if (img.channels == 3) {
        c.comp_info[0].h_samp_factor = subsampling == 444 ? 1 : 2;
        c.comp_info[0].v_samp_factor = subsampling == 420 ? 2 : 1;
    }
    jpeg_start_compress(&c, TRUE);
    const std::vector<uint8_t> px = img.bytes8();
    while (c.next_scanline < c.image_height) {
        JSAMPROW r = const_cast<uint8_t*>(&px[static_cast<size_t>(c.next_scanline) * img.width * img.channels]);
        jpeg_write_scanlines(&c, &r, 1);
    }
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(mem, mem + size);
    free(mem);
    jpeg_destroy_compress(&c);
    return out;
}

Image greyOf(const Image& rgb) {
    Image g = rgb;
    g.channels = 1;
    g.samples.resize(static_cast<size_t>(rgb.width) * rgb.height);
    for (size_t i = 0; i < g.samples.size(); ++i)
        g.samples[i] = static_cast<uint16_t>((rgb.samples[3 * i] * 77 + rgb.samples[3 * i + 1] * 150 + rgb.samples[3 * i + 2] * 29) >> 8);
    return g;
}

std::string scratchDir() {
    char tmpl[] = "/tmp/ozrj-e2e-XXXXXX";
    return mkdtemp(tmpl);
}

}  // namespace

TEST(JpegEndToEnd, PeerDecodesWithoutWarningsAndMatchesItsOwnEncoder) {
    const Image scene = makeScene(333, 247);  // odd sizes: partial MCUs on both edges
    for (int channels : {3, 1})
        for (int sub : {444, 422, 420})
            for (int q : {50, 75, 90}) {
                if (channels == 1 && sub != 444) continue;
                const Image src = channels == 3 ? scene : greyOf(scene);
                std::vector<uint8_t> ours;
                std::string err;
                JpegOptions opt;
                opt.quality = q;
                opt.subsampling = sub;
                ASSERT_TRUE(encodeJpeg(src, opt, &ours, &err)) << err;
                Image a, b;
                long warnA = 0, warnB = 0;
                ASSERT_TRUE(libjpegDecode(ours, &a, &warnA));
                EXPECT_EQ(warnA, 0);
                ASSERT_EQ(a.width, src.width);
                ASSERT_EQ(a.height, src.height);
                const std::vector<uint8_t> ref = libjpegEncode(src, q, sub);
                ASSERT_TRUE(libjpegDecode(ref, &b, &warnB));
                const double pOurs = psnr(src, a), pRef = psnr(src, b);
                const double sizeRatio = double(ours.size()) / double(ref.size());
                SCOPED_TRACE("channels " + std::to_string(channels) + " sub " + std::to_string(sub) + " q" +
                             std::to_string(q));
                EXPECT_GT(pOurs, pRef - 0.3) << pOurs << " dB vs " << pRef;
                // Never more than 3% larger; smaller at equal quality is welcome
                // (round-to-even quantization zeroes a few more coefficients).
                EXPECT_LE(sizeRatio, 1.03) << ours.size() << " vs " << ref.size();
                EXPECT_GE(sizeRatio, 0.90) << ours.size() << " vs " << ref.size();
            }
}

TEST(JpegEndToEnd, RestartIntervalsAndOptimizedTablesDecode) {
    const Image scene = makeScene(200, 120);
    std::string err;
    JpegOptions plain;
    std::vector<uint8_t> base;
    ASSERT_TRUE(encodeJpeg(scene, plain, &base, &err)) << err;
    Image ref;
    long warn = 0;
    ASSERT_TRUE(libjpegDecode(base, &ref, &warn));
    for (int restart : {0, 1, 7}) {
        for (bool optimize : {false, true}) {
            JpegOptions opt;
            opt.restartInterval = restart;
            opt.optimize = optimize;
            std::vector<uint8_t> jpg;
            ASSERT_TRUE(encodeJpeg(scene, opt, &jpg, &err)) << err;
            Image dec;
            ASSERT_TRUE(libjpegDecode(jpg, &dec, &warn));
            EXPECT_EQ(warn, 0) << "restart " << restart;
            // Entropy coding is lossless: the same samples come back.
            EXPECT_EQ(dec.samples, ref.samples) << "restart " << restart << " optimize " << optimize;
            if (optimize && restart == 0) {
                EXPECT_LT(jpg.size(), base.size());
            }
        }
    }
}

TEST(TiffEndToEnd, LibtiffReadsOurStripsExactly) {
    const std::string dir = scratchDir();
    for (int channels : {1, 3}) {
        const Image scene = makeScene(131, 37);
        const Image src = channels == 3 ? scene : greyOf(scene);
        std::vector<uint8_t> tif;
        std::string err;
        ASSERT_TRUE(writeTiffPackBits(src, &tif, &err)) << err;
        const std::string path = dir + "/t.tif";
        ASSERT_TRUE(writeFileAtomic(path, tif, &err));
        TIFF* t = TIFFOpen(path.c_str(), "r");
        ASSERT_NE(t, nullptr);
        uint16_t compression = 0;
        TIFFGetField(t, TIFFTAG_COMPRESSION, &compression);
        EXPECT_EQ(compression, COMPRESSION_PACKBITS);
        std::vector<uint8_t> row(static_cast<size_t>(TIFFScanlineSize(t)));
        for (int y = 0; y < src.height; ++y) {
            ASSERT_EQ(TIFFReadScanline(t, row.data(), y, 0), 1);
            for (int i = 0; i < src.width * channels; ++i)
                ASSERT_EQ(row[i], src.samples[static_cast<size_t>(y) * src.width * channels + i]) << y << "," << i;
        }
        TIFFClose(t);
        Image back;
        ASSERT_TRUE(readTiff(tif, &back, &err)) << err;
        EXPECT_EQ(back.samples, src.samples);
    }
    std::remove((dir + "/t.tif").c_str());
    rmdir(dir.c_str());
}

namespace {
bool run(const std::string& cmd) { return std::system((cmd + " > /dev/null 2>&1").c_str()) == 0; }
}  // namespace

// Our DDS files open in ImageMagick and decode to what our own decoder gives,
// within the documented colour-expansion difference (the library leaves the
// low bits of 5:6:5 end points zero; peers replicate the high bits).
TEST(DdsEndToEnd, ImageMagickReadsOurTextures) {
    if (!run("test -x /usr/bin/convert")) GTEST_SKIP() << "ImageMagick not installed";
    const std::string dir = scratchDir();
    const Image scene = makeScene(37, 21);
    for (DxtFormat f : {DxtFormat::Dxt1, DxtFormat::Dxt3, DxtFormat::Dxt5}) {
        DdsTexture tex;
        std::string err;
        ASSERT_TRUE(encodeDxt(scene, f, &tex, &err)) << err;
        std::vector<uint8_t> dds;
        writeDds(tex, &dds);
        ASSERT_TRUE(writeFileAtomic(dir + "/t.dds", dds, &err));
        ASSERT_TRUE(run("/usr/bin/convert " + dir + "/t.dds " + dir + "/peer.ppm"));
        Image peer, ours;
        ASSERT_TRUE(readPnm(dir + "/peer.ppm", &peer, &err)) << err;
        ASSERT_TRUE(decodeDxt(tex, &ours, &err)) << err;
        ASSERT_EQ(peer.width, ours.width);
        ASSERT_EQ(peer.height, ours.height);
        ASSERT_EQ(peer.channels, 3);
        for (size_t i = 0; i < ours.samples.size(); ++i) {
            const int d = int(peer.samples[i]) - int(ours.samples[i]);
            ASSERT_TRUE(d >= -1 && d <= 8) << "sample " << i << ": peer " << peer.samples[i] << " ours " << ours.samples[i];
        }
    }
    std::system(("rm -rf '" + dir + "'").c_str());
}

// Lossless codestreams written by OpenJPEG come back sample for sample
// through the program's decoder: grey and colour, colour transform on and
// off, odd origins, several code-block styles.
TEST(J2kEndToEnd, OpenJpegLosslessFilesDecodeExactly) {
    if (!run("command -v opj_compress")) GTEST_SKIP() << "opj_compress not installed";
    const std::string dir = scratchDir();
    const Image scene = makeScene(97, 61);
    struct Case { int channels; const char* opts; };
    const Case cases[] = {{3, ""}, {3, "-mct 0"}, {1, "-n 3 -b 16,16"}, {3, "-d 3,5 -M 63"}, {1, "-d 3,5 -t 40,24 -T 1,2 -n 3 -p RPCL"}};
    for (const Case& c : cases) {
        const Image src = c.channels == 3 ? scene : greyOf(scene);
        std::string err;
        const std::string in = dir + (c.channels == 3 ? "/s.ppm" : "/s.pgm"), j2k = dir + "/s.j2k";
        ASSERT_TRUE(writePnm(in, src, &err)) << err;
        ASSERT_TRUE(run("opj_compress -i " + in + " -o " + j2k + " " + c.opts)) << c.opts;
        Image back;
        ASSERT_TRUE(decodeJ2kFile(j2k, &back, &err)) << c.opts << ": " << err;
        EXPECT_EQ(back.channels, src.channels) << c.opts;
        EXPECT_EQ(back.samples, src.samples) << c.opts;
#ifdef OZRJ_TOOL_PATH
        // The program writes the same file, byte for byte, as was encoded.
        const std::string out = dir + (c.channels == 3 ? "/back.ppm" : "/back.pgm");
        ASSERT_TRUE(run(std::string(OZRJ_TOOL_PATH) + " j2k decode " + j2k + " " + out)) << c.opts;
        EXPECT_TRUE(run("cmp " + in + " " + out)) << c.opts;
#endif
    }
    std::system(("rm -rf '" + dir + "'").c_str());
}

#ifdef OZRJ_TOOL_PATH
namespace {
struct ToolRun { int code; std::string err; };
ToolRun runTool(const std::string& args) {
    const std::string errFile = "/tmp/ozrj-e2e-stderr.txt";
    const std::string cmd = std::string(OZRJ_TOOL_PATH) + " " + args + " > /dev/null 2> " + errFile;
    const int rc = std::system(cmd.c_str());
    std::vector<uint8_t> e;
    std::string dummy;
    readFile(errFile, &e, &dummy);
    std::remove(errFile.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : 128, std::string(e.begin(), e.end())};
}
bool exists(const std::string& p) { return access(p.c_str(), F_OK) == 0; }
}  // namespace

TEST(ProgramBadInput, OneLineErrorNonZeroExitNoOutputFile) {
    const std::string dir = scratchDir();
    std::string err;
    // Files that are damaged in the ways real files are.
    std::vector<uint8_t> ppm = {'P', '6', '\n', '4', ' ', '4', '\n', '2', '5', '5', '\n', 1, 2, 3};
    ASSERT_TRUE(writeFileAtomic(dir + "/short.ppm", ppm, &err));
    ASSERT_TRUE(writeFileAtomic(dir + "/junk.bin", std::vector<uint8_t>(300, 0xAB), &err));
    DdsTexture tex;
    tex.width = 64;
    tex.height = 64;
    tex.blocks.assign(100, 0);  // far fewer blocks than 64x64 needs
    std::vector<uint8_t> dds;
    writeDds(tex, &dds);
    ASSERT_TRUE(writeFileAtomic(dir + "/short.dds", dds, &err));
    std::vector<uint8_t> tif;
    Image img = makeScene(40, 40);
    ASSERT_TRUE(writeTiffPackBits(img, &tif, &err));
    tif.resize(tif.size() / 2 + 10);
    ASSERT_TRUE(writeFileAtomic(dir + "/cut.tif", tif, &err));
    const struct { std::string args, out; } cases[] = {
        {"jpeg encode " + dir + "/missing.ppm " + dir + "/o1.jpg", dir + "/o1.jpg"},
        {"jpeg encode " + dir + "/short.ppm " + dir + "/o2.jpg", dir + "/o2.jpg"},
        {"jpeg encode " + dir + "/junk.bin " + dir + "/o3.jpg --quality 0", dir + "/o3.jpg"},
        {"j2k decode " + dir + "/junk.bin " + dir + "/o4.ppm", dir + "/o4.ppm"},
        {"dxt decode " + dir + "/short.dds " + dir + "/o5.ppm", dir + "/o5.ppm"},
        {"dxt decode " + dir + "/junk.bin " + dir + "/o6.ppm", dir + "/o6.ppm"},
        {"tiff unpack " + dir + "/cut.tif " + dir + "/o7.ppm", dir + "/o7.ppm"},
        {"tiff unpack " + dir + "/junk.bin " + dir + "/o8.pgm", dir + "/o8.pgm"},
        {"no-such-command", ""},
    };
    for (const auto& c : cases) {
        const ToolRun r = runTool(c.args);
        EXPECT_NE(r.code, 0) << c.args;
        EXPECT_LT(r.code, 128) << c.args << " crashed";
        EXPECT_FALSE(r.err.empty()) << c.args;
        if (!c.out.empty()) {
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c.args << ": " << r.err;
            EXPECT_FALSE(exists(c.out)) << c.args;
            EXPECT_FALSE(exists(c.out + ".part")) << c.args;
        }
    }
    std::system(("rm -rf '" + dir + "'").c_str());
}
#endif
