/* ozrj.h - bit-exact image-compression primitives (libozrjn8.so.6).
 *
 * Every exported function is a plain C function returning an OzrStatus
 * (0 success, negative error, positive warning).  Arguments are checked
 * first, in a fixed order per family; the first failing check decides the
 * status and nothing is written.  Steps are always in bytes.  The library
 * keeps no global mutable state, reads no environment and prints nothing. */
#ifndef OZRJ_H
#define OZRJ_H

#include <stdint.h>
#include "ozrcore.h"

#if defined(OZRJ_BUILDING)
#define OZRAPI __attribute__((visibility("default")))
#else
#define OZRAPI
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ types */
typedef uint8_t  Ozr8u;   /* unsigned 8-bit sample */
typedef int16_t  Ozr16s;  /* signed 16-bit sample or coefficient */
typedef uint16_t Ozr16u;  /* unsigned 16-bit sample, also packed 555/565 pixels */
typedef int32_t  Ozr32s;  /* signed 32-bit sample or coefficient */
typedef uint32_t Ozr32u;  /* unsigned 32-bit word */
typedef float    Ozr32f;  /* IEEE 754 single-precision sample */

/* Region of interest: width (samples per row) then height (rows). */
typedef struct OzriSize { int width; int height; } OzriSize;
/* Rectangle: origin and size; the wavelet tile functions use the parity of x and y. */
typedef struct OzriRect { int x; int y; int width; int height; } OzriRect;

/* Static version record returned by ozrjGetLibVersion. */
typedef struct OzrLibraryVersion {
    int major;
    int minor;
    int majorBuild;
    int build;
    char targetCpu[4];
    const char* Name;
    const char* Version;
    const char* BuildDate;
} OzrLibraryVersion;

/* ----------------------------------------------------------- status codes */
enum {
    ozrStatusOk               = 0,    /* success */
    ozrStatusDivByZeroWarning = 6,    /* a divisor was zero; substitute value used, operation finished */
    ozrStatusError            = -1,   /* internal step failed (internal routines only) */
    ozrStatusBlockOverrun     = -2,   /* a zero run moved the coefficient index past 63 */
    ozrStatusBadArgument      = -5,   /* a scalar parameter is outside its range */
    ozrStatusBadSize          = -6,   /* width, height or length below 1, or an invalid size in a record */
    ozrStatusValueTooLarge    = -7,   /* a value's magnitude category exceeds 16 */
    ozrStatusNullPointer      = -8,   /* a required pointer (or plane pointer) is null */
    ozrStatusNoMemory         = -9,   /* an allocation through the core library failed */
    ozrStatusBadStep          = -14,  /* a row step is below 1 */
    ozrStatusContextMismatch  = -17,  /* a state record does not carry its kind's tag */
    ozrStatusBufferExhausted  = -62,  /* the source stream ended early or the destination is full */
    ozrStatusBadCodeOrValue   = -63,  /* no such code in the table, or a category too large to code */
    ozrStatusBadHuffmanTable  = -64,  /* inconsistent Huffman table or a symbol without a code */
    ozrStatusCodeBlockCorrupt = -112, /* a JPEG2000 code-block pass failed (sticky) */
    ozrStatusPassOutOfRange   = -113, /* a coding-pass index outside the coded passes */
    ozrStatusRowOverrun       = -124, /* a PackBits run does not fit in the row */
    ozrStatusNotAttached      = -180, /* progressive step before a code-block was attached */
    ozrStatusMarkerFound      = -256  /* internal: the bit reader met a JPEG marker */
};

/* ----------------------------------------------------- opaque record types */
typedef struct OzriEncodeHuffmanSpec OzriEncodeHuffmanSpec;   /* 1024 bytes */
typedef struct OzriDecodeHuffmanSpec OzriDecodeHuffmanSpec;   /* 1644 bytes */
typedef struct OzriEncodeHuffmanState OzriEncodeHuffmanState; /* 1048 bytes */
typedef struct OzriDecodeHuffmanState OzriDecodeHuffmanState; /* 24 bytes */
typedef struct OzriDecodeCBProgrState_JPEG2K OzriDecodeCBProgrState_JPEG2K; /* tag "PAMC" */
typedef struct MqEncoderState MqEncoderState;                 /* MQ encoder registers */
typedef struct MqDecoderState MqDecoderState;                 /* MQ decoder registers */

/* ============================================================ library frame */
/* Returns the static version record of the library; never fails. */
OZRAPI const OzrLibraryVersion* ozrjGetLibVersion(void);

/* Allocates len bytes through the core library; null for len below 1. */
OZRAPI Ozr8u* ozrsMalloc_8u(int len);
/* Releases a block from ozrsMalloc_8u (or any ozrMalloc block). */
OZRAPI void ozrsFree(void* ptr);
/* Copies len bytes from pSrc to pDst. */
OZRAPI OzrStatus ozrsCopy_8u(const Ozr8u* pSrc, Ozr8u* pDst, int len);
/* Fills len bytes of pDst with val. */
OZRAPI OzrStatus ozrsSet_8u(Ozr8u val, Ozr8u* pDst, int len);
/* Fills len bytes of pDst with zero. */
OZRAPI OzrStatus ozrsZero_8u(Ozr8u* pDst, int len);
/* Fills len 16-bit elements of pDst with zero. */
OZRAPI OzrStatus ozrsZero_16s(Ozr16s* pDst, int len);
/* pDst[i] = value / pSrc[i], single precision rounded to nearest even; 6 if a divisor was 0. */
OZRAPI OzrStatus ozrsDivCRev_16u(const Ozr16u* pSrc, Ozr16u value, Ozr16u* pDst, int len);
/* pSrcDst[i] = value / pSrcDst[i] in place, as ozrsDivCRev_16u. */
OZRAPI OzrStatus ozrsDivCRev_16u_I(Ozr16u value, Ozr16u* pSrcDst, int len);
/* Widens an 8u region to 16u (checks: pointers, size, steps). */
OZRAPI OzrStatus ozriConvert_8u16u_C1R(const Ozr8u* pSrc, int srcStep, Ozr16u* pDst, int dstStep, OzriSize roiSize);
/* Copies a region of 16-bit samples (checks: pointers, size). */
OZRAPI OzrStatus ozriCopy_16s_C1R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDst, int dstStep, OzriSize roiSize);
/* Copies a region of 32-bit float samples (checks: pointers, size). */
OZRAPI OzrStatus ozriCopy_32f_C1R(const Ozr32f* pSrc, int srcStep, Ozr32f* pDst, int dstStep, OzriSize roiSize);
/* Reorders a zigzag-ordered 8x8 block into natural order: pDst[i] = pSrc[zigzag(i)]. */
OZRAPI OzrStatus ozriZigzagInv8x8_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst);
/* pDst = pSrc AND value for every 32-bit sample of the region. */
OZRAPI OzrStatus ozriAndC_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s value, Ozr32s* pDst, int dstStep, OzriSize roiSize);
/* pSrcDst = pSrcDst AND value, in place. */
OZRAPI OzrStatus ozriAndC_32s_C1IR(Ozr32s value, Ozr32s* pSrcDst, int srcDstStep, OzriSize roiSize);

