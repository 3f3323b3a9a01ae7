// The quantization tables and the forward DCT against libjpeg-turbo: its
// quality scaling, its own accurate encoder's coefficients, and its decoder
// reading a stream built from our coefficients.
#include <gtest/gtest.h>
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <functional>
#include <vector>

#include "core/kernels.h"
#include "ozrj.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

// ISO/IEC 10918-1 Annex K luminance table, natural order.
const int kLumaNatural[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99,
};

struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
};
void onJpegError(j_common_ptr c) {
    longjmp(reinterpret_cast<JpegError*>(c->err)->jump, 1);
}

// A smooth photograph-like plane with texture and a hard edge.
std::vector<Ozr8u> synthPlane(int w, int h, uint32_t seed) {
    Rng rng(seed);
    std::vector<Ozr8u> p(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            double v =
                128 + 70 * std::sin(x * 0.11) * std::cos(y * 0.07) + 0.6 * (x - y) + rng.range(-12, 12);
            if (x > w / 2 && y > h / 3) v -= 60;
            p[static_cast<size_t>(y) * w + x] = static_cast<Ozr8u>(std::clamp(v, 0.0, 255.0));
        }
    return p;
}

// The luminance table scaled by quality through the library, zigzag order.
std::vector<Ozr8u> rawTable(int quality) {
    std::vector<Ozr8u> raw(64);
    for (int p = 0; p < 64; ++p) raw[p] = static_cast<Ozr8u>(kLumaNatural[ozr::kZigzagNatural[p]]);
    EXPECT_EQ(ozriQuantFwdRawTableInit_JPEG_8u(raw.data(), quality), ozrStatusOk);
    return raw;
}

// Our quantized coefficients, one block after the other in raster order.
std::vector<Ozr16s> ourCoefficients(const std::vector<Ozr8u>& plane, int w, int h,
                                    const std::vector<Ozr8u>& raw) {
    std::vector<Ozr16u> fwd(64);
    EXPECT_EQ(ozriQuantFwdTableInit_JPEG_8u16u(raw.data(), fwd.data()), ozrStatusOk);
    std::vector<Ozr16s> coef(static_cast<size_t>(w) * h);
    Ozr16s* out = coef.data();
    for (int by = 0; by < h; by += 8)
        for (int bx = 0; bx < w; bx += 8, out += 64)
            EXPECT_EQ(ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&plane[static_cast<size_t>(by) * w + bx], w, out,
                                                          fwd.data()),
                      ozrStatusOk);
    return coef;
}

// A grayscale baseline JPEG with the given raw table, written by libjpeg
// either from the plane (its own DCT) or from the coefficients.
std::vector<unsigned char> libjpegEncode(int w, int h, const std::vector<Ozr8u>& raw,
                                         const std::vector<Ozr8u>* plane, const std::vector<Ozr16s>* coef) {
    jpeg_compress_struct c;
    JpegError err;
    c.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = onJpegError;
    unsigned char* buf = nullptr;
    unsigned long len = 0;
    if (setjmp(err.jump)) {
        jpeg_destroy_compress(&c);
        std::free(buf);
        ADD_FAILURE() << "libjpeg compression failed";
        return {};
    }
    jpeg_create_compress(&c);
    jpeg_mem_dest(&c, &buf, &len);
    c.image_width = static_cast<JDIMENSION>(w);
    c.image_height = static_cast<JDIMENSION>(h);
    c.input_components = 1;
    c.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&c);
    unsigned int natural[64];
    for (int p = 0; p < 64; ++p) natural[ozr::kZigzagNatural[p]] = raw[p];
    jpeg_add_quant_table(&c, 0, natural, 100, TRUE);
    c.dct_method = JDCT_ISLOW;
    if (plane) {
        jpeg_start_compress(&c, TRUE);
        while (c.next_scanline < c.image_height) {
            JSAMPROW row = const_cast<JSAMPROW>(&(*plane)[static_cast<size_t>(c.next_scanline) * w]);
            jpeg_write_scanlines(&c, &row, 1);
        }
    } else {
        jvirt_barray_ptr arr =
            (*c.mem->request_virt_barray)(reinterpret_cast<j_common_ptr>(&c), JPOOL_IMAGE, TRUE,
                                          static_cast<JDIMENSION>(w / 8), static_cast<JDIMENSION>(h / 8), 1);
        jpeg_write_coefficients(&c, &arr);
        for (int by = 0; by < h / 8; ++by) {
            JBLOCKARRAY row = (*c.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&c), arr,
                                                           static_cast<JDIMENSION>(by), 1, TRUE);
            for (int bx = 0; bx < w / 8; ++bx)
                std::copy_n(&(*coef)[(static_cast<size_t>(by) * (w / 8) + bx) * 64], 64, row[0][bx]);
        }
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    std::vector<unsigned char> out(buf, buf + len);
    std::free(buf);
    return out;
}

