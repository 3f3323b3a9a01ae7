// Exported DXT encoders and decoders: argument checks, then the image walk
// over the SSSE3 block kernels.
#include <algorithm>
#include <cstring>

#include "core/frame.h"
#include "texture/dxt.h"

namespace ozr {
namespace texture {

// ------------------------------------------------------------------ image walks
void encodeImage(const uint8_t* src, int srcStep, OzriSize roi, uint8_t* dst, int bytesPerPixel,
                 int blockBytes, EncodeBlockFn block) {
    const int bpp = bytesPerPixel;
    for (int64_t by = 0; by < roi.height; by += 4) {
        const int h = static_cast<int>(std::min<int64_t>(4, roi.height - by));
        const uint8_t* row = src + static_cast<std::ptrdiff_t>(srcStep) * by;
        for (int64_t bx = 0; bx < roi.width; bx += 4) {
            const int w = static_cast<int>(std::min<int64_t>(4, roi.width - bx));
            const uint8_t* p = row + bx * bpp;
            if (w == 4 && h == 4) {
                block(p, srcStep, dst);
            } else {
                // Edge block: repeat the last real column, then the last real row.
                uint8_t tmp[64];
                for (int r = 0; r < 4; ++r) {
                    const uint8_t* s = p + static_cast<std::ptrdiff_t>(srcStep) * std::min(r, h - 1);
                    for (int c = 0; c < 4; ++c)
                        std::memcpy(tmp + (4 * r + c) * bpp, s + std::min(c, w - 1) * bpp, bpp);
                }
                block(tmp, 4 * bpp, dst);
            }
            dst += blockBytes;
        }
    }
}

void decodeImage(const uint8_t* src, uint8_t* dst, int dstStep, OzriSize roi, int blockBytes,
                 DecodeRowFn row, DecodePadFn pad) {
    const int64_t blocksPerRow = (static_cast<int64_t>(roi.width) + 3) / 4;
    const int64_t groups = (roi.width / 4) / 4;  // groups of four whole blocks
    const int lastW = roi.width - 4 * static_cast<int>(blocksPerRow - 1);
    for (int64_t by = 0; by < roi.height; by += 4) {
        const int h = static_cast<int>(std::min<int64_t>(4, roi.height - by));
        uint8_t* out = dst + static_cast<std::ptrdiff_t>(dstStep) * by;
        int64_t b = 0;
        if (h == 4)
            for (; b < 4 * groups; b += 4) row(src + b * blockBytes, out + 16 * b, dstStep);
        for (; b < blocksPerRow; ++b)
            pad(src + b * blockBytes, out + 16 * b, dstStep, b == blocksPerRow - 1 ? lastW : 4, h);
        src += blocksPerRow * blockBytes;
    }
}

}  // namespace texture
}  // namespace ozr

namespace {

using namespace ozr::texture;

// Encoders: source, destination, source step (0 only: negative steps walk
// bottom-up images), size.
OzrStatus encode(const Ozr8u* pSrc, int srcStep, OzriSize roi, Ozr8u* pDst, int bpp,
                 int blockBytes, EncodeBlockFn fn) {
    if (OzrStatus st = ozr::firstFailure(ozr::ptr(pSrc), ozr::ptr(pDst),
                                         ozr::failIf(srcStep == 0, ozrStatusBadStep), ozr::size(roi)))
        return st;
    encodeImage(pSrc, srcStep, roi, pDst, bpp, blockBytes, fn);
    return ozrStatusOk;
}

// Decoders: source, destination, destination step (0 only), size.
OzrStatus decode(const Ozr8u* pSrc, Ozr8u* pDst, int dstStep, OzriSize roi, int blockBytes,
                 DecodeRowFn row, DecodePadFn pad) {
    if (OzrStatus st = ozr::firstFailure(ozr::ptr(pSrc), ozr::ptr(pDst),
                                         ozr::failIf(dstStep == 0, ozrStatusBadStep), ozr::size(roi)))
        return st;
    decodeImage(pSrc, pDst, dstStep, roi, blockBytes, row, pad);
    return ozrStatusOk;
}

}  // namespace

extern "C" OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const Ozr8u* pSrc, int srcStep,
                                                                         OzriSize roiSize, Ozr8u* pDst) {
    return encode(pSrc, srcStep, roiSize, pDst, 4, 8, ozr::texture::ssse3::encode_block_rgba_dxt1);
}

extern "C" OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const Ozr8u* pSrc, int srcStep,
                                                                         OzriSize roiSize, Ozr8u* pDst) {
    return encode(pSrc, srcStep, roiSize, pDst, 4, 16, ozr::texture::ssse3::encode_block_rgba_dxt3);
}

extern "C" OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const Ozr8u* pSrc, int srcStep,
                                                                         OzriSize roiSize, Ozr8u* pDst) {
    return encode(pSrc, srcStep, roiSize, pDst, 4, 16, ozr::texture::ssse3::encode_block_rgba_dxt5);
}

extern "C" OZRAPI OzrStatus ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const Ozr8u* pSrc, int srcStep,
                                                                          OzriSize roiSize, Ozr8u* pDst) {
    return encode(pSrc, srcStep, roiSize, pDst, 3, 16, ozr::texture::ssse3::encode_block_ycocg_dxt5);
}

extern "C" OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst,
                                                                       int dstStep, OzriSize roiSize) {
    return decode(pSrc, pDst, dstStep, roiSize, 8, ozr::texture::ssse3::decodeRowDXT1,
                  ozr::texture::ssse3::decodePadDXT1);
}

extern "C" OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst,
                                                                       int dstStep, OzriSize roiSize) {
    return decode(pSrc, pDst, dstStep, roiSize, 16, ozr::texture::ssse3::decodeRowDXT3,
                  ozr::texture::ssse3::decodePadDXT3);
}

extern "C" OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst,
                                                                       int dstStep, OzriSize roiSize) {
    return decode(pSrc, pDst, dstStep, roiSize, 16, ozr::texture::ssse3::decodeRowDXT5,
                  ozr::texture::ssse3::decodePadDXT5);
}
