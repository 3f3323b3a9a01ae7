// Baseline JPEG files written by libjpeg-turbo's cjpeg (standard and
// optimized tables, restart intervals, 4:4:4 / 4:2:2 / 4:2:0 / greyscale,
// odd sizes): every block the library decodes equals the coefficients that
// libjpeg's jpeg_read_coefficients returns for the same file.  Also truncated
// and corrupted copies of those files, which must fail cleanly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <stdio.h>  // jpeglib.h needs FILE
#include <jpeglib.h>
#include <unistd.h>

#include "jpeg/huffdec.h"
#include "jpeg_parse.h"
#include "ozrj.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

struct TempDir {
    std::string path;
    TempDir() {
        char tmpl[] = "/tmp/ozrj_huffdec_XXXXXX";
        if (mkdtemp(tmpl)) path = tmpl;
    }
    ~TempDir() {
        if (!path.empty()) std::system(("rm -rf '" + path + "'").c_str());
    }
};

bool haveCjpeg() { return std::system("command -v cjpeg > /dev/null 2>&1") == 0; }

// A photograph-like test image: smooth gradients, texture, hard edges and
// noise, so that both small and large coefficients occur.
void writeImage(const std::string& path, int w, int h, bool grey, uint32_t seed) {
    Rng rng(seed);
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fprintf(f, "P%d\n%d %d\n255\n", grey ? 5 : 6, w, h);
    std::vector<uint8_t> row(static_cast<size_t>(w) * (grey ? 1 : 3));
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < (grey ? 1 : 3); ++c) {
                int v = (x * (3 + c) + y * (5 - c)) % 256;
                if (((x / 13) + (y / 9)) % 3 == 0) v = 255 - v;  // hard edges
                if ((x ^ y) & 8) v += rng.range(-40, 40);          // texture
                v += rng.range(-6, 6);                             // noise
                row[static_cast<size_t>(x) * (grey ? 1 : 3) + c] =
                    static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
        std::fwrite(row.data(), 1, row.size(), f);
    }
    std::fclose(f);
}

// libjpeg's coefficients, per component, as rows of blocks.
struct PeerCoefs {
    std::vector<std::vector<std::vector<JCOEF>>> comp;  // [c][blockRow][blockCol*64 + k]
    std::vector<int> wBlocks, hBlocks;
};

bool readPeer(const std::vector<uint8_t>& file, PeerCoefs* out) {
    jpeg_decompress_struct cinfo;
    jpeg_error_mgr jerr;
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, file.data(), static_cast<unsigned long>(file.size()));
    if (jpeg_read_header(&cinfo, TRUE) != JPEG_HEADER_OK) return false;
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&cinfo);
    for (int c = 0; c < cinfo.num_components; ++c) {
        jpeg_component_info* ci = &cinfo.comp_info[c];
        // The arrays are padded to whole MCUs; interleaved scans code those
        // dummy blocks too.
        const int wb = static_cast<int>((ci->width_in_blocks + ci->h_samp_factor - 1) /
                                        ci->h_samp_factor * ci->h_samp_factor);
        const int hb = static_cast<int>((ci->height_in_blocks + ci->v_samp_factor - 1) /
                                        ci->v_samp_factor * ci->v_samp_factor);
        out->wBlocks.push_back(wb);
        out->hBlocks.push_back(hb);
        std::vector<std::vector<JCOEF>> rows;
        for (int by = 0; by < hb; ++by) {
            JBLOCKARRAY r = cinfo.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&cinfo),
                                                          arrays[c], static_cast<JDIMENSION>(by), 1, FALSE);
            std::vector<JCOEF> row(static_cast<size_t>(wb) * 64);
            for (int bx = 0; bx < wb; ++bx) std::memcpy(&row[static_cast<size_t>(bx) * 64], r[0][bx], 64 * sizeof(JCOEF));
            rows.push_back(row);
        }
        out->comp.push_back(rows);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

struct TableSet {
    OzriDecodeHuffmanSpec dc[4], ac[4];
};

bool buildTableSet(const jpegparse::File& f, TableSet* s) {
    for (int i = 0; i < 4; ++i) {
        if (f.dc[i].present &&
            ozriDecodeHuffmanSpecInit_JPEG_8u(f.dc[i].bits, f.dc[i].vals.data(), &s->dc[i]) != ozrStatusOk)
            return false;
        if (f.ac[i].present &&
            ozriDecodeHuffmanSpecInit_JPEG_8u(f.ac[i].bits, f.ac[i].vals.data(), &s->ac[i]) != ozrStatusOk)
            return false;
    }
    return true;
}

