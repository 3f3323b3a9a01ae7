// 5/3 wavelet: whole-tile transforms against an independent model written
// from the lifting equations with an explicitly extended signal, perfect
// reconstruction over sizes, phases and levels, the filter members against
// the same model, and argument-check order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "jpeg2000/wt53.h"
#include "test_util.h"

namespace {

using ozr::wt53::ScalarKernels;
using ozr::wt53::SimdKernels;
using ozrtest::Rng;

// ------------------------------------------------------------------ model
// Sums are formed wide; 32-bit sums wrap as the 32-bit members do; every
// lifted value is stored in the sample type before it is used again.
template <class T>
int64_t sumOf(int64_t s) {
    return sizeof(T) == 4 ? static_cast<int64_t>(static_cast<int32_t>(static_cast<uint32_t>(s))) : s;
}
template <class T>
T store(int64_t v) {
    return static_cast<T>(static_cast<typename std::make_unsigned<T>::type>(static_cast<uint64_t>(v)));
}
template <class T>
int64_t avgM(int64_t a, int64_t b) { return sumOf<T>(a + b) >> 1; }
template <class T>
int64_t updM(int64_t a, int64_t b) { return sumOf<T>(a + b + 2) >> 2; }

int reflect(int i, int n) {
    while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

// One level of the forward transform of a signal whose first sample has
// absolute parity `odd`; returns lows then highs.
template <class T>
std::vector<T> fwd1d(const std::vector<T>& x, int odd) {
    const int n = static_cast<int>(x.size());
    std::vector<T> out(x);
    if (n == 1) {
        if (odd) out[0] = store<T>(sumOf<T>(2 * int64_t(x[0])));
        return out;
    }
    if (n == 2) {
        const T a = x[odd], b = x[1 - odd];
        const T h = store<T>(int64_t(b) - a);
        out[1] = h;
        out[0] = store<T>(a + avgM<T>(h, 1));
        return out;
    }
    // Extended signal y over absolute positions -2 .. n+1 (index + 2).
    std::vector<T> y(n + 4);
    for (int i = -2; i <= n + 1; ++i) y[i + 2] = x[reflect(i, n)];
    auto isHigh = [&](int i) { return ((i + odd) & 1) != 0; };
    for (int i = -1; i <= n; ++i)
        if (isHigh(i)) y[i + 2] = store<T>(y[i + 2] - avgM<T>(y[i + 1], y[i + 3]));
    for (int i = 0; i < n; ++i)
        if (!isHigh(i)) y[i + 2] = store<T>(y[i + 2] + updM<T>(y[i + 1], y[i + 3]));
    int k = 0;
    for (int i = 0; i < n; ++i)
        if (!isHigh(i)) out[k++] = y[i + 2];
    for (int i = 0; i < n; ++i)
        if (isHigh(i)) out[k++] = y[i + 2];
    return out;
}

template <class T>
std::vector<T> inv1d(const std::vector<T>& c, int odd) {
    const int n = static_cast<int>(c.size());
    std::vector<T> out(c);
    if (n == 1) {
        if (odd) out[0] = static_cast<T>(c[0] / 2);
        return out;
    }
    if (n == 2) {
        const T e = store<T>(c[0] - avgM<T>(c[1], 1));
        const T o = store<T>(int64_t(c[1]) + e);
        out[odd] = e;
        out[1 - odd] = o;
        return out;
    }
    auto isHigh = [&](int i) { return ((i + odd) & 1) != 0; };
    std::vector<T> Y(n);
    const int nL = (n + 1 - odd) >> 1;
    int lo = 0, hi = nL;
    for (int i = 0; i < n; ++i) Y[i] = isHigh(i) ? c[hi++] : c[lo++];
    std::vector<T> y(n + 4);
    for (int i = -2; i <= n + 1; ++i) y[i + 2] = Y[reflect(i, n)];
    for (int i = -1; i <= n; ++i)
        if (!isHigh(i)) y[i + 2] = store<T>(y[i + 2] - updM<T>(y[i + 1], y[i + 3]));
    for (int i = 0; i < n; ++i)
        if (isHigh(i)) y[i + 2] = store<T>(y[i + 2] + avgM<T>(y[i + 1], y[i + 3]));
    for (int i = 0; i < n; ++i) out[i] = y[i + 2];
    return out;
}

// Image as rows of W samples, row-major.
template <class T>
void modelFwd2d(std::vector<T>& img, int x, int y, int W, int H) {
    std::vector<T> col(H);
    for (int c = 0; c < W; ++c) {
        for (int r = 0; r < H; ++r) col[r] = img[r * W + c];
        col = fwd1d(col, y & 1);
        for (int r = 0; r < H; ++r) img[r * W + c] = col[r];
    }
    for (int r = 0; r < H; ++r) {
        std::vector<T> row(img.begin() + r * W, img.begin() + (r + 1) * W);
        row = fwd1d(row, x & 1);
        std::copy(row.begin(), row.end(), img.begin() + r * W);
    }
}

template <class T>
void modelInv2d(std::vector<T>& img, int x, int y, int W, int H) {
    for (int r = 0; r < H; ++r) {
        std::vector<T> row(img.begin() + r * W, img.begin() + (r + 1) * W);
        row = inv1d(row, x & 1);
        std::copy(row.begin(), row.end(), img.begin() + r * W);
    }
    std::vector<T> col(H);
    for (int c = 0; c < W; ++c) {
        for (int r = 0; r < H; ++r) col[r] = img[r * W + c];
        col = inv1d(col, y & 1);
        for (int r = 0; r < H; ++r) img[r * W + c] = col[r];
    }
}

// ----------------------------------------------------------- test images
// A W x H region inside a larger buffer with a sentinel border, row step
// padded by a few samples.
template <class T>
struct Tile {
    int W, H, stepSamples;
    static constexpr int kBorder = 3;
    std::vector<T> mem;
    Tile(int w, int h, int pad = 3) : W(w), H(h), stepSamples(w + pad + kBorder) {
        mem.assign(static_cast<size_t>(stepSamples) * (h + 2 * kBorder), static_cast<T>(0x5A5A));
    }
    T* data() { return mem.data() + kBorder * stepSamples + kBorder; }
    int step() const { return stepSamples * static_cast<int>(sizeof(T)); }
    T& at(int r, int c) { return data()[r * stepSamples + c]; }
    void load(const std::vector<T>& v) {
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) at(r, c) = v[r * W + c];
    }
    std::vector<T> region() {
        std::vector<T> v(static_cast<size_t>(W) * H);
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) v[r * W + c] = at(r, c);
        return v;
    }
    // True when every sample outside the region still holds the sentinel.
    bool borderIntact() {
        Tile<T> ref(W, H, stepSamples - W - kBorder);
        for (size_t i = 0; i < mem.size(); ++i) {
            const long off = static_cast<long>(i) - (kBorder * stepSamples + kBorder);
            const long r = off >= 0 ? off / stepSamples : -1, c = off >= 0 ? off % stepSamples : -1;
            if (r >= 0 && r < H && c >= 0 && c < W) continue;
            if (mem[i] != ref.mem[i]) return false;
        }
        return true;
    }
};