/* ==================================================== JPEG sample pipeline */
/* @@ozrj:jpeg-sample@@ */
/* Encoder colour conversion.  Checks: pointers (arrays, then planes, sources
 * first), steps, size.  Pixel-order YCbCr: the first floor(w/8)*8 pixels of a
 * row use 15-bit fixed point, the rest 14-bit, so equal pixels may differ by
 * one unit by position.  Y-only pixel-order forms use the 15-bit Y for every
 * pixel; CMYK pixel order and packed 555/565 the 14-bit set for every pixel;
 * planar forms a 16-bit Y and Cb/Cr from B-Y and R-Y for every pixel, the last
 * 1..3 of a row included (that Y never exceeds 255, so clamping it before the
 * differences would change nothing).  YCCK: C, M, Y are inverted before
 * conversion and K is copied unchanged.  Packed RGB forms hold red in the high
 * field and blue in bits 0-4 (BGR forms the reverse); fields become
 * f << (8 - bits), a full field giving 248 (252 for 6 bits).  Regions of 8193
 * pixels or more are split over threads; the packed forms are not. */
/* Y of pixel-order RGB (15-bit fixed point). */
OZRAPI OzrStatus ozriRGBToY_JPEG_8u_C3C1R(const Ozr8u* pSrcRGB, int srcStep, Ozr8u* pDstY, int dstStep, OzriSize roiSize);
/* Y of pixel-order BGR (15-bit fixed point). */
OZRAPI OzrStatus ozriBGRToY_JPEG_8u_C3C1R(const Ozr8u* pSrcBGR, int srcStep, Ozr8u* pDstY, int dstStep, OzriSize roiSize);
/* Y of planar RGB in single precision ((0.299R + 0.587G) + 0.114B, round to nearest even). */
OZRAPI OzrStatus ozriRGBToY_JPEG_8u_P3C1R(const Ozr8u* const pSrcRGB[3], int srcStep, Ozr8u* pDstY, int dstStep, OzriSize roiSize);
/* Pixel-order RGB to Y, Cb, Cr planes (one destination step). */
OZRAPI OzrStatus ozriRGBToYCbCr_JPEG_8u_C3P3R(const Ozr8u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Pixel-order BGR to Y, Cb, Cr planes. */
OZRAPI OzrStatus ozriBGRToYCbCr_JPEG_8u_C3P3R(const Ozr8u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Planar RGB to Y, Cb, Cr planes (16-bit Y, Cb/Cr from the differences). */
OZRAPI OzrStatus ozriRGBToYCbCr_JPEG_8u_P3R(const Ozr8u* const pSrcRGB[3], int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Packed x-R5-G5-B5 pixels (red in bits 10-14) to Y, Cb, Cr planes. */
OZRAPI OzrStatus ozriRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Packed x-B5-G5-R5 pixels (blue in bits 10-14) to Y, Cb, Cr planes. */
OZRAPI OzrStatus ozriBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Packed R5-G6-B5 pixels (red in bits 11-15) to Y, Cb, Cr planes. */
OZRAPI OzrStatus ozriRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcRGB, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Packed B5-G6-R5 pixels (blue in bits 11-15) to Y, Cb, Cr planes. */
OZRAPI OzrStatus ozriBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Ozr16u* pSrcBGR, int srcStep, Ozr8u* pDstYCbCr[3], int dstStep, OzriSize roiSize);
/* Pixel-order CMYK to Y, Cb, Cr, K planes (inverted C, M, Y; 14-bit fixed point). */
OZRAPI OzrStatus ozriCMYKToYCCK_JPEG_8u_C4P4R(const Ozr8u* pSrcCMYK, int srcStep, Ozr8u* pDstYCCK[4], int dstStep, OzriSize roiSize);
/* Planar CMYK to Y, Cb, Cr, K planes (inverted C, M, Y; planar arithmetic). */
OZRAPI OzrStatus ozriCMYKToYCCK_JPEG_8u_P4R(const Ozr8u* const pSrcCMYK[4], int srcStep, Ozr8u* pDstYCCK[4], int dstStep, OzriSize roiSize);

/* Level shift and sampling of planes.  Checks: source pointer, source step,
 * (source size), destination pointer, destination step, (destination) size.
 * The destination size drives the samplers; the caller provides the source
 * samples they read, including the up-samplers' neighbours outside the source
 * region (the column left of it and right of the last doubled sample; for
 * H2V2 also the row above it and, for an even destination height, the row
 * below it).  All but the horizontal up-sampler split rows over threads from
 * 8193 destination samples on. */
/* pDst = pSrc - 128 as signed 16-bit samples. */
OZRAPI OzrStatus ozriSub128_JPEG_8u16s_C1R(const Ozr8u* pSrc, int srcStep, Ozr16s* pDst, int dstStep, OzriSize roiSize);
/* Halves rows: (a + b + 1) >> 1 over source columns 2k, 2k+1. */
OZRAPI OzrStatus ozriSampleDownH2V1_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst, int dstStep, OzriSize dstRoiSize);
/* Halves rows and columns: (a + b + c + d + 3) >> 2 over each 2x2 block. */
OZRAPI OzrStatus ozriSampleDownH2V2_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst, int dstStep, OzriSize dstRoiSize);
/* pDst = pSrc + 128 saturated to 0..255. */
OZRAPI OzrStatus ozriAdd128_JPEG_16s8u_C1R(const Ozr16s* pSrc, int srcStep, Ozr8u* pDst, int dstStep, OzriSize roiSize);
/* Doubles rows with the 3:1 triangle filter, rounding 1 (even outputs) and 2 (odd); calling thread only. */
OZRAPI OzrStatus ozriSampleUpH2V1_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst, int dstStep, OzriSize dstRoiSize);
/* Doubles rows and columns with the 3:1 triangle filter, rounding 8 (even outputs) and 7 (odd). */
OZRAPI OzrStatus ozriSampleUpH2V2_JPEG_8u_C1R(const Ozr8u* pSrc, int srcStep, OzriSize srcRoiSize, Ozr8u* pDst, int dstStep, OzriSize dstRoiSize);

