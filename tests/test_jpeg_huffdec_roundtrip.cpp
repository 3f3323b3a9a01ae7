// Round trips through the library's own encoder: random blocks (8-bit and
// 12-bit coefficient ranges, sparse to dense), optimized tables built from
// the encoder's statistics, restart intervals with flushes, and the Direct
// encoder feeding the Direct decoder.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "jpeg/huffdec.h"
#include "jpeg/huffenc.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

void randomBlock(Rng& rng, Ozr16s* blk, int density, int maxCat) {
    for (int i = 0; i < 64; ++i) {
        blk[i] = 0;
        if (rng.range(0, 99) < density) {
            const int cat = rng.range(1, maxCat);
            const int v = rng.range(1 << (cat - 1), (1 << cat) - 1);
            blk[i] = static_cast<Ozr16s>(rng.range(0, 1) ? v : -v);
        }
    }
    // DC differences stay within the table's categories: |DC| < 2^(maxCat)/2.
    const int lim = (1 << maxCat) / 2 - 1;
    blk[0] = static_cast<Ozr16s>(rng.range(-lim, lim));
}

struct Tables {
    OzriEncodeHuffmanSpec encDc, encAc;
    OzriDecodeHuffmanSpec decDc, decAc;
};

// Optimal tables for the blocks, made the way a two-pass encoder makes them.
void optimalTables(const std::vector<std::vector<Ozr16s>>& blocks, Tables* t) {
    int dcStats[256] = {}, acStats[256] = {};
    Ozr16s last = 0;
    for (const auto& b : blocks)
        ASSERT_EQ(ozriGetHuffmanStatistics8x8_JPEG_16s_C1(b.data(), dcStats, acStats, &last), ozrStatusOk);
    // Every symbol a block could need gets a code, so restarts may reorder.
    for (int s = 0; s < 16; ++s) dcStats[s] += 1;
    acStats[0] += 1;
    acStats[0xF0] += 1;
    Ozr8u bits[16], vals[256];
    ASSERT_EQ(ozriEncodeHuffmanRawTableInit_JPEG_8u(dcStats, bits, vals), ozrStatusOk);
    ASSERT_EQ(ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->encDc), ozrStatusOk);
    ASSERT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->decDc), ozrStatusOk);
    ASSERT_EQ(ozriEncodeHuffmanRawTableInit_JPEG_8u(acStats, bits, vals), ozrStatusOk);
    ASSERT_EQ(ozriEncodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->encAc), ozrStatusOk);
    ASSERT_EQ(ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, &t->decAc), ozrStatusOk);
}

}  // namespace