template <class T>
std::vector<T> randomImage(Rng& rng, int W, int H, int lo, int hi) {
    std::vector<T> v(static_cast<size_t>(W) * H);
    rng.fill(v.data(), v.size(), lo, hi);
    return v;
}

// Buffer of exactly the queried size (heap, so overruns are caught by the
// sanitizer build), optionally starting at an odd address.
struct WorkBuffer {
    std::unique_ptr<uint8_t[]> mem;
    uint8_t* p;
    WorkBuffer(int size, bool misalign) : mem(new uint8_t[size + (misalign ? 1 : 0) + (size == 0 && !misalign)]) {
        p = mem.get() + (misalign ? 1 : 0);
    }
};

template <class T>
struct Api;
template <>
struct Api<int16_t> {
    static constexpr auto fwdIR = ozriWTFwd_B53_JPEG2K_16s_C1IR;
    static constexpr auto invIR = ozriWTInv_B53_JPEG2K_16s_C1IR;
    static constexpr auto fwdR = ozriWTFwd_B53_JPEG2K_16s_C1R;
    static constexpr auto invR = ozriWTInv_B53_JPEG2K_16s_C1R;
    static constexpr auto sizeIR = ozriWTGetBufSize_B53_JPEG2K_16s_C1IR;
    static constexpr auto sizeR = ozriWTGetBufSize_B53_JPEG2K_16s_C1R;
    static constexpr auto fwdRow = ozriWTFwdRow_B53_JPEG2K_16s_C1R;
    static constexpr auto invRow = ozriWTInvRow_B53_JPEG2K_16s_C1R;
    static constexpr auto fwdCol = ozriWTFwdCol_B53_JPEG2K_16s_C1R;
    static constexpr auto invCol = ozriWTInvCol_B53_JPEG2K_16s_C1R;
    static constexpr int lo = -8192, hi = 8191;  // odd 1x1 tiles are doubled twice
};
template <>
struct Api<int32_t> {
    static constexpr auto fwdIR = ozriWTFwd_B53_JPEG2K_32s_C1IR;
    static constexpr auto invIR = ozriWTInv_B53_JPEG2K_32s_C1IR;
    static constexpr auto fwdR = ozriWTFwd_B53_JPEG2K_32s_C1R;
    static constexpr auto invR = ozriWTInv_B53_JPEG2K_32s_C1R;
    static constexpr auto sizeIR = ozriWTGetBufSize_B53_JPEG2K_32s_C1IR;
    static constexpr auto sizeR = ozriWTGetBufSize_B53_JPEG2K_32s_C1R;
    static constexpr auto fwdRow = ozriWTFwdRow_B53_JPEG2K_32s_C1R;
    static constexpr auto invRow = ozriWTInvRow_B53_JPEG2K_32s_C1R;
    static constexpr auto fwdCol = ozriWTFwdCol_B53_JPEG2K_32s_C1R;
    static constexpr auto invCol = ozriWTInvCol_B53_JPEG2K_32s_C1R;
    static constexpr int lo = -(1 << 28), hi = (1 << 28);
};

