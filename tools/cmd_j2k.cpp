// `ozrj j2k decode`: lossless JPEG2000 codestreams to PGM/PPM.
#include <algorithm>

#include "commands.h"
#include "j2k_reader.h"
#include "ozrcore.h"

namespace ozrtool {

namespace {

// Whether a decoded image can be written as PGM/PPM: one or three components
// of one size and precision, 1 to 16 bits.
bool pnmShape(const J2kImage& j, std::string* error) {
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
    return true;
}

// Interleaves the components into out[0..pixels * n), each sample offset to
// unsigned and clamped to 0..maxval, through put(out + k, value).
template <class Put>
void interleave(const J2kImage& j, size_t pixels, Put put) {
    const J2kComponent& c0 = j.components[0];
    const int32_t maxval = (1 << c0.precision) - 1;
    const int32_t offset = c0.isSigned ? 1 << (c0.precision - 1) : 0;
    auto sample = [offset, maxval](int32_t v) { return static_cast<uint16_t>(std::clamp(v + offset, 0, maxval)); };
    if (j.components.size() == 3) {
        const int32_t *r = j.components[0].samples.data(), *g = j.components[1].samples.data(),
                      *b = j.components[2].samples.data();
        for (size_t i = 0; i < pixels; ++i) {
            put(3 * i, sample(r[i]));
            put(3 * i + 1, sample(g[i]));
            put(3 * i + 2, sample(b[i]));
        }
    } else {
        const int32_t* s = c0.samples.data();
        for (size_t i = 0; i < pixels; ++i) put(i, sample(s[i]));
    }
}

}  // namespace

bool decodeJ2kFile(const std::string& path, Image* img, std::string* error) {
    J2kImage j;
    if (j2kDecodeFile(path.c_str(), &j, error) != 0 || !pnmShape(j, error)) return false;
    const J2kComponent& c0 = j.components[0];
    img->width = c0.width;
    img->height = c0.height;
    img->channels = static_cast<int>(j.components.size());
    img->maxval = (1 << c0.precision) - 1;
    const size_t pixels = size_t(img->width) * img->height;
    img->samples.resize(pixels * img->channels);
    uint16_t* o = img->samples.data();
    interleave(j, pixels, [o](size_t k, uint16_t v) { o[k] = v; });
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
    J2kImage j;
    std::string err;
    if (j2kDecodeFile(files[0].c_str(), &j, &err) != 0 || !pnmShape(j, &err)) return fail(files[0] + ": " + err);

    // The PNM file straight from the components (what writePnm makes of the
    // image decodeJ2kFile gives, without that image in between).
    const J2kComponent& c0 = j.components[0];
    const size_t pixels = size_t(c0.width) * c0.height, channels = j.components.size();
    std::vector<uint8_t> bytes =
        pnmBytes(c0.width, c0.height, static_cast<int>(channels), (1 << c0.precision) - 1, pixels * channels,
                 [&j, pixels](auto put) { interleave(j, pixels, put); });
    j = J2kImage();  // the samples are no longer needed while the file is written
    if (!writeFileAtomic(files[1], bytes, &err)) return fail(err);
    return 0;
}

}  // namespace ozrtool
