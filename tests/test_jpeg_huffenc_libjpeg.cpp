// The Huffman encoder against libjpeg-turbo: our entropy-coded segments,
// wrapped in JFIF headers, decode to the same coefficients; with the standard
// tables and with restart intervals they are byte-identical to what
// libjpeg-turbo writes for the same coefficients; our optimal tables equal
// libjpeg's optimized tables.
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

extern "C" {
#include <jerror.h>
#include <jpeglib.h>
// Exported by libjpeg-turbo (declared in its private jchuff.h).
void jpeg_gen_optimal_table(j_compress_ptr cinfo, JHUFF_TBL* htbl, long freq[]);
}

#include "core/kernels.h"
#include "jpeg/huffenc.h"
#include "jfif_writer.h"
#include "ozrj.h"
#include "test_util.h"

namespace {

using ozrtest::Rng;

// ------------------------------------------------------------ libjpeg glue

struct ErrorTrap {
    jpeg_error_mgr mgr;
    jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void onError(j_common_ptr cinfo) {
    auto* t = reinterpret_cast<ErrorTrap*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, t->message);
    longjmp(t->jump, 1);
}
void onMessage(j_common_ptr, int) {}

// Coefficient planes of one frame, one 64-entry natural-order block per
// position, padded to whole MCUs.
struct Planes {
    std::vector<int> bw, bh;
    std::vector<std::vector<Ozr16s>> data;
    Ozr16s* block(int c, int x, int y) { return &data[c][64 * (static_cast<size_t>(y) * bw[c] + x)]; }
};

// The real blocks of component c (those a decoder keeps).
void realBlocks(const jfif::Frame& f, const jfif::Layout& L, int c, int* w, int* h) {
    const int sw = (f.width * f.comps[c].h + L.hmax - 1) / L.hmax;
    const int sh = (f.height * f.comps[c].v + L.vmax - 1) / L.vmax;
    *w = (sw + 7) / 8;
    *h = (sh + 7) / 8;
}

// Random smooth-ish coefficients; blocks outside the image (MCU padding)
// are zero with the DC of the block before them in the MCU, as encoders
// conventionally fill them.
Planes makePlanes(const jfif::Frame& f, Rng& rng, bool extreme) {
    jfif::Layout L(f);
    Planes p;
    for (size_t c = 0; c < f.comps.size(); ++c) {
        p.bw.push_back(L.blocksW[c]);
        p.bh.push_back(L.blocksH[c]);
        p.data.emplace_back(64 * static_cast<size_t>(L.blocksW[c]) * L.blocksH[c], 0);
        int dc = rng.range(-200, 200);
        for (auto it = p.data[c].begin(); it != p.data[c].end(); it += 64) {
            Ozr16s* b = &*it;
            if (extreme) {
                b[0] = static_cast<Ozr16s>(rng.range(-1024, 1023));
                for (int k = 1; k < 64; ++k)
                    if (rng.range(0, 2) == 0) b[k] = static_cast<Ozr16s>(rng.range(0, 1) ? 1023 : -1023);
                    else if (rng.range(0, 1)) b[k] = static_cast<Ozr16s>(rng.range(-1023, 1023));
            } else {
                dc += rng.range(-30, 30);
                dc = dc < -1000 ? -1000 : dc > 1000 ? 1000 : dc;
                b[0] = static_cast<Ozr16s>(dc);
                const int n = rng.range(0, 20);
                for (int i = 0; i < n; ++i) {
                    const int k = rng.range(1, rng.range(1, 63));
                    const int mag = 1 + (rng.range(0, 300) >> (k / 8));
                    b[ozr::kZigzagNatural[k]] = static_cast<Ozr16s>(rng.range(0, 1) ? mag : -mag);
                }
            }
        }
    }
    if (f.comps.size() > 1)
        for (int m = 0; m < L.mcus(); ++m) {
            Ozr16s* prev = nullptr;
            int prevComp = -1;
            L.forMcu(f, m, [&](int c, int x, int y) {
                int rw, rh;
                realBlocks(f, L, c, &rw, &rh);
                Ozr16s* b = p.block(c, x, y);
                if ((x >= rw || y >= rh) && prevComp == c) {
                    std::memset(b, 0, 64 * sizeof(Ozr16s));
                    b[0] = prev[0];
                }
                prev = b;
                prevComp = c;
            });
        }
    return p;
}

struct Tables {
    OzriEncodeHuffmanSpec dc[2], ac[2];
};

Tables loadTables(const jfif::Frame& f) {
    Tables s;
    for (int t = 0; t < 2; ++t) {
        EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(f.dc[t].bits, f.dc[t].vals.data(), &s.dc[t]));
        EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanSpecInit_JPEG_8u(f.ac[t].bits, f.ac[t].vals.data(), &s.ac[t]));
    }
    return s;
}

