// `ozrj demo`: generates a photograph-like image, runs every pipeline of the
// program on it, writes the files into a folder and prints a table of sizes,
// quality and throughput.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "commands.h"
#include "jpeg_encoder.h"
#include "ozrj.h"
#include "tiff_file.h"

namespace ozrtool {

// Smooth sky and ground gradients, soft-edged discs, fine texture and a
// little noise: enough structure for the codecs to behave as on photographs.
Image makeScene(int w, int h) {
    Image img;
    img.width = w;
    img.height = h;
    img.channels = 3;
    img.samples.resize(size_t(w) * h * 3);
    uint32_t seed = 0x12345678u;
    auto noise = [&]() {
        seed = seed * 1664525u + 1013904223u;
        return int(seed >> 29) - 3;  // -3..4
    };
    struct Disc { double cx, cy, r, cr, cg, cb; };
    const Disc discs[] = {{0.25, 0.62, 0.12, 200, 60, 40}, {0.62, 0.55, 0.18, 40, 150, 70},
                          {0.82, 0.25, 0.07, 250, 230, 140}, {0.45, 0.80, 0.09, 90, 70, 160}};
    for (int y = 0; y < h; ++y) {
        const double fy = double(y) / h;
        for (int x = 0; x < w; ++x) {
            const double fx = double(x) / w;
            double r, g, b;
            if (fy < 0.45) {  // sky
                r = 90 + 100 * fy;
                g = 140 + 80 * fy;
                b = 230 - 40 * fy;
            } else {  // ground with texture
                const double t = 12 * std::sin(fx * 90 + std::sin(fy * 40) * 3) * std::cos(fy * 70);
                r = 110 + 40 * fx + t;
                g = 120 - 30 * fy + t;
                b = 60 + 20 * fx + t * 0.5;
            }
            for (const Disc& d : discs) {
                const double dist = std::hypot((fx - d.cx) * w / h, fy - d.cy) / d.r;
                const double a = std::clamp((1.0 - dist) * 8.0, 0.0, 1.0);
                const double shade = 0.75 + 0.25 * std::cos(dist * 2.5);
                r = r * (1 - a) + d.cr * shade * a;
                g = g * (1 - a) + d.cg * shade * a;
                b = b * (1 - a) + d.cb * shade * a;
            }
            uint16_t* p = &img.samples[(size_t(y) * w + x) * 3];
            p[0] = static_cast<uint16_t>(std::clamp(int(std::lround(r)) + noise(), 0, 255));
            p[1] = static_cast<uint16_t>(std::clamp(int(std::lround(g)) + noise(), 0, 255));
            p[2] = static_cast<uint16_t>(std::clamp(int(std::lround(b)) + noise(), 0, 255));
        }
    }
    return img;
}

namespace {

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

bool haveProgram(const char* name) {
    const std::string cmd = std::string("command -v ") + name + " > /dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

struct Row {
    std::string pipeline, file, quality;
    size_t bytes;
    double mpps;  // megapixels per second of the library stage
};

void printRow(const Row& r) {
    std::printf("  %-30s %-22s %10zu  %-16s %8.1f\n", r.pipeline.c_str(), r.file.c_str(), r.bytes, r.quality.c_str(),
                r.mpps);
}

std::string fmt(const char* f, double v) {
    char b[64];
    std::snprintf(b, sizeof b, f, v);
    return b;
}

}  // namespace

int cmdDemo(const std::string& dir) {
    mkdir(dir.c_str(), 0755);
    const int w = 1920, h = 1080;
    const double mp = double(w) * h / 1e6;
    std::string err;
    std::fprintf(stderr, "[1/5] generating a %dx%d scene\n", w, h);
    const Image scene = makeScene(w, h);
    const std::string src = dir + "/scene.ppm";
    if (!writePnm(src, scene, &err)) return fail(err);
    std::vector<Row> rows;
    rows.push_back({"source image", "scene.ppm", "", scene.samples.size() + 15, 0});

    std::fprintf(stderr, "[2/5] JPEG encoding\n");
    struct JpegCase { const char* name; const char* file; JpegOptions opt; };
    const JpegCase jcases[] = {{"JPEG q75 4:2:0", "scene-q75-420.jpg", {75, 420, 0, false}},
                               {"JPEG q75 4:2:0 optimized", "scene-q75-420-opt.jpg", {75, 420, 0, true}},
                               {"JPEG q90 4:4:4 restart 64", "scene-q90-444.jpg", {90, 444, 64, false}}};
    const bool djpeg = haveProgram("djpeg");
    for (const JpegCase& c : jcases) {
        std::vector<uint8_t> jpg;
        const auto t0 = std::chrono::steady_clock::now();
        if (!encodeJpeg(scene, c.opt, &jpg, &err)) return fail(err);
        const double t = seconds(t0);
        const std::string path = dir + "/" + c.file;
        if (!writeFileAtomic(path, jpg, &err)) return fail(err);
        std::string q = "n/a (no djpeg)";
        if (djpeg) {
            const std::string back = path + ".ppm";
            const std::string cmd = "djpeg -pnm -outfile '" + back + "' '" + path + "' 2>/dev/null";
            Image dec;
            q = std::system(cmd.c_str()) == 0 && readPnm(back, &dec, &err) ? fmt("%.2f dB", psnr(scene, dec))
                                                                          : "djpeg FAILED";
            std::remove(back.c_str());
        }
        rows.push_back({c.name, c.file, q, jpg.size(), mp / t});
    }

    std::fprintf(stderr, "[3/5] JPEG2000 lossless decoding\n");
    if (haveProgram("opj_compress")) {
        const std::string j2k = dir + "/scene.j2k";
        const std::string cmd = "opj_compress -i '" + src + "' -o '" + j2k + "' > /dev/null 2>&1";
        Image dec;
        if (std::system(cmd.c_str()) != 0) {
            rows.push_back({"JPEG2000 lossless decode", "scene.j2k", "opj_compress failed", 0, 0});
        } else {
            const auto t0 = std::chrono::steady_clock::now();
            const bool ok = decodeJ2kFile(j2k, &dec, &err);
            const double t = seconds(t0);
            std::vector<uint8_t> bytes;
            readFile(j2k, &bytes, &err);
            const bool exact = ok && dec.samples == scene.samples;
            if (ok) writePnm(dir + "/scene-from-j2k.ppm", dec, &err);
            rows.push_back({"JPEG2000 lossless decode", "scene.j2k", ok ? (exact ? "exact" : "MISMATCH") : "FAILED: " + err,
                            bytes.size(), mp / t});
        }
    } else {
        rows.push_back({"JPEG2000 lossless decode", "-", "skipped (no opj_compress)", 0, 0});
    }

    std::fprintf(stderr, "[4/5] DXT textures\n");
    struct DxtCase { const char* name; const char* file; DxtFormat f; };
    const DxtCase dcases[] = {{"DXT1", "scene-dxt1.dds", DxtFormat::Dxt1},
                              {"DXT3", "scene-dxt3.dds", DxtFormat::Dxt3},
                              {"DXT5", "scene-dxt5.dds", DxtFormat::Dxt5},
                              {"YCoCg-DXT5", "scene-ycocg.dds", DxtFormat::YCoCg}};
    for (const DxtCase& c : dcases) {
        DdsTexture tex;
        const auto t0 = std::chrono::steady_clock::now();
        if (!encodeDxt(scene, c.f, &tex, &err)) return fail(err);
        const double t = seconds(t0);
        std::vector<uint8_t> dds;
        writeDds(tex, &dds);
        if (!writeFileAtomic(dir + "/" + c.file, dds, &err)) return fail(err);
        Image back;
        if (!decodeDxt(tex, &back, &err)) return fail(err);
        rows.push_back({std::string(c.name) + " encode", c.file, fmt("%.2f dB", psnr(scene, back)), dds.size(), mp / t});
    }

    std::fprintf(stderr, "[5/5] PackBits TIFF\n");
    {
        std::vector<uint8_t> tif;
        const auto t0 = std::chrono::steady_clock::now();
        if (!writeTiffPackBits(scene, &tif, &err)) return fail(err);
        const double t = seconds(t0);
        if (!writeFileAtomic(dir + "/scene.tif", tif, &err)) return fail(err);
        Image back;
        const bool ok = readTiff(tif, &back, &err);
        rows.push_back({"TIFF PackBits pack/unpack", "scene.tif", ok && back.samples == scene.samples ? "exact" : "MISMATCH",
                        tif.size(), mp / t});
    }

    std::printf("ozrj demo: %dx%d scene, files in %s/ (%d threads)\n", w, h, dir.c_str(), ozrGetNumThreads());
    std::printf("  %-30s %-22s %10s  %-16s %8s\n", "pipeline", "file", "bytes", "quality", "Mpix/s");
    for (const Row& r : rows) printRow(r);
    return 0;
}

}  // namespace ozrtool
