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

/* ============================ JPEG quantization tables and forward DCT */
/* @@ozrj:jpeg-dct@@ */

/* ====================================================== JPEG Huffman coding */
/* @@ozrj:jpeg-huffman@@ */

/* ================================================ JPEG Huffman decoding */
/* @@ozrj:jpeg-decode@@ */

/* ============================================================ lossless JPEG */
/* @@ozrj:jpeg-lossless@@ */

/* ======================================== JPEG2000 code-block decoding */
/* @@ozrj:jpeg2000-codeblock@@ */

/* ==================================================== JPEG2000 transforms */
/* @@ozrj:jpeg2000-transform@@ */

/* ========================================================== texture (DXT) */
/* @@ozrj:texture@@ */

/* ============================================================== TIFF rows */
/* @@ozrj:tiff@@ */

#ifdef __cplusplus
}
#endif

#endif /* OZRJ_H */
