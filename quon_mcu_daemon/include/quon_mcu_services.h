// The daemon's services on the message bus, for C and C++ programs: the bus name, and one row per
// service in registration order. A name starting with "method" is a request with a reply; one
// starting with "signal" is a notification without.
#ifndef QUON_MCU_SERVICES_H
#define QUON_MCU_SERVICES_H

#define QUON_MCU_BUS_NAME "quon.mcu.daemon"
#define QUON_MCU_RUN_FLAG_PATH "/tmp/quon_mcu_daemon_run"

// X(index, name, handler)
// clang-format off
#define QUON_MCU_SERVICES(X) \
    X(0, "method.quon.mcu.get.ver", quon_mcu_get_version) \
    X(1, "method.quon.mcu.get.wakeup.info", quon_mcu_get_wakeup_info) \
    X(2, "method.quon.mcu.get.allwakeup.info", quon_mcu_get_allwakeup_info) \
    X(3, "signal.quon.mcu.set.time", quon_mcu_set_time) \
    X(4, "method.quon.mcu.get.time", quon_mcu_get_time) \
    X(5, "signal.quon.mcu.set.led", quon_mcu_set_led_state) \
    X(6, "method.quon.mcu.get.battery.status", quon_mcu_get_battery_status) \
    X(7, "signal.quon.mcu.set.pir.switch", quon_mcu_set_pir_switch) \
    X(8, "signal.quon.mcu.set.pir.sensitivity", quon_mcu_set_pir_sensivity) \
    X(9, "method.quon.mcu.get.pir.info", quon_mcu_get_pir_info) \
    X(10, "signal.quon.mcu.set.pir.info", quon_mcu_set_pir_info) \
    X(11, "signal.quon.mcu.set.wifi.connect", quon_mcu_set_wifi_connect) \
    X(12, "signal.quon.mcu.set.wifi.disconnect", quon_mcu_set_wifi_disconnect) \
    X(13, "method.quon.mcu.get.wifi.status", quon_mcu_get_wifi_status) \
    X(14, "method.quon.mcu.get.wifi.info", quon_mcu_get_wifi_info) \
    X(15, "signal.quon.mcu.set.wifi.keepalive", quon_mcu_set_wifi_keepalive) \
    X(16, "signal.quon.mcu.set.wifi.extended.info", quon_mcu_set_wifi_extended_info) \
    X(17, "method.quon.mcu.get.wifi.scanf.info", quon_mcu_get_wifi_scanf_info) \
    X(18, "signal.quon.mcu.set.system.state", quon_mcu_set_system_state) \
    X(19, "method.quon.mcu.get.event.info", quon_mcu_get_event_info) \
    X(20, "method.quon.mcu.upg.start", quon_mcu_upg_start) \
    X(21, "method.quon.mcu.upg.transmit", quon_mcu_upg_transmit) \
    X(22, "method.quon.mcu.upg.finish", quon_mcu_upg_finish) \
    X(23, "signal.quon.mcu.set.store.params", quon_mcu_set_store_params) \
    X(24, "method.quon.mcu.get.store.params", quon_mcu_get_store_params) \
    X(25, "signal.quon.mcu.set.wdg.state", quon_mcu_set_wdg_state) \
    X(26, "method.quon.mcu.get.wdg.state", quon_mcu_get_wdg_state) \
    X(27, "signal.quon.mcu.set.wdg.period", quon_mcu_set_wdg_period) \
    X(28, "signal.quon.mcu.set.wdg.feed", quon_mcu_set_wdg_feed) \
    X(29, "signal.quon.mcu.set.alarm", quon_mcu_set_alarm) \
    X(30, "method.quon.mcu.get.alarm", quon_mcu_get_alarm) \
    X(31, "signal.quon.mcu.set.crash.test", quon_mcu_set_crash_test) \
    X(32, "signal.quon.mcu.set.ap.start", quon_mcu_set_ap_start) \
    X(33, "signal.quon.mcu.set.ap.stop", quon_mcu_set_ap_stop) \
    X(34, "method.quon.mcu.get.err.report", quon_mcu_get_err_report) \
    X(35, "method.quon.mcu.get.system", system_call) \
    X(36, "method.quon.mcu.get.popen", popen_call) \
    X(37, "signal.quon.mcu.set.log.profile", quon_mcu_set_log_profile) \
    X(38, "method.quon.mcu.get.log.profile", quon_mcu_get_log_profile) \
    X(39, "method.quon.mcu.get.soc.min.ver", quon_mcu_get_soc_min_version) \
    X(40, "signal.quon.mcu.set.uart.switch", quon_mcu_set_uart_switch) \
    X(41, "signal.quon.mcu.set.wakeup.info", quon_mcu_set_wakeup_info) \
    X(42, "method.quon.mcu.get.status.info", quon_mcu_get_status_info) \
    X(43, "signal.quon.mcu.set.charge.auto.poweron", quon_mcu_set_charge_auto_poweron) \
    X(44, "signal.quon.mcu.set.cmd", quon_mcu_set_cmd) \
    X(45, "signal.quon.mcu.set.tamper.info", quon_mcu_set_tamper_switch) \
    X(46, "method.quon.mcu.get.config.info", quon_mcu_get_config_info) \
    X(47, "method.quon.mcu.get.bit.err.rate", quon_mcu_get_bit_err_rate) \
    X(48, "method.quon.mcu.get.socup.time", quon_mcu_get_socup_time) \
    X(49, "method.quon.mcu.get.wifi.extended.status", quon_mcu_get_wifi_extended_status) \
    X(50, "signal.quon.mcu.set.soc.time.info", quon_mcu_set_soc_poweron_time_info) \
    X(51, "method.quon.mcu.get.soc.time.list", quon_mcu_get_soc_poweron_time_list) \
    X(52, "method.quon.mcu.get.soc.time.cur.info", quon_mcu_get_soc_poweron_time_cur_info)
// clang-format on

#define QUON_MCU_COUNT_SERVICE(index, name, handler) +1  // NOLINT(bugprone-macro-parentheses)
enum { QUON_MCU_SERVICE_COUNT = 0 QUON_MCU_SERVICES(QUON_MCU_COUNT_SERVICE) };
#undef QUON_MCU_COUNT_SERVICE

#endif
