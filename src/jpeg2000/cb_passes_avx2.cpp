// The coding passes built for AVX2 processors: the compiler then has the
// BMI1/BMI2 bit operations for the selection masks and shifts that leave the
// count register free, which the decisions use for every renormalisation.
#include "jpeg2000/cb.h"

namespace ozr {
namespace cb {
namespace avx2 {

bool decodeSegment(OzriDecodeCBProgrState_JPEG2K* s, const uint8_t* seg, int len) {
    return kernel::decodeSegment(s, seg, len);
}

}  // namespace avx2
}  // namespace cb
}  // namespace ozr