template <class T>
class WholeTile : public ::testing::Test {};
using SampleTypes = ::testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(WholeTile, SampleTypes);

// Every W and H from 1 to 33 and every phase: the exported in-place pair
// matches the model sample for sample (forward on an image, inverse on
// random coefficients), reconstructs its input, writes nothing outside the
// region and stays inside a buffer of exactly the queried size.
TYPED_TEST(WholeTile, InPlaceMatchesModelAndReconstructs) {
    using T = TypeParam;
    Rng rng(7);
    for (int H = 1; H <= 33; ++H)
        for (int W = 1; W <= 33; ++W)
            for (int ph = 0; ph < 4; ++ph) {
                const OzriRect rect{(ph & 1) + 2 * rng.range(0, 50), (ph >> 1) + 2 * rng.range(0, 50), W, H};
                SCOPED_TRACE(::testing::Message() << W << "x" << H << " at " << rect.x << "," << rect.y);
                int size = -1;
                ASSERT_EQ(Api<T>::sizeIR(&rect, &size), ozrStatusOk);
                WorkBuffer buf(size, (W + H) & 1);
                const std::vector<T> src = randomImage<T>(rng, W, H, Api<T>::lo, Api<T>::hi);
                Tile<T> tile(W, H);
                tile.load(src);
                ASSERT_EQ(Api<T>::fwdIR(tile.data(), tile.step(), &rect, buf.p), ozrStatusOk);
                std::vector<T> want = src;
                modelFwd2d(want, rect.x, rect.y, W, H);
                ASSERT_EQ(tile.region(), want);
                ASSERT_EQ(Api<T>::invIR(tile.data(), tile.step(), &rect, buf.p), ozrStatusOk);
                ASSERT_EQ(tile.region(), src);
                ASSERT_TRUE(tile.borderIntact());

                const std::vector<T> coef = randomImage<T>(rng, W, H, Api<T>::lo / 4, Api<T>::hi / 4);
                tile.load(coef);
                ASSERT_EQ(Api<T>::invIR(tile.data(), tile.step(), &rect, buf.p), ozrStatusOk);
                want = coef;
                modelInv2d(want, rect.x, rect.y, W, H);
                ASSERT_EQ(tile.region(), want);
            }
}

