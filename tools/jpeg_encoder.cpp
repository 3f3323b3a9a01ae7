// Baseline JFIF encoder made of library primitives.
#include "jpeg_encoder.h"

#include <algorithm>
#include <cstring>

#include "jpeg/std_tables.h"
#include "ozrj.h"

namespace ozrtool {
namespace {

using namespace ozr::jpegstd;

struct HuffTable {
    uint8_t bits[16];
    uint8_t vals[256];
    int count() const {
        int n = 0;
        for (uint8_t b : bits) n += b;
        return n;
    }
    void set(const uint8_t* b, const uint8_t* v) {
        std::memcpy(bits, b, 16);
        std::memcpy(vals, v, static_cast<size_t>(count()));
    }
};

void put16(std::vector<uint8_t>* o, int v) {
    o->push_back(static_cast<uint8_t>(v >> 8));
    o->push_back(static_cast<uint8_t>(v));
}

void marker(std::vector<uint8_t>* o, uint8_t m) {
    o->push_back(0xFF);
    o->push_back(m);
}

struct Component {
    int id, h, v, tq;  // JPEG component id, sampling factors, table class (0 luma, 1 chroma)
};

// Pads a stripe plane: columns [w, padW) repeat column w-1, rows [rows, padH)
// repeat row rows-1.
void padPlane(Ozr8u* p, int step, int w, int rows, int padW, int padH) {
    if (w < padW)
        for (int y = 0; y < rows; ++y) std::memset(p + y * step + w, p[y * step + w - 1], size_t(padW - w));
    for (int y = rows; y < padH; ++y) std::memcpy(p + y * step, p + (rows - 1) * step, size_t(padW));
}

class Encoder {
public:
    Encoder(const uint8_t* px, int w, int h, int channels, const JpegOptions& opt)
        : px_(px), w_(w), h_(h), ch_(channels), opt_(opt) {}
    bool run(std::vector<uint8_t>* out, std::string* error);

private:
    bool prepareTables(std::string* error);
    void transformStripe(int my, Ozr16s* coef);
    bool gatherOptimalTables(const std::vector<Ozr16s>& coef, std::string* error);
    bool buildSpecs(std::string* error);
    void writeHeaders(std::vector<uint8_t>* out) const;
    bool encodeBlocks(const Ozr16s* coef, int mcus, int firstMcu, std::vector<uint8_t>* out, std::string* error);

