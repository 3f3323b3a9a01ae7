// Forward DCT with quantization, in blocks per second over a 1024x1024
// plane: the library's level-shifting 8u call beside its scalar twin, a
// straightforward separable float DCT, and libjpeg-turbo's accurate integer
// forward DCT with quantization (its SIMD path, reached through the
// compressor's forward-DCT module after jpeg_start_compress).
#include <benchmark/benchmark.h>
#include <jpeglib.h>
// jpegint.h needs jpeglib.h first.
#include <jpegint.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "core/kernels.h"
#include "jpeg/dct.h"
#include "ozrj.h"

namespace {

constexpr int kW = 1024, kH = 1024;
constexpr int kBlocks = (kW / 8) * (kH / 8);

const int kLumaNatural[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99,
};

std::vector<Ozr8u> plane() {
    std::vector<Ozr8u> p(static_cast<size_t>(kW) * kH);
    uint32_t s = 1;
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            s = s * 1664525u + 1013904223u;
            const double v = 128 + 80 * std::sin(x * 0.05) * std::cos(y * 0.03) + ((s >> 24) & 15) - 8;
            p[static_cast<size_t>(y) * kW + x] = static_cast<Ozr8u>(std::min(255.0, std::max(0.0, v)));
        }
    return p;
}

std::vector<Ozr8u> rawTable(int quality) {
    std::vector<Ozr8u> raw(64);
    for (int p = 0; p < 64; ++p) raw[p] = static_cast<Ozr8u>(kLumaNatural[ozr::kZigzagNatural[p]]);
    ozriQuantFwdRawTableInit_JPEG_8u(raw.data(), quality);
    return raw;
}

void BM_Library_DCTQuantFwd8x8LS(benchmark::State& st) {
    const std::vector<Ozr8u> img = plane();
    std::vector<Ozr16u> fwd(64);
    ozriQuantFwdTableInit_JPEG_8u16u(rawTable(75).data(), fwd.data());
    std::vector<Ozr16s> coef(static_cast<size_t>(kBlocks) * 64);
    for (auto _ : st) {
        Ozr16s* out = coef.data();
        for (int by = 0; by < kH; by += 8)
            for (int bx = 0; bx < kW; bx += 8, out += 64)
                ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&img[static_cast<size_t>(by) * kW + bx], kW, out,
                                                    fwd.data());
        benchmark::DoNotOptimize(coef.data());
    }
    st.SetItemsProcessed(st.iterations() * kBlocks);
}
BENCHMARK(BM_Library_DCTQuantFwd8x8LS);

void BM_ScalarTwin_DCTQuantFwd8x8LS(benchmark::State& st) {
    const std::vector<Ozr8u> img = plane();
    std::vector<Ozr16u> fwd(64);
    ozriQuantFwdTableInit_JPEG_8u16u(rawTable(75).data(), fwd.data());
    std::vector<Ozr16s> coef(static_cast<size_t>(kBlocks) * 64);
    for (auto _ : st) {
        Ozr16s* out = coef.data();
        for (int by = 0; by < kH; by += 8)
            for (int bx = 0; bx < kW; bx += 8, out += 64)
                ozr::dct::scalar::fdctQuantLS8u(&img[static_cast<size_t>(by) * kW + bx], kW, out, fwd.data());
        benchmark::DoNotOptimize(coef.data());
    }
    st.SetItemsProcessed(st.iterations() * kBlocks);
}
BENCHMARK(BM_ScalarTwin_DCTQuantFwd8x8LS);

void BM_Library_DCTQuantFwd8x8LS_16u(benchmark::State& st) {
    std::vector<Ozr16u> img(static_cast<size_t>(kW) * kH);
    const std::vector<Ozr8u> p8 = plane();
    for (size_t i = 0; i < img.size(); ++i) img[i] = static_cast<Ozr16u>(p8[i] * 16);
    std::vector<Ozr32f> table(64);
    const std::vector<Ozr8u> raw = rawTable(75);
    for (int i = 0; i < 64; ++i) table[i] = 1.0f / (16 * raw[ozr::kZigzagPos[i]]);
    std::vector<Ozr16s> coef(static_cast<size_t>(kBlocks) * 64);
    for (auto _ : st) {
        Ozr16s* out = coef.data();
        for (int by = 0; by < kH; by += 8)
            for (int bx = 0; bx < kW; bx += 8, out += 64)
                ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R(&img[static_cast<size_t>(by) * kW + bx], 2 * kW, out,
                                                     table.data());
        benchmark::DoNotOptimize(coef.data());
    }
    st.SetItemsProcessed(st.iterations() * kBlocks);
}
BENCHMARK(BM_Library_DCTQuantFwd8x8LS_16u);