// The scalar kernel set gives the same whole-tile results as the vector one.
TYPED_TEST(WholeTile, ScalarAndVectorKernelSetsAgree) {
    using T = TypeParam;
    Rng rng(11);
    const int sizes[][2] = {{3, 3}, {64, 5}, {67, 9}, {130, 4}, {17, 66}, {200, 31}, {1, 40}, {2, 17}, {45, 2}};
    for (auto& s : sizes)
        for (int ph = 0; ph < 4; ++ph) {
            const int W = s[0], H = s[1], x = ph & 1, y = ph >> 1;
            const std::vector<T> src = randomImage<T>(rng, W, H, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
            std::vector<uint8_t> buf(static_cast<size_t>(ozr::wt53::bufSizeC1IR(W, H, sizeof(T))) + 1);
            Tile<T> a(W, H), b(W, H);
            a.load(src);
            b.load(src);
            ozr::wt53::tileFwd<ScalarKernels, T>(a.data(), a.step(), x, y, W, H, buf.data());
            ozr::wt53::tileFwd<SimdKernels, T>(b.data(), b.step(), x, y, W, H, buf.data() + 1);
            ASSERT_EQ(a.region(), b.region()) << W << "x" << H << " phase " << ph;
            ozr::wt53::tileInv<ScalarKernels, T>(a.data(), a.step(), x, y, W, H, buf.data());
            ozr::wt53::tileInv<SimdKernels, T>(b.data(), b.step(), x, y, W, H, buf.data() + 1);
            ASSERT_EQ(a.region(), b.region()) << W << "x" << H << " phase " << ph;
        }
}

// Several levels chained the way a codec does it: each level works on the
// low-low quadrant of the previous one, with that resolution's rectangle.
TYPED_TEST(WholeTile, LevelsChainedOnOddOrigins) {
    using T = TypeParam;
    Rng rng(3);
    const OzriRect tiles[] = {{1, 1, 37, 29}, {3, 0, 64, 64}, {0, 5, 50, 23}, {7, 9, 101, 33}};
    for (const OzriRect& t : tiles) {
        Tile<T> tile(t.width, t.height);
        const std::vector<T> src = randomImage<T>(rng, t.width, t.height, -2000, 2000);
        tile.load(src);
        std::vector<T> model = src;
        std::vector<OzriRect> levels;
        OzriRect r = t;
        for (int level = 0; level < 4 && r.width >= 1 && r.height >= 1; ++level) {
            levels.push_back(r);
            int size = 0;
            ASSERT_EQ(Api<T>::sizeIR(&r, &size), ozrStatusOk);
            std::vector<uint8_t> buf(std::max(size, 1));
            ASSERT_EQ(Api<T>::fwdIR(tile.data(), tile.step(), &r, buf.data()), ozrStatusOk);
            // Model on the sub-image in the top-left corner.
            std::vector<T> sub(static_cast<size_t>(r.width) * r.height);
            for (int y = 0; y < r.height; ++y)
                for (int x = 0; x < r.width; ++x) sub[y * r.width + x] = model[y * t.width + x];
            modelFwd2d(sub, r.x, r.y, r.width, r.height);
            for (int y = 0; y < r.height; ++y)
                for (int x = 0; x < r.width; ++x) model[y * t.width + x] = sub[y * r.width + x];
            const int x0 = (r.x + 1) >> 1, y0 = (r.y + 1) >> 1;
            const int x1 = (r.x + r.width + 1) >> 1, y1 = (r.y + r.height + 1) >> 1;
            r = OzriRect{x0, y0, x1 - x0, y1 - y0};
        }
        ASSERT_EQ(tile.region(), model);
        for (auto it = levels.rbegin(); it != levels.rend(); ++it) {
            int size = 0;
            ASSERT_EQ(Api<T>::sizeIR(&*it, &size), ozrStatusOk);
            std::vector<uint8_t> buf(std::max(size, 1));
            ASSERT_EQ(Api<T>::invIR(tile.data(), tile.step(), &*it, buf.data()), ozrStatusOk);
        }
        ASSERT_EQ(tile.region(), src);
        ASSERT_TRUE(tile.borderIntact());
    }
}

// Between images: the four subband images are the quadrants of the in-place
// result split at ((W+1)>>1, (H+1)>>1), and the inverse reconstructs.
TYPED_TEST(WholeTile, BetweenImagesUsesQuadrantsOfInPlaceResult) {
    using T = TypeParam;
    Rng rng(5);
    for (int H = 1; H <= 33; ++H)
        for (int W = 1; W <= 33; ++W)
            for (int ph = 0; ph < 4; ++ph) {
                const OzriRect rect{ph & 1, ph >> 1, W, H};
                SCOPED_TRACE(::testing::Message() << W << "x" << H << " phase " << ph);
                const std::vector<T> src = randomImage<T>(rng, W, H, -3000, 3000);
                int size = 0, sizeIR = 0;
                ASSERT_EQ(Api<T>::sizeR(&rect, &size), ozrStatusOk);
                ASSERT_EQ(Api<T>::sizeIR(&rect, &sizeIR), ozrStatusOk);
                ASSERT_EQ(size, sizeIR + ((W * int(sizeof(T)) + 31) & ~31) * H);
                WorkBuffer buf(size, ph == 3);
                Tile<T> in(W, H);
                in.load(src);
                const int qw[4] = {(W + 1) / 2, (W + 1) / 2, W / 2, W / 2};
                const int qh[4] = {(H + 1) / 2, H / 2, (H + 1) / 2, H / 2};
                const int qx[4] = {0, 0, (W + 1) / 2, (W + 1) / 2};
                const int qy[4] = {0, (H + 1) / 2, 0, (H + 1) / 2};
                std::vector<std::unique_ptr<Tile<T>>> bands;
                T* dst[4];
                int steps[4];
                for (int b = 0; b < 4; ++b) {
                    bands.emplace_back(new Tile<T>(std::max(qw[b], 1), std::max(qh[b], 1), b));
                    dst[b] = bands[b]->data();
                    steps[b] = bands[b]->step();
                }
                ASSERT_EQ(Api<T>::fwdR(in.data(), in.step(), &rect, dst, steps, buf.p), ozrStatusOk);
                std::vector<T> want = src;
                modelFwd2d(want, rect.x, rect.y, W, H);
                for (int b = 0; b < 4; ++b)
                    for (int y = 0; y < qh[b]; ++y)
                        for (int x = 0; x < qw[b]; ++x)
                            ASSERT_EQ(bands[b]->at(y, x), want[(qy[b] + y) * W + qx[b] + x]) << "band " << b;
                for (int b = 0; b < 4; ++b) {
                    if (qw[b] > 0 && qh[b] > 0) {
                        ASSERT_TRUE(bands[b]->borderIntact());
                    }
                }
                Tile<T> out(W, H);
                const T* srcBands[4] = {dst[0], dst[1], dst[2], dst[3]};
                ASSERT_EQ(Api<T>::invR(srcBands, steps, out.data(), out.step(), &rect, buf.p), ozrStatusOk);
                ASSERT_EQ(out.region(), src);
                ASSERT_TRUE(out.borderIntact());
            }
}

// The row members, given the caller's symmetric extension, give the model's
// lows and highs of a 2w-sample signal and invert them.
TYPED_TEST(WholeTile, RowMembersWithCallerExtension) {
    using T = TypeParam;
    Rng rng(9);
    for (int w = 2; w <= 20; ++w)
        for (int phase = 0; phase < 2; ++phase) {
            const int n = 2 * w, rows = 3;
            std::vector<std::vector<T>> sig(rows);
            for (auto& s : sig) {
                s.resize(n);
                rng.fill(s.data(), n, -5000, 5000);
            }
            // Extended rows: 2 samples on the left, 2 on the right.
            const int ew = n + 4;
            std::vector<T> ext(static_cast<size_t>(ew) * rows);
            for (int r = 0; r < rows; ++r)
                for (int i = -2; i < n + 2; ++i) ext[r * ew + i + 2] = sig[r][reflect(i, n)];
            std::vector<T> lo(w * rows), hi(w * rows);
            const int bs = w * sizeof(T);
            ASSERT_EQ(Api<T>::fwdRow(ext.data() + 2, ew * sizeof(T), lo.data(), bs, hi.data(), bs, OzriSize{w, rows}, phase),
                      ozrStatusOk);
            for (int r = 0; r < rows; ++r) {
                const std::vector<T> m = fwd1d(sig[r], phase);
                ASSERT_TRUE(std::equal(lo.begin() + r * w, lo.begin() + (r + 1) * w, m.begin())) << w << " " << phase;
                ASSERT_TRUE(std::equal(hi.begin() + r * w, hi.begin() + (r + 1) * w, m.begin() + w)) << w << " " << phase;
            }
            // Back: extend the bands as the interleaved signal is extended.
            std::vector<T> elo(static_cast<size_t>(w + 2) * rows), ehi(static_cast<size_t>(w + 2) * rows);
            for (int r = 0; r < rows; ++r) {
                std::vector<T> Y(n);
                for (int i = 0; i < n; ++i) {
                    const bool high = ((i + phase) & 1) != 0;
                    Y[i] = high ? hi[r * w + i / 2] : lo[r * w + i / 2];
                }
                for (int k = -1; k <= w; ++k) {
                    elo[r * (w + 2) + k + 1] = Y[reflect(2 * k + phase, n)];
                    ehi[r * (w + 2) + k + 1] = Y[reflect(2 * k + 1 - phase, n)];
                }
            }
            std::vector<T> back(static_cast<size_t>(n) * rows);
            const int es = (w + 2) * sizeof(T);
            ASSERT_EQ(Api<T>::invRow(elo.data() + 1, es, ehi.data() + 1, es, OzriSize{w, rows}, back.data(),
                                     n * sizeof(T), phase),
                      ozrStatusOk);
            for (int r = 0; r < rows; ++r)
                ASSERT_TRUE(std::equal(back.begin() + r * n, back.begin() + (r + 1) * n, sig[r].begin())) << w;

        }
}

// With arbitrary extension samples (not mirrored) the column members read
// exactly the rows the row members read: transposed data, same results.
TYPED_TEST(WholeTile, ColumnMembersReadTheSameExtensionAsRowMembers) {
    using T = TypeParam;
    Rng rng(13);
    for (int cols : {1, 5, 300})
        for (int w : {1, 2, 9})
            for (int phase = 0; phase < 2; ++phase) {
                const int len = 2 * w + 4;  // x(-2) .. x(2w+1)
                std::vector<T> rowsIn(static_cast<size_t>(cols) * len);
                rng.fill(rowsIn.data(), rowsIn.size(), Api<T>::lo, Api<T>::hi);
                std::vector<T> colsIn(rowsIn.size());
                for (int c = 0; c < cols; ++c)
                    for (int i = 0; i < len; ++i) colsIn[i * cols + c] = rowsIn[c * len + i];
                std::vector<T> lo(cols * w), hi(cols * w), loT(cols * w), hiT(cols * w);
                const int rs = w * sizeof(T), cs = cols * sizeof(T);
                ASSERT_EQ(Api<T>::fwdRow(rowsIn.data() + 2, len * sizeof(T), lo.data(), rs, hi.data(), rs,
                                         OzriSize{w, cols}, phase),
                          ozrStatusOk);
                ASSERT_EQ(Api<T>::fwdCol(colsIn.data() + 2 * cols, cs, loT.data(), cs, hiT.data(), cs,
                                         OzriSize{cols, w}, phase),
                          ozrStatusOk);
                for (int c = 0; c < cols; ++c)
                    for (int k = 0; k < w; ++k) {
                        ASSERT_EQ(loT[k * cols + c], lo[c * w + k]) << cols << " " << w << " " << phase;
                        ASSERT_EQ(hiT[k * cols + c], hi[c * w + k]) << cols << " " << w << " " << phase;
                    }
                // Inverse: bands with one extension coefficient on each side.
                const int bl = w + 2;
                std::vector<T> bLo(static_cast<size_t>(cols) * bl), bHi(bLo.size()), bLoT(bLo.size()), bHiT(bLo.size());
                rng.fill(bLo.data(), bLo.size(), Api<T>::lo, Api<T>::hi);
                rng.fill(bHi.data(), bHi.size(), Api<T>::lo, Api<T>::hi);
                for (int c = 0; c < cols; ++c)
                    for (int k = 0; k < bl; ++k) {
                        bLoT[k * cols + c] = bLo[c * bl + k];
                        bHiT[k * cols + c] = bHi[c * bl + k];
                    }
                std::vector<T> out(static_cast<size_t>(cols) * 2 * w), outT(out.size());
                ASSERT_EQ(Api<T>::invRow(bLo.data() + 1, bl * sizeof(T), bHi.data() + 1, bl * sizeof(T),
                                         OzriSize{w, cols}, out.data(), 2 * w * sizeof(T), phase),
                          ozrStatusOk);
                ASSERT_EQ(Api<T>::invCol(bLoT.data() + cols, cs, bHiT.data() + cols, cs, OzriSize{cols, w},
                                         outT.data(), cs, phase),
                          ozrStatusOk);
                for (int c = 0; c < cols; ++c)
                    for (int i = 0; i < 2 * w; ++i) ASSERT_EQ(outT[i * cols + c], out[c * 2 * w + i]);
            }
}

// Rows long enough to cross the row kernels' internal blocks, and columns
// long enough for many row-permutation cycles, against the model.
TYPED_TEST(WholeTile, LargeTilesMatchModel) {
    using T = TypeParam;
    Rng rng(17);
    const int sizes[][2] = {{1025, 4}, {1100, 5}, {2051, 3}, {3, 1031}, {17, 700}};
    for (auto& sz : sizes)
        for (int ph = 0; ph < 4; ++ph) {
            const int W = sz[0], H = sz[1];
            const OzriRect rect{ph & 1, ph >> 1, W, H};
            const std::vector<T> src = randomImage<T>(rng, W, H, Api<T>::lo, Api<T>::hi);
            Tile<T> tile(W, H);
            tile.load(src);
            int size = 0;
            ASSERT_EQ(Api<T>::sizeIR(&rect, &size), ozrStatusOk);
            WorkBuffer buf(size, true);
            ASSERT_EQ(Api<T>::fwdIR(tile.data(), tile.step(), &rect, buf.p), ozrStatusOk);
            std::vector<T> want = src;
            modelFwd2d(want, rect.x, rect.y, W, H);
            ASSERT_EQ(tile.region(), want) << W << "x" << H << " phase " << ph;
            ASSERT_EQ(Api<T>::invIR(tile.data(), tile.step(), &rect, buf.p), ozrStatusOk);
            ASSERT_EQ(tile.region(), src);
        }
}

// ------------------------------------------------------------ edge cases
TEST(WholeTileEdges, NarrowTilesAndBufferSizes) {
    int size = -1;
    OzriRect r{0, 0, 2, 2};
    EXPECT_EQ(ozriWTGetBufSize_B53_JPEG2K_16s_C1IR(&r, &size), ozrStatusOk);
    EXPECT_EQ(size, 0);
    r = {0, 0, 3, 1};
    EXPECT_EQ(ozriWTGetBufSize_B53_JPEG2K_16s_C1IR(&r, &size), ozrStatusOk);
    EXPECT_EQ(size, 14);
    EXPECT_EQ(ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(&r, &size), ozrStatusOk);
    EXPECT_EQ(size, 28);
    r = {0, 0, 5, 9};
    EXPECT_EQ(ozriWTGetBufSize_B53_JPEG2K_32s_C1R(&r, &size), ozrStatusOk);
    EXPECT_EQ(size, 4 * 9 + 16 + 32 * 9);
    // A size beyond the int range is refused rather than wrapped.
    r = {0, 0, 40000, 40000};
    size = -1;
    EXPECT_EQ(ozriWTGetBufSize_B53_JPEG2K_32s_C1R(&r, &size), ozrStatusBadSize);
    EXPECT_EQ(size, -1);

    // W = 1 with odd x doubles forward and halves toward zero inverse.
    uint8_t dummy[1];
    Ozr32s one = -7;
    OzriRect r1{1, 0, 1, 1};
    EXPECT_EQ(ozriWTFwd_B53_JPEG2K_32s_C1IR(&one, 4, &r1, dummy), ozrStatusOk);
    EXPECT_EQ(one, -14);
    one = -7;
    EXPECT_EQ(ozriWTInv_B53_JPEG2K_32s_C1IR(&one, 4, &r1, dummy), ozrStatusOk);
    EXPECT_EQ(one, -3);
    // W = 2, even x: (a, b) -> (a + ((b - a + 1) >> 1), b - a).
    Ozr16s p[2] = {10, 3};
    OzriRect r2{4, 2, 2, 1};
    EXPECT_EQ(ozriWTFwd_B53_JPEG2K_16s_C1IR(p, 4, &r2, dummy), ozrStatusOk);
    EXPECT_EQ(p[0], 10 + ((3 - 10 + 1) >> 1));
    EXPECT_EQ(p[1], 3 - 10);
}

// ----------------------------------------------------------- twin kernels
namespace sc = ozr::wt53::scalar;
namespace vx = ozr::wt53::ssse3;

// Each elementwise kernel, full-range random input, every length 1..64,
// every element offset 0..7 of each pointer: scalar and vector agree.
template <class T, bool Wrap>
void checkElementKernels(Rng& rng) {
    const int lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 8; ++off) {
            // Inputs end exactly where the kernels must stop reading.
            const int offs[4] = {off, (off * 3 + 1) % 8, (off + 5) % 8, 7 - off};
            std::vector<T> in[4];
            for (int k = 0; k < 4; ++k) {
                in[k].resize(n + offs[k]);
                rng.fill(in[k].data(), in[k].size(), lo, hi);
            }
            const T* a = in[0].data() + offs[0];
            const T* b = in[1].data() + offs[1];
            const T* c = in[2].data() + offs[2];
            const T* d = in[3].data() + offs[3];
            std::vector<T> s1(n + 16, 0), s2(n + 16, 0), v1(n + 16, 0), v2(n + 16, 0);
            T* o1 = s1.data() + off;
            T* o2 = s2.data() + (off + 1) % 8;
            T* p1 = v1.data() + off;
            T* p2 = v2.data() + (off + 1) % 8;
            auto same = [&](const char* what) {
                ASSERT_EQ(s1, v1) << what << " n=" << n << " off=" << off;
                ASSERT_EQ(s2, v2) << what << " n=" << n << " off=" << off;
            };
            sc::predict<T, Wrap>(o1, a, b, c, n);
            vx::predict<T, Wrap>(p1, a, b, c, n);
            same("predict");
            sc::update<T, Wrap>(o1, a, b, c, n);
            vx::update<T, Wrap>(p1, a, b, c, n);
            same("update");
            sc::ipredict<T, Wrap>(o1, a, b, c, n);
            vx::ipredict<T, Wrap>(p1, a, b, c, n);
            same("ipredict");
            sc::iupdate<T, Wrap>(o1, a, b, c, n);
            vx::iupdate<T, Wrap>(p1, a, b, c, n);
            same("iupdate");
            sc::fwdLift<T, Wrap>(a, b, c, o1, d, o2, n);
            vx::fwdLift<T, Wrap>(a, b, c, p1, d, p2, n);
            same("fwdLift");
            sc::invLift<T, Wrap>(a, b, c, d, o1, o2, n);
            vx::invLift<T, Wrap>(a, b, c, d, p1, p2, n);
            same("invLift");
            // In place, outputs over their own rows (as the tile sweep runs).
            std::vector<T> x0s(a, a + n), x1s(b, b + n), x0v(a, a + n), x1v(b, b + n);
            sc::fwdLift<T, Wrap>(x0s.data(), x1s.data(), c, x0s.data(), d, x1s.data(), n);
            vx::fwdLift<T, Wrap>(x0v.data(), x1v.data(), c, x0v.data(), d, x1v.data(), n);
            ASSERT_EQ(x0s, x0v);
            ASSERT_EQ(x1s, x1v);
            sc::invLift<T, Wrap>(x0s.data(), x1s.data(), c, d, x1s.data(), x0s.data(), n);
            vx::invLift<T, Wrap>(x0v.data(), x1v.data(), c, d, x1v.data(), x0v.data(), n);
            ASSERT_EQ(x0s, x0v);
            ASSERT_EQ(x1s, x1v);
        }
}

