#include "hi3861l_init.h"

#include <stdio.h>
#include <stdlib.h>

#include "hi3861l_api.h"
#include "hi3861l_context.h"
#include "hi3861l_events.h"
#include "hi3861l_net_record.h"
#include "hi3861l_receive.h"
#include "hichannel_host.h"
#include "mcu_wlan.h"
#include "securec.h"

namespace {

constexpr char kPrintSource[] = "quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev";
constexpr size_t kCommandSize = 384;

// Prints a line under the name of the enclosing function, bypassing the log.
#define PRINT(format, ...)                                            \
    printf("[%s][%s][l:%d]," format "\n\r\n", kPrintSource, __func__, \
           __LINE__ __VA_OPT__(, ) __VA_ARGS__)

}  // namespace

int32_t sample_wlan_init_up() {
    char command[kCommandSize] = {};
    if (snprintf_s(command, sizeof(command), sizeof(command) - 1, "ifconfig %s up",
                   kMcuWlanInterface) < 0) {
        // cppcheck-suppress syntaxError ; cppcheck does not support __VA_OPT__ and skips this file
        PRINT("snprintf_s fail");
        return -1;
    }
    if (system(command) == -1) {
        PRINT("%s up error", kMcuWlanInterface);
        return -1;
    }
    return 0;
}

int32_t hi3861l_wlan_init_mac() {
    uint8_t info[kMcuReplyAreaSize] = {};
    if (hi3861l_get_ip_info(info) != 0) {
        return hi3861l_failed(__func__, __LINE__, "hi3861l_get_ip_info failed");
    }
    return 0;
}

// Each failing step is logged and skipped; init as a whole always succeeds. Intended.
int32_t hi3861l_api_init() {
    hi3861l_context_init();
    if (sample_wlan_init_up() != 0) {
        PRINT("sample_wlan_init_up is fail");
    }
    if (hi_channel_init() != 0) {
        PRINT("hi_channel_init is fail");
    }
    (void)hi_channel_register_rx_cb(hi3861l_rx_callback);
    hi3861l_event_init();
    if (hi3861l_wlan_init_mac() != 0) {
        (void)hi3861l_failed(__func__, __LINE__, "hi3861l_wlan_init_mac failed");
    }
    g_hi3861l.initialised = 1;
    return 0;
}

int32_t hi3861l_api_deinit() {
    hi3861l_event_deinit();
    (void)hi_channel_deinit();
    hi3861l_context_deinit();
    return 0;
}
