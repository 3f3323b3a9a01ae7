// DXT interoperability with independent implementations on this system:
// libsquish (linked in) and ImageMagick's DDS coder (/usr/bin/convert).
// Blocks we write are decoded by the peer, blocks the peer writes are decoded
// by us.  Peers expand 5:6:5 with replicated high bits (and DXT3 nibbles by
// 17) where we leave the low bits zero, so pixels may differ by exactly that
// expansion: up to 7 (red, blue) or 3 (green) at the end points, one more for
// the rounding of the thirds.
#include <gtest/gtest.h>
#include <squish.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "dds_writer.h"
#include "test_util.h"

using namespace ozrtest;

namespace {

enum Format { kDXT1, kDXT3, kDXT5 };
const char* const kFourCC[] = {"DXT1", "DXT3", "DXT5"};
const int kSquishFlag[] = {squish::kDxt1, squish::kDxt3, squish::kDxt5};
using EncodeFn = OzrStatus (*)(const Ozr8u*, int, OzriSize, Ozr8u*);
using DecodeFn = OzrStatus (*)(const Ozr8u*, Ozr8u*, int, OzriSize);
const EncodeFn kEncode[] = {ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R,
                            ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R};
const DecodeFn kDecode[] = {ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R,
                            ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R};

int blockBytes(Format f) { return f == kDXT1 ? 8 : 16; }
size_t encodedSize(Format f, int w, int h) { return static_cast<size_t>((w + 3) / 4) * ((h + 3) / 4) * blockBytes(f); }

// A photo-like test picture: smooth gradients, a hard edge, some noise and a
// varying alpha.
std::vector<uint8_t> picture(int w, int h, uint32_t seed) {
    Rng rng(seed);
    std::vector<uint8_t> p(static_cast<size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* q = &p[(static_cast<size_t>(y) * w + x) * 4];
            const int edge = (x + 2 * y) % 37 < 18 ? 60 : 0;
            q[0] = static_cast<uint8_t>(std::min(255, x * 255 / w + edge / 2 + rng.range(0, 6)));
            q[1] = static_cast<uint8_t>(std::min(255, y * 255 / h + rng.range(0, 6)));
            q[2] = static_cast<uint8_t>(std::min(255, 255 - (x + y) * 127 / (w + h) + edge));
            q[3] = static_cast<uint8_t>((x * 13 + y * 29) % 256);
        }
    return p;
}

// Compares our decoding with a peer's decoding of the same blocks.  In DXT1's
// three-colour mode index 3 is opaque white for us and transparent black for
// the peers.
void expectSameWithinExpansion(Format f, const uint8_t* blocks, const std::vector<uint8_t>& ours,
                               const std::vector<uint8_t>& peer, int w, int h, const std::string& what) {
    ASSERT_EQ(ours.size(), peer.size());
    int bad = 0;
    for (int y = 0; y < h && bad < 5; ++y)
        for (int x = 0; x < w && bad < 5; ++x) {
            const uint8_t* o = &ours[(static_cast<size_t>(y) * w + x) * 4];
            const uint8_t* p = &peer[(static_cast<size_t>(y) * w + x) * 4];
            if (f == kDXT1) {
                const uint8_t* b = blocks + ((y / 4) * ((w + 3) / 4) + x / 4) * 8;
                const int idx = (b[4 + y % 4] >> (2 * (x % 4))) & 3;
                if ((b[0] | b[1] << 8) <= (b[2] | b[3] << 8) && idx == 3) {
                    EXPECT_TRUE(o[0] == 255 && o[1] == 255 && o[2] == 255 && o[3] == 255) << what;
                    EXPECT_EQ(p[3], 0) << what;
                    continue;
                }
            }
            bool ok = true;
            for (int c = 0; c < 3; ++c) {
                const int d = p[c] - o[c];
                ok &= d >= -1 && d <= (c == 1 ? 4 : 8);
            }
            const int da = p[3] - o[3];
            if (f == kDXT1) ok &= o[3] == 255 && p[3] == 255;
            if (f == kDXT3) ok &= da == o[3] >> 4;
            if (f == kDXT5) ok &= da >= -1 && da <= 1;
            if (!ok) {
                ++bad;
                ADD_FAILURE() << what << " pixel " << x << "," << y << " ours " << +o[0] << " " << +o[1] << " " << +o[2]
                              << " " << +o[3] << " peer " << +p[0] << " " << +p[1] << " " << +p[2] << " " << +p[3];
            }
        }
}

// Mean absolute difference per channel (alpha included or not).
double meanError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, bool alpha) {
    double sum = 0;
    size_t n = 0;
    for (size_t i = 0; i < a.size(); ++i)
        if (alpha || i % 4 != 3) sum += std::abs(a[i] - b[i]), ++n;
    return sum / static_cast<double>(n);
}