// Our encoder over the whole scan: blocks in MCU order, a flush and an RSTn
// marker between restart intervals, a final flush.
std::vector<uint8_t> encodeScan(const jfif::Frame& f, Planes& p) {
    jfif::Layout L(f);
    Tables sp = loadTables(f);
    std::vector<uint8_t> out(1 << 20);
    int pos = 0;
    OzriEncodeHuffmanState* st = nullptr;
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffmanStateInitAlloc_JPEG_8u(&st));
    Ozr16s last[4] = {};
    const int len = static_cast<int>(out.size());
    for (int m = 0; m < L.mcus(); ++m) {
        if (f.restartInterval && m > 0 && m % f.restartInterval == 0) {
            EXPECT_EQ(ozrStatusOk,
                      ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, st, 1));
            out[pos++] = 0xFF;
            out[pos++] = static_cast<uint8_t>(0xD0 + ((m / f.restartInterval - 1) & 7));
            std::memset(last, 0, sizeof(last));
        }
        L.forMcu(f, m, [&](int c, int x, int y) {
            const auto& comp = f.comps[c];
            ASSERT_EQ(ozrStatusOk, ozriEncodeHuffman8x8_JPEG_16s1u_C1(p.block(c, x, y), out.data(), len, &pos,
                                                                     &last[c], &sp.dc[comp.dcTable],
                                                                     &sp.ac[comp.acTable], st, 0));
        });
    }
    EXPECT_EQ(ozrStatusOk, ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), len, &pos, nullptr, nullptr, nullptr, st, 1));
    ozriEncodeHuffmanStateFree_JPEG_8u(st);
    out.resize(pos);
    return out;
}

// Optimal tables for the scan from the library's statistics.
void optimizeTables(jfif::Frame& f, Planes& p) {
    jfif::Layout L(f);
    int dcS[2][256] = {}, acS[2][256] = {};
    Ozr16s last[4] = {};
    for (int m = 0; m < L.mcus(); ++m) {
        if (f.restartInterval && m > 0 && m % f.restartInterval == 0) std::memset(last, 0, sizeof(last));
        L.forMcu(f, m, [&](int c, int x, int y) {
            const auto& comp = f.comps[c];
            ASSERT_EQ(ozrStatusOk, ozriGetHuffmanStatistics8x8_JPEG_16s_C1(p.block(c, x, y), dcS[comp.dcTable],
                                                                          acS[comp.acTable], &last[c]));
        });
    }
    for (int t = 0; t < 2; ++t) {
        uint8_t vals[256];
        ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(dcS[t], f.dc[t].bits, vals));
        int n = 0;
        for (int i = 0; i < 16; ++i) n += f.dc[t].bits[i];
        f.dc[t].vals.assign(vals, vals + n);
        ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(acS[t], f.ac[t].bits, vals));
        n = 0;
        for (int i = 0; i < 16; ++i) n += f.ac[t].bits[i];
        f.ac[t].vals.assign(vals, vals + n);
    }
}

