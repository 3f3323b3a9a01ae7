// JPEG2000 transforms: one level of the whole-tile 5/3 wavelet on a 4096 x
// 2048 tile and the component transforms, each beside a memcpy of the same
// bytes in the same run (single thread; the functions are serial).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "ozrj.h"

namespace {

constexpr int kW = 4096, kH = 2048;

template <class T>
std::vector<T> randomSamples(size_t n, int lo, int hi) {
    std::mt19937 gen(42);
    std::uniform_int_distribution<int> d(lo, hi);
    std::vector<T> v(n);
    for (auto& x : v) x = static_cast<T>(d(gen));
    return v;
}

template <class T>
void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(kW) * kH * sizeof(T) * state.range(0);
    std::vector<uint8_t> a(bytes, 1), b(bytes, 2);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kW) * kH * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK_TEMPLATE(BM_Memcpy, int16_t)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Memcpy, int32_t)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

template <class T, bool Inverse>
void BM_WT53Tile(benchmark::State& state) {
    const OzriRect rect{static_cast<int>(state.range(0)), static_cast<int>(state.range(0)), kW, kH};
    std::vector<T> img = randomSamples<T>(static_cast<size_t>(kW) * kH, -2000, 2000);
    int size = 0;
    OzrStatus st;
    if (sizeof(T) == 2)
        st = ozriWTGetBufSize_B53_JPEG2K_16s_C1IR(&rect, &size);
    else
        st = ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect, &size);
    std::vector<Ozr8u> buf(size);
    for (auto _ : state) {
        if (sizeof(T) == 2)
            st = Inverse ? ozriWTInv_B53_JPEG2K_16s_C1IR(reinterpret_cast<Ozr16s*>(img.data()), kW * 2, &rect, buf.data())
                         : ozriWTFwd_B53_JPEG2K_16s_C1IR(reinterpret_cast<Ozr16s*>(img.data()), kW * 2, &rect, buf.data());
        else
            st = Inverse ? ozriWTInv_B53_JPEG2K_32s_C1IR(reinterpret_cast<Ozr32s*>(img.data()), kW * 4, &rect, buf.data())
                         : ozriWTFwd_B53_JPEG2K_32s_C1IR(reinterpret_cast<Ozr32s*>(img.data()), kW * 4, &rect, buf.data());
        benchmark::DoNotOptimize(st);
        benchmark::ClobberMemory();
    }
    if (st != ozrStatusOk) state.SkipWithError("status");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kW) * kH);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kW) * kH * sizeof(T));
}
BENCHMARK_TEMPLATE(BM_WT53Tile, int32_t, false)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_WT53Tile, int32_t, true)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_WT53Tile, int16_t, false)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_WT53Tile, int16_t, true)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Component transforms on three 4096 x 2048 planes (range(0) = 3 planes).
enum class Ct { RctFwd16, RctInv16, RctFwd32, RctInv32, IctFwd16, IctInv16, IctFwd32, IctInv32, IctFwdF, IctInvF, RctFwdC3 };

template <class T, Ct Which>
void BM_Component(benchmark::State& state) {
    const size_t n = static_cast<size_t>(kW) * kH;
    std::vector<T> p0, p1, p2;
    if (std::is_floating_point<T>::value) {
        p0.assign(n, T(10));
        p1.assign(n, T(20));
        p2.assign(n, T(30));
    } else {
        p0 = randomSamples<T>(n, 0, 255);
        p1 = randomSamples<T>(n, 0, 255);
        p2 = randomSamples<T>(n, 0, 255);
    }
    T* pl[3] = {p0.data(), p1.data(), p2.data()};
    std::vector<T> pix;
    if (Which == Ct::RctFwdC3) pix = randomSamples<T>(3 * n, 0, 255);
    const OzriSize roi{kW, kH};
    const int step = kW * sizeof(T);
    OzrStatus st = ozrStatusOk;
    for (auto _ : state) {
        switch (Which) {
            case Ct::RctFwd16: st = ozriRCTFwd_JPEG2K_16s_P3IR(reinterpret_cast<Ozr16s**>(pl), step, roi); break;
            case Ct::RctInv16: st = ozriRCTInv_JPEG2K_16s_P3IR(reinterpret_cast<Ozr16s**>(pl), step, roi); break;
            case Ct::RctFwd32: st = ozriRCTFwd_JPEG2K_32s_P3IR(reinterpret_cast<Ozr32s**>(pl), step, roi); break;
            case Ct::RctInv32: st = ozriRCTInv_JPEG2K_32s_P3IR(reinterpret_cast<Ozr32s**>(pl), step, roi); break;
            case Ct::IctFwd16: st = ozriICTFwd_JPEG2K_16s_P3IR(reinterpret_cast<Ozr16s**>(pl), step, roi); break;
            case Ct::IctInv16: st = ozriICTInv_JPEG2K_16s_P3IR(reinterpret_cast<Ozr16s**>(pl), step, roi); break;
            case Ct::IctFwd32: st = ozriICTFwd_JPEG2K_32s_P3IR(reinterpret_cast<Ozr32s**>(pl), step, roi); break;
            case Ct::IctInv32: st = ozriICTInv_JPEG2K_32s_P3IR(reinterpret_cast<Ozr32s**>(pl), step, roi); break;
            case Ct::IctFwdF: st = ozriICTFwd_JPEG2K_32f_P3IR(reinterpret_cast<Ozr32f**>(pl), step, roi); break;
            case Ct::IctInvF: st = ozriICTInv_JPEG2K_32f_P3IR(reinterpret_cast<Ozr32f**>(pl), step, roi); break;
            case Ct::RctFwdC3:
                st = ozriRCTFwd_JPEG2K_32s_C3P3R(reinterpret_cast<const Ozr32s*>(pix.data()), 3 * step,
                                                 reinterpret_cast<Ozr32s**>(pl), step, roi);
                break;
        }
        benchmark::DoNotOptimize(st);
        benchmark::ClobberMemory();
    }
    if (st != ozrStatusOk) state.SkipWithError("status");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));  // pixels (3 samples each)
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(3 * n * sizeof(T)));
}
BENCHMARK_TEMPLATE(BM_Component, int16_t, Ct::RctFwd16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int16_t, Ct::RctInv16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int32_t, Ct::RctFwd32)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int32_t, Ct::RctInv32)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int32_t, Ct::RctFwdC3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int16_t, Ct::IctFwd16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int16_t, Ct::IctInv16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int32_t, Ct::IctFwd32)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, int32_t, Ct::IctInv32)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, float, Ct::IctFwdF)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Component, float, Ct::IctInvF)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
