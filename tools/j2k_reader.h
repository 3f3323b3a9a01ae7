// A small JPEG2000 codestream reader built on the library's public API: it
// parses the codestream (raw .j2k/.j2c, or the codestream box of a .jp2),
// reads the packets, decodes every code-block with the library's code-block
// decoder and reconstructs the samples with the library's inverse 5/3 wavelet
// and inverse reversible colour transform.
//
// Supported: SIZ, COD/COC, QCD/QCC (reversible, no quantization), one or more
// tiles and tile-parts, any precinct partition, all five progression orders
// (without POC), SOP/EPH, every code-block style except the high-throughput
// one.  Not supported: the 9/7 wavelet, RGN, POC, PPM/PPT.
#ifndef OZRJ_TOOLS_J2K_READER_H
#define OZRJ_TOOLS_J2K_READER_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

// Allocator of sample planes.  Blocks of 4 MiB and more are 2 MiB-aligned and
// marked for transparent huge pages, which spares the tens of thousands of
// page faults a 4K image's planes would otherwise take; elements are
// default-initialised, so a plane sized with resize() is not zero-filled
// (use assign(n, 0) where zeros are needed).
void* j2kAllocatePlane(size_t bytes);  // throws std::bad_alloc
void j2kFreePlane(void* p) noexcept;

template <class T>
struct J2kPlaneAllocator {
    using value_type = T;
    J2kPlaneAllocator() = default;
    template <class U>
    J2kPlaneAllocator(const J2kPlaneAllocator<U>&) noexcept {}
    T* allocate(size_t n) { return static_cast<T*>(j2kAllocatePlane(n * sizeof(T))); }
    void deallocate(T* p, size_t) noexcept { j2kFreePlane(p); }
    template <class U>
    void construct(U* p) noexcept {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... A>
    void construct(U* p, A&&... a) {
        ::new (static_cast<void*>(p)) U(static_cast<A&&>(a)...);
    }
    template <class U>
    bool operator==(const J2kPlaneAllocator<U>&) const noexcept { return true; }
    template <class U>
    bool operator!=(const J2kPlaneAllocator<U>&) const noexcept { return false; }
};

using J2kSamples = std::vector<int32_t, J2kPlaneAllocator<int32_t>>;

struct J2kComponent {
    int width = 0;   // samples per row at the component's resolution
    int height = 0;  // rows
    int precision = 0;
    bool isSigned = false;
    int dx = 1, dy = 1;             // sub-sampling factors
    J2kSamples samples;             // width * height, row-major
};

struct J2kImage {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;  // image area on the reference grid
    std::vector<J2kComponent> components;
};

struct J2kOptions {
    // Refuse images with more samples than this (all components together).
    int64_t maxSamples = int64_t(1) << 28;
    // When set, receives the seconds spent inside the code-block decoder.
    double* codeBlockSeconds = nullptr;
    // Decode code-blocks through the progressive interface, one Step per
    // codeword segment, instead of the one-call decoder.
    bool progressive = false;
};

// Decodes a codestream in memory; 0 on success, else -1 with a message.
int j2kDecodeMemory(const uint8_t* data, size_t size, J2kImage* out, std::string* error,
                    const J2kOptions* options = nullptr);
// Reads and decodes a file.
int j2kDecodeFile(const char* path, J2kImage* out, std::string* error, const J2kOptions* options = nullptr);

// Writes one component (PGM) or three components of equal size (PPM), 8-bit
// samples for precisions up to 8, else 16-bit; signed samples are shifted to
// unsigned.  0 on success, else -1 with a message.
int j2kWritePnm(const J2kImage& image, const char* path, std::string* error);

#endif  // OZRJ_TOOLS_J2K_READER_H