// Walks the scan's blocks in MCU order, calling fn(component, blockRow,
// blockCol) for each; returns false as soon as fn does.
template <typename Fn>
bool forEachBlock(const jpegparse::File& f, Fn&& fn) {
    int hmax = 1, vmax = 1;
    for (const auto& c : f.comps) {
        hmax = std::max(hmax, c.h);
        vmax = std::max(vmax, c.v);
    }
    if (f.scanComps.size() == 1) {
        const auto& c = f.comps[f.scanComps[0]];
        const int compW = (f.width * c.h + hmax - 1) / hmax, compH = (f.height * c.v + vmax - 1) / vmax;
        const int bw = (compW + 7) / 8, bh = (compH + 7) / 8;
        int mcu = 0;
        for (int by = 0; by < bh; ++by)
            for (int bx = 0; bx < bw; ++bx)
                if (!fn(mcu++, f.scanComps[0], by, bx)) return false;
        return true;
    }
    const int mw = (f.width + 8 * hmax - 1) / (8 * hmax), mh = (f.height + 8 * vmax - 1) / (8 * vmax);
    int mcu = 0;
    for (int my = 0; my < mh; ++my)
        for (int mx = 0; mx < mw; ++mx, ++mcu)
            for (int ci : f.scanComps) {
                const auto& c = f.comps[ci];
                for (int y = 0; y < c.v; ++y)
                    for (int x = 0; x < c.h; ++x)
                        if (!fn(mcu, ci, my * c.v + y, mx * c.h + x)) return false;
            }
    return true;
}

struct Case {
    std::string args;
    int w, h;
    bool grey;
};

}  // namespace

TEST(PeerFiles, EveryBlockEqualsLibjpegCoefficients) {
    if (!haveCjpeg()) GTEST_SKIP() << "cjpeg (libjpeg-turbo-progs) not installed";
    TempDir tmp;
    ASSERT_FALSE(tmp.path.empty());
    const Case cases[] = {
        {"-quality 75 -sample 2x2,1x1,1x1", 203, 157, false},
        {"-quality 90 -sample 2x1,1x1,1x1 -optimize", 128, 64, false},
        {"-quality 100 -sample 1x1,1x1,1x1", 77, 45, false},
        {"-quality 50 -sample 2x2,1x1,1x1 -restart 3B", 150, 99, false},
        {"-quality 95 -sample 1x1,1x1,1x1 -restart 1 -optimize", 64, 41, false},
        {"-quality 85", 99, 70, true},
        {"-quality 100 -optimize -restart 2B", 33, 17, true},
        {"-quality 30 -sample 2x2,1x1,1x1", 1, 1, false},
    };
    int idx = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args + (c.grey ? " grey" : " colour"));
        const std::string in = tmp.path + "/in" + std::to_string(idx) + (c.grey ? ".pgm" : ".ppm");
        const std::string out = tmp.path + "/out" + std::to_string(idx) + ".jpg";
        ++idx;
        writeImage(in, c.w, c.h, c.grey, 1000u + idx);
        ASSERT_EQ(std::system(("cjpeg -baseline " + c.args + " -outfile '" + out + "' '" + in + "'").c_str()), 0);
        std::vector<uint8_t> file;
        ASSERT_TRUE(jpegparse::readFile(out, &file));
        jpegparse::File jf;
        ASSERT_TRUE(jpegparse::parse(file, &jf));
        TableSet tset;
        ASSERT_TRUE(buildTableSet(jf, &tset));
        PeerCoefs peer;
        ASSERT_TRUE(readPeer(file, &peer));

        const std::vector<uint8_t>& e = jf.entropy;
        OzriDecodeHuffmanState st;
        ozriDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, marker = 0, lastMcu = 0, blocks = 0;
        Ozr16s lastDC[4] = {};
        const bool ok = forEachBlock(jf, [&](int mcu, int ci, int by, int bx) {
            if (jf.restartInterval && mcu != lastMcu && mcu % jf.restartInterval == 0) {
                // Restart: the marker was met already or is next in the data.
                if (marker == 0) {
                    EXPECT_EQ(e[pos], 0xFF);
                    marker = e[pos + 1];
                    pos += 2;
                }
                EXPECT_EQ(marker, 0xD0 + (mcu / jf.restartInterval - 1) % 8);
                marker = 0;
                ozriDecodeHuffmanStateInit_JPEG_8u(&st);
                std::memset(lastDC, 0, sizeof lastDC);
            }
            lastMcu = mcu;
            const auto& comp = jf.comps[ci];
            Ozr16s blk[64];
            const OzrStatus s = ozriDecodeHuffman8x8_JPEG_1u16s_C1(
                e.data(), int(e.size()), &pos, blk, &lastDC[ci], &marker, &tset.dc[comp.td],
                &tset.ac[comp.ta], &st);
            EXPECT_EQ(s, ozrStatusOk) << "mcu " << mcu;
            if (s != ozrStatusOk) return false;
            const JCOEF* want = &peer.comp[ci][by][static_cast<size_t>(bx) * 64];
            for (int k = 0; k < 64; ++k)
                if (blk[k] != want[k]) {
                    ADD_FAILURE() << "component " << ci << " block (" << by << "," << bx << ") coef " << k
                                  << ": " << blk[k] << " vs " << want[k];
                    return false;
                }
            ++blocks;
            return true;
        });
        EXPECT_TRUE(ok);
        EXPECT_GT(blocks, 0);
        EXPECT_EQ(pos, int(e.size()));  // all data consumed, up to the EOI marker

        // The Direct form on the same data (ending at EOI) gives the same.
        std::vector<uint8_t> d = e;
        d.push_back(0xFF);
        d.push_back(0xD9);
        int bitsLen = 0, nbits = 0;
        Ozr32u pref = 0;
        marker = 0;
        lastMcu = 0;
        std::memset(lastDC, 0, sizeof lastDC);
        const bool okDirect = forEachBlock(jf, [&](int mcu, int ci, int by, int bx) {
            if (jf.restartInterval && mcu != lastMcu && mcu % jf.restartInterval == 0) {
                if (marker == 0) {
                    EXPECT_EQ(bitsLen % 8, 0);
                    EXPECT_EQ(d[bitsLen / 8], 0xFF);
                    bitsLen += 16;
                }
                marker = 0;
                nbits = 0;
                std::memset(lastDC, 0, sizeof lastDC);
            }
            lastMcu = mcu;
            const auto& comp = jf.comps[ci];
            Ozr16s blk[64];
            EXPECT_EQ(ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(d.data(), &bitsLen, blk, &lastDC[ci], &marker,
                                                                &pref, &nbits, &tset.dc[comp.td],
                                                                &tset.ac[comp.ta]),
                      ozrStatusOk);
            const JCOEF* want = &peer.comp[ci][by][static_cast<size_t>(bx) * 64];
            return std::memcmp(blk, want, sizeof blk) == 0;
        });
        EXPECT_TRUE(okDirect);
    }
}

