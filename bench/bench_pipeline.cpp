// Whole pipelines, library beside peer in one binary:
//  - baseline JPEG encoding of a 4K RGB image, q75 4:2:0: the ozrj program's
//    encoder (library primitives) vs TurboJPEG tjCompress2 with the accurate DCT;
//  - lossless JPEG2000 decoding of a 4K x 2K codestream (5 levels, 64x64
//    code-blocks, made by opj_compress when it is installed): the ozrj reader
//    on the library vs OpenJPEG's library.
// Images: the photographs of scripts/fetch-photos.sh when present, else a
// generated scene.  Thread count: the library's setting (ozrSetNumThreads) via --threads=N as
// the first argument; peers run single-threaded.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "jpeg_encoder.h"
#include "ozrj.h"
#ifdef OZRJ_HAVE_OPENJP2
#include <openjpeg.h>
#endif

using namespace ozrtool;

namespace {

// A real photograph when scripts/fetch-photos.sh has fetched one, else the
// generated scene of the same size.
Image photoOrScene(const char* file, int w, int h) {
    Image img;
    std::string err;
    const std::string path = std::string(OZRJ_SOURCE_DIR) + "/data/photos/" + file;
    if (readPnm(path, &img, &err) && img.width == w && img.height == h && img.channels == 3) return img;
    return makeScene(w, h);
}

const Image& scene4k() {
    static const Image img = photoOrScene("photo-3840x2160.ppm", 3840, 2160);
    return img;
}

void BM_JpegEncode_Ozrj(benchmark::State& st) {
    const Image& img = scene4k();
    const std::vector<uint8_t> px = img.bytes8();
    JpegOptions opt;
    opt.quality = 75;
    opt.subsampling = 420;
    std::vector<uint8_t> out;
    std::string err;
    for (auto _ : st) {
        if (!encodeJpeg(px.data(), img.width, img.height, 3, opt, &out, &err)) st.SkipWithError(err.c_str());
        benchmark::DoNotOptimize(out.data());
    }
    st.counters["bytes"] = double(out.size());
    st.SetItemsProcessed(st.iterations() * int64_t(img.width) * img.height);
}

void BM_JpegEncode_TurboJpeg(benchmark::State& st) {
    const Image& img = scene4k();
    const std::vector<uint8_t> px = img.bytes8();
    tjhandle h = tjInitCompress();
    unsigned char* buf = nullptr;
    unsigned long size = 0;
    for (auto _ : st) {
        if (tjCompress2(h, px.data(), img.width, 0, img.height, TJPF_RGB, &buf, &size, TJSAMP_420, 75,
                        TJFLAG_ACCURATEDCT) != 0)
            st.SkipWithError(tjGetErrorStr2(h));
        benchmark::DoNotOptimize(buf);
    }
    st.counters["bytes"] = double(size);
    tjFree(buf);
    tjDestroy(h);
    st.SetItemsProcessed(st.iterations() * int64_t(img.width) * img.height);
}

// A 4K x 2K lossless codestream made once by opj_compress (skipped without it).
const std::string& j2kFile() {
    static const std::string path = [] {
        const std::string dir = "/tmp/ozrj-bench";
        const std::string ppm = dir + "/scene4kx2k.ppm", j2k = dir + "/scene4kx2k.j2k";
        std::system(("mkdir -p " + dir).c_str());
        std::string err;
        if (!writePnm(ppm, photoOrScene("photo-4096x2048.ppm", 4096, 2048), &err)) return std::string();
        const std::string cmd = "opj_compress -i " + ppm + " -o " + j2k + " -n 6 -b 64,64 > /dev/null 2>&1";
        return std::system(cmd.c_str()) == 0 ? j2k : std::string();
    }();
    return path;
}

void BM_J2kDecode_Ozrj(benchmark::State& st) {
    const std::string& f = j2kFile();
    if (f.empty()) {
        st.SkipWithError("opj_compress not available");
        return;
    }
    Image img;
    std::string err;
    for (auto _ : st) {
        if (!decodeJ2kFile(f, &img, &err)) {
            st.SkipWithError(err.c_str());
            break;
        }
        benchmark::DoNotOptimize(img.samples.data());
    }
    st.SetItemsProcessed(st.iterations() * 4096 * 2048);
}

#ifdef OZRJ_HAVE_OPENJP2
void BM_J2kDecode_OpenJpeg(benchmark::State& st) {
    const std::string& f = j2kFile();
    if (f.empty()) {
        st.SkipWithError("opj_compress not available");
        return;
    }
    for (auto _ : st) {
        opj_stream_t* s = opj_stream_create_default_file_stream(f.c_str(), OPJ_TRUE);
        opj_codec_t* c = opj_create_decompress(OPJ_CODEC_J2K);
        opj_dparameters_t p;
        opj_set_default_decoder_parameters(&p);
        opj_setup_decoder(c, &p);
        opj_codec_set_threads(c, 1);
        opj_image_t* img = nullptr;
        if (!opj_read_header(s, c, &img) || !opj_decode(c, s, img) || !opj_end_decompress(c, s))
            st.SkipWithError("OpenJPEG failed");
        benchmark::DoNotOptimize(img);
        opj_image_destroy(img);
        opj_destroy_codec(c);
        opj_stream_destroy(s);
    }
    st.SetItemsProcessed(st.iterations() * 4096 * 2048);
}
BENCHMARK(BM_J2kDecode_OpenJpeg)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK(BM_JpegEncode_Ozrj)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_JpegEncode_TurboJpeg)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_J2kDecode_Ozrj)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    if (argc > 1 && std::strncmp(argv[1], "--threads=", 10) == 0) {
        ozrSetNumThreads(std::atoi(argv[1] + 10));
        argv[1] = argv[0];
        ++argv;
        --argc;
    } else {
        ozrSetNumThreads(1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
