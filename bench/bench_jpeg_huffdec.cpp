// Baseline entropy decoding of a 3840x2160 4:2:0 image (the photograph of
// scripts/fetch-photos.sh, or a photograph-like generated picture without
// it) at quality 75 and 90: the library's block decoder over the whole scan
// beside libjpeg-turbo's jpeg_read_coefficients on the same file.  Items are
// blocks.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include <stdio.h>
#include <jpeglib.h>

#include "bench_photo.h"
#include "jpeg/huffdec.h"
#include "jpeg_parse.h"
#include "ozrj.h"

namespace {

constexpr int kW = 3840, kH = 2160;

// The photograph, or smooth shading, a few textured regions, edges and
// sensor-like noise.
std::vector<uint8_t> photo() {
    std::vector<uint8_t> rgb = ozrbench::loadPhotoRGB(kW, kH);
    if (!rgb.empty()) return rgb;
    rgb.resize(static_cast<size_t>(kW) * kH * 3);
    std::mt19937 gen(1);
    std::normal_distribution<float> noise(0.f, 3.f);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const float fx = x / float(kW), fy = y / float(kH);
            float base = 110 + 70 * std::sin(fx * 5.1f + fy * 2.3f) * std::cos(fy * 3.7f);
            if ((x / 480 + y / 360) % 3 == 1) base += 25 * std::sin(x * 0.35f) * std::sin(y * 0.27f);  // texture
            if (((x - 1900) * (x - 1900) + (y - 1000) * (y - 1000)) < 400 * 400) base = 0.6f * base + 80;  // edge
            for (int c = 0; c < 3; ++c) {
                float v = base * (0.8f + 0.15f * c) + 20 * fx * (c - 1) + noise(gen);
                rgb[(static_cast<size_t>(y) * kW + x) * 3 + c] =
                    static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
    return rgb;
}

std::vector<uint8_t> compress(int quality) {
    static const std::vector<uint8_t> rgb = photo();
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &mem, &size);
    c.image_width = kW;
    c.image_height = kH;
    c.input_components = 3;
    c.in_color_space = JCS_RGB;
    jpeg_set_defaults(&c);  // 2x2 luminance sampling: 4:2:0
    jpeg_set_quality(&c, quality, TRUE);
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&rgb[static_cast<size_t>(c.next_scanline) * kW * 3]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    std::vector<uint8_t> out(mem, mem + size);
    jpeg_destroy_compress(&c);
    std::free(mem);
    return out;
}

const std::vector<uint8_t>& file(int quality) {
    static std::map<int, std::vector<uint8_t>> cache;
    auto it = cache.find(quality);
    if (it == cache.end()) it = cache.emplace(quality, compress(quality)).first;
    return it->second;
}

}  // namespace

static void BM_DecodeHuffman_Ozrj(benchmark::State& st) {
    const std::vector<uint8_t>& f = file(static_cast<int>(st.range(0)));
    jpegparse::File jf;
    if (!jpegparse::parse(f, &jf) || jf.scanComps.size() != 3) {
        st.SkipWithError("parse failed");
        return;
    }
    OzriDecodeHuffmanSpec dc[4], ac[4];
    for (int i = 0; i < 4; ++i) {
        if (jf.dc[i].present) ozriDecodeHuffmanSpecInit_JPEG_8u(jf.dc[i].bits, jf.dc[i].vals.data(), &dc[i]);
        if (jf.ac[i].present) ozriDecodeHuffmanSpecInit_JPEG_8u(jf.ac[i].bits, jf.ac[i].vals.data(), &ac[i]);
    }
    int hmax = 1, vmax = 1, perMcu = 0;
    for (int ci : jf.scanComps) {
        hmax = std::max(hmax, jf.comps[ci].h);
        vmax = std::max(vmax, jf.comps[ci].v);
        perMcu += jf.comps[ci].h * jf.comps[ci].v;
    }
    const int mcus = ((jf.width + 8 * hmax - 1) / (8 * hmax)) * ((jf.height + 8 * vmax - 1) / (8 * vmax));
    const size_t blocks = static_cast<size_t>(mcus) * perMcu;
    // Every block kept, as libjpeg keeps them (Arg 1 = 0: one block reused,
    // the decoder alone).
    const bool keep = st.range(1) != 0;
    std::vector<Ozr16s> coef(keep ? blocks * 64 : 64);
    const Ozr8u* src = jf.entropy.data();
    const int len = static_cast<int>(jf.entropy.size());
    for (auto _ : st) {
        OzriDecodeHuffmanState s;
        ozriDecodeHuffmanStateInit_JPEG_8u(&s);
        int pos = 0, marker = 0;
        Ozr16s last[3] = {0, 0, 0};
        Ozr16s* out = coef.data();
        for (int m = 0; m < mcus; ++m)
            for (size_t k = 0; k < jf.scanComps.size(); ++k) {
                const jpegparse::Component& c = jf.comps[jf.scanComps[k]];
                for (int b = 0; b < c.h * c.v; ++b, out += keep ? 64 : 0)
                    if (ozriDecodeHuffman8x8_JPEG_1u16s_C1(src, len, &pos, out, &last[k], &marker, &dc[c.td],
                                                           &ac[c.ta], &s) != ozrStatusOk) {
                        st.SkipWithError("decode failed");
                        return;
                    }
            }
        benchmark::DoNotOptimize(coef.data());
    }
    st.SetItemsProcessed(static_cast<int64_t>(st.iterations()) * static_cast<int64_t>(blocks));
    st.counters["bytes"] = static_cast<double>(f.size());
}
BENCHMARK(BM_DecodeHuffman_Ozrj)->Args({75, 1})->Args({90, 1})->Args({75, 0})->Args({90, 0})->Unit(benchmark::kMillisecond);

static void BM_DecodeHuffman_LibjpegTurbo(benchmark::State& st) {
    const std::vector<uint8_t>& f = file(static_cast<int>(st.range(0)));
    size_t blocks = 0;
    for (auto _ : st) {
        jpeg_decompress_struct c;
        jpeg_error_mgr err;
        c.err = jpeg_std_error(&err);
        jpeg_create_decompress(&c);
        jpeg_mem_src(&c, f.data(), static_cast<unsigned long>(f.size()));
        jpeg_read_header(&c, TRUE);
        jvirt_barray_ptr* arrays = jpeg_read_coefficients(&c);
        benchmark::DoNotOptimize(arrays);
        blocks = 0;
        for (int i = 0; i < c.num_components; ++i)
            blocks += static_cast<size_t>(c.comp_info[i].width_in_blocks) * c.comp_info[i].height_in_blocks;
        jpeg_finish_decompress(&c);
        jpeg_destroy_decompress(&c);
    }
    st.SetItemsProcessed(static_cast<int64_t>(st.iterations()) * static_cast<int64_t>(blocks));
    st.counters["bytes"] = static_cast<double>(f.size());
}
BENCHMARK(BM_DecodeHuffman_LibjpegTurbo)->Arg(75)->Arg(90)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