// Decodes a file with libjpeg and compares every real block with the planes.
void expectDecodesTo(const jfif::Frame& f, Planes& p, const std::vector<uint8_t>& file) {
    jpeg_decompress_struct cinfo;
    ErrorTrap trap;
    cinfo.err = jpeg_std_error(&trap.mgr);
    trap.mgr.error_exit = onError;
    trap.mgr.emit_message = onMessage;
    jpeg_create_decompress(&cinfo);
    if (setjmp(trap.jump)) {
        jpeg_destroy_decompress(&cinfo);
        FAIL() << "libjpeg: " << trap.message;
    }
    jpeg_mem_src(&cinfo, file.data(), static_cast<unsigned long>(file.size()));
    ASSERT_EQ(JPEG_HEADER_OK, jpeg_read_header(&cinfo, TRUE));
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&cinfo);
    ASSERT_NE(nullptr, arrays);
    EXPECT_EQ(0, trap.mgr.num_warnings) << "libjpeg warned about the data";
    jfif::Layout L(f);
    long mismatches = 0;
    for (int c = 0; c < cinfo.num_components; ++c) {
        int rw, rh;
        realBlocks(f, L, c, &rw, &rh);
        ASSERT_EQ(static_cast<JDIMENSION>(rw), cinfo.comp_info[c].width_in_blocks);
        ASSERT_EQ(static_cast<JDIMENSION>(rh), cinfo.comp_info[c].height_in_blocks);
        for (int y = 0; y < rh; ++y) {
            JBLOCKARRAY row = (*cinfo.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&cinfo), arrays[c], y, 1, FALSE);
            for (int x = 0; x < rw; ++x) {
                const Ozr16s* want = p.block(c, x, y);
                for (int k = 0; k < 64; ++k) mismatches += row[0][x][k] != want[k];
            }
        }
    }
    EXPECT_EQ(0, mismatches);
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
}

// libjpeg-turbo's own encoding of the same coefficients (no optimisation
// unless asked), returned as a whole file.
std::vector<uint8_t> libjpegEncode(const jfif::Frame& f, Planes& p, bool optimize) {
    jpeg_compress_struct cinfo;
    ErrorTrap trap;
    cinfo.err = jpeg_std_error(&trap.mgr);
    trap.mgr.error_exit = onError;
    unsigned char* mem = nullptr;
    unsigned long size = 0;
    jpeg_create_compress(&cinfo);
    if (setjmp(trap.jump)) {
        jpeg_destroy_compress(&cinfo);
        ADD_FAILURE() << "libjpeg: " << trap.message;
        return {};
    }
    jpeg_mem_dest(&cinfo, &mem, &size);
    const int nc = static_cast<int>(f.comps.size());
    cinfo.image_width = f.width;
    cinfo.image_height = f.height;
    cinfo.input_components = nc;
    cinfo.in_color_space = nc == 1 ? JCS_GRAYSCALE : JCS_YCbCr;
    jpeg_set_defaults(&cinfo);
    jpeg_set_colorspace(&cinfo, nc == 1 ? JCS_GRAYSCALE : JCS_YCbCr);
    unsigned int ones[64];
    for (auto& q : ones) q = 1;
    jpeg_add_quant_table(&cinfo, 0, ones, 100, TRUE);
    jfif::Layout L(f);
    std::vector<jvirt_barray_ptr> arrays(nc);
    for (int c = 0; c < nc; ++c) {
        auto& ci = cinfo.comp_info[c];
        ci.h_samp_factor = f.comps[c].h;
        ci.v_samp_factor = f.comps[c].v;
        ci.quant_tbl_no = 0;
        ci.dc_tbl_no = f.comps[c].dcTable;
        ci.ac_tbl_no = f.comps[c].acTable;
        arrays[c] = (*cinfo.mem->request_virt_barray)(reinterpret_cast<j_common_ptr>(&cinfo), JPOOL_IMAGE, TRUE,
                                                      L.blocksW[c], L.blocksH[c], f.comps[c].v);
    }
    cinfo.optimize_coding = optimize ? TRUE : FALSE;
    cinfo.restart_interval = static_cast<unsigned>(f.restartInterval);
    jpeg_write_coefficients(&cinfo, arrays.data());
    for (int c = 0; c < nc; ++c)
        for (int y = 0; y < L.blocksH[c]; ++y) {
            JBLOCKARRAY row = (*cinfo.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&cinfo), arrays[c], y, 1, TRUE);
            for (int x = 0; x < L.blocksW[c]; ++x)
                for (int k = 0; k < 64; ++k) row[0][x][k] = p.block(c, x, y)[k];
        }
    jpeg_finish_compress(&cinfo);
    std::vector<uint8_t> out(mem, mem + size);
    jpeg_destroy_compress(&cinfo);
    free(mem);
    return out;
}

// Marker walk: the entropy-coded data after SOS (up to EOI) and the DHT tables.
struct Parsed {
    std::vector<uint8_t> entropy;
    jfif::HuffTable dc[4], ac[4];
};

