// Interoperability with libjpeg(-turbo), on images synthesised here:
//  * libjpeg decodes a 4:2:0 / 4:2:2 file of its own twice, once to its raw
//    component planes and once up-sampled to YCbCr; our up-samplers, fed the
//    raw chroma with the edge samples replicated around it, give its chroma
//    bytes exactly;
//  * libjpeg-turbo's own RGB -> YCbCr conversion (TurboJPEG, 4:4:4 planes)
//    has the same Y as our planar conversion and Cb/Cr within one unit, and
//    our pixel-order conversion is within one unit of it everywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <jpeglib.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "ozrj.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

using Bytes = std::vector<uint8_t>;

// A smooth colour image with noise: gradients give chroma that the filters
// have to interpolate, noise gives every rounding case.
Bytes synthRgb(int w, int h, uint32_t seed) {
    Rng rng(seed);
    Bytes rgb(static_cast<size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &rgb[(static_cast<size_t>(y) * w + x) * 3];
            const double fx = double(x) / w, fy = double(y) / h;
            const int base[3] = {int(255 * fx), int(255 * fy), int(128 + 120 * std::sin(6.0 * (fx + fy)))};
            for (int c = 0; c < 3; ++c)
                p[c] = static_cast<uint8_t>(std::min(255, std::max(0, base[c] + rng.range(-12, 12))));
        }
    return rgb;
}

// libjpeg converts, down-samples (luma hs x vs) and codes an image itself.
Bytes encodeWithLibjpeg(const Bytes& rgb, int w, int h, int hs, int vs, int quality) {
    jpeg_compress_struct c;
    jpeg_error_mgr e;
    c.err = jpeg_std_error(&e);
    jpeg_create_compress(&c);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &out, &size);
    c.image_width = w;
    c.image_height = h;
    c.input_components = 3;
    c.in_color_space = JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, quality, TRUE);
    c.comp_info[0].h_samp_factor = hs;
    c.comp_info[0].v_samp_factor = vs;
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(&rgb[static_cast<size_t>(c.next_scanline) * w * 3]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    Bytes file(out, out + size);
    jpeg_destroy_compress(&c);
    std::free(out);
    return file;
}

struct Decoded {
    int w = 0, h = 0;
    Bytes px;  // interleaved, 3 components
};
Decoded decodeTo(const Bytes& file, J_COLOR_SPACE space) {
    jpeg_decompress_struct d;
    jpeg_error_mgr e;
    d.err = jpeg_std_error(&e);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&d, TRUE);
    d.out_color_space = space;
    d.do_fancy_upsampling = TRUE;
    jpeg_start_decompress(&d);
    Decoded out;
    out.w = static_cast<int>(d.output_width);
    out.h = static_cast<int>(d.output_height);
    out.px.resize(static_cast<size_t>(out.w) * out.h * 3);
    while (d.output_scanline < d.output_height) {
        JSAMPROW row = &out.px[static_cast<size_t>(d.output_scanline) * out.w * 3];
        jpeg_read_scanlines(&d, &row, 1);
    }
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return out;
}

// The component planes before up-sampling.
struct RawPlanes {
    int w[3], h[3], stride[3];
    Bytes p[3];
};
RawPlanes decodeRaw(const Bytes& file) {
    jpeg_decompress_struct d;
    jpeg_error_mgr e;
    d.err = jpeg_std_error(&e);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&d, TRUE);
    d.raw_data_out = TRUE;
    jpeg_start_decompress(&d);
    RawPlanes out;
    const int groupRows = d.max_v_samp_factor * DCTSIZE;
    const int groups = (static_cast<int>(d.output_height) + groupRows - 1) / groupRows;
    std::vector<JSAMPROW> rows[3];
    for (int i = 0; i < 3; ++i) {
        jpeg_component_info* ci = &d.comp_info[i];
        out.w[i] = static_cast<int>(ci->downsampled_width);
        out.h[i] = static_cast<int>(ci->downsampled_height);
        out.stride[i] = static_cast<int>(ci->width_in_blocks) * DCTSIZE;
        out.p[i].resize(static_cast<size_t>(out.stride[i]) * groups * ci->v_samp_factor * DCTSIZE);
        rows[i].resize(static_cast<size_t>(ci->v_samp_factor) * DCTSIZE);
    }
    for (int g = 0; d.output_scanline < d.output_height; ++g) {
        JSAMPARRAY arrays[3];
        for (int i = 0; i < 3; ++i) {
            const int n = static_cast<int>(rows[i].size());
            for (int r = 0; r < n; ++r) rows[i][r] = &out.p[i][static_cast<size_t>(g * n + r) * out.stride[i]];
            arrays[i] = rows[i].data();
        }
        jpeg_read_raw_data(&d, arrays, static_cast<JDIMENSION>(groupRows));
    }
    jpeg_finish_decompress(&d);
    jpeg_destroy_decompress(&d);
    return out;
}

