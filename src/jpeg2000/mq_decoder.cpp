// MQ decoder: tables, initialisation, decisions and the check of a
// predictably terminated segment.
#include "jpeg2000/mq.h"

namespace ozr {
namespace mq {


const int32_t owniInitialCtxIndexes_JPEG2K[kContexts] = {46, 3, 4, 0, 0, 0, 0, 0, 0, 0,
                                                         0,  0, 0, 0, 0, 0, 0, 0, 0};
const int32_t owniInitialMPS_JPEG2K[kContexts] = {0};

void mqDecoderInit(MqDecoderState* s, const uint8_t* data, int length) {
    s->data = data;
    s->length = length;
    s->pos = 0;
    s->marker = 0;
    const uint32_t b = length < 1 ? 0xFFu : data[0];
    s->C = (0xFFu - b) << 16;
    byteIn(*s);
    s->C <<= 7;
    s->CT -= 7;
    s->A = 0x8000;
}

void mqDecoderResetCtx(MqDecoderState* s) {
    for (int i = 0; i < kContexts; ++i) {
        s->index[i] = static_cast<uint32_t>(owniInitialCtxIndexes_JPEG2K[i]);
        s->mps[i] = static_cast<uint32_t>(owniInitialMPS_JPEG2K[i]);
    }
}

uint32_t mqDecoderDecode(MqDecoderState* s, int cx) { return decode(*s, cx); }

uint32_t mqDecoderDecodeSign(MqDecoderState* s, uint32_t packed) {
    return decode(*s, static_cast<int>(packed & 0xF)) ^ (packed >> 31);
}

int mqDecoderCheckErrPredTerm(MqDecoderState* s) {
    if (byteAt(*s, s->pos) != 0xFF && !s->marker) return 1;
    if (s->CT != 0) {
        if (!s->marker) return 1;
        if (s->CT == 1) return 0;
    } else {
        if (!s->marker && byteAt(*s, s->pos + 1) < 0x90) return 1;
        s->CT = 8;
    }
    uint32_t k = s->CT - 1;
    uint32_t q = 0x8000u >> k;
    s->A -= q;
    if (s->A > (s->C >> 16)) return 1;
    s->C -= s->A << 16;
    for (;;) {
        q <<= 1;
        s->C <<= 1;
        if (q & 0x8000u) break;
        if (k == 0) {
            byteIn(*s);
            k = s->CT - 1;
        } else {
            --k;
        }
    }
    s->A = q;
    s->CT = k;
    return 0;
}

}  // namespace mq
}  // namespace ozr
