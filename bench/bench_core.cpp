// Frame kernels: reverse division and widening conversion, each beside the
// plain loop or memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "core/kernels.h"
#include "ozrj.h"

static void BM_DivCRev_Library(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<Ozr16u> src(n), dst(n);
    for (int i = 0; i < n; ++i) src[i] = static_cast<Ozr16u>(1 + i % 255);
    for (auto _ : st) {
        ozrsDivCRev_16u(src.data(), 32767, dst.data(), n);
        benchmark::DoNotOptimize(dst.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}
BENCHMARK(BM_DivCRev_Library)->Arg(64)->Arg(1024)->Arg(1 << 16);

static void BM_DivCRev_Scalar(benchmark::State& st) {
    const int n = static_cast<int>(st.range(0));
    std::vector<Ozr16u> src(n), dst(n);
    for (int i = 0; i < n; ++i) src[i] = static_cast<Ozr16u>(1 + i % 255);
    for (auto _ : st) {
        ozr::scalar::divCRev16u(src.data(), 32767, dst.data(), n);
        benchmark::DoNotOptimize(dst.data());
    }
    st.SetItemsProcessed(st.iterations() * n);
}
BENCHMARK(BM_DivCRev_Scalar)->Arg(64)->Arg(1024)->Arg(1 << 16);

static void BM_Convert8u16u_Library(benchmark::State& st) {
    const int w = 3840, h = 2160;
    std::vector<Ozr8u> src(static_cast<size_t>(w) * h, 7);
    std::vector<Ozr16u> dst(static_cast<size_t>(w) * h);
    for (auto _ : st) {
        ozriConvert_8u16u_C1R(src.data(), w, dst.data(), 2 * w, {w, h});
        benchmark::DoNotOptimize(dst.data());
    }
    st.SetBytesProcessed(st.iterations() * int64_t{w} * h * 3);
}
BENCHMARK(BM_Convert8u16u_Library)->Unit(benchmark::kMillisecond);

static void BM_Convert8u16u_Memcpy(benchmark::State& st) {
    // memcpy of the same bytes read and written: the memory limit.
    const int w = 3840, h = 2160;
    std::vector<Ozr8u> src(static_cast<size_t>(w) * h * 3 / 2, 7), dst(static_cast<size_t>(w) * h * 3 / 2);
    for (auto _ : st) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
    }
    st.SetBytesProcessed(st.iterations() * int64_t{w} * h * 3);
}
BENCHMARK(BM_Convert8u16u_Memcpy)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
