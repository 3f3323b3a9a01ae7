// `ozrj j2k decode`: lossless JPEG2000 codestreams to PGM/PPM.
#include "commands.h"

namespace ozrtool {

bool decodeJ2kFile(const std::string& path, Image* img, std::string* error) {
    (void)path;
    (void)img;
    *error = "JPEG2000 decoding is not built into this program yet";
    return false;
}

int cmdJ2kDecode(const std::vector<std::string>& args) {
    if (args.size() != 2) return fail("usage: ozrj j2k decode IN.j2k OUT.ppm|pgm");
    Image img;
    std::string err;
    if (!decodeJ2kFile(args[0], &img, &err)) return fail(args[0] + ": " + err);
    if (!writePnm(args[1], img, &err)) return fail(err);
    return 0;
}

}  // namespace ozrtool