Parsed parse(const std::vector<uint8_t>& f) {
    Parsed r;
    size_t i = 2;
    while (i + 4 <= f.size()) {
        EXPECT_EQ(0xFF, f[i]);
        const int marker = f[i + 1];
        const size_t len = (size_t(f[i + 2]) << 8) | f[i + 3];
        if (marker == 0xC4) {
            size_t j = i + 4;
            while (j < i + 2 + len) {
                const int cls = f[j] >> 4, id = f[j] & 3;
                jfif::HuffTable t;
                std::memcpy(t.bits, &f[j + 1], 16);
                int n = 0;
                for (int b : t.bits) n += b;
                t.vals.assign(f.begin() + j + 17, f.begin() + j + 17 + n);
                (cls ? r.ac : r.dc)[id] = t;
                j += 17 + n;
            }
        }
        if (marker == 0xDA) {
            r.entropy.assign(f.begin() + i + 2 + len, f.end() - 2);
            break;
        }
        i += 2 + len;
    }
    return r;
}

jfif::Frame frameOf(int w, int h, std::vector<jfif::Component> comps, int restart) {
    jfif::Frame f;
    f.width = w;
    f.height = h;
    f.comps = std::move(comps);
    f.restartInterval = restart;
    f.dc[0] = jfif::stdDcLuminance();
    f.ac[0] = jfif::stdAcLuminance();
    f.dc[1] = jfif::stdDcChrominance();
    f.ac[1] = jfif::stdAcChrominance();
    return f;
}

const std::vector<jfif::Component> kGrey = {{1, 1, 1, 0, 0}};
const std::vector<jfif::Component> k420 = {{1, 2, 2, 0, 0}, {2, 1, 1, 1, 1}, {3, 1, 1, 1, 1}};
const std::vector<jfif::Component> k422 = {{1, 2, 1, 0, 0}, {2, 1, 1, 1, 1}, {3, 1, 1, 1, 1}};
const std::vector<jfif::Component> k411v = {{1, 1, 2, 0, 0}, {2, 1, 1, 1, 1}, {3, 1, 1, 1, 1}};

struct Scenario {
    const char* name;
    int w, h;
    const std::vector<jfif::Component>* comps;
    int restart;
    bool extreme;
};

const Scenario kScenarios[] = {
    {"grey", 61, 47, &kGrey, 0, false},
    {"grey restart 7", 64, 64, &kGrey, 7, false},
    {"grey extreme", 40, 33, &kGrey, 0, true},
    {"420", 77, 53, &k420, 0, false},
    {"420 restart 3", 77, 53, &k420, 3, false},
    {"422 restart 1", 50, 17, &k422, 1, false},
    {"1x2 luma restart 5", 35, 70, &k411v, 5, true},
    {"420 extreme restart 2", 48, 48, &k420, 2, true},
};

TEST(HuffEncLibjpeg, StandardTablesMatchLibjpegDefaults) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr err;
    cinfo.err = jpeg_std_error(&err);
    jpeg_create_compress(&cinfo);
    cinfo.in_color_space = JCS_YCbCr;
    cinfo.input_components = 3;
    jpeg_set_defaults(&cinfo);
    const jfif::HuffTable ours[4] = {jfif::stdDcLuminance(), jfif::stdDcChrominance(), jfif::stdAcLuminance(),
                                     jfif::stdAcChrominance()};
    JHUFF_TBL* theirs[4] = {cinfo.dc_huff_tbl_ptrs[0], cinfo.dc_huff_tbl_ptrs[1], cinfo.ac_huff_tbl_ptrs[0],
                            cinfo.ac_huff_tbl_ptrs[1]};
    for (int t = 0; t < 4; ++t) {
        ASSERT_NE(nullptr, theirs[t]);
        EXPECT_EQ(0, std::memcmp(ours[t].bits, theirs[t]->bits + 1, 16)) << t;
        EXPECT_EQ(0, std::memcmp(ours[t].vals.data(), theirs[t]->huffval, ours[t].vals.size())) << t;
    }
    jpeg_destroy_compress(&cinfo);
}