/* ============================ JPEG quantization tables and forward DCT */
/* @@ozrj:jpeg-dct@@ */
/* Scales a zigzag raw table in place by quality (1..; <50: 5000/q, else 200-2q); entries 1..255, any quality above 100 gives all 1. */
OZRAPI OzrStatus ozriQuantFwdRawTableInit_JPEG_8u(Ozr8u* pQuantRawTable, int qualityFactor);
/* Builds the natural-order forward table round(32768/Q) from a zigzag raw table; a step of 0 gives 65535 and returns 6. */
OZRAPI OzrStatus ozriQuantFwdTableInit_JPEG_8u16u(const Ozr8u* pQuantRawTable, Ozr16u* pQuantFwdTable);
/* Quantizes a transformed block in place: F*T/32768 rounded half up (exact for |F| < 4096). */
OZRAPI OzrStatus ozriQuantFwd8x8_JPEG_16s_C1I(Ozr16s* pSrcDst, const Ozr16u* pQuantFwdTable);
/* Fixed-point forward DCT of 64 level-shifted samples, quantized with ties to even; pSrc may equal pDst. */
OZRAPI OzrStatus ozriDCTQuantFwd8x8_JPEG_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst, const Ozr16u* pQuantFwdTable);
/* In-place form of ozriDCTQuantFwd8x8_JPEG_16s_C1. */
OZRAPI OzrStatus ozriDCTQuantFwd8x8_JPEG_16s_C1I(Ozr16s* pSrcDst, const Ozr16u* pQuantFwdTable);
/* Level shift (-128), fixed-point forward DCT and ties-to-even quantization of an 8x8 8u region. */
OZRAPI OzrStatus ozriDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Ozr8u* pSrc, int srcStep, Ozr16s* pDst, const Ozr16u* pQuantFwdTable);
/* 12-bit path: samples read as signed 16-bit minus 2048, float DCT, times the float table (1/Q), clamped (NaN: 32767), rounded to even. */
OZRAPI OzrStatus ozriDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Ozr16u* pSrc, int srcStep, Ozr16s* pDst, const Ozr32f* pQuantFwdTable);

/* ====================================================== JPEG Huffman coding */
/* @@ozrj:jpeg-huffman@@ */
/* Reports the size of an encoder Huffman table record (1024). */
OZRAPI OzrStatus ozriEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
/* Builds an encoder table record from 16 code counts and the symbol list (DHT form). */
OZRAPI OzrStatus ozriEncodeHuffmanSpecInit_JPEG_8u(const Ozr8u* pListBits, const Ozr8u* pListVals, OzriEncodeHuffmanSpec* pSpec);
/* Allocates and builds an encoder table record; release it with ozriEncodeHuffmanSpecFree_JPEG_8u. */
OZRAPI OzrStatus ozriEncodeHuffmanSpecInitAlloc_JPEG_8u(const Ozr8u* pListBits, const Ozr8u* pListVals, OzriEncodeHuffmanSpec** ppSpec);
/* Releases a table record from ozriEncodeHuffmanSpecInitAlloc_JPEG_8u. */
OZRAPI OzrStatus ozriEncodeHuffmanSpecFree_JPEG_8u(OzriEncodeHuffmanSpec* pSpec);
/* Builds an optimal code-count/symbol list (codes up to 16 bits, none all 1-bits) from 256 symbol counts; all counts zero gives an empty table. */
OZRAPI OzrStatus ozriEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256], Ozr8u* pListBits, Ozr8u* pListVals);
/* Reports the size of the Huffman encoder state (1048). */
OZRAPI OzrStatus ozriEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
/* Initialises an encoder state (no pending bits). */
OZRAPI OzrStatus ozriEncodeHuffmanStateInit_JPEG_8u(OzriEncodeHuffmanState* pState);
/* Allocates and initialises an encoder state; release it with ozriEncodeHuffmanStateFree_JPEG_8u. */
OZRAPI OzrStatus ozriEncodeHuffmanStateInitAlloc_JPEG_8u(OzriEncodeHuffmanState** ppState);
/* Releases a state from ozriEncodeHuffmanStateInitAlloc_JPEG_8u. */
OZRAPI OzrStatus ozriEncodeHuffmanStateFree_JPEG_8u(OzriEncodeHuffmanState* pState);
/* Huffman-codes one natural-order 8x8 block at *pDstCurrPos with byte stuffing, or with bFlushState pads the pending bits with 1-bits and resets the state. */
OZRAPI OzrStatus ozriEncodeHuffman8x8_JPEG_16s1u_C1(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* pDcTable, const OzriEncodeHuffmanSpec* pAcTable, OzriEncodeHuffmanState* pEncHuffState, int bFlushState);
/* Huffman-codes one block at bit position *pDstBitsLen (no length limit: the caller guarantees room). */
OZRAPI OzrStatus ozriEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Ozr16s* pSrc, Ozr8u* pDst, int* pDstBitsLen, Ozr16s* pLastDC, const OzriEncodeHuffmanSpec* pDcTable, const OzriEncodeHuffmanSpec* pAcTable);
/* Huffman-codes the category of one value and its magnitude bits, or flushes. */
OZRAPI OzrStatus ozriEncodeHuffmanOne_JPEG_16s1u_C1(const Ozr16s* pSrc, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, const OzriEncodeHuffmanSpec* pTable, OzriEncodeHuffmanState* pEncHuffState, int bFlushState);
/* Adds the DC and AC symbols of one block to the counts. */
OZRAPI OzrStatus ozriGetHuffmanStatistics8x8_JPEG_16s_C1(const Ozr16s* pSrc, int pDcStatistics[256], int pAcStatistics[256], Ozr16s* pLastDC);
/* Adds the category of one value to the counts. */
OZRAPI OzrStatus ozriGetHuffmanStatisticsOne_JPEG_16s_C1(const Ozr16s* pSrc, int pStatistics[256]);

