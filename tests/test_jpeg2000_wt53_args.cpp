// Argument checks of every 5/3 member, in order: each table starts with
// every argument bad and repairs them one at a time in the documented order;
// each call must report the next check's status and leave the outputs alone.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "ozrj.h"

namespace {

struct Step {
    OzrStatus expect;
    std::function<void()> repair;
};

void runOrder(const std::function<OzrStatus()>& call, const std::vector<Step>& steps,
              const std::function<bool()>& untouched) {
    for (size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(call(), steps[i].expect) << "check " << i;
        EXPECT_TRUE(untouched()) << "written on error at check " << i;
        steps[i].repair();
    }
    EXPECT_EQ(call(), ozrStatusOk);
}

template <class T>
struct Fns;
template <>
struct Fns<Ozr16s> {
    static constexpr auto fwdRow = ozriWTFwdRow_B53_JPEG2K_16s_C1R, fwdCol = ozriWTFwdCol_B53_JPEG2K_16s_C1R;
    static constexpr auto invRow = ozriWTInvRow_B53_JPEG2K_16s_C1R, invCol = ozriWTInvCol_B53_JPEG2K_16s_C1R;
    static constexpr auto fwdLift = ozriWTFwdColLift_B53_JPEG2K_16s_C1;
    static constexpr auto invLift = ozriWTInvColLift_B53_JPEG2K_16s_C1;
    static constexpr auto sizeIR = ozriWTGetBufSize_B53_JPEG2K_16s_C1IR, sizeR = ozriWTGetBufSize_B53_JPEG2K_16s_C1R;
    static constexpr auto fwdIR = ozriWTFwd_B53_JPEG2K_16s_C1IR, invIR = ozriWTInv_B53_JPEG2K_16s_C1IR;
    static constexpr auto fwdR = ozriWTFwd_B53_JPEG2K_16s_C1R;
    static constexpr auto invR = ozriWTInv_B53_JPEG2K_16s_C1R;
};
template <>
struct Fns<Ozr32s> {
    static constexpr auto fwdRow = ozriWTFwdRow_B53_JPEG2K_32s_C1R, fwdCol = ozriWTFwdCol_B53_JPEG2K_32s_C1R;
    static constexpr auto invRow = ozriWTInvRow_B53_JPEG2K_32s_C1R, invCol = ozriWTInvCol_B53_JPEG2K_32s_C1R;
    static constexpr auto fwdLift = ozriWTFwdColLift_B53_JPEG2K_32s_C1;
    static constexpr auto invLift = ozriWTInvColLift_B53_JPEG2K_32s_C1;
    static constexpr auto sizeIR = ozriWTGetBufSize_B53_JPEG2K_32s_C1IR, sizeR = ozriWTGetBufSize_B53_JPEG2K_32s_C1R;
    static constexpr auto fwdIR = ozriWTFwd_B53_JPEG2K_32s_C1IR, invIR = ozriWTInv_B53_JPEG2K_32s_C1IR;
    static constexpr auto fwdR = ozriWTFwd_B53_JPEG2K_32s_C1R;
    static constexpr auto invR = ozriWTInv_B53_JPEG2K_32s_C1R;
};

template <class T>
class WaveletArgs : public ::testing::Test {};
using SampleTypes = ::testing::Types<Ozr16s, Ozr32s>;
TYPED_TEST_SUITE(WaveletArgs, SampleTypes);

// Plenty of samples so every valid call stays in bounds (extension included).
template <class T>
struct Mem {
    std::vector<T> in = std::vector<T>(4096, 1);
    std::vector<T> out = std::vector<T>(4096, 0x55);
    T* src() { return in.data() + 1024; }
    T* dst(int k) { return out.data() + 512 + 1024 * k; }
    bool clean() const {
        for (T v : out)
            if (v != 0x55) return false;
        return true;
    }
};

TYPED_TEST(WaveletArgs, RowAndColumnMembers) {
    using T = TypeParam;
    for (auto fwd : {Fns<T>::fwdRow, Fns<T>::fwdCol}) {
        Mem<T> m;
        const T* src = nullptr;
        T *lo = nullptr, *hi = nullptr;
        int s0 = 0, s1 = 0, s2 = -4;
        OzriSize roi{0, -1};
        runOrder([&] { return fwd(src, s0, lo, s1, hi, s2, roi, 1); },
                 {{ozrStatusNullPointer, [&] { src = m.src(); }},
                  {ozrStatusNullPointer, [&] { lo = m.dst(0); }},
                  {ozrStatusNullPointer, [&] { hi = m.dst(1); }},
                  {ozrStatusBadStep, [&] { s0 = 64; }},
                  {ozrStatusBadStep, [&] { s1 = 64; }},
                  {ozrStatusBadStep, [&] { s2 = 64; }},
                  {ozrStatusBadSize, [&] { roi.width = 4; }},
                  {ozrStatusBadSize, [&] { roi.height = 4; }}},
                 [&] { return m.clean(); });
    }
    for (auto inv : {Fns<T>::invRow, Fns<T>::invCol}) {
        Mem<T> m;
        const T *lo = nullptr, *hi = nullptr;
        T* dst = nullptr;
        int s0 = 0, s1 = -1, s2 = 0;
        OzriSize roi{0, 0};
        runOrder([&] { return inv(lo, s0, hi, s1, roi, dst, s2, 0); },
                 {{ozrStatusNullPointer, [&] { lo = m.src(); }},
                  {ozrStatusNullPointer, [&] { hi = m.src() + 512; }},
                  {ozrStatusNullPointer, [&] { dst = m.dst(1); }},
                  {ozrStatusBadStep, [&] { s0 = 64; }},
                  {ozrStatusBadStep, [&] { s1 = 64; }},
                  {ozrStatusBadStep, [&] { s2 = 64; }},
                  {ozrStatusBadSize, [&] { roi.width = 3; }},
                  {ozrStatusBadSize, [&] { roi.height = 3; }}},
                 [&] { return m.clean(); });
    }
}

TYPED_TEST(WaveletArgs, ColLiftMembers) {
    using T = TypeParam;
    Mem<T> m;
    const T *a = nullptr, *b = nullptr, *c = nullptr, *hp = nullptr;
    T *lo = nullptr, *hi = nullptr;
    int w = 0;
    runOrder([&] { return Fns<T>::fwdLift(a, b, c, lo, hp, hi, w); },
             {{ozrStatusNullPointer, [&] { a = m.src(); }},
              {ozrStatusNullPointer, [&] { b = m.src(); }},
              {ozrStatusNullPointer, [&] { c = m.src(); }},
              {ozrStatusNullPointer, [&] { lo = m.dst(0); }},
              {ozrStatusNullPointer, [&] { hp = m.src(); }},
              {ozrStatusNullPointer, [&] { hi = m.dst(1); }},
              {ozrStatusBadSize, [&] { w = 17; }}},
             [&] { return m.clean(); });
    Mem<T> n;
    const T *l = nullptr, *p = nullptr, *h = nullptr, *e = nullptr;
    T *od = nullptr, *ev = nullptr;
    int w2 = -3;
    runOrder([&] { return Fns<T>::invLift(l, p, h, e, od, ev, w2); },
             {{ozrStatusNullPointer, [&] { l = n.src(); }},
              {ozrStatusNullPointer, [&] { p = n.src(); }},
              {ozrStatusNullPointer, [&] { h = n.src(); }},
              {ozrStatusNullPointer, [&] { e = n.src(); }},
              {ozrStatusNullPointer, [&] { od = n.dst(0); }},
              {ozrStatusNullPointer, [&] { ev = n.dst(1); }},
              {ozrStatusBadSize, [&] { w2 = 5; }}},
             [&] { return n.clean(); });
}

TYPED_TEST(WaveletArgs, SizeQueriesAndInPlaceMembers) {
    using T = TypeParam;
    for (auto query : {Fns<T>::sizeIR, Fns<T>::sizeR}) {
        const OzriRect good{1, 1, 7, 5};
        const OzriRect* rect = nullptr;
        int size = -77;
        int* ps = nullptr;
        runOrder([&] { return query(rect, ps); },
                 {{ozrStatusNullPointer, [&] { rect = &good; }}, {ozrStatusNullPointer, [&] { ps = &size; }}},
                 [&] { return size == -77; });
        EXPECT_GT(size, 0);
    }
    for (auto fn : {Fns<T>::fwdIR, Fns<T>::invIR}) {
        Mem<T> m;
        const OzriRect good{1, 0, 7, 5};
        std::vector<Ozr8u> buf(256);
        T* img = nullptr;
        int step = 0;
        const OzriRect* rect = nullptr;
        Ozr8u* pb = nullptr;
        runOrder([&] { return fn(img, step, rect, pb); },
                 {{ozrStatusNullPointer, [&] { img = m.dst(0); }},
                  {ozrStatusBadStep, [&] { step = 64; }},
                  {ozrStatusNullPointer, [&] { rect = &good; }},
                  {ozrStatusNullPointer, [&] { pb = buf.data(); }}},
                 [&] { return m.clean(); });
    }
}

TYPED_TEST(WaveletArgs, BetweenImageMembers) {
    using T = TypeParam;
    {
        Mem<T> m;
        std::vector<Ozr8u> buf(4096);
        OzriRect good{0, 1, 0, 0};
        const T* src = nullptr;
        int srcStep = 0;
        const OzriRect* rect = nullptr;
        T* bands[4] = {nullptr, nullptr, nullptr, nullptr};
        int steps[4] = {0, 0, 0, 0};
        T** pBands = nullptr;
        int* pSteps = nullptr;
        Ozr8u* pb = nullptr;
        std::vector<Step> order = {{ozrStatusNullPointer, [&] { src = m.src(); }},
                                   {ozrStatusNullPointer, [&] { pBands = bands; }},
                                   {ozrStatusNullPointer, [&] { pSteps = steps; }},
                                   {ozrStatusNullPointer, [&] { rect = &good; }},
                                   {ozrStatusNullPointer, [&] { pb = buf.data(); }},
                                   {ozrStatusBadStep, [&] { srcStep = 64; }}};
        for (int b = 0; b < 4; ++b) order.push_back({ozrStatusNullPointer, [&, b] { bands[b] = m.dst(b); }});
        for (int b = 0; b < 4; ++b) order.push_back({ozrStatusBadStep, [&, b] { steps[b] = 32; }});
        order.push_back({ozrStatusBadSize, [&] { good.width = 6; }});
        order.push_back({ozrStatusBadSize, [&] { good.height = 5; }});
        runOrder([&] { return Fns<T>::fwdR(src, srcStep, rect, pBands, pSteps, pb); }, order,
                 [&] { return m.clean(); });
    }
    {
        Mem<T> m;
        std::vector<Ozr8u> buf(4096);
        OzriRect good{1, 0, -2, 0};
        const T* bands[4] = {nullptr, nullptr, nullptr, nullptr};
        int steps[4] = {-1, -1, -1, -1};
        const T** pBands = nullptr;
        const int* pSteps = nullptr;
        T* dst = nullptr;
        int dstStep = 0;
        const OzriRect* rect = nullptr;
        Ozr8u* pb = nullptr;
        std::vector<Step> order = {{ozrStatusNullPointer, [&] { pBands = bands; }},
                                   {ozrStatusNullPointer, [&] { pSteps = steps; }},
                                   {ozrStatusNullPointer, [&] { dst = m.dst(0); }},
                                   {ozrStatusNullPointer, [&] { rect = &good; }},
                                   {ozrStatusNullPointer, [&] { pb = buf.data(); }}};
        for (int b = 0; b < 4; ++b) order.push_back({ozrStatusNullPointer, [&, b] { bands[b] = m.src() + 16 * b; }});
        for (int b = 0; b < 4; ++b) order.push_back({ozrStatusBadStep, [&, b] { steps[b] = 32; }});
        order.push_back({ozrStatusBadStep, [&] { dstStep = 64; }});
        order.push_back({ozrStatusBadSize, [&] { good.width = 6; }});
        order.push_back({ozrStatusBadSize, [&] { good.height = 5; }});
        runOrder([&] { return Fns<T>::invR(pBands, pSteps, dst, dstStep, rect, pb); }, order,
                 [&] { return m.clean(); });
    }
}

}  // namespace
