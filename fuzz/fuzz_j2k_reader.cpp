// Fuzzes the codestream reader of the tools (and through it the code-block
// decoder and the inverse transforms) with arbitrary codestreams.  A damaged
// codestream must end in an error or an image, never outside a buffer.
#include <cstdint>
#include <string>

#include "../tools/j2k_reader.cpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    J2kImage image;
    std::string error;
    J2kOptions options;
    options.maxSamples = int64_t(1) << 20;  // keep hostile headers small
    j2kDecodeMemory(data, size, &image, &error, &options);
    return 0;
}
