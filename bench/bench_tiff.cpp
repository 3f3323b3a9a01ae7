// TIFF rows: PackBits packing and unpacking of a 2048 x 256 8-bit strip beside
// libtiff's PackBits codec on the same rows (libtiff writes and reads the strip
// through an in-memory stream, so its figures include opening the directory
// and one copy of the coded strip), and the 16-bit split/join beside plain loops.
// Image kinds (the benchmark argument): 0 scanned-document-like (long runs with
// short dark marks), 1 photographic noise (almost all literals), 2 a mix of
// short runs, pairs and noise.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "ozrj.h"
#include "tiff_strip.h"

namespace {

constexpr int kWidth = 2048, kHeight = 256;
using Bytes = std::vector<uint8_t>;

Bytes image(int kind) {
    std::mt19937 rng(7 + kind);
    Bytes img(static_cast<size_t>(kWidth) * kHeight);
    for (size_t i = 0; i < img.size();) {
        size_t len = 1;
        uint8_t v = static_cast<uint8_t>(rng());
        if (kind == 0) {
            const bool mark = rng() % 4 == 0;
            len = mark ? 1 + rng() % 12 : 20 + rng() % 300;
            v = mark ? static_cast<uint8_t>(rng() % 64) : 255;
        } else if (kind == 1) {
            v = static_cast<uint8_t>(128 + static_cast<int>(rng() % 40) - 20);
        } else {
            len = rng() % 3 ? 1 + rng() % 3 : 1 + rng() % 40;
            v = static_cast<uint8_t>(rng() % 8);
        }
        len = std::min(len, img.size() - i);
        std::memset(&img[i], v, len);
        i += len;
    }
    return img;
}

Bytes packImage(const Bytes& img) {
    Bytes strip(img.size() * 2);
    int pos = 0;
    for (int y = 0; y < kHeight; ++y)
        ozriPackBitsRow_TIFF_8u_C1(&img[static_cast<size_t>(y) * kWidth], kWidth, strip.data(), &pos,
                                   static_cast<int>(strip.size()) - pos);
    strip.resize(static_cast<size_t>(pos));
    return strip;
}

void quiet() {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
}

void BM_PackBits_Ozrj(benchmark::State& st) {
    const Bytes img = image(static_cast<int>(st.range(0)));
    Bytes strip(img.size() * 2);
    int pos = 0;
    for (auto _ : st) {
        pos = 0;
        for (int y = 0; y < kHeight; ++y)
            ozriPackBitsRow_TIFF_8u_C1(&img[static_cast<size_t>(y) * kWidth], kWidth, strip.data(), &pos,
                                       static_cast<int>(strip.size()) - pos);
        benchmark::DoNotOptimize(strip.data());
    }
    st.counters["coded_bytes"] = pos;
    st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(img.size()));
}

void BM_PackBits_Libtiff(benchmark::State& st) {
    quiet();
    const Bytes img = image(static_cast<int>(st.range(0)));
    Bytes copy = img;  // libtiff may scribble on the buffer it encodes
    uint64_t coded = 0;
    for (auto _ : st) {
        ozrtest::MemoryTiff file;
        TIFF* tif = file.open("w");
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, kHeight);
        TIFFWriteEncodedStrip(tif, 0, copy.data(), static_cast<tmsize_t>(copy.size()));
        coded = TIFFGetStrileByteCount(tif, 0);
        TIFFClose(tif);
        benchmark::DoNotOptimize(file.bytes().data());
    }
    st.counters["coded_bytes"] = static_cast<double>(coded);
    st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(img.size()));
}

void BM_UnpackBits_Ozrj(benchmark::State& st) {
    const Bytes img = image(static_cast<int>(st.range(0)));
    const Bytes strip = packImage(img);
    Bytes out(img.size());
    for (auto _ : st) {
        int pos = 0;
        for (int y = 0; y < kHeight; ++y)
            ozriUnpackBitsRow_TIFF_8u_C1(strip.data(), &pos, static_cast<int>(strip.size()),
                                         &out[static_cast<size_t>(y) * kWidth], kWidth);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != img) st.SkipWithError("decoded rows differ");
    st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(img.size()));
}

// libtiff decodes the very same coded strip.
void BM_UnpackBits_Libtiff(benchmark::State& st) {
    quiet();
    const Bytes img = image(static_cast<int>(st.range(0)));
    ozrtest::MemoryTiff file(ozrtest::packBitsTiff(kWidth, kHeight, 8, packImage(img)));
    TIFF* tif = file.open("r");  // mapped: libtiff decodes straight from the buffer
    Bytes out(img.size());
    for (auto _ : st) {
        TIFFReadEncodedStrip(tif, 0, out.data(), static_cast<tmsize_t>(out.size()));
        benchmark::DoNotOptimize(out.data());
    }
    TIFFClose(tif);
    if (out != img) st.SkipWithError("decoded rows differ");
    st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(img.size()));
}

void BM_SplitJoin16_Ozrj(benchmark::State& st) {
    std::vector<Ozr16u> row(kWidth), back(kWidth);
    for (int i = 0; i < kWidth; ++i) row[i] = static_cast<Ozr16u>(i * 40503u);
    Bytes hi(kWidth), lo(kWidth);
    Ozr8u* planes[2] = {hi.data(), lo.data()};
    const Ozr8u* in[2] = {hi.data(), lo.data()};
    for (auto _ : st) {
        ozriSplitRow_TIFF_16u8u_C1(row.data(), planes, kWidth);
        ozriJoinRow_TIFF_8u16u_C1(in, back.data(), kWidth);
        benchmark::DoNotOptimize(back.data());
    }
    st.SetItemsProcessed(st.iterations() * kWidth);
}

void BM_SplitJoin16_Loop(benchmark::State& st) {
    std::vector<Ozr16u> row(kWidth), back(kWidth);
    for (int i = 0; i < kWidth; ++i) row[i] = static_cast<Ozr16u>(i * 40503u);
    Bytes hi(kWidth), lo(kWidth);
    for (auto _ : st) {
        for (int i = 0; i < kWidth; ++i) {
            hi[i] = static_cast<uint8_t>(row[i] >> 8);
            lo[i] = static_cast<uint8_t>(row[i]);
        }
        benchmark::ClobberMemory();
        for (int i = 0; i < kWidth; ++i) back[i] = static_cast<Ozr16u>(hi[i] << 8 | lo[i]);
        benchmark::DoNotOptimize(back.data());
    }
    st.SetItemsProcessed(st.iterations() * kWidth);
}

}  // namespace

BENCHMARK(BM_PackBits_Ozrj)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PackBits_Libtiff)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UnpackBits_Ozrj)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UnpackBits_Libtiff)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SplitJoin16_Ozrj);
BENCHMARK(BM_SplitJoin16_Loop);

BENCHMARK_MAIN();
