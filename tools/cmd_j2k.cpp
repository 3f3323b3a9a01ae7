// `ozrj j2k decode`: lossless JPEG2000 codestreams to PGM/PPM.
#include <algorithm>

#include "commands.h"
#include "j2k_reader.h"
#include "ozrcore.h"

namespace ozrtool {

bool decodeJ2kFile(const std::string& path, Image* img, std::string* error) {
    J2kImage j;
    if (j2kDecodeFile(path.c_str(), &j, error) != 0) return false;
    const size_t n = j.components.size();
    if (n != 1 && n != 3) {
        *error = "only 1- or 3-component images can be written as PGM/PPM (" + std::to_string(n) + " components)";
        return false;
    }
    const J2kComponent& c0 = j.components[0];
    for (const J2kComponent& c : j.components) {
        if (c.width != c0.width || c.height != c0.height || c.precision != c0.precision || c.isSigned != c0.isSigned) {
            *error = "components of different size or precision (sub-sampled chroma) are not supported";
            return false;
        }
    }
    if (c0.precision < 1 || c0.precision > 16) {
        *error = "sample precision " + std::to_string(c0.precision) + " is not supported";
        return false;
    }
    img->width = c0.width;
    img->height = c0.height;
    img->channels = static_cast<int>(n);
    img->maxval = (1 << c0.precision) - 1;
    const int32_t offset = c0.isSigned ? 1 << (c0.precision - 1) : 0;
    const size_t pixels = size_t(img->width) * img->height;
    img->samples.resize(pixels * n);
    uint16_t* o = img->samples.data();
    const int32_t maxval = img->maxval;
    auto sample = [offset, maxval](int32_t v) { return static_cast<uint16_t>(std::clamp(v + offset, 0, maxval)); };
    if (n == 3) {
        const int32_t *r = j.components[0].samples.data(), *g = j.components[1].samples.data(),
                      *b = j.components[2].samples.data();
        for (size_t i = 0; i < pixels; ++i) {
            o[3 * i] = sample(r[i]);
            o[3 * i + 1] = sample(g[i]);
            o[3 * i + 2] = sample(b[i]);
        }
    } else {
        const int32_t* s = j.components[0].samples.data();
        for (size_t i = 0; i < pixels; ++i) o[i] = sample(s[i]);
    }
    return true;
}

int cmdJ2kDecode(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--threads") {
            int threads = 0;
            if (i + 1 >= args.size() || !parseInt(args[i + 1], &threads) || threads < 1)
                return fail("--threads takes a count of at least 1");
            ozrSetNumThreads(threads);
            ++i;
        } else if (!args[i].empty() && args[i][0] == '-') {
            return fail("unknown option " + args[i]);
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) return fail("usage: ozrj j2k decode IN.j2k OUT.ppm|pgm [--threads N]");
    Image img;
    std::string err;
    if (!decodeJ2kFile(files[0], &img, &err)) return fail(files[0] + ": " + err);
    if (!writePnm(files[1], img, &err)) return fail(err);
    return 0;
}

}  // namespace ozrtool