/* ================================================ JPEG Huffman decoding */
/* @@ozrj:jpeg-decode@@ */
/* Decoding reads ahead up to 32 bits; 0xFF 0x00 is a data 0xFF, 0xFF 0xFF a fill byte, 0xFF xx a
 * marker: xx goes to *pMarker (the caller clears it, re-initialises the state and the DC
 * predictors), the position moves past it and nothing more is read.  A trailing lone 0xFF is left
 * unread as the end of the data.  A symbol or magnitude read that fails consumes no bits.  A table
 * record whose bounds point outside its symbol list decodes as a bad code.  A state with a count
 * outside 0..32 is rejected with ozrStatusBadSize, a negative *pSrcCurrPos with
 * ozrStatusBadArgument (both after the pointer checks).
 * Direct form: *pSrcBitsLen is 8 x the next source byte to read (a multiple of 8 on return),
 * *pPrefetchedBits / *pNumValidPrefetchedBits the bits read ahead (count 0..32, else
 * ozrStatusBadArgument).  No length bound: the data must end with a marker.  A symbol cut short by
 * the marker ends the block with ozrStatusOk (at an AC symbol the read-ahead is dropped and the
 * position stays past the marker); magnitude bits cut short or an unknown code give
 * ozrStatusBadCodeOrValue.  Passing the three values back unchanged continues the stream. */
/* *pSize = 1644, the size of a decoder Huffman table record. */
OZRAPI OzrStatus ozriDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
/* Builds a decoder table record from DHT-style BITS (16 counts) and HUFFVAL. */
OZRAPI OzrStatus ozriDecodeHuffmanSpecInit_JPEG_8u(const Ozr8u* pListBits, const Ozr8u* pListVals, OzriDecodeHuffmanSpec* pSpec);
/* Allocates and builds a decoder table record; stored in *ppSpec even when the table is bad. */
OZRAPI OzrStatus ozriDecodeHuffmanSpecInitAlloc_JPEG_8u(const Ozr8u* pListBits, const Ozr8u* pListVals, OzriDecodeHuffmanSpec** ppSpec);
/* Releases a table record from ozriDecodeHuffmanSpecInitAlloc_JPEG_8u. */
OZRAPI OzrStatus ozriDecodeHuffmanSpecFree_JPEG_8u(OzriDecodeHuffmanSpec* pSpec);
/* *pSize = 24, the size of a decoder state. */
OZRAPI OzrStatus ozriDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
/* Zeroes a decoder state (bit buffer, count, end-of-band run, position). */
OZRAPI OzrStatus ozriDecodeHuffmanStateInit_JPEG_8u(OzriDecodeHuffmanState* pState);
/* Allocates and zeroes a decoder state. */
OZRAPI OzrStatus ozriDecodeHuffmanStateInitAlloc_JPEG_8u(OzriDecodeHuffmanState** ppState);
/* Releases a state from ozriDecodeHuffmanStateInitAlloc_JPEG_8u. */
OZRAPI OzrStatus ozriDecodeHuffmanStateFree_JPEG_8u(OzriDecodeHuffmanState* pState);
/* Decodes one 8x8 block (natural order) from pSrc[*pSrcCurrPos..srcLenBytes); the state's position field gets 64 minus the open AC positions (0 if the DC failed; unchanged on ozrStatusBlockOverrun). */
OZRAPI OzrStatus ozriDecodeHuffman8x8_JPEG_1u16s_C1(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker, const OzriDecodeHuffmanSpec* pDcTable, const OzriDecodeHuffmanSpec* pAcTable, OzriDecodeHuffmanState* pDecHuffState);
/* Decodes one block with the read-ahead kept by the caller (Direct form: see the notes above). */
OZRAPI OzrStatus ozriDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Ozr8u* pSrc, int* pSrcBitsLen, Ozr16s* pDst, Ozr16s* pLastDC, int* pMarker, Ozr32u* pPrefetchedBits, int* pNumValidPrefetchedBits, const OzriDecodeHuffmanSpec* pDcTable, const OzriDecodeHuffmanSpec* pAcTable);
/* Decodes one category symbol plus magnitude bits; category 16 and above gives -32768 without bits; nothing stored on error. */
OZRAPI OzrStatus ozriDecodeHuffmanOne_JPEG_1u16s_C1(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst, int* pMarker, const OzriDecodeHuffmanSpec* pTable, OzriDecodeHuffmanState* pDecHuffState);

/* ============================================================ lossless JPEG */
/* @@ozrj:jpeg-lossless@@ */
/* Samples and differences are 16-bit words, all arithmetic modulo 65536.  The forward prediction
 * may run in place (pDst == pSrc), as may the reconstruction; pPrevRow must not overlap pDst.  With
 * Pt >= P the first sample's prediction 2^(P-Pt-1) is taken as 0.  Predictions read the samples as
 * signed 16-bit values, so for 16-bit samples of 32768 and above the halving predictors 5..7 differ
 * from decoders that use unsigned sample arithmetic (predictors 1..4 agree).  Row coding interleaves
 * nComponents rows (above 4 taken as 4) column by column; the row decoder rejects a negative
 * *pSrcCurrPos with ozrStatusBadArgument and a state count outside 0..32 with ozrStatusBadSize,
 * the row encoder a negative *pDstCurrPos and a pending count outside 0..7 likewise. */
