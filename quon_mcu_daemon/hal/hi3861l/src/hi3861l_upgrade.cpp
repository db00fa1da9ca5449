// The chip's firmware upgrade, driven by the caller: start, one block after another, finish.

#include <algorithm>

#include "hi3861l_api.h"
#include "hi3861l_context.h"
#include "hi3861l_query_commands.h"
#include "hi3861l_set_commands.h"
#include "quon_little_endian.h"
#include "securec.h"

namespace {

struct block_body {
    uint8_t bytes[kMcuUpgBlockSize];
};

// The caller's word, length and trailing byte, and as much data as the block declares (limited to
// its capacity); the rest of the data area stays zero.
block_body body_of(const uint8_t* block) {
    block_body body = {};
    (void)memcpy_s(body.bytes, sizeof(body.bytes), block, kMcuUpgBlockDataOffset);
    const uint32_t data_size =
        std::min<uint32_t>(quon_load_le32(block + kMcuUpgBlockLengthOffset), kMcuUpgBlockDataSize);
    if (data_size != 0) {
        (void)memcpy_s(body.bytes + kMcuUpgBlockDataOffset, kMcuUpgBlockDataSize,
                       block + kMcuUpgBlockDataOffset, data_size);
    }
    body.bytes[kMcuUpgBlockTailOffset] = block[kMcuUpgBlockTailOffset];
    return body;
}

}  // namespace

int32_t hi3861l_api_upg_start(uint8_t first, uint32_t second) {
    HI3861L_LOG(QN_LOG_INFO, "upgrade start\n");
    uint8_t body[kMcuUpgStartSize] = {first};
    quon_store_le32(body + 1, second);
    hi3861l_msg reply;
    return hi3861l_exchange(HI3861L_UPG_START, __func__, body, sizeof(body), &reply);
}

int32_t hi3861l_api_upg_transmit(const uint8_t* block) {
    if (block == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    const block_body body = body_of(block);
    hi3861l_msg reply;
    if (hi3861l_exchange(HI3861L_UPG_TRANSMIT, __func__, body.bytes, sizeof(body.bytes), &reply) !=
        0) {
        return -1;
    }
    return reply.payload[kHi3861lUpgAnswerOffset] == kHi3861lUpgAccepted ? 0 : -1;
}

int32_t hi3861l_api_upg_finish() {
    HI3861L_LOG(QN_LOG_INFO, "upgrade finish\n");
    return hi3861l_run_command(HI3861L_UPG_FINISH, __func__, nullptr, 0);
}