std::vector<uint8_t> decodeOurs(Format f, const uint8_t* blocks, int w, int h) {
    std::vector<uint8_t> img(static_cast<size_t>(w) * h * 4);
    EXPECT_EQ(kDecode[f](blocks, img.data(), w * 4, {w, h}), ozrStatusOk);
    return img;
}

// A scratch directory removed at the end of the test.
struct ScratchDir {
    std::filesystem::path path;
    ScratchDir() {
        char tmpl[] = "/tmp/ozrj_dxt_XXXXXX";
        const char* p = mkdtemp(tmpl);
        path = p ? p : "";
    }
    ~ScratchDir() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    std::string operator/(const char* name) const { return (path / name).string(); }
};

const char* const kConvert = "/usr/bin/convert";  // ImageMagick's own, not /usr/local/bin
bool run(const std::string& cmd) {
    const int rc = std::system((cmd + " >/dev/null 2>&1").c_str());
    return rc != -1 && WIFEXITED(rc) && WEXITSTATUS(rc) == 0;
}

}  // namespace

TEST(DxtPeers, LibsquishDecodesOurBlocks) {
    for (auto [w, h] : {std::make_pair(64, 48), std::make_pair(70, 45), std::make_pair(3, 5)}) {
        const std::vector<uint8_t> img = picture(w, h, static_cast<uint32_t>(w * h));
        for (int f = kDXT1; f <= kDXT5; ++f) {
            const Format F = static_cast<Format>(f);
            std::vector<uint8_t> blocks(encodedSize(F, w, h));
            ASSERT_EQ(kEncode[f](img.data(), w * 4, {w, h}, blocks.data()), ozrStatusOk);
            std::vector<uint8_t> peer(img.size());
            squish::DecompressImage(peer.data(), w, h, blocks.data(), kSquishFlag[f]);
            expectSameWithinExpansion(F, blocks.data(), decodeOurs(F, blocks.data(), w, h), peer, w, h,
                                      std::string("squish decoding our ") + kFourCC[f]);
            // Through the peer's eyes our blocks come near the picture, about as
            // near as its own fastest fit (opaque for DXT1, where squish would
            // make pixels of low alpha transparent black).
            std::vector<uint8_t> opaque = img, own(blocks.size()), ownBack(img.size());
            for (size_t i = 3; f == kDXT1 && i < opaque.size(); i += 4) opaque[i] = 255;
            squish::CompressImage(opaque.data(), w, h, own.data(), kSquishFlag[f] | squish::kColourRangeFit);
            squish::DecompressImage(ownBack.data(), w, h, own.data(), kSquishFlag[f]);
            EXPECT_LE(meanError(img, peer, f != kDXT1), 1.3 * meanError(img, ownBack, f != kDXT1) + 1.0)
                << kFourCC[f] << " " << w << "x" << h;
        }
    }
}