TEST(Wt53Kernels, ElementKernelsScalarAndVectorAgree) {
    Rng rng(21);
    checkElementKernels<int16_t, false>(rng);
    checkElementKernels<int16_t, true>(rng);
    checkElementKernels<int32_t, false>(rng);
}

// 16-bit vector lanes reproduce 32-bit sums exactly, even where a 16-bit
// sum would overflow; the wrapping mode is what 16-bit arithmetic gives.
TEST(Wt53Kernels, SixteenBitModesAtTheRangeEnds) {
    const int16_t big[16] = {32767, 32767, -32768, -32768, 32767, -32768, 32766, -32767,
                             32767, 32767, -32768, -32768, 32767, -32768, 32766, -32767};
    const int16_t zero[16] = {};
    int16_t e[16], w[16];
    vx::predict<int16_t, false>(e, zero, big, big, 16);
    vx::predict<int16_t, true>(w, zero, big, big, 16);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(e[i], static_cast<int16_t>(-((2 * big[i]) >> 1)));
        EXPECT_EQ(w[i], static_cast<int16_t>(-(static_cast<int16_t>(2 * big[i]) >> 1)));
    }
    vx::update<int16_t, false>(e, zero, big, big, 16);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(e[i], static_cast<int16_t>((2 * big[i] + 2) >> 2));
}