TEST(PeerFiles, TruncatedAndCorruptedDataFailCleanly) {
    if (!haveCjpeg()) GTEST_SKIP() << "cjpeg (libjpeg-turbo-progs) not installed";
    TempDir tmp;
    ASSERT_FALSE(tmp.path.empty());
    const std::string in = tmp.path + "/in.ppm", out = tmp.path + "/out.jpg";
    writeImage(in, 96, 64, false, 5);
    ASSERT_EQ(std::system(("cjpeg -quality 90 -restart 4B -outfile '" + out + "' '" + in + "'").c_str()), 0);
    std::vector<uint8_t> file;
    ASSERT_TRUE(jpegparse::readFile(out, &file));
    jpegparse::File jf;
    ASSERT_TRUE(jpegparse::parse(file, &jf));
    TableSet tset;
    ASSERT_TRUE(buildTableSet(jf, &tset));
    Rng rng(11);
    for (int iter = 0; iter < 60; ++iter) {
        // A copy in an exactly sized heap buffer, so that ASan sees any
        // read past its end.
        std::vector<uint8_t> e = jf.entropy;
        if (iter % 2 == 0) e.resize(rng.range(0, int(e.size()) - 1));
        for (int k = rng.range(0, 4); k > 0 && !e.empty(); --k)
            e[rng.range(0, int(e.size()) - 1)] = static_cast<uint8_t>(iter % 3 ? rng.u32() : 0xFF);
        std::unique_ptr<uint8_t[]> buf(new uint8_t[e.size() + 1]);
        std::memcpy(buf.get(), e.data(), e.size());
        OzriDecodeHuffmanState st;
        ozriDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, marker = 0, lastPos = 0;
        Ozr16s lastDC[4] = {};
        OzrStatus s = ozrStatusOk;
        int n = 0;
        forEachBlock(jf, [&](int, int ci, int, int) {
            const auto& comp = jf.comps[ci];
            Ozr16s blk[64];
            s = ozriDecodeHuffman8x8_JPEG_1u16s_C1(buf.get(), int(e.size()), &pos, blk, &lastDC[ci], &marker,
                                                   &tset.dc[comp.td], &tset.ac[comp.ta], &st);
            EXPECT_GE(pos, lastPos);
            EXPECT_LE(pos, int(e.size()));
            EXPECT_GE(st.count, 0);
            EXPECT_LE(st.count, 32);
            lastPos = pos;
            if (marker) {  // resynchronise as a codec would
                marker = 0;
                ozriDecodeHuffmanStateInit_JPEG_8u(&st);
            }
            return ++n < 2000 && (s == ozrStatusOk || s == ozrStatusBadCodeOrValue ||
                                  s == ozrStatusBlockOverrun);
        });
        if (iter % 2 == 0 && s != ozrStatusOk) {
            EXPECT_TRUE(s == ozrStatusBufferExhausted || s == ozrStatusBadCodeOrValue ||
                        s == ozrStatusBlockOverrun)
                << s;
        }
    }
}
