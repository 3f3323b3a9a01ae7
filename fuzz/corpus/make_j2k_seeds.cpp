// Writes the seed corpora of fuzz_j2k_codeblock and fuzz_j2k_reader: blocks
// coded by the test suite's reference code-block coder, and small one-tile
// codestreams around such blocks.  Run from the repository root:
//   g++ -std=c++17 -Iinclude -Isrc -Itests fuzz/corpus/make_j2k_seeds.cpp
//       src/jpeg2000/mq_*.cpp -o /tmp/make_j2k_seeds && /tmp/make_j2k_seeds
// (one command).
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "test_jpeg2000_cb_ref.h"

namespace {

void save(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

// The codestream style bits for the decoder's mode flags.
}  // namespace

int main() {
    const uint32_t modes[] = {0, 0x2, 0x4, 0x8, 0x1, 0x10, 0x100000, 0x10001F | 0, 0x6, 0x11};
    int seed = 0;
    for (uint32_t flags : modes) {
        const int w = 8 + 5 * (seed % 5), h = 6 + 7 * (seed % 4);
        std::vector<uint32_t> v(w * h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int s = static_cast<int>(128 + 90 * std::sin(x * 0.4 + seed) * std::cos(y * 0.3)) - 128;
                v[y * w + x] = static_cast<uint32_t>(std::abs(s)) | (s < 0 ? 0x80000000u : 0u);
            }
        const cbref::Coded c = cbref::RefCoder(v, w, h, 0, flags, false).run();
        std::vector<uint8_t> data;
        for (const auto& s : c.segments) data.insert(data.end(), s.begin(), s.end());

        // Code-block seed: the harness's header, then the segments.
        std::vector<uint8_t> cb = {static_cast<uint8_t>(w - 1), static_cast<uint8_t>(h - 1), 0,
                                   static_cast<uint8_t>(c.magnBits + 1)};
        for (int i = 0; i < 4; ++i) cb.push_back(static_cast<uint8_t>(flags >> (8 * i)));
        cb.push_back(static_cast<uint8_t>(c.passes + 4));
        cb.push_back(static_cast<uint8_t>(seed & 1));
        cb.push_back(static_cast<uint8_t>(c.segments.size()));
        for (const auto& s : c.segments) {
            cb.push_back(static_cast<uint8_t>(s.size()));
            cb.push_back(static_cast<uint8_t>(s.size() >> 8));
        }
        cb.insert(cb.end(), data.begin(), data.end());
        save("fuzz/corpus/fuzz_j2k_codeblock/seed" + std::to_string(seed), cb);

        // Codestream seed: one tile holding that block.
        save("fuzz/corpus/fuzz_j2k_reader/seed" + std::to_string(seed),
             cbref::writeCodestream(c, w, h, flags, seed % 3, seed % 2));
        ++seed;
    }
    return 0;
}