    const uint8_t* px_;
    int w_, h_, ch_;
    JpegOptions opt_;
    int hmax_ = 1, vmax_ = 1, mcuW_ = 8, mcuH_ = 8, mcusX_ = 0, mcusY_ = 0, padW_ = 0, tables_ = 1;
    std::vector<Component> comps_;
    std::vector<std::pair<int, int>> layout_;  // per block of an MCU: component, (by << 1 | bx)
    uint8_t rawQ_[2][64];
    Ozr16u fwdQ_[2][64];
    HuffTable dc_[2], ac_[2];
    std::vector<uint8_t> specMem_, stateMem_;
    OzriEncodeHuffmanSpec* dcSpec_[2] = {};
    OzriEncodeHuffmanSpec* acSpec_[2] = {};
    OzriEncodeHuffmanState* state_ = nullptr;
    // Stripe planes: full-resolution Y, Cb, Cr and the down-sampled chroma.
    std::vector<Ozr8u> full_[3], sub_[2];
    // Entropy coder position between calls.
    Ozr16s lastDc_[3] = {0, 0, 0};
    int pos_ = 0, rst_ = 0;
};

bool Encoder::prepareTables(std::string* error) {
    std::memcpy(rawQ_[0], kLumaQuant, 64);
    std::memcpy(rawQ_[1], kChromaQuant, 64);
    for (int t = 0; t < tables_; ++t) {
        if (ozriQuantFwdRawTableInit_JPEG_8u(rawQ_[t], opt_.quality) != ozrStatusOk ||
            ozriQuantFwdTableInit_JPEG_8u16u(rawQ_[t], fwdQ_[t]) < 0) {
            *error = "quantization table preparation failed";
            return false;
        }
    }
    dc_[0].set(kDcLumaBits, kDcLumaVals);
    ac_[0].set(kAcLumaBits, kAcLumaVals);
    dc_[1].set(kDcChromaBits, kDcChromaVals);
    ac_[1].set(kAcChromaBits, kAcChromaVals);
    return true;
}

// Colour-converts, pads and down-samples MCU row my, then transforms and
// quantizes its blocks into coef in MCU order.
void Encoder::transformStripe(int my, Ozr16s* coef) {
    const int y0 = my * mcuH_, rows = std::min(mcuH_, h_ - y0);
    const uint8_t* src = px_ + size_t(y0) * w_ * ch_;
    if (ch_ == 1) {
        for (int y = 0; y < rows; ++y) std::memcpy(&full_[0][size_t(y) * padW_], src + size_t(y) * w_, size_t(w_));
        padPlane(full_[0].data(), padW_, w_, rows, padW_, mcuH_);
    } else {
        Ozr8u* dst[3] = {full_[0].data(), full_[1].data(), full_[2].data()};
        ozriRGBToYCbCr_JPEG_8u_C3P3R(src, w_ * 3, dst, padW_, {w_, rows});
        for (int c = 0; c < 3; ++c) padPlane(full_[c].data(), padW_, w_, rows, padW_, mcuH_);
        if (hmax_ == 2) {
            const OzriSize srcRoi{padW_, mcuH_}, dstRoi{padW_ / 2, mcuH_ / vmax_};
            for (int c = 0; c < 2; ++c) {
                if (vmax_ == 2)
                    ozriSampleDownH2V2_JPEG_8u_C1R(full_[c + 1].data(), padW_, srcRoi, sub_[c].data(), padW_ / 2, dstRoi);
                else
                    ozriSampleDownH2V1_JPEG_8u_C1R(full_[c + 1].data(), padW_, srcRoi, sub_[c].data(), padW_ / 2, dstRoi);
            }
        }
    }
    for (int mx = 0; mx < mcusX_; ++mx)
        for (const auto& lb : layout_) {
            const int c = lb.first, bx = lb.second & 1, by = lb.second >> 1;
            const Component& cp = comps_[c];
            const bool subsampled = c > 0 && hmax_ == 2;
            const Ozr8u* plane = subsampled ? sub_[c - 1].data() : full_[c].data();
            const int step = subsampled ? padW_ / 2 : padW_;
            const int x = (mx * cp.h + bx) * 8, y = by * 8;
            ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane + size_t(y) * step + x, step, coef, fwdQ_[cp.tq]);
            coef += 64;
        }
}

bool Encoder::gatherOptimalTables(const std::vector<Ozr16s>& coef, std::string* error) {
    std::vector<int> dcStats[2] = {std::vector<int>(256), std::vector<int>(256)};
    std::vector<int> acStats[2] = {std::vector<int>(256), std::vector<int>(256)};
    Ozr16s lastDc[3] = {0, 0, 0};
    const int ri = opt_.restartInterval;
    const Ozr16s* b = coef.data();
    for (int m = 0; m < mcusX_ * mcusY_; ++m) {
        if (ri > 0 && m % ri == 0) std::fill(lastDc, lastDc + 3, 0);
        for (const auto& lb : layout_) {
            const int t = comps_[lb.first].tq;
            if (ozriGetHuffmanStatistics8x8_JPEG_16s_C1(b, dcStats[t].data(), acStats[t].data(), &lastDc[lb.first]) !=
                ozrStatusOk) {
                *error = "coefficient statistics failed";
                return false;
            }
            b += 64;
        }
    }
    for (int t = 0; t < tables_; ++t) {
        if (ozriEncodeHuffmanRawTableInit_JPEG_8u(dcStats[t].data(), dc_[t].bits, dc_[t].vals) != ozrStatusOk ||
            ozriEncodeHuffmanRawTableInit_JPEG_8u(acStats[t].data(), ac_[t].bits, ac_[t].vals) != ozrStatusOk) {
            *error = "optimal Huffman table construction failed";
            return false;
        }
    }
    return true;
}

bool Encoder::buildSpecs(std::string* error) {
    int specSize = 0, stateSize = 0;
    ozriEncodeHuffmanSpecGetBufSize_JPEG_8u(&specSize);
    ozriEncodeHuffmanStateGetBufSize_JPEG_8u(&stateSize);
    specMem_.assign(4 * size_t(specSize), 0);
    stateMem_.assign(size_t(stateSize), 0);
    for (int t = 0; t < tables_; ++t) {
        dcSpec_[t] = reinterpret_cast<OzriEncodeHuffmanSpec*>(&specMem_[size_t(2 * t) * specSize]);
        acSpec_[t] = reinterpret_cast<OzriEncodeHuffmanSpec*>(&specMem_[size_t(2 * t + 1) * specSize]);
        if (ozriEncodeHuffmanSpecInit_JPEG_8u(dc_[t].bits, dc_[t].vals, dcSpec_[t]) != ozrStatusOk ||
            ozriEncodeHuffmanSpecInit_JPEG_8u(ac_[t].bits, ac_[t].vals, acSpec_[t]) != ozrStatusOk) {
            *error = "Huffman table rejected";
            return false;
        }
    }
    state_ = reinterpret_cast<OzriEncodeHuffmanState*>(stateMem_.data());
    ozriEncodeHuffmanStateInit_JPEG_8u(state_);
    return true;
}

void Encoder::writeHeaders(std::vector<uint8_t>* out) const {
    out->clear();
    marker(out, 0xD8);
    marker(out, 0xE0);
    const uint8_t app0[] = {0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
    out->insert(out->end(), app0, app0 + sizeof app0);
    for (int t = 0; t < tables_; ++t) {
        marker(out, 0xDB);
        put16(out, 67);
        out->push_back(static_cast<uint8_t>(t));
        out->insert(out->end(), rawQ_[t], rawQ_[t] + 64);
    }
    marker(out, 0xC0);
    put16(out, 8 + 3 * static_cast<int>(comps_.size()));
    out->push_back(8);
    put16(out, h_);
    put16(out, w_);
    out->push_back(static_cast<uint8_t>(comps_.size()));
    for (const Component& c : comps_) {
        out->push_back(static_cast<uint8_t>(c.id));
        out->push_back(static_cast<uint8_t>(c.h << 4 | c.v));
        out->push_back(static_cast<uint8_t>(c.tq));
    }
    for (int t = 0; t < tables_; ++t)
        for (int cls = 0; cls < 2; ++cls) {
            const HuffTable& hf = cls == 0 ? dc_[t] : ac_[t];
            marker(out, 0xC4);
            put16(out, 2 + 1 + 16 + hf.count());
            out->push_back(static_cast<uint8_t>(cls << 4 | t));
            out->insert(out->end(), hf.bits, hf.bits + 16);
            out->insert(out->end(), hf.vals, hf.vals + hf.count());
        }
    if (opt_.restartInterval > 0) {
        marker(out, 0xDD);
        put16(out, 4);
        put16(out, opt_.restartInterval);
    }
    marker(out, 0xDA);
    put16(out, 6 + 2 * static_cast<int>(comps_.size()));
    out->push_back(static_cast<uint8_t>(comps_.size()));
    for (const Component& c : comps_) {
        out->push_back(static_cast<uint8_t>(c.id));
        out->push_back(static_cast<uint8_t>(c.tq << 4 | c.tq));
    }
    out->push_back(0);
    out->push_back(63);
    out->push_back(0);
}

// Entropy-codes mcus MCUs of coefficients, the first being MCU firstMcu of
// the scan, appending to out (which holds pos_ valid bytes).
bool Encoder::encodeBlocks(const Ozr16s* coef, int mcus, int firstMcu, std::vector<uint8_t>* out,
                           std::string* error) {
    std::vector<uint8_t>& o = *out;
    const size_t perMcuRoom = layout_.size() * 1200 + 16;
    const int ri = opt_.restartInterval;
    for (int m = firstMcu; m < firstMcu + mcus; ++m) {
        if (o.size() - size_t(pos_) < perMcuRoom) o.resize(o.size() * 2 + perMcuRoom);
        if (ri > 0 && m > 0 && m % ri == 0) {
            ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, o.data(), int(o.size()), &pos_, nullptr, nullptr, nullptr,
                                               state_, 1);
            o[pos_++] = 0xFF;
            o[pos_++] = static_cast<uint8_t>(0xD0 + rst_);
            rst_ = (rst_ + 1) & 7;
            std::fill(lastDc_, lastDc_ + 3, 0);
        }
        for (const auto& lb : layout_) {
            const int t = comps_[lb.first].tq;
            const OzrStatus st = ozriEncodeHuffman8x8_JPEG_16s1u_C1(coef, o.data(), int(o.size()), &pos_,
                                                                    &lastDc_[lb.first], dcSpec_[t], acSpec_[t], state_, 0);
            if (st != ozrStatusOk) {
                *error = "block encoding failed (status " + std::to_string(st) + ")";
                return false;
            }
            coef += 64;
        }
    }
    return true;
}

bool Encoder::run(std::vector<uint8_t>* out, std::string* error) {
    const bool grey = ch_ == 1;
    hmax_ = grey ? 1 : (opt_.subsampling == 444 ? 1 : 2);
    vmax_ = grey ? 1 : (opt_.subsampling == 420 ? 2 : 1);
    tables_ = grey ? 1 : 2;
    mcuW_ = 8 * hmax_;
    mcuH_ = 8 * vmax_;
    mcusX_ = (w_ + mcuW_ - 1) / mcuW_;
    mcusY_ = (h_ + mcuH_ - 1) / mcuH_;
    padW_ = mcusX_ * mcuW_;
    comps_.push_back({1, hmax_, vmax_, 0});
    if (!grey) {
        comps_.push_back({2, 1, 1, 1});
        comps_.push_back({3, 1, 1, 1});
    }
    for (size_t c = 0; c < comps_.size(); ++c)
        for (int by = 0; by < comps_[c].v; ++by)
            for (int bx = 0; bx < comps_[c].h; ++bx) layout_.push_back({int(c), by << 1 | bx});
    for (int c = 0; c < (grey ? 1 : 3); ++c) full_[c].assign(size_t(padW_) * mcuH_, 0);
    for (int c = 0; c < 2 && !grey; ++c) sub_[c].assign(size_t(padW_ / hmax_) * (mcuH_ / vmax_), 0);
    if (!prepareTables(error)) return false;

    const size_t blocksPerRow = layout_.size() * size_t(mcusX_);
    if (opt_.optimize) {
        // Two passes: all coefficients first, then tables, then the scan.
        std::vector<Ozr16s> coef(blocksPerRow * mcusY_ * 64);
        for (int my = 0; my < mcusY_; ++my) transformStripe(my, &coef[blocksPerRow * my * 64]);
        if (!gatherOptimalTables(coef, error) || !buildSpecs(error)) return false;
        writeHeaders(out);
        pos_ = int(out->size());
        if (!encodeBlocks(coef.data(), mcusX_ * mcusY_, 0, out, error)) return false;
    } else {
        if (!buildSpecs(error)) return false;
        writeHeaders(out);
        pos_ = int(out->size());
        std::vector<Ozr16s> coef(blocksPerRow * 64);
        for (int my = 0; my < mcusY_; ++my) {
            transformStripe(my, coef.data());
            if (!encodeBlocks(coef.data(), mcusX_, my * mcusX_, out, error)) return false;
        }
    }
    std::vector<uint8_t>& o = *out;
    if (o.size() - size_t(pos_) < 16) o.resize(o.size() + 16);
    ozriEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, o.data(), int(o.size()), &pos_, nullptr, nullptr, nullptr, state_, 1);
    o.resize(size_t(pos_));
    marker(out, 0xD9);
    return true;
}

}  // namespace

bool encodeJpeg(const uint8_t* pixels, int width, int height, int channels, const JpegOptions& opt,
                std::vector<uint8_t>* out, std::string* error) {
    if (width < 1 || height < 1 || width > 65535 || height > 65535 || (channels != 1 && channels != 3)) {
        *error = "JPEG encoding needs a grey or RGB image of 1..65535 pixels a side";
        return false;
    }
    if (opt.quality < 1 || opt.quality > 100) {
        *error = "quality must be 1..100";
        return false;
    }
    if (opt.subsampling != 444 && opt.subsampling != 422 && opt.subsampling != 420) {
        *error = "subsampling must be 444, 422 or 420";
        return false;
    }
    Encoder enc(pixels, width, height, channels, opt);
    return enc.run(out, error);
}

bool encodeJpeg(const Image& img, const JpegOptions& opt, std::vector<uint8_t>* out, std::string* error) {
    if (img.maxval != 255) {
        *error = "JPEG encoding needs 8-bit samples";
        return false;
    }
    const std::vector<uint8_t> px = img.bytes8();
    return encodeJpeg(px.data(), img.width, img.height, img.channels, opt, out, error);
}

}  // namespace ozrtool