// Standard tables: libjpeg decodes every coefficient, and libjpeg-turbo
// writes exactly our bytes for the same coefficients.
TEST(HuffEncLibjpeg, StandardTablesDecodeAndMatchLibjpegBytes) {
    Rng rng(2024);
    for (const auto& sc : kScenarios) {
        SCOPED_TRACE(sc.name);
        jfif::Frame f = frameOf(sc.w, sc.h, *sc.comps, sc.restart);
        Planes p = makePlanes(f, rng, sc.extreme);
        const std::vector<uint8_t> ours = encodeScan(f, p);
        expectDecodesTo(f, p, jfif::wrap(f, ours));
        const Parsed theirs = parse(libjpegEncode(f, p, false));
        EXPECT_EQ(theirs.entropy.size(), ours.size());
        EXPECT_TRUE(theirs.entropy == ours) << "entropy-coded data differs from libjpeg-turbo's";
    }
}

// Optimal tables from our statistics equal libjpeg-turbo's optimized tables
// (it counts the same symbols and builds the same code), and the streams
// coded with them decode and match byte for byte.
TEST(HuffEncLibjpeg, OptimalTablesMatchLibjpegOptimizedCoding) {
    Rng rng(77);
    for (const auto& sc : kScenarios) {
        SCOPED_TRACE(sc.name);
        jfif::Frame f = frameOf(sc.w, sc.h, *sc.comps, sc.restart);
        Planes p = makePlanes(f, rng, sc.extreme);
        optimizeTables(f, p);
        const std::vector<uint8_t> ours = encodeScan(f, p);
        expectDecodesTo(f, p, jfif::wrap(f, ours));
        const Parsed theirs = parse(libjpegEncode(f, p, true));
        const int tables = f.comps.size() > 1 ? 2 : 1;
        for (int t = 0; t < tables; ++t) {
            EXPECT_EQ(0, std::memcmp(f.dc[t].bits, theirs.dc[t].bits, 16)) << "dc " << t;
            EXPECT_EQ(f.dc[t].vals, theirs.dc[t].vals) << "dc " << t;
            EXPECT_EQ(0, std::memcmp(f.ac[t].bits, theirs.ac[t].bits, 16)) << "ac " << t;
            EXPECT_EQ(f.ac[t].vals, theirs.ac[t].vals) << "ac " << t;
        }
        EXPECT_TRUE(theirs.entropy == ours) << "entropy-coded data differs from libjpeg-turbo's";
    }
}

// The optimal-table procedure against libjpeg's on synthetic counts: ties,
// single symbols, skewed counts that need length limiting.
TEST(HuffEncLibjpeg, RawTableMatchesLibjpegOnSyntheticCounts) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr err;
    cinfo.err = jpeg_std_error(&err);
    jpeg_create_compress(&cinfo);
    Rng rng(31);
    for (int round = 0; round < 400; ++round) {
        int stats[256] = {};
        switch (round % 5) {
            case 0: stats[rng.range(0, 255)] = rng.range(1, 100); break;
            case 1:
                for (int i = 0; i < rng.range(2, 256); ++i) stats[rng.range(0, 255)] = 1;
                break;
            case 2: {
                int a = 1, b = 1;
                const int n = rng.range(18, 30);
                for (int i = 0; i < n; ++i) {
                    stats[rng.range(0, 255)] = a;
                    const int c = a + b;
                    a = b;
                    b = c;
                }
                break;
            }
            case 3:
                for (int i = 0; i < 256; ++i) stats[i] = rng.range(0, 3) ? 0 : rng.range(1, 5);
                break;
            default:
                for (int i = 0; i < 256; ++i) stats[i] = rng.range(0, 1 << rng.range(0, 20));
                break;
        }
        uint8_t bits[16], vals[256];
        ASSERT_EQ(ozrStatusOk, ozriEncodeHuffmanRawTableInit_JPEG_8u(stats, bits, vals));
        long freq[257];
        for (int i = 0; i < 256; ++i) freq[i] = stats[i];
        freq[256] = 0;
        JHUFF_TBL* t = jpeg_alloc_huff_table(reinterpret_cast<j_common_ptr>(&cinfo));
        jpeg_gen_optimal_table(&cinfo, t, freq);
        ASSERT_EQ(0, std::memcmp(bits, t->bits + 1, 16)) << round;
        int n = 0;
        for (int i = 0; i < 16; ++i) n += bits[i];
        ASSERT_EQ(0, std::memcmp(vals, t->huffval, n)) << round;
    }
    jpeg_destroy_compress(&cinfo);
}

}  // namespace