TEST(DxtPeers, WeDecodeLibsquishBlocks) {
    const int w = 70, h = 45;
    const std::vector<uint8_t> img = picture(w, h, 77);
    for (int fit : {squish::kColourRangeFit, squish::kColourClusterFit})
        for (int f = kDXT1; f <= kDXT5; ++f) {
            const Format F = static_cast<Format>(f);
            std::vector<uint8_t> blocks(encodedSize(F, w, h));
            ASSERT_EQ(static_cast<size_t>(squish::GetStorageRequirements(w, h, kSquishFlag[f])), blocks.size());
            squish::CompressImage(img.data(), w, h, blocks.data(), kSquishFlag[f] | fit);
            std::vector<uint8_t> peer(img.size());
            squish::DecompressImage(peer.data(), w, h, blocks.data(), kSquishFlag[f]);
            expectSameWithinExpansion(F, blocks.data(), decodeOurs(F, blocks.data(), w, h), peer, w, h,
                                      std::string("our decoding of squish ") + kFourCC[f]);
        }
}

TEST(DxtPeers, ImageMagickReadsOurDdsFiles) {
    if (!run(std::string(kConvert) + " -version")) GTEST_SKIP() << "ImageMagick not installed";
    ScratchDir dir;
    ASSERT_FALSE(dir.path.empty());
    const int w = 61, h = 38;
    const std::vector<uint8_t> img = picture(w, h, 5);
    for (int f = kDXT1; f <= kDXT5; ++f) {
        const Format F = static_cast<Format>(f);
        std::vector<uint8_t> blocks(encodedSize(F, w, h));
        ASSERT_EQ(kEncode[f](img.data(), w * 4, {w, h}, blocks.data()), ozrStatusOk);
        const std::string dds = dir / "ours.dds", raw = dir / "peer.rgba";
        ASSERT_TRUE(dds::write(dds, kFourCC[f], w, h, blocks.data(), blocks.size()));
        ASSERT_TRUE(run(std::string(kConvert) + " " + dds + " -depth 8 rgba:" + raw)) << kFourCC[f];
        std::vector<uint8_t> peer;
        ASSERT_TRUE(dds::readFile(raw, &peer));
        expectSameWithinExpansion(F, blocks.data(), decodeOurs(F, blocks.data(), w, h), peer, w, h,
                                  std::string("ImageMagick reading our ") + kFourCC[f]);
    }
}

TEST(DxtPeers, WeDecodeImageMagickDdsFiles) {
    if (!run(std::string(kConvert) + " -version")) GTEST_SKIP() << "ImageMagick not installed";
    ScratchDir dir;
    ASSERT_FALSE(dir.path.empty());
    const int w = 53, h = 29;
    const std::vector<uint8_t> img = picture(w, h, 11);
    const std::string in = dir / "in.rgba";
    ASSERT_TRUE(dds::writeFile(in, img));
    for (int f : {kDXT1, kDXT3, kDXT5}) {
        const Format F = static_cast<Format>(f);
        const std::string dds = dir / "peer.dds", raw = dir / "peer.rgba";
        const std::string mode = f == kDXT1 ? "dxt1" : f == kDXT3 ? "dxt3" : "dxt5";
        ASSERT_TRUE(run(std::string(kConvert) + " -size " + std::to_string(w) + "x" + std::to_string(h) + " -depth 8 rgba:" +
                        in + " -define dds:compression=" + mode + " -define dds:mipmaps=0 " + dds));
        std::vector<uint8_t> file;
        dds::Texture tex;
        ASSERT_TRUE(dds::readFile(dds, &file));
        ASSERT_TRUE(dds::parse(file, &tex));
        if (tex.fourcc != kFourCC[f]) {
            // This ImageMagick has no writer for the format; it chose another.
            EXPECT_NE(f, kDXT1) << tex.fourcc;
            continue;
        }
        ASSERT_EQ(tex.width, w);
        ASSERT_EQ(tex.height, h);
        ASSERT_TRUE(run(std::string(kConvert) + " " + dds + " -depth 8 rgba:" + raw));
        std::vector<uint8_t> peer;
        ASSERT_TRUE(dds::readFile(raw, &peer));
        expectSameWithinExpansion(F, tex.blocks.data(), decodeOurs(F, tex.blocks.data(), w, h), peer, w, h,
                                  std::string("our decoding of ImageMagick ") + kFourCC[f]);
    }
}