/* First row: pDst[0] = pSrc[0] - 2^(P-Pt-1), pDst[i] = pSrc[i] - pSrc[i-1]. */
OZRAPI OzrStatus ozriDiffPredFirstRow_JPEG_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst, int width, int P, int Pt);
/* Other rows: differences from predictor 1..7 over the previous row (column 0 predicted from above). */
OZRAPI OzrStatus ozriDiffPredRow_JPEG_16s_C1(const Ozr16s* pSrc, const Ozr16s* pPrevRow, Ozr16s* pDst, int width, int predictor);
/* Inverse of ozriDiffPredFirstRow_JPEG_16s_C1: samples from first-row differences. */
OZRAPI OzrStatus ozriReconstructPredFirstRow_JPEG_16s_C1(const Ozr16s* pSrc, Ozr16s* pDst, int width, int P, int Pt);
/* Inverse of ozriDiffPredRow_JPEG_16s_C1: samples from differences and the reconstructed previous row. */
OZRAPI OzrStatus ozriReconstructPredRow_JPEG_16s_C1(const Ozr16s* pSrc, const Ozr16s* pPrevRow, Ozr16s* pDst, int width, int predictor);
/* Huffman-codes one row of up to four interleaved difference rows, or flushes the state when bFlushState is non-zero. */
OZRAPI OzrStatus ozriEncodeHuffmanRow_JPEG_16s1u_P4C1(const Ozr16s* pSrc[4], int width, int nComponents, Ozr8u* pDst, int dstLenBytes, int* pDstCurrPos, const OzriEncodeHuffmanSpec* pTables[4], OzriEncodeHuffmanState* pEncHuffState, int bFlushState);
/* Decodes one row of up to four interleaved difference rows; category 16 gives -32768 without bits. */
OZRAPI OzrStatus ozriDecodeHuffmanRow_JPEG_1u16s_C1P4(const Ozr8u* pSrc, int srcLenBytes, int* pSrcCurrPos, Ozr16s* pDst[4], int width, int nComponents, int* pMarker, const OzriDecodeHuffmanSpec* pTables[4], OzriDecodeHuffmanState* pDecHuffState);

/* ======================================== JPEG2000 code-block decoding */
/* @@ozrj:jpeg2000-codeblock@@ */
/* Code-block decoding.  Samples are sign-magnitude (bit 31 the sign).  Notes:
 * - without OZR_J2K_CB_TERM_EACH_PASS a segment carries the passes up to the
 *   next termination point (with bypass: the first four bit planes, then the
 *   raw pair and the cleanup of each plane as separate segments);
 * - the predictable-termination check runs after a cleanup pass that ends its
 *   segment (a cleanup inside a longer segment is not terminated there);
 * - a state from InitAlloc refuses (-6) a larger code-block than it was made
 *   for; a state on caller memory must be at least GetStateSize bytes;
 * - the one-call decoder takes a negative segment length as an empty segment;
 * - a magnitude bit count above 31 decodes the decisions but stores no bit at
 *   planes 31 and up. */
/* Code-block decoder mode flags (this library's own values, not the codestream's style bits). */
#define OZR_J2K_CB_VERTICALLY_CAUSAL 0x1      /* vertically stripe-causal contexts */
#define OZR_J2K_CB_BYPASS            0x2      /* selective arithmetic coding bypass */
#define OZR_J2K_CB_TERM_EACH_PASS    0x4      /* each codeword segment holds one pass */
#define OZR_J2K_CB_RESET_CTX         0x8      /* contexts reset after every pass */
#define OZR_J2K_CB_SEGMENT_SYMBOLS   0x10     /* segmentation symbol after each cleanup pass */
#define OZR_J2K_CB_CONCEAL           0x10000  /* one-call decoder conceals a corrupt block */
#define OZR_J2K_CB_KEEP_SAMPLES      0x20000  /* attach leaves the destination as it is */
#define OZR_J2K_CB_KEEP_LOW_BITS     0x40000  /* one-call decoder keeps bits below the last plane */
#define OZR_J2K_CB_KEEP_STATE        0x80000  /* attach keeps the sample-state array */
#define OZR_J2K_CB_PREDICTABLE_TERM  0x100000 /* check predictable termination after cleanup */
/* Bytes of decoder state for a code-block of the given size (-6 for a size below 1 or too large). */
OZRAPI OzrStatus ozriDecodeCBProgrGetStateSize_JPEG2K(OzriSize codeBlockSize, int* pSize);
/* Same size, under the one-call decoder's name. */
OZRAPI OzrStatus ozriDecodeGetBufSize_JPEG2K(OzriSize codeBlockSize, int* pSize);
/* Prepares caller memory as a decoder state (tag "PAMC", not attached). */
OZRAPI OzrStatus ozriDecodeCBProgrInit_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState);
/* Allocates and prepares a decoder state for code-blocks up to the given size. */
OZRAPI OzrStatus ozriDecodeCBProgrInitAlloc_JPEG2K(OzriDecodeCBProgrState_JPEG2K** ppState, OzriSize codeBlockSize);
/* Releases a state from ozriDecodeCBProgrInitAlloc_JPEG2K. */
OZRAPI OzrStatus ozriDecodeCBProgrFree_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState);
/* Attaches a code-block (sign-magnitude 32-bit samples), subband 0 LL 1 LH 2 HL 3 HH, magnitude bit count and mode flags. */
OZRAPI OzrStatus ozriDecodeCBProgrAttach_JPEG2K_32s_C1R(Ozr32s* pDst, int dstStep, OzriSize codeBlockSize, OzriDecodeCBProgrState_JPEG2K* pState, int subband, int magnBits, int flags);
/* Decodes the passes that one codeword segment carries; -112 once a pass found corruption. */
OZRAPI OzrStatus ozriDecodeCBProgrStep_JPEG2K(const Ozr8u* pSegment, int segmentLength, OzriDecodeCBProgrState_JPEG2K* pState);
/* The bit plane that the next cleanup pass decodes (-1 when all are done). */
OZRAPI OzrStatus ozriDecodeCBProgrGetCurBitPlaneNum_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState, int* pBitPlane);
/* Passes still allowed to be decoded. */
OZRAPI OzrStatus ozriDecodeCBProgrGetPassCounter_JPEG2K(OzriDecodeCBProgrState_JPEG2K* pState, int* pCounter);
/* Sets the number of passes still allowed to be decoded. */
OZRAPI OzrStatus ozriDecodeCBProgrSetPassCounter_JPEG2K(int counter, OzriDecodeCBProgrState_JPEG2K* pState);
/* Decodes a whole code-block from its segment list into sign-magnitude samples (state: caller memory of GetBufSize bytes). */
OZRAPI OzrStatus ozriDecodeCodeBlock_JPEG2K_1u32s_C1R(const Ozr8u* pSrc, Ozr32s* pDst, int dstStep, OzriSize codeBlockSize, int subband, int magnBits, int nOfPasses, const int* pSegmentLengths, int nOfSegments, int flags, int* pErrorBitPlane, OzriDecodeCBProgrState_JPEG2K* pState);

