// Block decoding over arbitrary bytes and tables: the stateful decoder (with
// its fast kernel checked against the careful path on every block) and the
// Direct form, whose data always ends with a marker.
//
// Input: flags byte; then, unless flags bit 0 is clear (standard tables), a
// DC and an AC table as 16 BITS bytes plus that many HUFFVAL bytes each; the
// rest is entropy-coded data.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "jpeg/huffdec.h"

namespace {

const uint8_t kDcBits[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const uint8_t kDcVals[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
const uint8_t kAcBits[16] = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d};
const uint8_t kAcVals[162] = {
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22,
    0x71, 0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33,
    0x62, 0x72, 0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34,
    0x35, 0x36, 0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55,
    0x56, 0x57, 0x58, 0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76,
    0x77, 0x78, 0x79, 0x7a, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96,
    0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5,
    0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4,
    0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1,
    0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa};

// Builds a table from the input; the record is used whatever Init said, so
// partly filled records are decoded with too.
void takeTable(const uint8_t*& p, const uint8_t* end, OzriDecodeHuffmanSpec* spec) {
    uint8_t bits[16] = {}, vals[256] = {};
    for (int i = 0; i < 16 && p < end; ++i) bits[i] = *p++;
    int n = 0;
    for (int i = 0; i < 16; ++i) n += bits[i];
    for (int i = 0; i < n && i < 256 && p < end; ++i) vals[i] = *p++;
    ozriDecodeHuffmanSpecInit_JPEG_8u(bits, vals, spec);
}

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > (1u << 20)) return 0;
    const uint8_t flags = data[0];
    const uint8_t* p = data + 1;
    const uint8_t* end = data + size;
    OzriDecodeHuffmanSpec dc, ac;
    if (flags & 1) {
        takeTable(p, end, &dc);
        takeTable(p, end, &ac);
    } else {
        ozriDecodeHuffmanSpecInit_JPEG_8u(kDcBits, kDcVals, &dc);
        ozriDecodeHuffmanSpecInit_JPEG_8u(kAcBits, kAcVals, &ac);
    }
    const int len = static_cast<int>(end - p);
    // Exactly sized copies so that any over-read is caught (an empty one
    // still needs a valid pointer).
    std::vector<uint8_t> src(p, end);
    if (src.empty()) src.reserve(1);
    std::vector<uint8_t> direct(src);
    direct.push_back(0xFF);
    direct.push_back(0xD9);

    // Stateful: careful and fast paths side by side on every block.
    {
        OzriDecodeHuffmanState st;
        ozriDecodeHuffmanStateInit_JPEG_8u(&st);
        int pos = 0, marker = 0;
        Ozr16s lastDC = 0;
        for (int b = 0; b < 4096; ++b) {
            int m1 = marker, m2 = marker;
            auto rf = ozr::huffdec::stateReader(src.data(), len, pos, &m1, &st);
            auto rc = rf;
            rc.marker = &m2;
            Ozr16s of[64], oc[64], dcF = lastDC, dcC = lastDC;
            int pf = st.position, pc = st.position;
            const bool took = ozr::huffdec::decodeBlockFast(rf, of, &dcF, &dc, &ac, &pf);
            const OzrStatus s = ozr::huffdec::decodeBlockCareful(rc, oc, &dcC, &dc, &ac, &pc);
            if (took) {
                check(s == ozrStatusOk && std::memcmp(of, oc, sizeof of) == 0 && dcF == dcC && pf == pc);
                check(rf.pos == rc.pos && rf.count == rc.count && m1 == m2);
                check((rf.buf & 0xFFFFFFFFu) == (rc.buf & 0xFFFFFFFFu));
            }
            // The exported function must agree with the careful path.
            Ozr16s oe[64];
            int pe = pos, me = marker;
            OzriDecodeHuffmanState se = st;
            Ozr16s dcE = lastDC;
            const OzrStatus e = ozriDecodeHuffman8x8_JPEG_1u16s_C1(src.data(), len, &pe, oe, &dcE, &me, &dc, &ac, &se);
            check(e == s && pe == rc.pos && me == m2 && se.count == rc.count && dcE == dcC);
            check(pe >= 0 && pe <= len && se.count >= 0 && se.count <= 32);
            if (s == ozrStatusOk || s == ozrStatusBlockOverrun) check(std::memcmp(oe, oc, sizeof oe) == 0);
            pos = pe;
            st = se;
            lastDC = dcE;
            marker = me;
            if (e == ozrStatusBufferExhausted) break;
            if (marker) {  // resynchronise after a marker as a codec would
                if (pos >= len) break;
                marker = 0;
                ozriDecodeHuffmanStateInit_JPEG_8u(&st);
                lastDC = 0;
            } else if (e != ozrStatusOk) {
                break;
            }
        }
    }

    // Direct: until the closing marker.
    {
        int bitsLen = (flags & 2) ? 8 * (flags >> 4) : 0;
        if (bitsLen / 8 > len) bitsLen = 0;
        int nbits = 0, marker = 0;
        Ozr32u pref = 0;
        Ozr16s lastDC = 0, out[64];
        for (int b = 0; b < 4096; ++b) {
            const OzrStatus s = ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(direct.data(), &bitsLen, out, &lastDC,
                                                                          &marker, &pref, &nbits, &dc, &ac);
            check(bitsLen >= 0 && bitsLen / 8 <= len + 2 && nbits >= 0 && nbits <= 32);
            if (marker) {
                if (bitsLen / 8 >= len + 2) break;  // the closing marker
                marker = 0;
                nbits = 0;
                lastDC = 0;
            } else if (s != ozrStatusOk) {
                break;
            }
        }
    }
    return 0;
}
