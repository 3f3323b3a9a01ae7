// The file-to-file subcommands of the ozrj program.
#include "commands.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jpeg_encoder.h"
#include "ozrj.h"
#include "tiff_file.h"

namespace ozrtool {

int fail(const std::string& message) {
    std::fprintf(stderr, "ozrj: %s\n", message.c_str());
    return 1;
}

bool parseInt(const std::string& s, int* v) {
    char* end = nullptr;
    const long x = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end != '\0' || x < -1000000 || x > 1000000) return false;
    *v = static_cast<int>(x);
    return true;
}

namespace {

bool hasExtension(const std::string& path, const char* ext) {
    const size_t n = std::strlen(ext);
    return path.size() >= n && strcasecmp(path.c_str() + path.size() - n, ext) == 0;
}

}  // namespace

int cmdJpegEncode(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    JpegOptions opt;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](int* v) {
            if (i + 1 >= args.size() || !parseInt(args[i + 1], v)) return false;
            ++i;
            return true;
        };
        int threads = 0;
        if (a == "--quality") {
            if (!value(&opt.quality) || opt.quality < 1 || opt.quality > 100) return fail("--quality takes 1..100");
        } else if (a == "--subsampling") {
            if (!value(&opt.subsampling) || (opt.subsampling != 444 && opt.subsampling != 422 && opt.subsampling != 420))
                return fail("--subsampling takes 444, 422 or 420");
        } else if (a == "--restart") {
            if (!value(&opt.restartInterval) || opt.restartInterval < 0 || opt.restartInterval > 65535)
                return fail("--restart takes 0..65535 MCUs");
        } else if (a == "--optimize") {
            opt.optimize = true;
        } else if (a == "--threads") {
            if (!value(&threads) || threads < 1) return fail("--threads takes a count of at least 1");
            ozrSetNumThreads(threads);
        } else if (!a.empty() && a[0] == '-') {
            return fail("unknown option " + a);
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) return fail("usage: ozrj jpeg encode IN.ppm|pgm OUT.jpg [options]");
    Image img;
    std::string err;
    if (!readPnm(files[0], &img, &err)) return fail(err);
    std::vector<uint8_t> jpg;
    if (!encodeJpeg(img, opt, &jpg, &err)) return fail(files[0] + ": " + err);
    if (!writeFileAtomic(files[1], jpg, &err)) return fail(err);
    return 0;
}

bool encodeDxt(const Image& img, DxtFormat format, DdsTexture* tex, std::string* error) {
    if (img.maxval != 255 || (img.channels != 1 && img.channels != 3)) {
        *error = "DXT encoding needs an 8-bit grey or RGB image";
        return false;
    }
    const int w = img.width, h = img.height;
    tex->width = w;
    tex->height = h;
    tex->format = format;
    tex->blocks.assign(size_t((w + 3) / 4) * ((h + 3) / 4) * dxtBlockBytes(format), 0);
    OzrStatus st;
    if (format == DxtFormat::YCoCg) {
        // Y, Co and Cg with the chroma biased by 128.
        std::vector<Ozr8u> ycc(size_t(w) * h * 3);
        for (size_t i = 0; i < size_t(w) * h; ++i) {
            const int r = img.samples[i * img.channels], g = img.samples[i * img.channels + (img.channels == 3)],
                      b = img.samples[i * img.channels + 2 * (img.channels == 3)];
            ycc[3 * i] = static_cast<Ozr8u>((r + 2 * g + b + 2) >> 2);
            ycc[3 * i + 1] = static_cast<Ozr8u>(std::clamp(((r - b + 1) >> 1) + 128, 0, 255));
            ycc[3 * i + 2] = static_cast<Ozr8u>(std::clamp(((2 * g - r - b + 2) >> 2) + 128, 0, 255));
        }
        st = ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(ycc.data(), 3 * w, {w, h}, tex->blocks.data());
    } else {
        std::vector<Ozr8u> rgba(size_t(w) * h * 4);
        for (size_t i = 0; i < size_t(w) * h; ++i) {
            for (int c = 0; c < 3; ++c) rgba[4 * i + c] = static_cast<Ozr8u>(img.samples[i * img.channels + (img.channels == 3 ? c : 0)]);
            rgba[4 * i + 3] = 255;
        }
        st = format == DxtFormat::Dxt1   ? ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(rgba.data(), 4 * w, {w, h}, tex->blocks.data())
             : format == DxtFormat::Dxt3 ? ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(rgba.data(), 4 * w, {w, h}, tex->blocks.data())
                                         : ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(rgba.data(), 4 * w, {w, h}, tex->blocks.data());
    }
    if (st != ozrStatusOk) {
        *error = "DXT encoding failed (status " + std::to_string(st) + ")";
        return false;
    }
    return true;
}