template <class T>
void checkRowKernels(Rng& rng) {
    const int lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    for (int n = 1; n <= 64; ++n)
        for (int off = 0; off < 8; ++off)
            for (int phase = 0; phase < 2; ++phase) {
                // Sources hold exactly the documented read ranges (the sanitizer
                // build catches one sample more): x[-2+phase .. 2n+phase],
                // lo[-phase .. n-phase], hi[-1 .. n].
                const int o2 = (off * 5 + 3) % 8;
                std::vector<T> x(off + 2 * n + 3), a(off + n + 1), b(o2 + n + 2);
                rng.fill(x.data(), x.size(), lo, hi);
                rng.fill(a.data(), a.size(), lo, hi);
                rng.fill(b.data(), b.size(), lo, hi);
                const T* xp = x.data() + off + 2 - phase;
                std::vector<T> ls(n + 8, 1), hs(n + 8, 2), lv(ls), hv(hs);
                sc::rowFwd<T>(xp, ls.data() + off % 4, hs.data() + 3 - off % 4, n, phase);
                vx::rowFwd<T>(xp, lv.data() + off % 4, hv.data() + 3 - off % 4, n, phase);
                ASSERT_EQ(ls, lv) << "rowFwd n=" << n << " off=" << off << " phase=" << phase;
                ASSERT_EQ(hs, hv) << "rowFwd n=" << n << " off=" << off << " phase=" << phase;
                const T* lp = a.data() + off + phase;
                const T* hp = b.data() + o2 + 1;
                std::vector<T> xs(2 * n + 8, 3), xv(xs);
                sc::rowInv<T>(lp, hp, xs.data() + off % 4, n, phase);
                vx::rowInv<T>(lp, hp, xv.data() + off % 4, n, phase);
                ASSERT_EQ(xs, xv) << "rowInv n=" << n << " off=" << off << " phase=" << phase;
            }
}

