#include <string.h>

#include <algorithm>

#include "hi3861l_commands.h"
#include "hi3861l_driver.h"
#include "quon_little_endian.h"

namespace {

constexpr int32_t kUpgradeTimeoutMs = 3000;
constexpr int32_t kTimeYearBase = 2000;

// The caller's words and trailing byte, and as much data as the block says it has (at most what it
// has room for); the rest of the data area stays zero.
hi3861l_msg make_block_request(const uint8_t* block) {
    hi3861l_msg request{.type = HI3861L_UPG_TRANSMIT, .payload = {}, .len = MCU_UPG_BLOCK_SIZE};
    memcpy(request.payload, block, MCU_UPG_BLOCK_DATA_OFFSET);
    const uint32_t data_size = std::min<uint32_t>(
        quon_load_le32(block + MCU_UPG_BLOCK_LENGTH_OFFSET), MCU_UPG_BLOCK_DATA_SIZE);
    memcpy(request.payload + MCU_UPG_BLOCK_DATA_OFFSET, block + MCU_UPG_BLOCK_DATA_OFFSET,
           data_size);
    request.payload[MCU_UPG_BLOCK_TAIL_OFFSET] = block[MCU_UPG_BLOCK_TAIL_OFFSET];
    return request;
}

}  // namespace

int32_t hi3861l_run_command(const hi3861l_command& command, const void* body, uint32_t size) {
    hi3861l_msg request{.type = command.type, .payload = {}, .len = size};
    if (size != 0) {
        memcpy(request.payload, body, size);
    }
    if (hi3861l_send_msg_async(&request) != 0) {
        return hi3861l_failed(command.name, __LINE__, "hi3861l_send_msg_async failed");
    }
    return 0;
}

int32_t hi3861l_api_set_time(const uint8_t* time) {
    if (time == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    if (hi3861l_run_command({HI3861L_SET_TIME, __func__}, time, MCU_TIME_SIZE) != 0) {
        return -1;
    }
    int8_t part[6];
    memcpy(part, time, sizeof(part));
    QnLogPrint(QN_LOG_INFO, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__,
               "time: %04d-%02d-%02d %02d:%02d:%02d\n", part[0] + kTimeYearBase, part[1], part[2],
               part[3], part[4], part[5]);
    return 0;
}

int32_t hi3861l_api_set_system_state(uint8_t state) {
    QnLogPrint(QN_LOG_INFO, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__, "enSysState: %d\n",
               state);
    return hi3861l_run_command({HI3861L_SET_SYSTEM_STATE, __func__}, &state, sizeof(state));
}

int32_t hi3861l_api_set_wdg_period(uint32_t period) {
    uint8_t body[MCU_WDG_PERIOD_SIZE];
    quon_store_le32(body, period);
    return hi3861l_run_command({HI3861L_SET_WDG_PERIOD, __func__}, body, sizeof(body));
}

int32_t hi3861l_api_set_cmd(const uint8_t* bytes, int32_t len) {
    if (bytes == nullptr || len < 0 || static_cast<uint32_t>(len) > HI3861L_PAYLOAD_SIZE) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    return hi3861l_run_command({HI3861L_SET_CMD, __func__}, bytes, static_cast<uint32_t>(len));
}

int32_t hi3861l_api_upg_start(uint8_t first, uint32_t second) {
    QnLogPrint(QN_LOG_INFO, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__, "upgrade start\n");
    hi3861l_msg request{.type = HI3861L_UPG_START, .payload = {first}, .len = MCU_UPG_START_SIZE};
    quon_store_le32(request.payload + 1, second);
    hi3861l_msg reply{.type = HI3861L_UPG_START, .payload = {}, .len = 0};
    if (hi3861l_send_msg_sync(&request, &reply, kUpgradeTimeoutMs) != 0) {
        return hi3861l_failed(__func__, __LINE__, "hi3861l_send_msg_sync failed");
    }
    return 0;
}

int32_t hi3861l_api_upg_transmit(const uint8_t* block) {
    if (block == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    const hi3861l_msg request = make_block_request(block);
    hi3861l_msg reply{.type = HI3861L_UPG_TRANSMIT, .payload = {}, .len = 0};
    if (hi3861l_send_msg_sync(&request, &reply, kUpgradeTimeoutMs) != 0) {
        return hi3861l_failed(__func__, __LINE__, "hi3861l_send_msg_sync failed");
    }
    return reply.payload[HI3861L_UPG_ANSWER_OFFSET] == HI3861L_UPG_ACCEPTED ? 0 : -1;
}

int32_t hi3861l_api_upg_finish() {
    QnLogPrint(QN_LOG_INFO, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__, "upgrade finish\n");
    return hi3861l_run_command({HI3861L_UPG_FINISH, __func__}, nullptr, 0);
}
