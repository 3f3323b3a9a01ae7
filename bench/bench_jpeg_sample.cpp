// JPEG sample pipeline on a 4K (3840 x 2160) image: RGB -> YCbCr in pixel
// order and planar, H2V2 down-sampling and H2V2 up-sampling, on one thread and
// on all threads.  Each is measured beside a memcpy that reads and writes the
// same number of bytes, and the colour conversion beside libjpeg-turbo's
// (TurboJPEG 4:4:4 planes) when it is found.  Items are pixels (output pixels
// for the samplers), so items/s reads directly as pixel/s.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstring>
#include <vector>

#include "ozrj.h"
#ifdef OZRJ_BENCH_TURBOJPEG
#include <turbojpeg.h>
#endif

namespace {

constexpr int kW = 3840, kH = 2160;
constexpr size_t kPixels = size_t{kW} * kH;

// Argument 0: one thread; 1: every processor.
struct Threads {
    int saved;
    explicit Threads(int all) : saved(ozrGetNumThreads()) { ozrSetNumThreads(all ? omp_get_num_procs() : 1); }
    ~Threads() { ozrSetNumThreads(saved); }
};

std::vector<Ozr8u> noise(size_t n) {
    std::vector<Ozr8u> v(n);
    uint32_t x = 2463534242u;
    for (auto& b : v) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        b = static_cast<Ozr8u>(x >> 24);
    }
    return v;
}

// One thread is timed by CPU time (the machine may be shared), all threads by
// wall-clock time.
#define OZR_ONE_AND_ALL(f)                               \
    BENCHMARK(f)->Arg(0)->Unit(benchmark::kMillisecond); \
    BENCHMARK(f)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()

void label(benchmark::State& st, size_t pixels) {
    st.SetItemsProcessed(static_cast<int64_t>(st.iterations()) * static_cast<int64_t>(pixels));
    st.SetLabel(st.range(0) ? "all threads" : "1 thread");
}

void memcpyOf(benchmark::State& st, size_t bytes, size_t pixels) {
    std::vector<Ozr8u> a = noise(bytes), b(bytes);
    for (auto _ : st) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    label(st, pixels);
}

// ---------------------------------------------------------------- RGB -> YCbCr
void BM_RGBToYCbCr_PixelOrder(benchmark::State& st) {
    Threads t(static_cast<int>(st.range(0)));
    std::vector<Ozr8u> src = noise(kPixels * 3), dst(kPixels * 3);
    Ozr8u* planes[3] = {dst.data(), dst.data() + kPixels, dst.data() + 2 * kPixels};
    for (auto _ : st) {
        ozriRGBToYCbCr_JPEG_8u_C3P3R(src.data(), 3 * kW, planes, kW, {kW, kH});
        benchmark::ClobberMemory();
    }
    label(st, kPixels);
}
OZR_ONE_AND_ALL(BM_RGBToYCbCr_PixelOrder);

void BM_RGBToYCbCr_Planar(benchmark::State& st) {
    Threads t(static_cast<int>(st.range(0)));
    std::vector<Ozr8u> src = noise(kPixels * 3), dst(kPixels * 3);
    const Ozr8u* in[3] = {src.data(), src.data() + kPixels, src.data() + 2 * kPixels};
    Ozr8u* out[3] = {dst.data(), dst.data() + kPixels, dst.data() + 2 * kPixels};
    for (auto _ : st) {
        ozriRGBToYCbCr_JPEG_8u_P3R(in, kW, out, kW, {kW, kH});
        benchmark::ClobberMemory();
    }
    label(st, kPixels);
}
OZR_ONE_AND_ALL(BM_RGBToYCbCr_Planar);

// Reads 3 bytes and writes 3 bytes per pixel, as both conversions do.
void BM_RGBToYCbCr_Memcpy(benchmark::State& st) { memcpyOf(st, kPixels * 3, kPixels); }
BENCHMARK(BM_RGBToYCbCr_Memcpy)->Arg(0)->Unit(benchmark::kMillisecond);

#ifdef OZRJ_BENCH_TURBOJPEG
void BM_RGBToYCbCr_TurboJpeg444(benchmark::State& st) {
    std::vector<Ozr8u> src = noise(kPixels * 3), dst(tjBufSizeYUV2(kW, 1, kH, TJSAMP_444));
    tjhandle tj = tjInitCompress();
    for (auto _ : st) {
        tjEncodeYUV3(tj, src.data(), kW, 3 * kW, kH, TJPF_RGB, dst.data(), 1, TJSAMP_444, 0);
        benchmark::ClobberMemory();
    }
    tjDestroy(tj);
    label(st, kPixels);
}
BENCHMARK(BM_RGBToYCbCr_TurboJpeg444)->Arg(0)->Unit(benchmark::kMillisecond);
#endif

// ---------------------------------------------------------------- H2V2 down
void BM_SampleDownH2V2(benchmark::State& st) {
    Threads t(static_cast<int>(st.range(0)));
    std::vector<Ozr8u> src = noise(kPixels), dst(kPixels / 4);
    for (auto _ : st) {
        ozriSampleDownH2V2_JPEG_8u_C1R(src.data(), kW, {kW, kH}, dst.data(), kW / 2, {kW / 2, kH / 2});
        benchmark::ClobberMemory();
    }
    label(st, kPixels / 4);
}
OZR_ONE_AND_ALL(BM_SampleDownH2V2);

// Reads 4 bytes and writes 1 per output pixel: a memcpy of 2.5 bytes per output.
void BM_SampleDownH2V2_Memcpy(benchmark::State& st) { memcpyOf(st, kPixels * 5 / 8, kPixels / 4); }
BENCHMARK(BM_SampleDownH2V2_Memcpy)->Arg(0)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- H2V2 up
void BM_SampleUpH2V2(benchmark::State& st) {
    Threads t(static_cast<int>(st.range(0)));
    // Source 1920 x 1080 inside a one-sample border.
    const int sw = kW / 2, sh = kH / 2, step = sw + 2;
    std::vector<Ozr8u> src = noise(static_cast<size_t>(step) * (sh + 2)), dst(kPixels);
    for (auto _ : st) {
        ozriSampleUpH2V2_JPEG_8u_C1R(src.data() + step + 1, step, {sw, sh}, dst.data(), kW, {kW, kH});
        benchmark::ClobberMemory();
    }
    label(st, kPixels);
}
OZR_ONE_AND_ALL(BM_SampleUpH2V2);

// Reads a quarter byte and writes one byte per output pixel.
void BM_SampleUpH2V2_Memcpy(benchmark::State& st) { memcpyOf(st, kPixels * 5 / 8, kPixels); }
BENCHMARK(BM_SampleUpH2V2_Memcpy)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