TEST(Wt53Kernels, RowKernelsScalarAndVectorAgree) {
    Rng rng(22);
    checkRowKernels<int16_t>(rng);
    checkRowKernels<int32_t>(rng);
}

// ColLift: one call per row pair with the documented formulas; 16s wraps.
TEST(Wt53ColLift, FormulasAndSixteenBitWrap) {
    Rng rng(31);
    for (int n : {1, 7, 15, 16, 17, 40}) {
        std::vector<Ozr16s> s0(n), s1(n), s2(n), hp(n), lo(n), hi(n);
        rng.fill(s0.data(), n, -32768, 32767);
        rng.fill(s1.data(), n, -32768, 32767);
        rng.fill(s2.data(), n, -32768, 32767);
        rng.fill(hp.data(), n, -32768, 32767);
        s0[0] = s2[0] = 30000;  // the 16-bit sum wraps
        ASSERT_EQ(ozriWTFwdColLift_B53_JPEG2K_16s_C1(s0.data(), s1.data(), s2.data(), lo.data(), hp.data(), hi.data(), n),
                  ozrStatusOk);
        for (int i = 0; i < n; ++i) {
            const int16_t h = static_cast<int16_t>(s1[i] - (static_cast<int16_t>(s0[i] + s2[i]) >> 1));
            ASSERT_EQ(hi[i], h);
            ASSERT_EQ(lo[i], static_cast<int16_t>(s0[i] + (static_cast<int16_t>(hp[i] + h + 2) >> 2)));
        }
        std::vector<Ozr16s> od(n), ev(n);
        ASSERT_EQ(ozriWTInvColLift_B53_JPEG2K_16s_C1(s0.data(), s1.data(), s2.data(), hp.data(), od.data(), ev.data(), n),
                  ozrStatusOk);
        for (int i = 0; i < n; ++i) {
            const int16_t e = static_cast<int16_t>(s0[i] - (static_cast<int16_t>(s1[i] + s2[i] + 2) >> 2));
            ASSERT_EQ(ev[i], e);
            ASSERT_EQ(od[i], static_cast<int16_t>(s1[i] + (static_cast<int16_t>(hp[i] + e) >> 1)));
        }
        std::vector<Ozr32s> a(n), b(n), c(n), d(n), o1(n), o2(n);
        rng.fill(a.data(), n, -1000000, 1000000);
        rng.fill(b.data(), n, -1000000, 1000000);
        rng.fill(c.data(), n, -1000000, 1000000);
        rng.fill(d.data(), n, -1000000, 1000000);
        ASSERT_EQ(ozriWTFwdColLift_B53_JPEG2K_32s_C1(a.data(), b.data(), c.data(), o1.data(), d.data(), o2.data(), n),
                  ozrStatusOk);
        for (int i = 0; i < n; ++i) {
            const int h = b[i] - ((a[i] + c[i]) >> 1);
            ASSERT_EQ(o2[i], h);
            ASSERT_EQ(o1[i], a[i] + ((d[i] + h + 2) >> 2));
        }
        ASSERT_EQ(ozriWTInvColLift_B53_JPEG2K_32s_C1(a.data(), b.data(), c.data(), d.data(), o1.data(), o2.data(), n),
                  ozrStatusOk);
        for (int i = 0; i < n; ++i) {
            const int e = a[i] - ((b[i] + c[i] + 2) >> 2);
            ASSERT_EQ(o2[i], e);
            ASSERT_EQ(o1[i], b[i] + ((d[i] + e) >> 1));
        }
    }
}

}  // namespace