/* ==================================================== JPEG2000 transforms */
/* @@ozrj:jpeg2000-transform@@ */
/* Component transforms.  R, G, B <-> Y, Cb (blue difference), Cr (red difference); no
 * DC level shift.  Checks: pointers (and every plane pointer) -8, steps -14, size -6.
 * RCT: Y = (R + 2G + B) >> 2, Cb = B - G, Cr = R - G; inverse G = Y - ((Cb + Cr) >> 2),
 * R = Cr + G, B = Cb + G; 16s results wrap to 16 bits.  ICT 32s: 14-bit fixed point,
 * direct matrix, 32-bit wrapping, no saturation.  ICT 16s: 14-bit difference form,
 * saturated; its inverse green term is Y - ((5638 Cb + 11700 Cr + 8192) >> 14), which can
 * differ by one from the 32s member's Y + ((-5638 Cb - 11700 Cr + 8192) >> 14).  The 16s
 * forward differences B - Y and R - Y are kept in 16 bits (wrapping) before scaling, so
 * its chroma stays within about +-18500 / +-23400 and only its inverse ever saturates. */
/* Forward RCT, RGB pixels to three planes, 16-bit wrapping. */
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_16s_C3P3R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDst[3], int dstStep, OzriSize roiSize);
/* Forward RCT, RGB pixels to three planes, 32-bit. */
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_32s_C3P3R(const Ozr32s* pSrc, int srcStep, Ozr32s* pDst[3], int dstStep, OzriSize roiSize);
/* Inverse RCT, three planes to RGB pixels, 16-bit wrapping. */
OZRAPI OzrStatus ozriRCTInv_JPEG2K_16s_P3C3R(const Ozr16s* pSrc[3], int srcStep, Ozr16s* pDst, int dstStep, OzriSize roiSize);
/* Inverse RCT, three planes to RGB pixels, 32-bit. */
OZRAPI OzrStatus ozriRCTInv_JPEG2K_32s_P3C3R(const Ozr32s* pSrc[3], int srcStep, Ozr32s* pDst, int dstStep, OzriSize roiSize);
/* Forward RCT in place on three planes, 16-bit wrapping. */
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Inverse RCT in place on three planes, 16-bit wrapping. */
OZRAPI OzrStatus ozriRCTInv_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Forward RCT in place on three planes, 32-bit. */
OZRAPI OzrStatus ozriRCTFwd_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Inverse RCT in place on three planes, 32-bit. */
OZRAPI OzrStatus ozriRCTInv_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Forward ICT (YCbCr matrix), RGB float pixels to three planes. */
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32f_C3P3R(const Ozr32f* pSrc, int srcStep, Ozr32f* pDst[3], int dstStep, OzriSize roiSize);
/* Inverse ICT, three float planes to RGB pixels. */
OZRAPI OzrStatus ozriICTInv_JPEG2K_32f_P3C3R(const Ozr32f* pSrc[3], int srcStep, Ozr32f* pDst, int dstStep, OzriSize roiSize);
/* Forward ICT in place on three float planes. */
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32f_P3IR(Ozr32f* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Inverse ICT in place on three float planes. */
OZRAPI OzrStatus ozriICTInv_JPEG2K_32f_P3IR(Ozr32f* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Forward ICT in place, 14-bit fixed-point difference form, saturated to 16 bits. */
OZRAPI OzrStatus ozriICTFwd_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Inverse ICT in place, 14-bit fixed point, saturated to 16 bits. */
OZRAPI OzrStatus ozriICTInv_JPEG2K_16s_P3IR(Ozr16s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Forward ICT in place, 14-bit fixed-point direct matrix, 32-bit wrapping. */
OZRAPI OzrStatus ozriICTFwd_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize);
/* Inverse ICT in place, 14-bit fixed-point direct matrix, 32-bit wrapping. */
OZRAPI OzrStatus ozriICTInv_JPEG2K_32s_P3IR(Ozr32s* pSrcDst[3], int srcDstStep, OzriSize roiSize);

/* Reversible 5/3 wavelet (integer lifting, flooring shifts).  A sample at an even absolute
 * index is low-pass, at an odd index high-pass.
 *
 * Row/Col members filter a region whose borders the caller has extended.  Phase 0 (sample 0
 * even) forward reads x(-2)..x(2w), phase 1 reads x(-1)..x(2w+1); the inverse phase 0 reads
 * low[0..w] and high[-1..w], phase 1 low[-1..w-1] and high[-1..w] (Col: the same in rows,
 * the row above the region at pointer minus one step).  16s members give results as if
 * every sum were formed in 32 bits and the result stored in 16 bits, on every path.
 * Checks: the three pointers -8, the steps -14, width/height -6.
 *
 * ColLift members handle one row pair per call (checks: the six pointers -8, width -6);
 * the 16s pair computes every sum and shift in 16-bit wrapping arithmetic.
 *
 * Whole-tile members transform one decomposition level of a tile rectangle with symmetric
 * extension; only the parity of pTileRect->x and ->y is used.  With W x H the rectangle size
 * and nLx = (W + 1 - (x & 1)) >> 1, nLy = (H + 1 - (y & 1)) >> 1 low samples per row and per
 * column, the in-place layout is: LL in rows 0..nLy-1 x columns 0..nLx-1, HL (high
 * horizontal, low vertical) in rows 0..nLy-1 x columns nLx..W-1, LH in rows nLy..H-1 x
 * columns 0..nLx-1, HH in rows nLy..H-1 x columns nLx..W-1.
 * A decoder reconstructs resolution r from r-1 with ONE call per level: put the bands of
 * that level in the four places above of the tile-component buffer (resolution r-1's
 * samples are the LL), and call ozriWTInv_B53_JPEG2K_32s_C1IR with the rectangle of
 * resolution r in its own coordinates, {trx0, try0, trx1 - trx0, try1 - try0}, and a buffer
 * of ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect) bytes (any alignment); repeat for r + 1:
 *     for (r = 1; r <= levels; ++r) {
 *         OzriRect rc = {trx0[r], try0[r], trx1[r] - trx0[r], try1[r] - try0[r]};
 *         ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(&rc, &n);   (one buffer of the largest n serves all)
 *         ozriWTInv_B53_JPEG2K_32s_C1IR(tileComp, rowBytes, &rc, buf);
 *     }
 * The forward pair produces exactly this layout, so level r - 1 is transformed on the LL
 * quadrant with the rectangle {ceil(x/2), ceil(y/2), ceil((x+W)/2) - ceil(x/2), ...}.
 * W or H of 1 and 2 are handled as special cases.  Widths or heights below 1 do nothing.
 * 16s members use the Row/Col arithmetic (32-bit sums, 16-bit stores).
 * Checks: image -8, step -14, rectangle -8, buffer -8 (also when the size query said 0).
 * The C1R pair splits at ((W + 1) >> 1, (H + 1) >> 1) whatever the parity: band [0] LL,
 * [1] low horizontal / high vertical, [2] high horizontal / low vertical, [3] HH; it runs the
 * in-place transform on a copy in the buffer.  Buffer sizes are in bytes; a size that does
 * not fit in an int is reported as -6 by the query. */
/* Forward 5/3 on every row: 2*w extended source samples -> w low and w high. */
OZRAPI OzrStatus ozriWTFwdRow_B53_JPEG2K_16s_C1R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDstLow, int dstLowStep, Ozr16s* pDstHigh, int dstHighStep, OzriSize dstRoiSize, int phase);
/* Forward 5/3 on every row, 32-bit. */
OZRAPI OzrStatus ozriWTFwdRow_B53_JPEG2K_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s* pDstLow, int dstLowStep, Ozr32s* pDstHigh, int dstHighStep, OzriSize dstRoiSize, int phase);
/* Inverse 5/3 on every row: w low and w high (extended) -> 2*w samples. */
OZRAPI OzrStatus ozriWTInvRow_B53_JPEG2K_16s_C1R(const Ozr16s* pSrcLow, int srcLowStep, const Ozr16s* pSrcHigh, int srcHighStep, OzriSize srcRoiSize, Ozr16s* pDst, int dstStep, int phase);
/* Inverse 5/3 on every row, 32-bit. */
OZRAPI OzrStatus ozriWTInvRow_B53_JPEG2K_32s_C1R(const Ozr32s* pSrcLow, int srcLowStep, const Ozr32s* pSrcHigh, int srcHighStep, OzriSize srcRoiSize, Ozr32s* pDst, int dstStep, int phase);
/* Forward 5/3 down every column: 2*h extended source rows -> h low and h high rows. */
OZRAPI OzrStatus ozriWTFwdCol_B53_JPEG2K_16s_C1R(const Ozr16s* pSrc, int srcStep, Ozr16s* pDstLow, int dstLowStep, Ozr16s* pDstHigh, int dstHighStep, OzriSize dstRoiSize, int phase);
/* Forward 5/3 down every column, 32-bit. */
OZRAPI OzrStatus ozriWTFwdCol_B53_JPEG2K_32s_C1R(const Ozr32s* pSrc, int srcStep, Ozr32s* pDstLow, int dstLowStep, Ozr32s* pDstHigh, int dstHighStep, OzriSize dstRoiSize, int phase);
/* Inverse 5/3 down every column: h low and h high (extended) rows -> 2*h rows. */
OZRAPI OzrStatus ozriWTInvCol_B53_JPEG2K_16s_C1R(const Ozr16s* pSrcLow, int srcLowStep, const Ozr16s* pSrcHigh, int srcHighStep, OzriSize srcRoiSize, Ozr16s* pDst, int dstStep, int phase);
/* Inverse 5/3 down every column, 32-bit. */
OZRAPI OzrStatus ozriWTInvCol_B53_JPEG2K_32s_C1R(const Ozr32s* pSrcLow, int srcLowStep, const Ozr32s* pSrcHigh, int srcHighStep, OzriSize srcRoiSize, Ozr32s* pDst, int dstStep, int phase);
/* One forward lifting row pair: high = s1 - ((s0 + s2) >> 1); low = s0 + ((highPrev + high + 2) >> 2); 16-bit wrapping. */
OZRAPI OzrStatus ozriWTFwdColLift_B53_JPEG2K_16s_C1(const Ozr16s* pSrc0, const Ozr16s* pSrc1, const Ozr16s* pSrc2, Ozr16s* pDstLow, const Ozr16s* pSrcHighPrev, Ozr16s* pDstHigh, int width);
/* One forward lifting row pair, 32-bit. */
OZRAPI OzrStatus ozriWTFwdColLift_B53_JPEG2K_32s_C1(const Ozr32s* pSrc0, const Ozr32s* pSrc1, const Ozr32s* pSrc2, Ozr32s* pDstLow, const Ozr32s* pSrcHighPrev, Ozr32s* pDstHigh, int width);
/* One inverse lifting row pair: even = low - ((highPrev + high + 2) >> 2); odd = highPrev + ((evenPrev + even) >> 1); 16-bit wrapping. */
OZRAPI OzrStatus ozriWTInvColLift_B53_JPEG2K_16s_C1(const Ozr16s* pSrcLow, const Ozr16s* pSrcHighPrev, const Ozr16s* pSrcHigh, const Ozr16s* pSrcEvenPrev, Ozr16s* pDstOdd, Ozr16s* pDstEven, int width);
/* One inverse lifting row pair, 32-bit. */
OZRAPI OzrStatus ozriWTInvColLift_B53_JPEG2K_32s_C1(const Ozr32s* pSrcLow, const Ozr32s* pSrcHighPrev, const Ozr32s* pSrcHigh, const Ozr32s* pSrcEvenPrev, Ozr32s* pDstOdd, Ozr32s* pDstEven, int width);
/* Work-buffer bytes of the 16s in-place whole-tile pair: 0 if W < 3 and H < 3, else max(2W, 2H) + 8. */
OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_16s_C1IR(const OzriRect* pTileRect, int* pSize);
/* Work-buffer bytes of the 32s in-place whole-tile pair: 0 if W < 3 and H < 3, else max(4W, 4H) + 16. */
OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_32s_C1IR(const OzriRect* pTileRect, int* pSize);
/* Work-buffer bytes of the 16s C1R pair: the C1IR size + ((2W + 31) & ~31) * H. */
OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_16s_C1R(const OzriRect* pTileRect, int* pSize);
/* Work-buffer bytes of the 32s C1R pair: the C1IR size + ((4W + 31) & ~31) * H. */
OZRAPI OzrStatus ozriWTGetBufSize_B53_JPEG2K_32s_C1R(const OzriRect* pTileRect, int* pSize);
/* One forward decomposition level of a tile in place (vertical, then horizontal). */
OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_16s_C1IR(Ozr16s* pSrcDst, int srcDstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);
/* One forward decomposition level of a tile in place, 32-bit. */
OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_32s_C1IR(Ozr32s* pSrcDst, int srcDstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);
/* One inverse decomposition level of a tile in place (horizontal, then vertical). */
OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_16s_C1IR(Ozr16s* pSrcDst, int srcDstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);
/* One inverse decomposition level of a tile in place, 32-bit. */
OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_32s_C1IR(Ozr32s* pSrcDst, int srcDstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);
/* One forward level from an image to four subband images. */
OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_16s_C1R(const Ozr16s* pSrc, int srcStep, const OzriRect* pTileRect, Ozr16s* pDst[4], int dstStep[4], Ozr8u* pBuffer);
/* One forward level from an image to four subband images, 32-bit. */
OZRAPI OzrStatus ozriWTFwd_B53_JPEG2K_32s_C1R(const Ozr32s* pSrc, int srcStep, const OzriRect* pTileRect, Ozr32s* pDst[4], int dstStep[4], Ozr8u* pBuffer);
/* One inverse level from four subband images to an image. */
OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_16s_C1R(const Ozr16s* pSrc[4], const int srcStep[4], Ozr16s* pDst, int dstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);
/* One inverse level from four subband images to an image, 32-bit. */
OZRAPI OzrStatus ozriWTInv_B53_JPEG2K_32s_C1R(const Ozr32s* pSrc[4], const int srcStep[4], Ozr32s* pDst, int dstStep, const OzriRect* pTileRect, Ozr8u* pBuffer);