TEST(RoundTrip, LibraryEncoderToDecoderWithRestarts) {
    Rng rng(21);
    for (int iter = 0; iter < 24; ++iter) {
        const int maxCat = iter % 2 ? 14 : 10;  // 12-bit and 8-bit coefficient ranges
        const int n = rng.range(1, 300);
        const int restart = iter % 3 ? rng.range(1, 17) : 0;
        std::vector<std::vector<Ozr16s>> blocks(n, std::vector<Ozr16s>(64));
        for (auto& b : blocks) randomBlock(rng, b.data(), rng.range(0, 100), maxCat);
        Tables t;
        optimalTables(blocks, &t);

        // Encode: restart intervals are flushed and marked by the caller.
        std::vector<Ozr8u> stream(static_cast<size_t>(n) * 300 + 64);
        OzriEncodeHuffmanState es;
        ozriEncodeHuffmanStateInit_JPEG_8u(&es);
        int wpos = 0;
        Ozr16s lastDC = 0;
        for (int b = 0; b < n; ++b) {
            if (restart && b && b % restart == 0) {
                ASSERT_EQ(ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, stream.data(), int(stream.size()), &wpos,
                                                             nullptr, nullptr, nullptr, &es, 1),
                          ozrStatusOk);
                stream[wpos++] = 0xFF;
                stream[wpos++] = static_cast<Ozr8u>(0xD0 + (b / restart - 1) % 8);
                lastDC = 0;
            }
            ASSERT_EQ(ozriEncodeHuffman8x8_JPEG_16s1u_C1(blocks[b].data(), stream.data(), int(stream.size()),
                                                         &wpos, &lastDC, &t.encDc, &t.encAc, &es, 0),
                      ozrStatusOk);
        }
        ASSERT_EQ(ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, stream.data(), int(stream.size()), &wpos, nullptr,
                                                     nullptr, nullptr, &es, 1),
                  ozrStatusOk);
        stream.resize(static_cast<size_t>(wpos));

        // Decode.
        OzriDecodeHuffmanState ds;
        ozriDecodeHuffmanStateInit_JPEG_8u(&ds);
        int rpos = 0, marker = 0;
        lastDC = 0;
        for (int b = 0; b < n; ++b) {
            if (restart && b && b % restart == 0) {
                if (marker == 0) {
                    ASSERT_EQ(stream[rpos], 0xFF);
                    marker = stream[rpos + 1];
                    rpos += 2;
                }
                EXPECT_EQ(marker, 0xD0 + (b / restart - 1) % 8);
                marker = 0;
                ozriDecodeHuffmanStateInit_JPEG_8u(&ds);
                lastDC = 0;
            }
            Ozr16s out[64];
            ASSERT_EQ(ozriDecodeHuffman8x8_JPEG_1u16s_C1(stream.data(), int(stream.size()), &rpos, out, &lastDC,
                                                         &marker, &t.decDc, &t.decAc, &ds),
                      ozrStatusOk)
                << "iteration " << iter << " block " << b;
            ASSERT_EQ(0, std::memcmp(out, blocks[b].data(), sizeof out)) << "iteration " << iter << " block " << b;
        }
        EXPECT_EQ(rpos, int(stream.size()));
    }
}

TEST(RoundTrip, DirectEncoderToDirectDecoder) {
    Rng rng(22);
    for (int iter = 0; iter < 12; ++iter) {
        const int n = rng.range(1, 200);
        std::vector<std::vector<Ozr16s>> blocks(n, std::vector<Ozr16s>(64));
        for (auto& b : blocks) randomBlock(rng, b.data(), rng.range(0, 100), 10);
        Tables t;
        optimalTables(blocks, &t);
        std::vector<Ozr8u> stream(static_cast<size_t>(n) * 300 + 64, 0);
        int bits = 0;
        Ozr16s lastDC = 0;
        for (int b = 0; b < n; ++b)
            ASSERT_EQ(ozriEncodeHuffman8x8_Direct_JPEG_16s1u_C1(blocks[b].data(), stream.data(), &bits, &lastDC,
                                                                &t.encDc, &t.encAc),
                      ozrStatusOk);
        // Pad the last byte with 1-bits (stuffing a completed 0xFF) and end with EOI.
        int byte = bits >> 3;
        if (bits & 7) {
            stream[byte] = static_cast<Ozr8u>(stream[byte] | (0xFF >> (bits & 7)));
            if (stream[byte++] == 0xFF) stream[byte++] = 0;
        }
        stream[byte++] = 0xFF;
        stream[byte++] = 0xD9;
        stream.resize(static_cast<size_t>(byte));

        int bitsLen = 0, nbits = 0, marker = 0;
        Ozr32u pref = 0;
        lastDC = 0;
        for (int b = 0; b < n; ++b) {
            Ozr16s out[64];
            ASSERT_EQ(ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(stream.data(), &bitsLen, out, &lastDC, &marker,
                                                                &pref, &nbits, &t.decDc, &t.decAc),
                      ozrStatusOk);
            ASSERT_EQ(0, std::memcmp(out, blocks[b].data(), sizeof out)) << iter << " block " << b;
        }
    }
}
