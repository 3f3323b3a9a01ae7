// Lossless JPEG2000 decoding of a photographic 4096 x 2048 RGB codestream
// (5 decomposition levels, 64 x 64 code-blocks, written by opj_compress):
// the tools reader over this library, OpenJPEG's library in this process,
// and the opj_decompress / grk_decompress programs on the same file, all with
// one thread.  The reader's counter cb_share is the part of its time spent
// in the code-block decoder.
//
// Target: at least twice OpenJPEG's speed and at least Grok's speed.
#include <benchmark/benchmark.h>
#include <openjpeg.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "j2k_reader.h"
#include "ozrj.h"

namespace {

constexpr int kW = 4096, kH = 2048;

const std::string& codestreamPath() {
    static const std::string path = [] {
        const std::string dir = "/tmp/ozrj_bench_j2k";
        std::system(("mkdir -p " + dir).c_str());
        const std::string ppm = dir + "/photo.ppm", j2k = dir + "/photo.j2k";
        std::ifstream probe(j2k);
        if (probe.good()) return j2k;
        // Smooth shading with texture, edges and sensor-like noise.
        std::vector<uint8_t> px(static_cast<size_t>(kW) * kH * 3);
        uint32_t seed = 12345;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x)
                for (int c = 0; c < 3; ++c) {
                    seed = seed * 1664525u + 1013904223u;
                    double v = 110 + 50 * std::sin(x * 0.004 + c) * std::cos(y * 0.006) +
                               25 * std::sin((x + 2 * y) * 0.031 + c * 0.5) + ((x / 301 + y / 207) % 3) * 20.0;
                    v += static_cast<int>((seed >> 24) % 9) - 4;
                    px[(static_cast<size_t>(y) * kW + x) * 3 + c] =
                        static_cast<uint8_t>(std::lround(std::min(255.0, std::max(0.0, v))));
                }
        std::ofstream f(ppm, std::ios::binary);
        f << "P6\n" << kW << " " << kH << "\n255\n";
        f.write(reinterpret_cast<const char*>(px.data()), static_cast<std::streamsize>(px.size()));
        f.close();
        std::system(("opj_compress -i " + ppm + " -o " + j2k + " -n 6 -b 64,64 > /dev/null 2>&1").c_str());
        return j2k;
    }();
    return path;
}

