#include "remote_wakeup.h"

#include "mcu_call.h"
#include "mcu_records.h"
#include "quon_little_endian.h"
#include "securec.h"
#include "websocket.h"

namespace {

bool is_remote_wakeup(uint8_t reason) {
    return reason == 1 || reason == 3 || reason == 13;
}

void take_server_address(ws_preinit_param& param, const uint8_t* store) {
    uint32_t ip = 0;
    (void)memcpy_s(&ip, sizeof(ip), store + kMcuStoreServerIpOffset, sizeof(ip));
    const uint16_t port = quon_load_le16(store + kMcuStoreServerPortOffset);
    if (ip != 0 && port != 0) {
        param.server_ip = ip;
        param.server_port = port;
    }
}

}  // namespace

void quon_mcu_start_remote_wakeup(const uint8_t* context, bool has_store_params) {
    ws_preinit_param param = {};
    if (has_store_params) {
        take_server_address(param, context + kMcuContextStoreOffset);
    }
    param.remote_wakeup = is_remote_wakeup(context[kMcuWakeupReasonOffset]) ? 1 : 0;
    param.get_ip_update_status = quon_mcu_get_ipaddr_update_status;
    (void)websocket_local_server_init(&param);
}

int quon_mcu_get_ipaddr_update_status(int* value) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::yes,
                                         "mcu_get_ipaddr_update_status failed"};
    uint32_t* updated = reinterpret_cast<uint32_t*>(value);
    if (call_mcu(kRow, &mcu_ops::get_ipaddr_update_status, updated) != 0) {
        return -1;
    }
    return static_cast<int>(sizeof(*updated));
}
