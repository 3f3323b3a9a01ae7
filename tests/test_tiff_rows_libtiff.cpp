// Byte planes in real TIFF data: the floating-point predictor stores each row
// of 16-bit floats as all high bytes, then all low bytes, with byte-wise
// differences on top (here under Deflate, which zlib does for us).  Rows split
// here decode in libtiff to the same samples, and rows that libtiff wrote that
// way join back here.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <vector>

#include "test_util.h"
#include "tiff_strip.h"

using namespace ozrtest;
using Bytes = std::vector<uint8_t>;

namespace {

const std::pair<int, int> kSizes[] = {{1, 1}, {16, 2}, {37, 6}, {500, 12}};

std::vector<Ozr16u> halfFloats(Rng& rng, int count) {
    std::vector<Ozr16u> v(static_cast<size_t>(count));
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = (i % 64 < 40) ? static_cast<Ozr16u>(0x3C00 + (i % 64) * 37) : static_cast<Ozr16u>(rng.u32());
    return v;
}

void floatTiffFields(TIFF* tif, int w, int h) {
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_FLOATINGPOINT);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, h);
}

}  // namespace

TEST(SplitJoinLibtiff, FloatPredictorRowsWeWriteDecodeInLibtiff) {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
    Rng rng(111);
    for (const auto& sz : kSizes) {
        const int w = sz.first, h = sz.second;
        const std::vector<Ozr16u> img = halfFloats(rng, w * h);
        Bytes predicted(static_cast<size_t>(2 * w) * h);
        for (int y = 0; y < h; ++y) {
            Ozr8u* row = &predicted[static_cast<size_t>(2 * w) * y];
            Ozr8u* planes[2] = {row, row + w};
            ASSERT_EQ(ozriSplitRow_TIFF_16u8u_C1(&img[static_cast<size_t>(y) * w], planes, w), ozrStatusOk);
            for (int i = 2 * w - 1; i > 0; --i) row[i] = static_cast<uint8_t>(row[i] - row[i - 1]);
        }
        uLongf zlen = compressBound(predicted.size());
        Bytes z(zlen);
        ASSERT_EQ(compress2(z.data(), &zlen, predicted.data(), predicted.size(), 6), Z_OK);
        MemoryTiff file;
        TIFF* tif = file.open("w");
        ASSERT_NE(tif, nullptr);
        floatTiffFields(tif, w, h);
        ASSERT_EQ(TIFFWriteRawStrip(tif, 0, z.data(), static_cast<tmsize_t>(zlen)), static_cast<tmsize_t>(zlen));
        TIFFClose(tif);

        MemoryTiff in(file.bytes());
        tif = in.open("r");
        ASSERT_NE(tif, nullptr);
        std::vector<Ozr16u> line(static_cast<size_t>(w));
        for (int y = 0; y < h; ++y) {
            ASSERT_EQ(TIFFReadScanline(tif, line.data(), static_cast<uint32_t>(y), 0), 1);
            ASSERT_EQ(0, std::memcmp(line.data(), &img[static_cast<size_t>(y) * w], 2 * static_cast<size_t>(w)))
                << w << "x" << h << " row " << y;
        }
        TIFFClose(tif);
    }
}

TEST(SplitJoinLibtiff, LibtiffFloatPredictorRowsJoinBack) {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
    Rng rng(112);
    for (const auto& sz : kSizes) {
        const int w = sz.first, h = sz.second;
        const std::vector<Ozr16u> img = halfFloats(rng, w * h);
        MemoryTiff file;
        TIFF* tif = file.open("w");
        ASSERT_NE(tif, nullptr);
        floatTiffFields(tif, w, h);
        for (int y = 0; y < h; ++y) {
            std::vector<Ozr16u> row(img.begin() + static_cast<long>(y) * w, img.begin() + static_cast<long>(y + 1) * w);
            ASSERT_EQ(TIFFWriteScanline(tif, row.data(), static_cast<uint32_t>(y), 0), 1);  // may alter row
        }
        TIFFClose(tif);

        MemoryTiff in(file.bytes());
        tif = in.open("r");
        ASSERT_NE(tif, nullptr);
        const tmsize_t rawLen = TIFFRawStripSize(tif, 0);
        Bytes raw(static_cast<size_t>(rawLen));
        ASSERT_EQ(TIFFReadRawStrip(tif, 0, raw.data(), rawLen), rawLen);
        TIFFClose(tif);
        Bytes predicted(static_cast<size_t>(2 * w) * h);
        uLongf plen = predicted.size();
        ASSERT_EQ(uncompress(predicted.data(), &plen, raw.data(), static_cast<uLong>(rawLen)), Z_OK);
        ASSERT_EQ(plen, predicted.size());
        std::vector<Ozr16u> row(static_cast<size_t>(w));
        for (int y = 0; y < h; ++y) {
            Ozr8u* bytes = &predicted[static_cast<size_t>(2 * w) * y];
            for (int i = 1; i < 2 * w; ++i) bytes[i] = static_cast<uint8_t>(bytes[i] + bytes[i - 1]);
            const Ozr8u* planes[2] = {bytes, bytes + w};
            ASSERT_EQ(ozriJoinRow_TIFF_8u16u_C1(planes, row.data(), w), ozrStatusOk);
            ASSERT_EQ(0, std::memcmp(row.data(), &img[static_cast<size_t>(y) * w], 2 * static_cast<size_t>(w)))
                << w << "x" << h << " row " << y;
        }
    }
}
