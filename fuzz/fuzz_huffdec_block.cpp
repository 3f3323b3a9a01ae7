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

#include "fuzz_tables.h"
#include "jpeg/huffdec.h"

using namespace ozrfuzz;
using namespace ozr::jpegstd;

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
        ozriDecodeHuffmanSpecInit_JPEG_8u(kDcLumaBits, kDcLumaVals, &dc);
        ozriDecodeHuffmanSpecInit_JPEG_8u(kAcLumaBits, kAcLumaVals, &ac);
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