const std::vector<uint8_t>& codestream() {
    static const std::vector<uint8_t> bytes = [] {
        std::ifstream f(codestreamPath(), std::ios::binary);
        return std::vector<uint8_t>((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    }();
    return bytes;
}

void BM_OzrjReader(benchmark::State& state) {
    const auto& bytes = codestream();
    if (bytes.empty()) {
        state.SkipWithError("no codestream (opj_compress missing?)");
        return;
    }
    ozrSetNumThreads(1);
    double cb = 0, total = 0;
    for (auto _ : state) {
        J2kImage img;
        std::string err;
        double cbSeconds = 0;
        J2kOptions opt;
        opt.codeBlockSeconds = &cbSeconds;
        const auto t0 = std::chrono::steady_clock::now();
        if (j2kDecodeMemory(bytes.data(), bytes.size(), &img, &err, &opt) != 0) {
            state.SkipWithError(err.c_str());
            return;
        }
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        cb += cbSeconds;
        benchmark::DoNotOptimize(img.components[0].samples.data());
    }
    state.counters["cb_share"] = total > 0 ? cb / total : 0;
    state.counters["MPix/s"] = benchmark::Counter(double(kW) * kH, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_OzrjReader)->Unit(benchmark::kMillisecond)->UseRealTime();

// OpenJPEG in this process, from memory.
struct MemStream {
    const std::vector<uint8_t>* data;
    size_t pos;
};
OPJ_SIZE_T memRead(void* buf, OPJ_SIZE_T n, void* user) {
    auto* m = static_cast<MemStream*>(user);
    if (m->pos >= m->data->size()) return static_cast<OPJ_SIZE_T>(-1);
    const size_t k = std::min<size_t>(n, m->data->size() - m->pos);
    std::memcpy(buf, m->data->data() + m->pos, k);
    m->pos += k;
    return k;
}
OPJ_OFF_T memSkip(OPJ_OFF_T n, void* user) {
    auto* m = static_cast<MemStream*>(user);
    m->pos += static_cast<size_t>(n);
    return n;
}
OPJ_BOOL memSeek(OPJ_OFF_T n, void* user) {
    static_cast<MemStream*>(user)->pos = static_cast<size_t>(n);
    return OPJ_TRUE;
}

void BM_OpenJpegLibrary(benchmark::State& state) {
    const auto& bytes = codestream();
    if (bytes.empty()) {
        state.SkipWithError("no codestream");
        return;
    }
    for (auto _ : state) {
        MemStream ms{&bytes, 0};
        opj_stream_t* st = opj_stream_create(1 << 20, OPJ_TRUE);
        opj_stream_set_user_data(st, &ms, nullptr);
        opj_stream_set_user_data_length(st, bytes.size());
        opj_stream_set_read_function(st, memRead);
        opj_stream_set_skip_function(st, memSkip);
        opj_stream_set_seek_function(st, memSeek);
        opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
        opj_dparameters_t params;
        opj_set_default_decoder_parameters(&params);
        opj_setup_decoder(codec, &params);
        opj_codec_set_threads(codec, 1);
        opj_image_t* image = nullptr;
        const bool ok = opj_read_header(st, codec, &image) && opj_decode(codec, st, image) &&
                        opj_end_decompress(codec, st);
        if (!ok) state.SkipWithError("OpenJPEG failed");
        if (image) opj_image_destroy(image);
        opj_destroy_codec(codec);
        opj_stream_destroy(st);
        if (!ok) return;
    }
    state.counters["MPix/s"] = benchmark::Counter(double(kW) * kH, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_OpenJpegLibrary)->Unit(benchmark::kMillisecond)->UseRealTime();

// The command-line decoders, one thread, same file (their time includes
// reading the file and writing the decoded image).
void runProgram(benchmark::State& state, const std::string& cmd) {
    if (codestream().empty()) {
        state.SkipWithError("no codestream");
        return;
    }
    for (auto _ : state) {
        if (std::system(cmd.c_str()) != 0) {
            state.SkipWithError(("failed: " + cmd).c_str());
            return;
        }
    }
    state.counters["MPix/s"] = benchmark::Counter(double(kW) * kH, benchmark::Counter::kIsIterationInvariantRate);
}

#ifdef OZRJ_TOOL
// This library's program, the same way: file in, PPM out, one thread.
void BM_OzrjProgram(benchmark::State& state) {
    runProgram(state, std::string(OZRJ_TOOL) + " j2k decode " + codestreamPath() +
                          " /tmp/ozrj_bench_j2k/ozrj.ppm --threads 1 > /dev/null 2>&1");
}
BENCHMARK(BM_OzrjProgram)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
#endif

void BM_OpjDecompressProgram(benchmark::State& state) {
    runProgram(state, "opj_decompress -threads 1 -i " + codestreamPath() + " -o /tmp/ozrj_bench_j2k/opj.ppm > /dev/null 2>&1");
}
BENCHMARK(BM_OpjDecompressProgram)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

void BM_GrkDecompressProgram(benchmark::State& state) {
    if (std::system("command -v grk_decompress > /dev/null 2>&1") != 0) {
        state.SkipWithError("grk_decompress (grokj2k-tools) not installed");
        return;
    }
    runProgram(state, "grk_decompress -H 1 -i " + codestreamPath() + " -o /tmp/ozrj_bench_j2k/grk.ppm > /dev/null 2>&1");
}
BENCHMARK(BM_GrkDecompressProgram)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
