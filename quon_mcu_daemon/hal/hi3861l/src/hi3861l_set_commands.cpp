#include "hi3861l_set_commands.h"

#include "hi3861l_api.h"
#include "hi3861l_context.h"
#include "hi3861l_transport.h"
#include "quon_little_endian.h"
#include "securec.h"

namespace {

constexpr int32_t kTimeYearBase = 2000;

}  // namespace

int32_t hi3861l_run_command(hi3861l_msg_type type, const char* name, const void* body,
                            uint32_t size) {
    hi3861l_msg request{.type = type, .payload = {}, .len = size};
    if (size != 0) {
        (void)memcpy_s(request.payload, sizeof(request.payload), body, size);
    }
    if (hi3861l_send_msg_async(&request) != 0) {
        return hi3861l_failed(name, __LINE__, "hi3861l_send_msg_async failed");
    }
    return 0;
}

int32_t hi3861l_api_set_time(const uint8_t* time) {
    if (time == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    if (hi3861l_run_command(HI3861L_SET_TIME, __func__, time, kMcuTimeSize) != 0) {
        return -1;
    }
    int8_t part[6];
    (void)memcpy_s(part, sizeof(part), time, sizeof(part));
    HI3861L_LOG(QN_LOG_INFO, "time: %04d-%02d-%02d %02d:%02d:%02d\n", part[0] + kTimeYearBase,
                part[1], part[2], part[3], part[4], part[5]);
    return 0;
}

int32_t hi3861l_api_set_system_state(uint8_t state) {
    HI3861L_LOG(QN_LOG_INFO, "enSysState: %d\n", state);
    return hi3861l_run_command(HI3861L_SET_SYSTEM_STATE, __func__, &state, sizeof(state));
}

int32_t hi3861l_api_set_wdg_period(uint32_t period) {
    uint8_t body[kMcuWdgPeriodSize];
    quon_store_le32(body, period);
    return hi3861l_run_command(HI3861L_SET_WDG_PERIOD, __func__, body, sizeof(body));
}

int32_t hi3861l_api_set_cmd(const uint8_t* bytes, int32_t len) {
    if (bytes == nullptr || len < 0 || static_cast<uint32_t>(len) > kHi3861lPayloadSize) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    return hi3861l_run_command(HI3861L_SET_CMD, __func__, bytes, static_cast<uint32_t>(len));
}
