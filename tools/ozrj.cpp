// ozrj: command-line front end of the library.  Real files in and out:
// JPEG encoding, lossless JPEG2000 decoding, DXT textures, PackBits TIFF,
// and a demo that runs every pipeline on a generated photograph-like image.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "ozrj.h"

namespace {

int usage(FILE* out) {
    std::fprintf(out,
                 "usage: ozrj <command> [arguments]\n"
                 "  jpeg encode IN.ppm|pgm OUT.jpg [--quality N] [--subsampling 444|422|420]\n"
                 "                                  [--restart N] [--optimize] [--threads N]\n"
                 "  j2k decode IN.j2k OUT.ppm|pgm    lossless (reversible 5/3) codestreams [--threads N]\n"
                 "  dxt encode IN.ppm OUT.dds [--format dxt1|dxt3|dxt5|ycocg]\n"
                 "  dxt decode IN.dds OUT.ppm\n"
                 "  tiff pack IN.pgm|ppm OUT.tif      PackBits strips\n"
                 "  tiff unpack IN.tif OUT.pgm|ppm\n"
                 "  demo [DIR]                       run every pipeline on a generated image\n"
                 "  version                          the library's version record\n"
                 "  selftest                         a quick check of the library's kernels\n"
                 "  --help                           this text\n");
    return out == stderr ? 2 : 0;
}

int cmdVersion() {
    const OzrLibraryVersion* v = ozrjGetLibVersion();
    std::printf("%s %s (%d.%d.%d.%d, target %s, built %s), %d threads\n", v->Name, v->Version, v->major,
                v->minor, v->majorBuild, v->build, v->targetCpu, v->BuildDate, ozrGetNumThreads());
    return 0;
}

int cmdSelftest() {
    int failures = 0;
    auto check = [&](const char* what, bool ok) {
        std::printf("  %-40s %s\n", what, ok ? "ok" : "FAILED");
        failures += ok ? 0 : 1;
    };
    Ozr16u q[3] = {0, 1, 3};
    OzrStatus st = ozrsDivCRev_16u_I(32768, q, 3);
    check("reverse division 32768 / {0,1,3}", st == ozrStatusDivByZeroWarning && q[0] == 65535 &&
                                                     q[1] == 32768 && q[2] == 10923);
    std::vector<Ozr8u> src(8193);
    std::vector<Ozr16u> dst(8193);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<Ozr8u>(i * 7);
    st = ozriConvert_8u16u_C1R(src.data(), 8193, dst.data(), 2 * 8193, {8193, 1});
    bool same = st == ozrStatusOk;
    for (size_t i = 0; i < src.size(); ++i) same = same && dst[i] == src[i];
    check("widening conversion 8193x1", same);
    Ozr16s zz[64], nat[64];
    for (int i = 0; i < 64; ++i) zz[i] = static_cast<Ozr16s>(i);
    ozriZigzagInv8x8_16s_C1(zz, nat);
    check("zigzag reordering", nat[8] == 2 && nat[63] == 63 && nat[2] == 5);
    check("argument check (null pointer)", ozrsZero_8u(nullptr, 4) == ozrStatusNullPointer);
    std::printf("selftest: %s\n", failures ? "FAILED" : "all passed");
    return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage(stderr);
    const std::string cmd = argv[1];
    const std::string sub = argc > 2 ? argv[2] : "";
    std::vector<std::string> rest;
    for (int i = 3; i < argc; ++i) rest.push_back(argv[i]);
    if (cmd == "--help" || cmd == "-h" || cmd == "help") return usage(stdout);
    if (cmd == "version") return cmdVersion();
    if (cmd == "selftest") return cmdSelftest();
    if (cmd == "demo") return ozrtool::cmdDemo(argc > 2 ? argv[2] : "ozrj-demo");
    if (cmd == "jpeg" && sub == "encode") return ozrtool::cmdJpegEncode(rest);
    if (cmd == "j2k" && sub == "decode") return ozrtool::cmdJ2kDecode(rest);
    if (cmd == "dxt" && sub == "encode") return ozrtool::cmdDxtEncode(rest);
    if (cmd == "dxt" && sub == "decode") return ozrtool::cmdDxtDecode(rest);
    if (cmd == "tiff" && sub == "pack") return ozrtool::cmdTiffPack(rest);
    if (cmd == "tiff" && sub == "unpack") return ozrtool::cmdTiffUnpack(rest);
    std::fprintf(stderr, "ozrj: unknown command '%s%s%s'\n", cmd.c_str(), sub.empty() ? "" : " ", sub.c_str());
    return usage(stderr);
}
