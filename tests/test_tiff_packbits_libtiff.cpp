// PackBits against libtiff: strips packed here and wrapped in a hand-written
// TIFF decode in libtiff to the same samples, and strips that libtiff's own
// encoder wrote unpack here row by row to the samples it was given.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "test_util.h"
#include "tiff_strip.h"

using namespace ozrtest;
using Bytes = std::vector<uint8_t>;

namespace {

// Image bytes with a mix of noise, short and long runs, different per row.
Bytes testImage(Rng& rng, int rowBytes, int height) {
    Bytes img(static_cast<size_t>(rowBytes) * height);
    for (size_t i = 0; i < img.size();) {
        const int kind = rng.range(0, 3);
        const size_t len = std::min<size_t>(img.size() - i, kind == 0 ? rng.range(1, 400) : rng.range(1, 4));
        const uint8_t v = static_cast<uint8_t>(rng.u32() & (kind == 1 ? 0x3 : 0xFF));
        for (size_t k = 0; k < len; ++k) img[i + k] = kind == 3 ? static_cast<uint8_t>(rng.u32()) : v;
        i += len;
    }
    return img;
}

void silenceLibtiff() {
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
}

}  // namespace

TEST(PackBitsLibtiff, LibtiffDecodesStripsWePacked) {
    silenceLibtiff();
    Rng rng(101);
    const struct { int w, h, bits; } sizes[] = {{1, 1, 8}, {17, 5, 8}, {300, 40, 8}, {1000, 9, 8}, {3, 2, 16}, {257, 11, 16}};
    for (const auto& sz : sizes) {
        const int rowBytes = sz.w * sz.bits / 8;
        const Bytes img = testImage(rng, rowBytes, sz.h);
        Bytes strip(static_cast<size_t>(2 * rowBytes + 2) * sz.h);
        int pos = 0;
        for (int y = 0; y < sz.h; ++y)
            ASSERT_EQ(ozriPackBitsRow_TIFF_8u_C1(&img[static_cast<size_t>(y) * rowBytes], rowBytes, strip.data(), &pos,
                                                 static_cast<int>(strip.size()) - pos),
                      ozrStatusOk);
        strip.resize(static_cast<size_t>(pos));
        MemoryTiff file(packBitsTiff(sz.w, sz.h, sz.bits, strip));
        TIFF* tif = file.open("r");
        ASSERT_NE(tif, nullptr) << sz.w << "x" << sz.h;
        Bytes line(static_cast<size_t>(TIFFScanlineSize(tif)));
        ASSERT_EQ(static_cast<int>(line.size()), rowBytes);
        for (int y = 0; y < sz.h; ++y) {
            ASSERT_EQ(TIFFReadScanline(tif, line.data(), static_cast<uint32_t>(y), 0), 1);
            ASSERT_EQ(0, std::memcmp(line.data(), &img[static_cast<size_t>(y) * rowBytes], line.size()))
                << sz.w << "x" << sz.h << " row " << y;
        }
        Bytes whole(img.size());
        ASSERT_EQ(TIFFReadEncodedStrip(tif, 0, whole.data(), static_cast<tmsize_t>(whole.size())),
                  static_cast<tmsize_t>(whole.size()));
        EXPECT_EQ(whole, img);
        TIFFClose(tif);
    }
}

TEST(PackBitsLibtiff, LibtiffStripsUnpackRowByRow) {
    silenceLibtiff();
    Rng rng(102);
    const struct { int w, h, bits, rowsPerStrip; } sizes[] = {
        {1, 1, 8, 1}, {5, 7, 8, 3}, {129, 20, 8, 7}, {640, 33, 8, 16}, {4000, 4, 8, 4}, {300, 10, 16, 4}};
    for (const auto& sz : sizes) {
        const int rowBytes = sz.w * sz.bits / 8;
        const Bytes img = testImage(rng, rowBytes, sz.h);
        MemoryTiff file;
        TIFF* tif = file.open("w");
        ASSERT_NE(tif, nullptr);
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, sz.w);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, sz.h);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, sz.bits);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, sz.rowsPerStrip);
        for (int y = 0; y < sz.h; ++y) {
            Bytes row(img.begin() + static_cast<long>(y) * rowBytes, img.begin() + static_cast<long>(y + 1) * rowBytes);
            ASSERT_EQ(TIFFWriteScanline(tif, row.data(), static_cast<uint32_t>(y), 0), 1);
        }
        TIFFClose(tif);

        MemoryTiff in(file.bytes());
        tif = in.open("r");
        ASSERT_NE(tif, nullptr);
        const uint32_t strips = TIFFNumberOfStrips(tif);
        ASSERT_EQ(strips, static_cast<uint32_t>((sz.h + sz.rowsPerStrip - 1) / sz.rowsPerStrip));
        Bytes row(static_cast<size_t>(rowBytes));
        for (uint32_t s = 0; s < strips; ++s) {
            const tmsize_t rawLen = TIFFRawStripSize(tif, s);
            ASSERT_GT(rawLen, 0);
            Bytes raw(static_cast<size_t>(rawLen));
            ASSERT_EQ(TIFFReadRawStrip(tif, s, raw.data(), rawLen), rawLen);
            int at = 0;
            const int y0 = static_cast<int>(s) * sz.rowsPerStrip, y1 = std::min(sz.h, y0 + sz.rowsPerStrip);
            for (int y = y0; y < y1; ++y) {
                ASSERT_EQ(ozriUnpackBitsRow_TIFF_8u_C1(raw.data(), &at, static_cast<int>(rawLen), row.data(), rowBytes),
                          ozrStatusOk)
                    << sz.w << "x" << sz.h << " row " << y;
                ASSERT_EQ(0, std::memcmp(row.data(), &img[static_cast<size_t>(y) * rowBytes], row.size()));
            }
            EXPECT_EQ(at, static_cast<int>(rawLen));  // the strip ends with its last row
        }
        TIFFClose(tif);
    }
}