/* ========================================================== texture (DXT) */
/* @@ozrj:texture@@ */
/* DXT encoders: 4x4 blocks in row-major block order, ceil(w/4) per block row; edge
 * blocks repeat the last column and row.  Checks: pSrc, pDst null -8; srcStep 0 -14
 * (negative steps walk bottom-up images); width or height below 1 -6.  Real-time fit:
 * bounding box inset by range >> 4, 5:6:5 by truncation, colour0 always the larger end
 * point (four-colour mode).  YCoCg: bytes Y, Co+128, Cg+128; luma as DXT5 alpha, chroma
 * scaled by s in {1,2,4} (s-1 in the blue field; the diagonal choice and the index
 * distances use the scaled chroma); an inset chroma minimum below 0 is clamped to 0. */
/* RGBA (C4) -> DXT1 (8-byte blocks), alpha ignored. */
OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const Ozr8u* pSrc, int srcStep, OzriSize roiSize, Ozr8u* pDst);
/* RGBA (C4) -> DXT3 (16-byte blocks), alpha cut to 4 bits. */
OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const Ozr8u* pSrc, int srcStep, OzriSize roiSize, Ozr8u* pDst);
/* RGBA (C4) -> DXT5 (16-byte blocks), eight-level alpha. */
OZRAPI OzrStatus ozriTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const Ozr8u* pSrc, int srcStep, OzriSize roiSize, Ozr8u* pDst);
/* YCoCg (C3) -> scaled YCoCg-DXT5 (16-byte blocks). */
OZRAPI OzrStatus ozriTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const Ozr8u* pSrc, int srcStep, OzriSize roiSize, Ozr8u* pDst);
/* DXT decoders -> RGBA (C4); only the width x height pixels are written.  Checks: pSrc,
 * pDst null -8; dstStep 0 -14 (negative accepted); width or height below 1 -6.  Colour
 * expansion leaves the low bits zero (0xFFFF -> 248,252,248). */
