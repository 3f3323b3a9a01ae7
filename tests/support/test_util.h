// Helpers shared by the unit tests: deterministic random data, guarded
// buffers that detect writes outside a region, thread-count scoping.
#ifndef OZRJ_TEST_UTIL_H
#define OZRJ_TEST_UTIL_H

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "ozrj.h"

namespace ozrtest {

// Deterministic generator used by every test.
class Rng {
public:
    explicit Rng(uint32_t seed = 12345) : gen_(seed) {}
    uint32_t u32() { return gen_(); }
    int range(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen_); }
    template <typename T>
    void fill(T* p, size_t n, int lo, int hi) {
        for (size_t i = 0; i < n; ++i) p[i] = static_cast<T>(range(lo, hi));
    }
    void bytes(void* p, size_t n) {
        auto* b = static_cast<uint8_t*>(p);
        for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(gen_());
    }

private:
    std::mt19937 gen_;
};

// A byte image with a guard margin around it and a row step of its own; the
// region starts at an offset so that rows may be misaligned.
struct GuardedImage {
    static constexpr int kGuard = 64;
    std::vector<uint8_t> mem;
    int step = 0;
    int rows = 0;
    int offset = 0;
    GuardedImage(int rowBytes, int rows_, int extraStep = 0, int misalign = 0, uint8_t fill = 0xA5)
        : step(rowBytes + extraStep), rows(rows_), offset(kGuard + misalign) {
        mem.assign(static_cast<size_t>(step) * rows + 2 * kGuard + misalign + 16, fill);
    }
    uint8_t* data() { return mem.data() + offset; }
    template <typename T>
    T* as() { return reinterpret_cast<T*>(data()); }
};

// Sets the library's thread count for a scope and restores it afterwards.
class ThreadScope {
public:
    explicit ThreadScope(int n) : saved_(ozrGetNumThreads()) { ozrSetNumThreads(n); }
    ~ThreadScope() { ozrSetNumThreads(saved_); }

private:
    int saved_;
};

}  // namespace ozrtest

#endif
