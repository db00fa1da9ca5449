// Generated from the table of the services: one function each.
#include "client_calls.h"
#include "quon_mcu_client.h"

using quon::typed::ask;
using quon::typed::kServices;
using quon::typed::tell;

// clang-format off

quon_mcu_status quon_mcu_client_get_ver(quon_mcu_client* client, quon_mcu_version* reply, int32_t timeout_ms) {
    return ask(client, kServices[0], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wakeup_info(quon_mcu_client* client, quon_mcu_wakeup_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[1], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_allwakeup_info(quon_mcu_client* client, quon_mcu_wakeup_context* reply, int32_t timeout_ms) {
    return ask(client, kServices[2], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_time(quon_mcu_client* client, const quon_mcu_time* request, int32_t timeout_ms) {
    return tell(client, kServices[3], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_time(quon_mcu_client* client, quon_mcu_time* reply, int32_t timeout_ms) {
    return ask(client, kServices[4], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_led(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[5], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_battery_status(quon_mcu_client* client, quon_mcu_battery_status* reply, int32_t timeout_ms) {
    return ask(client, kServices[6], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_pir_switch(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[7], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_pir_sensitivity(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[8], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_pir_info(quon_mcu_client* client, quon_mcu_pir_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[9], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_pir_info(quon_mcu_client* client, const quon_mcu_pir_info* request, int32_t timeout_ms) {
    return tell(client, kServices[10], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wifi_connect(quon_mcu_client* client, const quon_mcu_wifi_connect* request, int32_t timeout_ms) {
    return tell(client, kServices[11], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wifi_disconnect(quon_mcu_client* client, int32_t timeout_ms) {
    return tell(client, kServices[12], nullptr, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wifi_status(quon_mcu_client* client, quon_mcu_wifi_status* reply, int32_t timeout_ms) {
    return ask(client, kServices[13], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wifi_info(quon_mcu_client* client, quon_mcu_wifi_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[14], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wifi_keepalive(quon_mcu_client* client, const quon_mcu_wifi_keepalive* request, int32_t timeout_ms) {
    return tell(client, kServices[15], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wifi_extended_info(quon_mcu_client* client, const quon_mcu_wifi_extended_info* request, int32_t timeout_ms) {
    return tell(client, kServices[16], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wifi_scanf_info(quon_mcu_client* client, const quon_mcu_selector* request, quon_mcu_wifi_scanf_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[17], request, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_system_state(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[18], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_event_info(quon_mcu_client* client, quon_mcu_event_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[19], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_upg_start(quon_mcu_client* client, const quon_mcu_upg_start* request, quon_mcu_zero_word* reply, int32_t timeout_ms) {
    return ask(client, kServices[20], request, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_upg_transmit(quon_mcu_client* client, const quon_mcu_upg_block* request, quon_mcu_zero_word* reply, int32_t timeout_ms) {
    return ask(client, kServices[21], request, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_upg_finish(quon_mcu_client* client, quon_mcu_zero_word* reply, int32_t timeout_ms) {
    return ask(client, kServices[22], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_store_params(quon_mcu_client* client, const quon_mcu_store_params* request, int32_t timeout_ms) {
    return tell(client, kServices[23], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_store_params(quon_mcu_client* client, quon_mcu_store_params* reply, int32_t timeout_ms) {
    return ask(client, kServices[24], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wdg_state(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[25], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wdg_state(quon_mcu_client* client, quon_mcu_wdg_state_text* reply, int32_t timeout_ms) {
    return ask(client, kServices[26], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wdg_period(quon_mcu_client* client, const quon_mcu_wdg_period* request, int32_t timeout_ms) {
    return tell(client, kServices[27], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wdg_feed(quon_mcu_client* client, int32_t timeout_ms) {
    return tell(client, kServices[28], nullptr, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_alarm(quon_mcu_client* client, const quon_mcu_alarm* request, int32_t timeout_ms) {
    return tell(client, kServices[29], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_alarm(quon_mcu_client* client, quon_mcu_alarm* reply, int32_t timeout_ms) {
    return ask(client, kServices[30], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_crash_test(quon_mcu_client* client, int32_t timeout_ms) {
    return tell(client, kServices[31], nullptr, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_ap_start(quon_mcu_client* client, const quon_mcu_ap_start* request, int32_t timeout_ms) {
    return tell(client, kServices[32], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_ap_stop(quon_mcu_client* client, int32_t timeout_ms) {
    return tell(client, kServices[33], nullptr, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_err_report(quon_mcu_client* client, quon_mcu_err_report* reply, int32_t timeout_ms) {
    return ask(client, kServices[34], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_system(quon_mcu_client* client, const quon_mcu_shell_command* request, quon_mcu_shell_status* reply, int32_t timeout_ms) {
    return ask(client, kServices[35], request, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_popen(quon_mcu_client* client, const quon_mcu_shell_command* request, quon_mcu_shell_output* reply, int32_t timeout_ms) {
    return ask(client, kServices[36], request, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_log_profile(quon_mcu_client* client, const quon_mcu_log_profile_request* request, int32_t timeout_ms) {
    return tell(client, kServices[37], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_log_profile(quon_mcu_client* client, quon_mcu_log_profile* reply, int32_t timeout_ms) {
    return ask(client, kServices[38], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_soc_min_ver(quon_mcu_client* client, quon_mcu_soc_min_version* reply, int32_t timeout_ms) {
    return ask(client, kServices[39], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_uart_switch(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[40], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_wakeup_info(quon_mcu_client* client, const quon_mcu_wakeup_info* request, int32_t timeout_ms) {
    return tell(client, kServices[41], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_status_info(quon_mcu_client* client, quon_mcu_status_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[42], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_charge_auto_poweron(quon_mcu_client* client, const quon_mcu_charge_auto_poweron* request, int32_t timeout_ms) {
    return tell(client, kServices[43], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_cmd(quon_mcu_client* client, const quon_mcu_raw_command* request, int32_t timeout_ms) {
    return tell(client, kServices[44], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_tamper_info(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms) {
    return tell(client, kServices[45], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_config_info(quon_mcu_client* client, quon_mcu_config_info* reply, int32_t timeout_ms) {
    return ask(client, kServices[46], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_bit_err_rate(quon_mcu_client* client, quon_mcu_bit_err_rate* reply, int32_t timeout_ms) {
    return ask(client, kServices[47], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_socup_time(quon_mcu_client* client, quon_mcu_socup_time* reply, int32_t timeout_ms) {
    return ask(client, kServices[48], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_wifi_extended_status(quon_mcu_client* client, quon_mcu_wifi_extended_status* reply, int32_t timeout_ms) {
    return ask(client, kServices[49], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_set_soc_time_info(quon_mcu_client* client, const quon_mcu_soc_time_info* request, int32_t timeout_ms) {
    return tell(client, kServices[50], request, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_soc_time_list(quon_mcu_client* client, quon_mcu_soc_time_list* reply, int32_t timeout_ms) {
    return ask(client, kServices[51], nullptr, reply, timeout_ms);
}

quon_mcu_status quon_mcu_client_get_soc_time_cur_info(quon_mcu_client* client, quon_mcu_soc_time_cur* reply, int32_t timeout_ms) {
    return ask(client, kServices[52], nullptr, reply, timeout_ms);
}
// clang-format on