struct Shape {
    int w, h;
};
const Shape kShapes[] = {{64, 48}, {77, 53}, {130, 31}, {33, 80}, {255, 17}};

}  // namespace

TEST(LibjpegUpsampling, OurFiltersGiveLibjpegsFancyUpsamplingExactly) {
    for (const Shape& s : kShapes)
        for (int vs : {1, 2}) {  // 4:2:2 then 4:2:0
            const Bytes file = encodeWithLibjpeg(synthRgb(s.w, s.h, 21 + vs), s.w, s.h, 2, vs, 85);
            const RawPlanes raw = decodeRaw(file);
            const Decoded ycc = decodeTo(file, JCS_YCbCr);
            ASSERT_EQ(ycc.w, s.w);
            for (int comp = 1; comp <= 2; ++comp) {
                const int cw = raw.w[comp], ch = raw.h[comp];
                ASSERT_EQ(cw, (s.w + 1) / 2);
                ASSERT_EQ(ch, vs == 2 ? (s.h + 1) / 2 : s.h);
                // Replicate the edges one sample out: the neighbours our
                // filters read outside the region.
                const int ps = cw + 2;
                Bytes padded(static_cast<size_t>(ps) * (ch + 2));
                for (int y = -1; y <= ch; ++y)
                    for (int x = -1; x <= cw; ++x)
                        padded[static_cast<size_t>(y + 1) * ps + x + 1] =
                            raw.p[comp][static_cast<size_t>(std::min(std::max(y, 0), ch - 1)) * raw.stride[comp] +
                                        std::min(std::max(x, 0), cw - 1)];
                Bytes ours(static_cast<size_t>(s.w) * s.h);
                const auto fn = vs == 2 ? ozriSampleUpH2V2_JPEG_8u_C1R : ozriSampleUpH2V1_JPEG_8u_C1R;
                ASSERT_EQ(fn(padded.data() + ps + 1, ps, {cw, ch}, ours.data(), s.w, {s.w, s.h}), ozrStatusOk);
                int mismatches = 0;
                for (int y = 0; y < s.h; ++y)
                    for (int x = 0; x < s.w; ++x)
                        if (ours[static_cast<size_t>(y) * s.w + x] !=
                            ycc.px[(static_cast<size_t>(y) * s.w + x) * 3 + comp])
                            ++mismatches;
                EXPECT_EQ(mismatches, 0) << s.w << "x" << s.h << " vs=" << vs << " comp=" << comp;
            }
        }
}

TEST(TurboJpegColor, SameLumaAsOurPlanarConversionAndChromaWithinOne) {
    const int w = 301, h = 37;
    Bytes rgb = synthRgb(w, h, 77);
    // Add the cube's corners so saturation is compared too.
    for (int i = 0; i < 8; ++i)
        for (int c = 0; c < 3; ++c) rgb[3 * i + c] = ((i >> c) & 1) ? 255 : 0;
    tjhandle tj = tjInitCompress();
    ASSERT_NE(tj, nullptr);
    Bytes yuv(tjBufSizeYUV2(w, 1, h, TJSAMP_444));
    ASSERT_EQ(tjEncodeYUV3(tj, rgb.data(), w, 3 * w, h, TJPF_RGB, yuv.data(), 1, TJSAMP_444, 0), 0);
    tjDestroy(tj);
    Bytes sep(static_cast<size_t>(w) * h * 3), ours(static_cast<size_t>(w) * h * 3),
        pix(static_cast<size_t>(w) * h * 3);
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i)
        for (int c = 0; c < 3; ++c) sep[c * static_cast<size_t>(w) * h + i] = rgb[3 * i + c];
    const Ozr8u* src[3] = {sep.data(), sep.data() + w * h, sep.data() + 2 * w * h};
    Ozr8u* dst[3] = {ours.data(), ours.data() + w * h, ours.data() + 2 * w * h};
    Ozr8u* dstPix[3] = {pix.data(), pix.data() + w * h, pix.data() + 2 * w * h};
    ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_P3R(src, w, dst, w, {w, h}), ozrStatusOk);
    ASSERT_EQ(ozriRGBToYCbCr_JPEG_8u_C3P3R(rgb.data(), 3 * w, dstPix, w, {w, h}), ozrStatusOk);
    int lumaDiff = 0, chromaOff = 0, pixOff = 0;
    for (int c = 0; c < 3; ++c)
        for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
            const int d =
                std::abs(int(ours[c * static_cast<size_t>(w) * h + i]) - int(yuv[c * static_cast<size_t>(w) * h + i]));
            const int dp =
                std::abs(int(pix[c * static_cast<size_t>(w) * h + i]) - int(yuv[c * static_cast<size_t>(w) * h + i]));
            if (c == 0)
                lumaDiff += d != 0;
            else
                chromaOff += d > 1;
            pixOff += dp > 1;
        }
    EXPECT_EQ(lumaDiff, 0);
    EXPECT_EQ(chromaOff, 0);
    EXPECT_EQ(pixOff, 0);
}