// Decodes with libjpeg: the coefficients (as our layout) or the samples.
std::vector<int> libjpegDecode(const std::vector<unsigned char>& jpg, int w, int h, bool coefficients) {
    jpeg_decompress_struct d;
    JpegError err;
    d.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = onJpegError;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&d);
        ADD_FAILURE() << "libjpeg decoding failed";
        return {};
    }
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, jpg.data(), static_cast<unsigned long>(jpg.size()));
    jpeg_read_header(&d, TRUE);
    std::vector<int> out(static_cast<size_t>(w) * h);
    if (coefficients) {
        jvirt_barray_ptr* arr = jpeg_read_coefficients(&d);
        for (int by = 0; by < h / 8; ++by) {
            JBLOCKARRAY row = (*d.mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(&d), arr[0],
                                                           static_cast<JDIMENSION>(by), 1, FALSE);
            for (int bx = 0; bx < w / 8; ++bx)
                std::copy_n(row[0][bx], 64, &out[(static_cast<size_t>(by) * (w / 8) + bx) * 64]);
        }
    } else {
        d.dct_method = JDCT_ISLOW;
        jpeg_start_decompress(&d);
        std::vector<JSAMPLE> line(static_cast<size_t>(w));
        while (d.output_scanline < d.output_height) {
            JSAMPROW row = line.data();
            const size_t y = d.output_scanline;
            jpeg_read_scanlines(&d, &row, 1);
            std::copy(line.begin(), line.end(), &out[y * w]);
        }
    }
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return out;
}

}  // namespace

TEST(PeerLibjpeg, QualityScalingMatchesLibjpegForEveryQuality) {
    for (int q = 1; q <= 110; ++q) {
        const std::vector<Ozr8u> raw = rawTable(q);
        jpeg_compress_struct c;
        jpeg_error_mgr err;
        c.err = jpeg_std_error(&err);
        jpeg_create_compress(&c);
        c.in_color_space = JCS_GRAYSCALE;
        c.input_components = 1;
        jpeg_set_defaults(&c);
        jpeg_set_quality(&c, q, TRUE);  // libjpeg treats qualities above 100 as 100
        for (int p = 0; p < 64; ++p)
            ASSERT_EQ(raw[p], c.quant_tbl_ptrs[0]->quantval[ozr::kZigzagNatural[p]])
                << "quality " << q << " zigzag " << p;
        jpeg_destroy_compress(&c);
    }
}

TEST(PeerLibjpeg, CoefficientsAgreeWithLibjpegsAccurateEncoder) {
    // Least share of identical coefficients per quality: the finer the steps,
    // the more often two accurate transforms (each matching the exactly
    // rounded DCT in about 97% of coefficients) round to different sides.
    const int w = 256, h = 128;
    const struct {
        int quality;
        double agree;
    } runs[] = {{50, 0.98}, {75, 0.97}, {90, 0.94}, {100, 0.91}};
    for (const auto& run : runs) {
        const std::vector<Ozr8u> plane = synthPlane(w, h, 100 + run.quality);
        const std::vector<Ozr8u> raw = rawTable(run.quality);
        const std::vector<Ozr16s> ours = ourCoefficients(plane, w, h, raw);
        const std::vector<int> theirs = libjpegDecode(libjpegEncode(w, h, raw, &plane, nullptr), w, h, true);
        ASSERT_EQ(ours.size(), theirs.size());
        size_t same = 0;
        for (size_t i = 0; i < ours.size(); ++i) {
            ASSERT_LE(std::abs(ours[i] - theirs[i]), 1) << "quality " << run.quality << " at " << i;
            same += ours[i] == theirs[i];
        }
        EXPECT_GT(static_cast<double>(same) / ours.size(), run.agree) << "quality " << run.quality;
    }
}

TEST(PeerLibjpeg, LibjpegDecodesOurCoefficientsBackToTheImage) {
    const int w = 128, h = 64;
    const std::vector<Ozr8u> plane = synthPlane(w, h, 9);
    for (const auto& run : {std::pair<int, double>{100, 48.0}, {90, 36.0}, {75, 31.0}}) {
        const std::vector<Ozr8u> raw = rawTable(run.first);
        const std::vector<Ozr16s> coef = ourCoefficients(plane, w, h, raw);
        const std::vector<int> back = libjpegDecode(libjpegEncode(w, h, raw, nullptr, &coef), w, h, false);
        ASSERT_EQ(back.size(), plane.size());
        double se = 0;
        int peak = 0;
        for (size_t i = 0; i < plane.size(); ++i) {
            se += (plane[i] - back[i]) * (plane[i] - back[i]);
            peak = std::max(peak, std::abs(plane[i] - back[i]));
        }
        EXPECT_GT(10 * std::log10(255.0 * 255.0 * plane.size() / (se + 1e-9)), run.second)
            << "quality " << run.first;
        if (run.first == 100) {
            EXPECT_LE(peak, 2);
        }
    }
}
