// PackBits (TIFF compression 32773) run-length coding of one row of bytes.
//
// Packets: a signed header n, then data.  0..127: n + 1 literal bytes follow;
// -127..-1: the next byte is repeated 1 - n times (2..128); -128: no-op, which
// the unpacker skips and the packer never writes.
//
// Packet choice of the packer, at the start of each packet:
//   * the next two bytes are equal: one replicate packet for the whole run of
//     that byte, at most 128 bytes (a longer run continues in the next packet);
//   * otherwise a literal.  It takes bytes one by one and ends at 128 bytes, at
//     the end of the row, before three equal bytes, and before an equal pair
//     that forms the last two bytes of the row.  An equal pair anywhere else
//     stays inside the literal.
// So two equal bytes start a replicate packet only at a packet start; inside a
// literal it takes three.  This asymmetry is part of the format we produce:
// streams are byte-identical only if it is kept.
//
// The row packer plans each packet with the eight-bytes-at-a-time scan while
// more than 127 source bytes and more than 128 bytes of room remain (a packet
// then always fits), and with the byte-by-byte definition otherwise.  Both
// plans are the same packet; scalar::packBitsRow uses the definition alone.
//
// Decisions of this implementation, beyond the packet format:
//   * A packet that does not fit in the room left is not written at all; the
//     position covers the packets completed before it and -124 is returned.
//   * The unpacker treats a negative source index like one at or past the end
//     of the source: it returns -124 without reading or moving the index.
//   * The packer writes at pDst + *pDstCurrPos whatever the sign of the
//     position: the room is counted from there, not from pDst.
#ifndef OZRJ_TIFF_PACKBITS_H
#define OZRJ_TIFF_PACKBITS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ozrj.h"

namespace ozr {
namespace tiff {

// Longest packet payload, and the biggest packet (header + payload).
constexpr int kMaxPacketRun = 128;
constexpr int kMaxPacketBytes = 129;

// One planned packet: `count` source bytes, as a run (one replicated byte) or
// a literal (copied bytes).
struct Packet {
    int count;
    bool run;
};

// Bytes the packet occupies in the output.
inline int packetBytes(Packet p) { return p.run ? 2 : 1 + p.count; }

// Writes the planned packet for src[0..) at dst: header, then the byte or
// the literal bytes.
inline void writePacket(const uint8_t* src, Packet p, uint8_t* dst) {
    if (p.run) {
        dst[0] = static_cast<uint8_t>(1 - p.count);
        dst[1] = src[0];
    } else {
        dst[0] = static_cast<uint8_t>(p.count - 1);
        std::memcpy(dst + 1, src, static_cast<size_t>(p.count));
    }
}

// The row loop shared by both packers.  plan(src, n, room) plans the packet
// at src with n source bytes and `room` output bytes left.  A packet that does
// not fit is not written; *pos always ends after the last complete packet.
template <typename Plan>
inline OzrStatus packRowWith(const uint8_t* src, int n, uint8_t* dst, int* pos, int room, Plan plan) {
    uint8_t* out = dst + static_cast<std::ptrdiff_t>(*pos);
    int used = 0;
    for (int p = 0; p < n;) {
        const Packet pk = plan(src + p, n - p, room - used);
        const int bytes = packetBytes(pk);
        if (bytes > room - used) {
            *pos += used;
            return ozrStatusRowOverrun;
        }
        writePacket(src + p, pk, out + used);
        used += bytes;
        p += pk.count;
    }
    *pos += used;
    return ozrStatusOk;
}

namespace scalar {
// The definition: plans the packet that starts at src[0] when n >= 1 bytes
// remain in the row, comparing byte by byte.
Packet planPacket(const uint8_t* src, int n);
// Packs a whole row with planPacket alone; same contract as the exported
// packer (arguments already checked).
OzrStatus packBitsRow(const uint8_t* src, int n, uint8_t* dst, int* pos, int room);
}  // namespace scalar

namespace wide {
// The same plan as scalar::planPacket, comparing eight bytes at a time through
// 64-bit words; reads only src[0..n).  Valid for every n >= 1.
Packet planPacket(const uint8_t* src, int n);
}  // namespace wide

// The row packer behind ozriPackBitsRow_TIFF_8u_C1 (arguments already checked).
OzrStatus packBitsRow(const uint8_t* src, int n, uint8_t* dst, int* pos, int room);

// The row unpacker behind ozriUnpackBitsRow_TIFF_8u_C1 (arguments checked).
OzrStatus unpackBitsRow(const uint8_t* src, int* pos, int srcLen, uint8_t* dst, int dstLen);

}  // namespace tiff
}  // namespace ozr

#endif  // OZRJ_TIFF_PACKBITS_H