bool decodeDxt(const DdsTexture& tex, Image* img, std::string* error) {
    const int w = tex.width, h = tex.height;
    std::vector<Ozr8u> rgba(size_t(w) * h * 4);
    OzrStatus st;
    switch (tex.format) {
        case DxtFormat::Dxt1: st = ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(tex.blocks.data(), rgba.data(), 4 * w, {w, h}); break;
        case DxtFormat::Dxt3: st = ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(tex.blocks.data(), rgba.data(), 4 * w, {w, h}); break;
        default: st = ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(tex.blocks.data(), rgba.data(), 4 * w, {w, h}); break;
    }
    if (st != ozrStatusOk) {
        *error = "DXT decoding failed (status " + std::to_string(st) + ")";
        return false;
    }
    img->width = w;
    img->height = h;
    img->channels = 3;
    img->maxval = 255;
    img->samples.resize(size_t(w) * h * 3);
    for (size_t i = 0; i < size_t(w) * h; ++i) {
        const Ozr8u* p = &rgba[4 * i];
        if (tex.format == DxtFormat::YCoCg) {
            // Red and green carry Co and Cg scaled by s; blue's top five bits hold s - 1.
            const int s = (p[2] >> 3) + 1;
            const int co = (p[0] - 128) / s, cg = (p[1] - 128) / s, y = p[3];
            img->samples[3 * i] = static_cast<uint16_t>(std::clamp(y + co - cg, 0, 255));
            img->samples[3 * i + 1] = static_cast<uint16_t>(std::clamp(y + cg, 0, 255));
            img->samples[3 * i + 2] = static_cast<uint16_t>(std::clamp(y - co - cg, 0, 255));
        } else {
            for (int c = 0; c < 3; ++c) img->samples[3 * i + c] = p[c];
        }
    }
    return true;
}

int cmdDxtEncode(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    DxtFormat format = DxtFormat::Dxt1;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--format" && i + 1 < args.size()) {
            const std::string f = args[++i];
            if (f == "dxt1") format = DxtFormat::Dxt1;
            else if (f == "dxt3") format = DxtFormat::Dxt3;
            else if (f == "dxt5") format = DxtFormat::Dxt5;
            else if (f == "ycocg") format = DxtFormat::YCoCg;
            else return fail("--format takes dxt1, dxt3, dxt5 or ycocg");
        } else if (!args[i].empty() && args[i][0] == '-') {
            return fail("unknown option " + args[i]);
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) return fail("usage: ozrj dxt encode IN.ppm OUT.dds [--format dxt1|dxt3|dxt5|ycocg]");
    Image img;
    DdsTexture tex;
    std::string err;
    if (!readPnm(files[0], &img, &err)) return fail(err);
    if (!encodeDxt(img, format, &tex, &err)) return fail(files[0] + ": " + err);
    std::vector<uint8_t> dds;
    writeDds(tex, &dds);
    if (!writeFileAtomic(files[1], dds, &err)) return fail(err);
    return 0;
}

int cmdDxtDecode(const std::vector<std::string>& args) {
    if (args.size() != 2) return fail("usage: ozrj dxt decode IN.dds OUT.ppm");
    std::vector<uint8_t> file;
    DdsTexture tex;
    Image img;
    std::string err;
    if (!readFile(args[0], &file, &err)) return fail(err);
    if (!readDds(file, &tex, &err) || !decodeDxt(tex, &img, &err)) return fail(args[0] + ": " + err);
    if (!writePnm(args[1], img, &err)) return fail(err);
    return 0;
}

int cmdTiffPack(const std::vector<std::string>& args) {
    if (args.size() != 2) return fail("usage: ozrj tiff pack IN.pgm|ppm OUT.tif");
    Image img;
    std::string err;
    std::vector<uint8_t> tif;
    if (!readPnm(args[0], &img, &err)) return fail(err);
    if (!writeTiffPackBits(img, &tif, &err)) return fail(args[0] + ": " + err);
    if (!writeFileAtomic(args[1], tif, &err)) return fail(err);
    return 0;
}

int cmdTiffUnpack(const std::vector<std::string>& args) {
    if (args.size() != 2) return fail("usage: ozrj tiff unpack IN.tif OUT.pgm|ppm");
    std::vector<uint8_t> file;
    Image img;
    std::string err;
    if (!readFile(args[0], &file, &err)) return fail(err);
    if (!readTiff(file, &img, &err)) return fail(args[0] + ": " + err);
    if (hasExtension(args[1], ".pgm") && img.channels != 1) return fail(args[1] + ": the image has colour; use .ppm");
    if (!writePnm(args[1], img, &err)) return fail(err);
    return 0;
}

}  // namespace ozrtool