/* DXT1; colour0 <= colour1 selects three colours plus opaque white; alpha 255. */
OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst, int dstStep, OzriSize roiSize);
/* DXT3; always four colours, alpha nibble a -> a << 4. */
OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst, int dstStep, OzriSize roiSize);
/* DXT5; always four colours, eight- or six-level alpha palette. */
OZRAPI OzrStatus ozriTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const Ozr8u* pSrc, Ozr8u* pDst, int dstStep, OzriSize roiSize);

/* ============================================================== TIFF rows */
/* @@ozrj:tiff@@ */
/* PackBits-compresses the row pSrc[0..srcLenBytes) into at most dstLenBytes bytes at pDst + *pDstCurrPos, advancing *pDstCurrPos by whole packets; -124 when a packet does not fit (nothing of it is written). */
OZRAPI OzrStatus ozriPackBitsRow_TIFF_8u_C1(const Ozr8u* pSrc, int srcLenBytes, Ozr8u* pDst, int* pDstCurrPos, int dstLenBytes);
/* Decodes PackBits packets from pSrc + *pSrcCurrPos (within pSrc[0..srcLenBytes)) until exactly dstLenBytes bytes are produced; *pSrcCurrPos is left at the next packet, or at the failing packet's data with -124 (also for a negative index). */
OZRAPI OzrStatus ozriUnpackBitsRow_TIFF_8u_C1(const Ozr8u* pSrc, int* pSrcCurrPos, int srcLenBytes, Ozr8u* pDst, int dstLenBytes);
/* Splits dstLen 16-bit samples into their high bytes (pDst[0]) and low bytes (pDst[1]); a length below 1 gives -14; the plane pointers are not tested. */
OZRAPI OzrStatus ozriSplitRow_TIFF_16u8u_C1(const Ozr16u* pSrc, Ozr8u* pDst[2], int dstLen);
/* Joins two byte planes into dstLen samples, pDst[i] = pSrc[0][i] << 8 | pSrc[1][i]; a length below 1 gives -14; the plane pointers are not tested. */
OZRAPI OzrStatus ozriJoinRow_TIFF_8u16u_C1(const Ozr8u* pSrc[2], Ozr16u* pDst, int dstLen);

#ifdef __cplusplus
}
#endif

#endif /* OZRJ_H */