// A direct separable float DCT (two 8x8 matrix products) with quantization
// by reciprocal multiplication: what a codec would write without a library.
void BM_PlainFloatDct(benchmark::State& st) {
    const std::vector<Ozr8u> img = plane();
    float c[8][8];
    for (int u = 0; u < 8; ++u)
        for (int x = 0; x < 8; ++x)
            c[u][x] =
                static_cast<float>((u ? 0.5 : std::sqrt(0.125)) * std::cos((2 * x + 1) * u * M_PI / 16));
    const std::vector<Ozr8u> raw = rawTable(75);
    float recip[64];
    for (int i = 0; i < 64; ++i) recip[i] = 1.0f / raw[ozr::kZigzagPos[i]];
    std::vector<Ozr16s> coef(static_cast<size_t>(kBlocks) * 64);
    for (auto _ : st) {
        Ozr16s* out = coef.data();
        for (int by = 0; by < kH; by += 8)
            for (int bx = 0; bx < kW; bx += 8, out += 64) {
                float t[8][8], s[8][8];
                for (int y = 0; y < 8; ++y)
                    for (int x = 0; x < 8; ++x)
                        s[y][x] = img[static_cast<size_t>(by + y) * kW + bx + x] - 128.0f;
                for (int y = 0; y < 8; ++y)
                    for (int u = 0; u < 8; ++u) {
                        float a = 0;
                        for (int x = 0; x < 8; ++x) a += c[u][x] * s[y][x];
                        t[y][u] = a;
                    }
                for (int v = 0; v < 8; ++v)
                    for (int u = 0; u < 8; ++u) {
                        float a = 0;
                        for (int y = 0; y < 8; ++y) a += c[v][y] * t[y][u];
                        out[8 * v + u] = static_cast<Ozr16s>(std::lrint(a * recip[8 * v + u]));
                    }
            }
        benchmark::DoNotOptimize(coef.data());
    }
    st.SetItemsProcessed(st.iterations() * kBlocks);
}
BENCHMARK(BM_PlainFloatDct);

// libjpeg-turbo's JDCT_ISLOW forward DCT and quantization (its SIMD code),
// called block row by block row as its own coefficient controller does.
void BM_Libjpeg_ForwardDctIslow(benchmark::State& st) {
    const std::vector<Ozr8u> img = plane();
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    unsigned char* buf = nullptr;
    unsigned long len = 0;
    jpeg_mem_dest(&c, &buf, &len);
    c.image_width = kW;
    c.image_height = kH;
    c.input_components = 1;
    c.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 75, TRUE);
    c.dct_method = JDCT_ISLOW;
    jpeg_start_compress(&c, TRUE);
    std::vector<JSAMPROW> rows(kH);
    for (int y = 0; y < kH; ++y) rows[y] = const_cast<JSAMPROW>(&img[static_cast<size_t>(y) * kW]);
    std::vector<JBLOCK> blocks(kBlocks);
    for (auto _ : st) {
        JBLOCK* out = blocks.data();
        for (int by = 0; by < kH; by += 8, out += kW / 8)
            c.fdct->forward_DCT(&c, &c.comp_info[0], &rows[by], out, 0, 0, kW / 8);
        benchmark::DoNotOptimize(blocks.data());
    }
    st.SetItemsProcessed(st.iterations() * kBlocks);
    jpeg_abort_compress(&c);
    jpeg_destroy_compress(&c);
    std::free(buf);
}
BENCHMARK(BM_Libjpeg_ForwardDctIslow);

}  // namespace

BENCHMARK_MAIN();
