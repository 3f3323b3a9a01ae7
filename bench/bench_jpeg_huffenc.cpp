// Baseline Huffman entropy coding of a 4K (and a VGA) 4:2:0 frame of quantized blocks
// (the photograph of scripts/fetch-photos.sh, or a generated picture; DCT and quantization at quality
// 75 and 90), beside libjpeg-turbo encoding the same coefficients with the
// same standard tables through jpeg_write_coefficients (optimisation off).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

extern "C" {
#include <jpeglib.h>
}

#include "bench_photo.h"
#include "ozrj.h"

namespace {

// Frame sizes: 4K, and a VGA crop whose coefficients stay in cache.
constexpr int kSizes[2][2] = {{3840, 2160}, {640, 480}};

const uint8_t kBitsDcL[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const uint8_t kBitsDcC[16] = {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0};
const uint8_t kValsDc[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

const unsigned kQuantL[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                              14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                              18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                              49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
const unsigned kQuantC[64] = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
                              24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Component c (0 Y, 1 Cb, 2 Cr; chroma halved both ways) of the 4K
// photograph, cropped to w x h from the centre; empty without the photograph.
std::vector<float> photoPlane(int w, int h, int c) {
    static const std::vector<uint8_t> rgb = ozrbench::loadPhotoRGB(3840, 2160);
    if (rgb.empty()) return {};
    const int sub = c ? 2 : 1, pw = 3840 / sub, ph = 2160 / sub;
    const int x0 = (pw - w) / 2, y0 = (ph - h) / 2;
    std::vector<float> p(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            double acc = 0;
            for (int dy = 0; dy < sub; ++dy)
                for (int dx = 0; dx < sub; ++dx) {
                    const uint8_t* q = &rgb[((size_t(y0 + y) * sub + dy) * 3840 + size_t(x0 + x) * sub + dx) * 3];
                    const double r = q[0], g = q[1], b = q[2];
                    acc += c == 0 ? 0.299 * r + 0.587 * g + 0.114 * b
                         : c == 1 ? 128 - 0.168736 * r - 0.331264 * g + 0.5 * b
                                  : 128 + 0.5 * r - 0.418688 * g - 0.081312 * b;
                }
            p[size_t(y) * w + x] = static_cast<float>(acc / (sub * sub));
        }
    return p;
}

// The photograph's plane, or one with smooth shading, edges and fine texture.
std::vector<float> makePlane(int w, int h, int seed) {
    std::vector<float> p = photoPlane(w, h, seed);
    if (!p.empty()) return p;
    p.resize(static_cast<size_t>(w) * h);
    uint32_t r = 0x9E3779B9u * (seed + 1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double u = double(x) / w, v = double(y) / h;
            double s = 128 + 60 * std::sin(6.0 * u + 2 * seed) * std::cos(4.0 * v) + 30 * (u - v);
            s += ((x / 240 + y / 180 + seed) & 1) ? 25 : -25;              // hard edges
            s += 10 * std::sin(0.35 * x + 0.21 * y) * std::sin(0.05 * y);  // texture
            r = r * 1664525u + 1013904223u;
            s += double(r >> 24) / 64.0 - 2.0;  // sensor noise
            p[static_cast<size_t>(y) * w + x] = static_cast<float>(s < 0 ? 0 : s > 255 ? 255 : s);
        }
    return p;
}

// Quantized natural-order blocks of a plane (float DCT, rounding).
std::vector<Ozr16s> quantize(const std::vector<float>& plane, int w, int h, const unsigned* q, int quality) {
    const int bw = w / 8, bh = h / 8;
    const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    double qs[64];
    for (int i = 0; i < 64; ++i) {
        long t = (q[i] * scale + 50) / 100;
        qs[i] = t < 1 ? 1 : t > 255 ? 255 : t;
    }
    double c[8][8];
    for (int k = 0; k < 8; ++k)
        for (int n = 0; n < 8; ++n) c[k][n] = (k ? std::sqrt(0.25) : std::sqrt(0.125)) * std::cos((2 * n + 1) * k * M_PI / 16);
    std::vector<Ozr16s> out(static_cast<size_t>(bw) * bh * 64);
    for (int by = 0; by < bh; ++by)
        for (int bx = 0; bx < bw; ++bx) {
            double s[8][8], t[8][8];
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) s[y][x] = plane[static_cast<size_t>(by * 8 + y) * w + bx * 8 + x] - 128.0;
            for (int y = 0; y < 8; ++y)
                for (int k = 0; k < 8; ++k) {
                    double a = 0;
                    for (int n = 0; n < 8; ++n) a += c[k][n] * s[y][n];
                    t[y][k] = a;
                }
            Ozr16s* b = &out[64 * (static_cast<size_t>(by) * bw + bx)];
            for (int k = 0; k < 8; ++k)
                for (int x = 0; x < 8; ++x) {
                    double a = 0;
                    for (int n = 0; n < 8; ++n) a += c[k][n] * t[n][x];
                    b[8 * k + x] = static_cast<Ozr16s>(std::lround(a / qs[8 * k + x]));
                }
        }
    return out;
}

struct Frame {
    int width, height;
    std::vector<Ozr16s> plane[3];
    int bw[3], bh[3];
    int64_t blocks() const { return int64_t(bw[0]) * bh[0] * 3 / 2; }
};

const Frame& frameAt(int quality, int size) {
    static std::map<int, Frame> cache;
    const int key = quality * 2 + size;
    auto it = cache.find(key);
    if (it != cache.end()) return it->second;
    Frame& f = cache[key];
    f.width = kSizes[size][0];
    f.height = kSizes[size][1];
    for (int c = 0; c < 3; ++c) {
        const int w = c ? f.width / 2 : f.width, h = c ? f.height / 2 : f.height;
        f.bw[c] = w / 8;
        f.bh[c] = h / 8;
        f.plane[c] = quantize(makePlane(w, h, c), w, h, c ? kQuantC : kQuantL, quality);
    }
    return f;
}

// The standard AC tables come from libjpeg's defaults (Annex K).
void stdAcTables(uint8_t bits[2][16], uint8_t vals[2][256]) {
    jpeg_compress_struct ci;
    jpeg_error_mgr err;
    ci.err = jpeg_std_error(&err);
    jpeg_create_compress(&ci);
    ci.in_color_space = JCS_YCbCr;
    ci.input_components = 3;
    jpeg_set_defaults(&ci);
    for (int t = 0; t < 2; ++t) {
        std::memcpy(bits[t], ci.ac_huff_tbl_ptrs[t]->bits + 1, 16);
        std::memcpy(vals[t], ci.ac_huff_tbl_ptrs[t]->huffval, 256);
    }
    jpeg_destroy_compress(&ci);
}

void BM_EncodeHuffman_Ozrj(benchmark::State& st) {
    const Frame& f = frameAt(static_cast<int>(st.range(0)), static_cast<int>(st.range(1)));
    uint8_t acBits[2][16], acVals[2][256];
    stdAcTables(acBits, acVals);
    OzriEncodeHuffmanSpec *dc[2], *ac[2];
    ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(kBitsDcL, kValsDc, &dc[0]);
    ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(kBitsDcC, kValsDc, &dc[1]);
    for (int t = 0; t < 2; ++t) ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(acBits[t], acVals[t], &ac[t]);
    OzriEncodeHuffmanState* hs;
    ozriEncodeHuffmanStateInitAlloc_JPEG_8u(&hs);
    std::vector<Ozr8u> out(32 << 20);
    const int len = static_cast<int>(out.size());
    int bytes = 0;
    for (auto _ : st) {
        int pos = 0;
        Ozr16s last[3] = {};
        for (int my = 0; my < f.bh[1]; ++my)
            for (int mx = 0; mx < f.bw[1]; ++mx) {
                for (int y = 0; y < 2; ++y)
                    for (int x = 0; x < 2; ++x) {
                        const Ozr16s* b = &f.plane[0][64 * (size_t(2 * my + y) * f.bw[0] + 2 * mx + x)];
                        ozriEncodeHuffman8x8_JPEG_16s1u_C1(b, out.data(), len, &pos, &last[0], dc[0], ac[0], hs, 0);
                    }
                for (int c = 1; c < 3; ++c) {
                    const Ozr16s* b = &f.plane[c][64 * (size_t(my) * f.bw[c] + mx)];
                    ozriEncodeHuffman8x8_JPEG_16s1u_C1(b, out.data(), len, &pos, &last[c], dc[1], ac[1], hs, 0);
                }
            }
        ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, hs, 1);
        bytes = pos;
        benchmark::DoNotOptimize(out.data());
    }
    st.SetItemsProcessed(st.iterations() * f.blocks());
    st.counters["bytes"] = bytes;
    for (int t = 0; t < 2; ++t) {
        ozriEncodeHuffmanSpecFree_JPEG_8u(dc[t]);
        ozriEncodeHuffmanSpecFree_JPEG_8u(ac[t]);
    }
    ozriEncodeHuffmanStateFree_JPEG_8u(hs);
}
BENCHMARK(BM_EncodeHuffman_Ozrj)->Args({75, 0})->Args({90, 0})->Args({75, 1})->Args({90, 1})->Unit(benchmark::kMillisecond);

void BM_EncodeHuffman_LibjpegTurbo(benchmark::State& st) {
    const Frame& f = frameAt(static_cast<int>(st.range(0)), static_cast<int>(st.range(1)));
    unsigned long bytes = 0;
    // The same ready output buffer as the library gets (libjpeg only
    // allocates when it runs out).
    std::vector<unsigned char> out(32 << 20, 1);
    for (auto _ : st) {
        st.PauseTiming();
        jpeg_compress_struct ci;
        jpeg_error_mgr err;
        ci.err = jpeg_std_error(&err);
        jpeg_create_compress(&ci);
        unsigned char* mem = out.data();
        unsigned long size = out.size();
        jpeg_mem_dest(&ci, &mem, &size);
        ci.image_width = f.width;
        ci.image_height = f.height;
        ci.input_components = 3;
        ci.in_color_space = JCS_YCbCr;
        jpeg_set_defaults(&ci);
        ci.optimize_coding = FALSE;
        jvirt_barray_ptr arrays[3];
        for (int c = 0; c < 3; ++c) {
            ci.comp_info[c].h_samp_factor = ci.comp_info[c].v_samp_factor = c ? 1 : 2;
            arrays[c] = (*ci.mem->request_virt_barray)(reinterpret_cast<j_common_ptr>(&ci), JPOOL_IMAGE, TRUE,
                                                       f.bw[c], f.bh[c], c ? 1 : 2);
        }
        jpeg_write_coefficients(&ci, arrays);
        for (int c = 0; c < 3; ++c)
            for (int y = 0; y < f.bh[c]; ++y) {
                JBLOCKARRAY row = (*ci.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&ci), arrays[c], y, 1, TRUE);
                std::memcpy(row[0], &f.plane[c][64 * size_t(y) * f.bw[c]], sizeof(JBLOCK) * f.bw[c]);
            }
        st.ResumeTiming();
        jpeg_finish_compress(&ci);
        st.PauseTiming();
        bytes = size;
        jpeg_destroy_compress(&ci);
        if (mem != out.data()) free(mem);
        st.ResumeTiming();
    }
    st.SetItemsProcessed(st.iterations() * f.blocks());
    st.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeHuffman_LibjpegTurbo)->Args({75, 0})->Args({90, 0})->Args({75, 1})->Args({90, 1})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
