// DXT encoding and decoding beside stb_dxt and libsquish, single-threaded, on
// the same 512x512 picture.  Throughput is in source (encode) or output
// (decode) RGBA bytes.
#include <benchmark/benchmark.h>
#include <squish.h>

#include <algorithm>
#include <cstring>
#include <vector>

#define STB_DXT_IMPLEMENTATION
#include <stb/stb_dxt.h>

#include "ozrj.h"
#include "texture/dxt.h"

namespace {

constexpr int kW = 512, kH = 512;

// Smooth gradients with edges and noise, alpha varying.
const std::vector<uint8_t>& picture() {
    static const std::vector<uint8_t> p = [] {
        std::vector<uint8_t> v(static_cast<size_t>(kW) * kH * 4);
        uint32_t s = 1;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) {
                s = s * 1664525u + 1013904223u;
                uint8_t* q = &v[(static_cast<size_t>(y) * kW + x) * 4];
                const int edge = (x + 2 * y) % 37 < 18 ? 60 : 0;
                q[0] = static_cast<uint8_t>(std::min(255, x / 2 + edge / 2 + static_cast<int>(s >> 29)));
                q[1] = static_cast<uint8_t>(std::min(255, y / 2 + static_cast<int>((s >> 26) & 7)));
                q[2] = static_cast<uint8_t>(std::min(255, 255 - (x + y) / 4 + edge));
                q[3] = static_cast<uint8_t>((x * 13 + y * 29) % 256);
            }
        return v;
    }();
    return p;
}

size_t blocksSize(int blockBytes) { return static_cast<size_t>(kW / 4) * (kH / 4) * blockBytes; }

void encodeLibrary(benchmark::State& st, OzrStatus (*fn)(const Ozr8u*, int, OzriSize, Ozr8u*), int blockBytes) {
    const auto& img = picture();
    std::vector<uint8_t> out(blocksSize(blockBytes));
    for (auto _ : st) {
        fn(img.data(), kW * 4, {kW, kH}, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

void encodeScalar(benchmark::State& st, ozr::texture::EncodeBlockFn fn, int blockBytes) {
    const auto& img = picture();
    std::vector<uint8_t> out(blocksSize(blockBytes));
    for (auto _ : st) {
        ozr::texture::encodeImage(img.data(), kW * 4, {kW, kH}, out.data(), 4, blockBytes, fn);
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

void encodeStb(benchmark::State& st, int alpha) {
    const auto& img = picture();
    const int blockBytes = alpha ? 16 : 8;
    std::vector<uint8_t> out(blocksSize(blockBytes));
    for (auto _ : st) {
        uint8_t* o = out.data();
        for (int by = 0; by < kH; by += 4)
            for (int bx = 0; bx < kW; bx += 4) {
                uint8_t block[64];
                for (int r = 0; r < 4; ++r) std::memcpy(block + 16 * r, &img[((by + r) * kW + bx) * 4], 16);
                stb_compress_dxt_block(o, block, alpha, STB_DXT_NORMAL);
                o += blockBytes;
            }
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

void encodeSquish(benchmark::State& st, int flags, int blockBytes) {
    const auto& img = picture();
    std::vector<uint8_t> out(blocksSize(blockBytes));
    for (auto _ : st) {
        squish::CompressImage(img.data(), kW, kH, out.data(), flags | squish::kColourRangeFit);
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

std::vector<uint8_t> blocksOf(int flags, int blockBytes) {
    std::vector<uint8_t> b(blocksSize(blockBytes));
    squish::CompressImage(picture().data(), kW, kH, b.data(), flags | squish::kColourRangeFit);
    return b;
}

void decodeLibrary(benchmark::State& st, OzrStatus (*fn)(const Ozr8u*, Ozr8u*, int, OzriSize), int flags, int blockBytes) {
    const std::vector<uint8_t> blocks = blocksOf(flags, blockBytes);
    std::vector<uint8_t> out(static_cast<size_t>(kW) * kH * 4);
    for (auto _ : st) {
        fn(blocks.data(), out.data(), kW * 4, {kW, kH});
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

void decodeScalar(benchmark::State& st, ozr::texture::DecodeRowFn row, ozr::texture::DecodePadFn pad, int flags,
                  int blockBytes) {
    const std::vector<uint8_t> blocks = blocksOf(flags, blockBytes);
    std::vector<uint8_t> out(static_cast<size_t>(kW) * kH * 4);
    for (auto _ : st) {
        ozr::texture::decodeImage(blocks.data(), out.data(), kW * 4, {kW, kH}, blockBytes, row, pad);
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

void decodeSquish(benchmark::State& st, int flags, int blockBytes) {
    const std::vector<uint8_t> blocks = blocksOf(flags, blockBytes);
    std::vector<uint8_t> out(static_cast<size_t>(kW) * kH * 4);
    for (auto _ : st) {
        squish::DecompressImage(out.data(), kW, kH, blocks.data(), flags);
        benchmark::DoNotOptimize(out.data());
    }
    st.SetBytesProcessed(st.iterations() * kW * kH * 4);
}

}  // namespace

BENCHMARK_CAPTURE(encodeLibrary, DXT1, ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, 8);
BENCHMARK_CAPTURE(encodeScalar, DXT1, ozr::texture::scalar::encode_block_rgba_dxt1, 8);
BENCHMARK_CAPTURE(encodeStb, DXT1, 0);
BENCHMARK_CAPTURE(encodeSquish, DXT1_RangeFit, squish::kDxt1, 8);
BENCHMARK_CAPTURE(encodeLibrary, DXT5, ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, 16);
BENCHMARK_CAPTURE(encodeScalar, DXT5, ozr::texture::scalar::encode_block_rgba_dxt5, 16);
BENCHMARK_CAPTURE(encodeStb, DXT5, 1);
BENCHMARK_CAPTURE(encodeSquish, DXT5_RangeFit, squish::kDxt5, 16);
BENCHMARK_CAPTURE(encodeLibrary, DXT3, ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, 16);
BENCHMARK_CAPTURE(encodeLibrary, YCoCg_DXT5, ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, 16);

BENCHMARK_CAPTURE(decodeLibrary, DXT1, ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, squish::kDxt1, 8);
BENCHMARK_CAPTURE(decodeScalar, DXT1, ozr::texture::scalar::decodeRowDXT1, ozr::texture::scalar::decodePadDXT1,
                  squish::kDxt1, 8);
BENCHMARK_CAPTURE(decodeSquish, DXT1, squish::kDxt1, 8);
BENCHMARK_CAPTURE(decodeLibrary, DXT3, ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, squish::kDxt3, 16);
BENCHMARK_CAPTURE(decodeSquish, DXT3, squish::kDxt3, 16);
BENCHMARK_CAPTURE(decodeLibrary, DXT5, ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, squish::kDxt5, 16);
BENCHMARK_CAPTURE(decodeScalar, DXT5, ozr::texture::scalar::decodeRowDXT5, ozr::texture::scalar::decodePadDXT5,
                  squish::kDxt5, 16);
BENCHMARK_CAPTURE(decodeSquish, DXT5, squish::kDxt5, 16);
BENCHMARK_MAIN();
