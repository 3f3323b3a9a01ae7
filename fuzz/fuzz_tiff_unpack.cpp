// PackBits unpacking over arbitrary bytes, row lengths and start positions;
// the packer over the same bytes as a row with an arbitrary room.  Source and
// destination live in exactly-sized heap blocks so that any access outside
// them is caught by the address sanitizer.
//
// Input: two bytes row length, one byte start position, one byte packer room,
// then the source bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ozrj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4 || size > (1u << 20)) return 0;
    const int rowLen = 1 + ((data[0] | data[1] << 8) % 2048);
    const int start = data[2] < 0xF0 ? 0 : data[2] - 0xF4;  // -4 .. 11 now and then
    const int room = 1 + data[3] * 3;
    const int srcLen = static_cast<int>(size - 4);
    std::unique_ptr<uint8_t[]> src(new uint8_t[srcLen ? srcLen : 1]);
    if (srcLen) std::memcpy(src.get(), data + 4, static_cast<size_t>(srcLen));

    // Unpack row after row until the stream fails.
    std::unique_ptr<uint8_t[]> row(new uint8_t[rowLen]);
    int pos = start;
    for (int rows = 0; rows < 64; ++rows) {
        const int before = pos;
        const OzrStatus st = ozriUnpackBitsRow_TIFF_8u_C1(src.get(), &pos, srcLen, row.get(), rowLen);
        if (srcLen < 1) {
            if (st != ozrStatusBadSize || pos != before) abort();
            break;
        }
        if (st == ozrStatusOk) {
            if (pos <= before || pos > srcLen) abort();
            continue;
        }
        if (st != ozrStatusRowOverrun) abort();
        if (before < 0 || before >= srcLen ? pos != before : (pos <= before || pos > srcLen)) abort();
        break;
    }

    // Pack the source as one row; whatever fits is whole packets that unpack
    // to a prefix of the row, and all of it when the call succeeds.
    if (srcLen < 1) return 0;
    std::unique_ptr<uint8_t[]> packed(new uint8_t[room]);
    int out = 0;
    const OzrStatus st = ozriPackBitsRow_TIFF_8u_C1(src.get(), srcLen, packed.get(), &out, room);
    if ((st != ozrStatusOk && st != ozrStatusRowOverrun) || out < 0 || out > room) abort();
    if (out == 0) {
        if (st == ozrStatusOk) abort();
        return 0;
    }
    int produced = 0;  // row bytes the written packets stand for
    for (int i = 0; i < out;) {
        const int h = static_cast<int8_t>(packed[i]);
        if (h == -128) abort();
        produced += h < 0 ? 1 - h : h + 1;
        i += h < 0 ? 2 : h + 2;
        if (i > out) abort();
    }
    if (produced > srcLen || (st == ozrStatusOk) != (produced == srcLen)) abort();
    std::unique_ptr<uint8_t[]> back(new uint8_t[produced]);
    int at = 0;
    if (ozriUnpackBitsRow_TIFF_8u_C1(packed.get(), &at, out, back.get(), produced) != ozrStatusOk || at != out ||
        std::memcmp(back.get(), src.get(), static_cast<size_t>(produced)) != 0)
        abort();
    return 0;
}
