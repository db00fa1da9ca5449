// The records and services of quon_mcu_daemon for C and C++ programs. This page is generated from
// the table of the services and included by quon_mcu_client.h, which says how calls end.
//
// Structures hold numbers as numbers, texts with a closing zero byte, addresses as text
// ("192.168.1.1", "02:00:00:00:00:01"), and bytes without a known meaning unchanged ("bytes", or
// "rest_6" from byte 6 on). A record of variable size has "length" next to its bytes.
//
// `absent` marks the fields of an answer that the chip may not have sent: the daemon fills a short
// answer up with zeros, so a zero field followed only by zeros in its answer cannot be told from a
// missing one. Such a field is 0 or empty, and its bit is set. In a request `absent` is ignored.
#ifndef QUON_MCU_CLIENT_SERVICES_H
#define QUON_MCU_CLIENT_SERVICES_H

#ifdef __cplusplus
extern "C" {
#endif

// clang-format off

// get.ver (reply); up to 384 bytes on the bus.
enum {
    QUON_MCU_VERSION_VERSION = 1 << 0,
};
typedef struct quon_mcu_version {
    uint32_t absent;        // QUON_MCU_VERSION_... bits
    char     version[385];  // firmware version of the chip
} quon_mcu_version;

// get.wakeup.info (reply), set.wakeup.info (request); 71 bytes on the bus.
enum {
    QUON_MCU_WAKEUP_INFO_REASON = 1 << 0,
    QUON_MCU_WAKEUP_INFO_MAC = 1 << 1,
    QUON_MCU_WAKEUP_INFO_SOCUP_TIME1 = 1 << 2,
    QUON_MCU_WAKEUP_INFO_SOCUP_TIME2 = 1 << 3,
};
typedef struct quon_mcu_wakeup_info {
    uint32_t absent;       // QUON_MCU_WAKEUP_INFO_... bits
    uint8_t  reason;       // why the main processor was woken; 1, 3, 13 starts the remote wake-up hand-off
    uint8_t  rest_1[53];   // not interpreted
    char     mac[18];      // hardware address that get.wifi.info prefers
    uint32_t socup_time1;  // first word of get.socup.time
    uint32_t socup_time2;  // second word of get.socup.time
    uint8_t  rest_68[3];   // not interpreted
} quon_mcu_wakeup_info;

// get.allwakeup.info (reply); 400 bytes on the bus.
enum {
    QUON_MCU_WAKEUP_CONTEXT_WAKEUP_REASON = 1 << 0,
    QUON_MCU_WAKEUP_CONTEXT_WAKEUP_MAC = 1 << 1,
    QUON_MCU_WAKEUP_CONTEXT_SOCUP_TIME1 = 1 << 2,
    QUON_MCU_WAKEUP_CONTEXT_SOCUP_TIME2 = 1 << 3,
    QUON_MCU_WAKEUP_CONTEXT_TIME_YEAR = 1 << 4,
    QUON_MCU_WAKEUP_CONTEXT_TIME_MONTH = 1 << 5,
    QUON_MCU_WAKEUP_CONTEXT_TIME_DAY = 1 << 6,
    QUON_MCU_WAKEUP_CONTEXT_TIME_HOUR = 1 << 7,
    QUON_MCU_WAKEUP_CONTEXT_TIME_MINUTE = 1 << 8,
    QUON_MCU_WAKEUP_CONTEXT_TIME_SECOND = 1 << 9,
    QUON_MCU_WAKEUP_CONTEXT_BATTERY_STATUS = 1 << 10,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_STATUS = 1 << 11,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_MAC = 1 << 12,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_IP = 1 << 13,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_GATEWAY = 1 << 14,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_DNS1 = 1 << 15,
    QUON_MCU_WAKEUP_CONTEXT_WIFI_DNS2 = 1 << 16,
    QUON_MCU_WAKEUP_CONTEXT_SERVER_IP = 1 << 17,
    QUON_MCU_WAKEUP_CONTEXT_SERVER_PORT = 1 << 18,
    QUON_MCU_WAKEUP_CONTEXT_VERSION = 1 << 19,
    QUON_MCU_WAKEUP_CONTEXT_START_MS = 1 << 20,
};
typedef struct quon_mcu_wakeup_context {
    uint32_t absent;             // QUON_MCU_WAKEUP_CONTEXT_... bits
    uint8_t  wakeup_reason;      // why the main processor was woken; 1, 3, 13 starts the remote wake-up hand-off
    uint8_t  rest_1[53];         // not interpreted
    char     wakeup_mac[18];     // hardware address in the wake-up info
    uint32_t socup_time1;        // first word of get.socup.time
    uint32_t socup_time2;        // second word of get.socup.time
    uint8_t  rest_68[3];         // not interpreted
    int8_t   time_year;          // year minus 2000
    int8_t   time_month;         // month
    int8_t   time_day;           // day of the month
    int8_t   time_hour;          // hour
    int8_t   time_minute;        // minute
    int8_t   time_second;        // second
    uint8_t  rest_77[4];         // not interpreted
    uint8_t  battery_status[5];  // battery status record
    uint8_t  wifi_status[70];    // Wi-Fi status record
    char     wifi_mac[33];       // hardware address of wlan0
    char     wifi_ip[33];        // address of wlan0
    char     wifi_gateway[33];   // default gateway
    char     wifi_dns1[33];      // primary name server, or empty
    char     wifi_dns2[33];      // secondary name server, or empty
    uint8_t  rest_316[38];       // not interpreted
    char     server_ip[16];      // server of the remote wake-up connection
    uint16_t server_port;        // its TCP port
    uint8_t  rest_360[4];        // not interpreted
    char     version[33];        // firmware version of the chip
    uint32_t start_ms;           // moment of the snapshot on the monotonic clock, ms
} quon_mcu_wakeup_context;

// set.time (request), get.time (reply); 10 bytes on the bus.
enum {
    QUON_MCU_TIME_YEAR = 1 << 0,
    QUON_MCU_TIME_MONTH = 1 << 1,
    QUON_MCU_TIME_DAY = 1 << 2,
    QUON_MCU_TIME_HOUR = 1 << 3,
    QUON_MCU_TIME_MINUTE = 1 << 4,
    QUON_MCU_TIME_SECOND = 1 << 5,
};
typedef struct quon_mcu_time {
    uint32_t absent;     // QUON_MCU_TIME_... bits
    int8_t   year;       // year minus 2000, 0 to 127
    int8_t   month;      // month, 1 to 12
    int8_t   day;        // day of the month, 1 to 31
    int8_t   hour;       // hour, 0 to 23
    int8_t   minute;     // minute, 0 to 59
    int8_t   second;     // second, 0 to 59
    uint8_t  rest_6[4];  // not interpreted
} quon_mcu_time;

// set.led (request), set.pir.switch (request), set.pir.sensitivity (request), set.system.state (request), set.wdg.state (request), set.uart.switch (request), set.tamper.info (request); 1 bytes on the bus.
typedef struct quon_mcu_value {
    uint8_t value;  // the value, passed to the chip unchanged
} quon_mcu_value;

// get.battery.status (reply); 5 bytes on the bus.
enum {
    QUON_MCU_BATTERY_STATUS_BYTES = 1 << 0,
};
typedef struct quon_mcu_battery_status {
    uint32_t absent;    // QUON_MCU_BATTERY_STATUS_... bits
    uint8_t  bytes[5];  // not interpreted
} quon_mcu_battery_status;

// get.pir.info (reply), set.pir.info (request); 36 bytes on the bus.
enum {
    QUON_MCU_PIR_INFO_BYTES = 1 << 0,
};
typedef struct quon_mcu_pir_info {
    uint32_t absent;     // QUON_MCU_PIR_INFO_... bits
    uint8_t  bytes[36];  // not interpreted
} quon_mcu_pir_info;

// set.wifi.connect (request); 134 bytes on the bus.
typedef struct quon_mcu_wifi_connect {
    uint8_t bytes[134];  // not interpreted
} quon_mcu_wifi_connect;

// get.wifi.status (reply); 70 bytes on the bus.
enum {
    QUON_MCU_WIFI_STATUS_BYTES = 1 << 0,
};
typedef struct quon_mcu_wifi_status {
    uint32_t absent;     // QUON_MCU_WIFI_STATUS_... bits
    uint8_t  bytes[70];  // not interpreted
} quon_mcu_wifi_status;

// get.wifi.info (reply); 160 bytes on the bus.
enum {
    QUON_MCU_WIFI_INFO_MAC = 1 << 0,
    QUON_MCU_WIFI_INFO_IP = 1 << 1,
    QUON_MCU_WIFI_INFO_GATEWAY = 1 << 2,
    QUON_MCU_WIFI_INFO_DNS1 = 1 << 3,
    QUON_MCU_WIFI_INFO_DNS2 = 1 << 4,
};
typedef struct quon_mcu_wifi_info {
    uint32_t absent;       // QUON_MCU_WIFI_INFO_... bits
    char     mac[33];      // hardware address of wlan0
    char     ip[33];       // address of wlan0
    char     gateway[33];  // default gateway
    char     dns1[33];     // primary name server, or empty
    char     dns2[33];     // secondary name server, or empty
} quon_mcu_wifi_info;

// set.wifi.keepalive (request); 164 bytes on the bus.
typedef struct quon_mcu_wifi_keepalive {
    uint8_t bytes[164];  // not interpreted
} quon_mcu_wifi_keepalive;

// set.wifi.extended.info (request); 66 bytes on the bus.
typedef struct quon_mcu_wifi_extended_info {
    uint8_t bytes[66];  // not interpreted
} quon_mcu_wifi_extended_info;

// get.wifi.scanf.info (request); 1 bytes on the bus.
typedef struct quon_mcu_selector {
    uint8_t selector;  // which scan information, passed to the chip unchanged
} quon_mcu_selector;

// get.wifi.scanf.info (reply); 241 bytes on the bus.
enum {
    QUON_MCU_WIFI_SCANF_INFO_BYTES = 1 << 0,
};
typedef struct quon_mcu_wifi_scanf_info {
    uint32_t absent;      // QUON_MCU_WIFI_SCANF_INFO_... bits
    uint8_t  bytes[241];  // not interpreted
} quon_mcu_wifi_scanf_info;

// get.event.info (reply); 33 bytes on the bus.
typedef struct quon_mcu_event_info {
    uint8_t bytes[33];  // not interpreted
} quon_mcu_event_info;

// upg.start (request); 5 bytes on the bus.
typedef struct quon_mcu_upg_start {
    uint8_t  first;   // first value, passed to the chip unchanged
    uint32_t second;  // second value, passed to the chip unchanged
} quon_mcu_upg_start;

// upg.start (reply), upg.transmit (reply), upg.finish (reply); 4 bytes on the bus.
typedef struct quon_mcu_zero_word {
    uint32_t zero;  // always 0
} quon_mcu_zero_word;

// upg.transmit (request); 265 bytes on the bus.
typedef struct quon_mcu_upg_block {
    uint32_t word;       // passed to the chip unchanged
    uint32_t length;     // data bytes of this block, at most 256, B
    uint8_t  data[256];  // piece of the image
    uint8_t  tail;       // passed to the chip unchanged
} quon_mcu_upg_block;

// set.store.params (request), get.store.params (reply); 48 bytes on the bus.
enum {
    QUON_MCU_STORE_PARAMS_SERVER_IP = 1 << 0,
    QUON_MCU_STORE_PARAMS_SERVER_PORT = 1 << 1,
};
typedef struct quon_mcu_store_params {
    uint32_t absent;         // QUON_MCU_STORE_PARAMS_... bits
    uint8_t  rest_0[38];     // not interpreted
    char     server_ip[16];  // server of the remote wake-up connection
    uint16_t server_port;    // its TCP port
    uint8_t  rest_44[4];     // not interpreted
} quon_mcu_store_params;

// get.wdg.state (reply); 1 bytes on the bus.
enum {
    QUON_MCU_WDG_STATE_TEXT_STATE = 1 << 0,
};
typedef struct quon_mcu_wdg_state_text {
    uint32_t absent;    // QUON_MCU_WDG_STATE_TEXT_... bits
    char     state[2];  // first decimal digit of the watchdog state
} quon_mcu_wdg_state_text;

// set.wdg.period (request); 4 bytes on the bus.
typedef struct quon_mcu_wdg_period {
    uint32_t period;  // watchdog period, in the chip's unit
} quon_mcu_wdg_period;

// set.alarm (request), get.alarm (reply); 7 bytes on the bus.
enum {
    QUON_MCU_ALARM_WORD = 1 << 0,
    QUON_MCU_ALARM_BYTE4 = 1 << 1,
    QUON_MCU_ALARM_BYTE5 = 1 << 2,
    QUON_MCU_ALARM_BYTE6 = 1 << 3,
};
typedef struct quon_mcu_alarm {
    uint32_t absent;  // QUON_MCU_ALARM_... bits
    uint32_t word;    // the chip's
    uint8_t  byte4;   // the chip's
    uint8_t  byte5;   // the chip's
    uint8_t  byte6;   // the chip's
} quon_mcu_alarm;

// set.ap.start (request); 166 bytes on the bus.
typedef struct quon_mcu_ap_start {
    uint8_t bytes[166];  // not interpreted
} quon_mcu_ap_start;

// get.err.report (reply); 181 bytes on the bus.
enum {
    QUON_MCU_ERR_REPORT_COUNT = 1 << 0,
};
typedef struct quon_mcu_err_report_entry {
    uint8_t bytes[36];  // not interpreted
} quon_mcu_err_report_entry;
typedef struct quon_mcu_err_report {
    uint32_t                  absent;      // QUON_MCU_ERR_REPORT_... bits
    uint8_t                   count;       // entries that are there
    quon_mcu_err_report_entry entries[5];  // in the chip's order
} quon_mcu_err_report;

// get.system (request), get.popen (request); up to 4356 bytes on the bus.
typedef struct quon_mcu_shell_command {
    char command[4357];  // command text, run by the shell
} quon_mcu_shell_command;

// get.system (reply); up to 4356 bytes on the bus.
typedef struct quon_mcu_shell_status {
    char status[4357];  // wait status of the command, in decimal
} quon_mcu_shell_status;

// get.popen (reply); up to 4356 bytes on the bus.
typedef struct quon_mcu_shell_output {
    uint32_t length;        // of the bytes
    uint8_t  output[4356];  // first 4356 bytes of the command's standard output
} quon_mcu_shell_output;

// set.log.profile (request); 35 bytes on the bus.
typedef struct quon_mcu_log_profile_request {
    uint8_t enable;       // not applied by the daemon
    uint8_t level_limit;  // highest log level that the daemon prints; 0 fatal, 1 error, 2 warning, 3 information, 4 debug
    uint8_t rest_2[33];   // not interpreted
} quon_mcu_log_profile_request;

// get.log.profile (reply); 35 bytes on the bus.
typedef struct quon_mcu_log_profile {
    uint8_t bytes[35];  // not interpreted
} quon_mcu_log_profile;

// get.soc.min.ver (reply); up to 384 bytes on the bus.
enum {
    QUON_MCU_SOC_MIN_VERSION_VERSION = 1 << 0,
};
typedef struct quon_mcu_soc_min_version {
    uint32_t absent;        // QUON_MCU_SOC_MIN_VERSION_... bits
    char     version[385];  // minimum version of the main processor's software
} quon_mcu_soc_min_version;

// get.status.info (reply); 136 bytes on the bus.
enum {
    QUON_MCU_STATUS_INFO_BYTES = 1 << 0,
};
typedef struct quon_mcu_status_info {
    uint32_t absent;      // QUON_MCU_STATUS_INFO_... bits
    uint8_t  bytes[136];  // not interpreted
} quon_mcu_status_info;

// set.charge.auto.poweron (request); 67 bytes on the bus.
typedef struct quon_mcu_charge_auto_poweron {
    uint8_t bytes[67];  // not interpreted
} quon_mcu_charge_auto_poweron;

// set.cmd (request); up to 384 bytes on the bus.
typedef struct quon_mcu_raw_command {
    uint32_t length;      // of the bytes
    uint8_t  bytes[384];  // not interpreted
} quon_mcu_raw_command;

// get.config.info (reply); 256 bytes on the bus.
enum {
    QUON_MCU_CONFIG_INFO_BYTES = 1 << 0,
};
typedef struct quon_mcu_config_info {
    uint32_t absent;      // QUON_MCU_CONFIG_INFO_... bits
    uint8_t  bytes[256];  // not interpreted
} quon_mcu_config_info;

// get.bit.err.rate (reply); 259 bytes on the bus.
typedef struct quon_mcu_bit_err_rate {
    uint8_t bytes[259];  // not interpreted
} quon_mcu_bit_err_rate;

// get.socup.time (reply); 12 bytes on the bus.
enum {
    QUON_MCU_SOCUP_TIME_SOCUP_TIME1 = 1 << 0,
    QUON_MCU_SOCUP_TIME_SOCUP_TIME2 = 1 << 1,
    QUON_MCU_SOCUP_TIME_SINCE_START = 1 << 2,
};
typedef struct quon_mcu_socup_time {
    uint32_t absent;       // QUON_MCU_SOCUP_TIME_... bits
    uint32_t socup_time1;  // bytes 60 to 63 of the wake-up info
    uint32_t socup_time2;  // bytes 64 to 67 of the wake-up info
    uint32_t since_start;  // time since the start-up snapshot, ms
} quon_mcu_socup_time;

// get.wifi.extended.status (reply); 264 bytes on the bus.
enum {
    QUON_MCU_WIFI_EXTENDED_STATUS_BYTES = 1 << 0,
};
typedef struct quon_mcu_wifi_extended_status {
    uint32_t absent;      // QUON_MCU_WIFI_EXTENDED_STATUS_... bits
    uint8_t  bytes[264];  // not interpreted
} quon_mcu_wifi_extended_status;

// set.soc.time.info (request); 44 bytes on the bus.
typedef struct quon_mcu_soc_time_info {
    uint8_t bytes[44];  // not interpreted
} quon_mcu_soc_time_info;

// get.soc.time.list (reply); 221 bytes on the bus.
enum {
    QUON_MCU_SOC_TIME_LIST_COUNT = 1 << 0,
};
typedef struct quon_mcu_soc_time_list_entry {
    uint8_t bytes[44];  // not interpreted
} quon_mcu_soc_time_list_entry;
typedef struct quon_mcu_soc_time_list {
    uint32_t                     absent;      // QUON_MCU_SOC_TIME_LIST_... bits
    uint8_t                      count;       // entries that are there
    quon_mcu_soc_time_list_entry entries[5];  // in the chip's order
} quon_mcu_soc_time_list;

// get.soc.time.cur.info (reply); 212 bytes on the bus.
enum {
    QUON_MCU_SOC_TIME_CUR_BYTES = 1 << 0,
};
typedef struct quon_mcu_soc_time_cur {
    uint32_t absent;      // QUON_MCU_SOC_TIME_CUR_... bits
    uint8_t  bytes[212];  // not interpreted
} quon_mcu_soc_time_cur;

// One function per service. A method fills `reply`, which may be null, only when it returns
// QUON_MCU_OK; for a signal QUON_MCU_OK means that it was sent to the daemon, which never reports
// whether it had an effect. `timeout_ms` is 0 or more and limits the whole call; the daemon's
// exchange with the chip takes up to the time in brackets.

// firmware version of the chip (1000 ms)
quon_mcu_status quon_mcu_client_get_ver(quon_mcu_client* client, quon_mcu_version* reply, int32_t timeout_ms);

// why and when the main processor was woken (2000 ms)
quon_mcu_status quon_mcu_client_get_wakeup_info(quon_mcu_client* client, quon_mcu_wakeup_info* reply, int32_t timeout_ms);

// the start-up snapshot
quon_mcu_status quon_mcu_client_get_allwakeup_info(quon_mcu_client* client, quon_mcu_wakeup_context* reply, int32_t timeout_ms);

// set the chip's clock
quon_mcu_status quon_mcu_client_set_time(quon_mcu_client* client, const quon_mcu_time* request, int32_t timeout_ms);

// the chip's clock (1000 ms)
quon_mcu_status quon_mcu_client_get_time(quon_mcu_client* client, quon_mcu_time* reply, int32_t timeout_ms);

// set the LED state
quon_mcu_status quon_mcu_client_set_led(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// battery status (2000 ms)
quon_mcu_status quon_mcu_client_get_battery_status(quon_mcu_client* client, quon_mcu_battery_status* reply, int32_t timeout_ms);

// switch the motion sensor
quon_mcu_status quon_mcu_client_set_pir_switch(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// set the motion sensor's sensitivity
quon_mcu_status quon_mcu_client_set_pir_sensitivity(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// motion sensor settings (1000 ms)
quon_mcu_status quon_mcu_client_get_pir_info(quon_mcu_client* client, quon_mcu_pir_info* reply, int32_t timeout_ms);

// set the motion sensor settings
quon_mcu_status quon_mcu_client_set_pir_info(quon_mcu_client* client, const quon_mcu_pir_info* request, int32_t timeout_ms);

// connect the Wi-Fi link
quon_mcu_status quon_mcu_client_set_wifi_connect(quon_mcu_client* client, const quon_mcu_wifi_connect* request, int32_t timeout_ms);

// disconnect the Wi-Fi link
quon_mcu_status quon_mcu_client_set_wifi_disconnect(quon_mcu_client* client, int32_t timeout_ms);

// state of the Wi-Fi link (1000 ms)
quon_mcu_status quon_mcu_client_get_wifi_status(quon_mcu_client* client, quon_mcu_wifi_status* reply, int32_t timeout_ms);

// network settings of wlan0 as the daemon knows them
quon_mcu_status quon_mcu_client_get_wifi_info(quon_mcu_client* client, quon_mcu_wifi_info* reply, int32_t timeout_ms);

// set the Wi-Fi keep-alive
quon_mcu_status quon_mcu_client_set_wifi_keepalive(quon_mcu_client* client, const quon_mcu_wifi_keepalive* request, int32_t timeout_ms);

// set the extended Wi-Fi information
quon_mcu_status quon_mcu_client_set_wifi_extended_info(quon_mcu_client* client, const quon_mcu_wifi_extended_info* request, int32_t timeout_ms);

// Wi-Fi scan information (2000 ms)
quon_mcu_status quon_mcu_client_get_wifi_scanf_info(quon_mcu_client* client, const quon_mcu_selector* request, quon_mcu_wifi_scanf_info* reply, int32_t timeout_ms);

// tell the chip the system's state
quon_mcu_status quon_mcu_client_set_system_state(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// take the oldest event off the event queue
quon_mcu_status quon_mcu_client_get_event_info(quon_mcu_client* client, quon_mcu_event_info* reply, int32_t timeout_ms);

// begin a firmware upgrade (3000 ms)
quon_mcu_status quon_mcu_client_upg_start(quon_mcu_client* client, const quon_mcu_upg_start* request, quon_mcu_zero_word* reply, int32_t timeout_ms);

// send one block of the image (3000 ms)
quon_mcu_status quon_mcu_client_upg_transmit(quon_mcu_client* client, const quon_mcu_upg_block* request, quon_mcu_zero_word* reply, int32_t timeout_ms);

// end the firmware upgrade
quon_mcu_status quon_mcu_client_upg_finish(quon_mcu_client* client, quon_mcu_zero_word* reply, int32_t timeout_ms);

// store parameters in the chip
quon_mcu_status quon_mcu_client_set_store_params(quon_mcu_client* client, const quon_mcu_store_params* request, int32_t timeout_ms);

// parameters stored in the chip (1000 ms)
quon_mcu_status quon_mcu_client_get_store_params(quon_mcu_client* client, quon_mcu_store_params* reply, int32_t timeout_ms);

// set the watchdog state
quon_mcu_status quon_mcu_client_set_wdg_state(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// watchdog state, its first digit (1000 ms)
quon_mcu_status quon_mcu_client_get_wdg_state(quon_mcu_client* client, quon_mcu_wdg_state_text* reply, int32_t timeout_ms);

// set the watchdog period
quon_mcu_status quon_mcu_client_set_wdg_period(quon_mcu_client* client, const quon_mcu_wdg_period* request, int32_t timeout_ms);

// feed the watchdog
quon_mcu_status quon_mcu_client_set_wdg_feed(quon_mcu_client* client, int32_t timeout_ms);

// set the alarm
quon_mcu_status quon_mcu_client_set_alarm(quon_mcu_client* client, const quon_mcu_alarm* request, int32_t timeout_ms);

// the alarm (1000 ms)
quon_mcu_status quon_mcu_client_get_alarm(quon_mcu_client* client, quon_mcu_alarm* reply, int32_t timeout_ms);

// make the chip crash, as a test
quon_mcu_status quon_mcu_client_set_crash_test(quon_mcu_client* client, int32_t timeout_ms);

// start the access point
quon_mcu_status quon_mcu_client_set_ap_start(quon_mcu_client* client, const quon_mcu_ap_start* request, int32_t timeout_ms);

// stop the access point
quon_mcu_status quon_mcu_client_set_ap_stop(quon_mcu_client* client, int32_t timeout_ms);

// the chip's error report (1000 ms)
quon_mcu_status quon_mcu_client_get_err_report(quon_mcu_client* client, quon_mcu_err_report* reply, int32_t timeout_ms);

// run a shell command, get its wait status
quon_mcu_status quon_mcu_client_get_system(quon_mcu_client* client, const quon_mcu_shell_command* request, quon_mcu_shell_status* reply, int32_t timeout_ms);

// run a shell command, get its output
quon_mcu_status quon_mcu_client_get_popen(quon_mcu_client* client, const quon_mcu_shell_command* request, quon_mcu_shell_output* reply, int32_t timeout_ms);

// set the daemon's log level
quon_mcu_status quon_mcu_client_set_log_profile(quon_mcu_client* client, const quon_mcu_log_profile_request* request, int32_t timeout_ms);

// log profile; this chip has none
quon_mcu_status quon_mcu_client_get_log_profile(quon_mcu_client* client, quon_mcu_log_profile* reply, int32_t timeout_ms);

// minimum version of the main processor's software (1000 ms)
quon_mcu_status quon_mcu_client_get_soc_min_ver(quon_mcu_client* client, quon_mcu_soc_min_version* reply, int32_t timeout_ms);

// switch the UART
quon_mcu_status quon_mcu_client_set_uart_switch(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// set the wake-up information
quon_mcu_status quon_mcu_client_set_wakeup_info(quon_mcu_client* client, const quon_mcu_wakeup_info* request, int32_t timeout_ms);

// status information (1000 ms)
quon_mcu_status quon_mcu_client_get_status_info(quon_mcu_client* client, quon_mcu_status_info* reply, int32_t timeout_ms);

// set the power-on while charging
quon_mcu_status quon_mcu_client_set_charge_auto_poweron(quon_mcu_client* client, const quon_mcu_charge_auto_poweron* request, int32_t timeout_ms);

// send the chip a raw command
quon_mcu_status quon_mcu_client_set_cmd(quon_mcu_client* client, const quon_mcu_raw_command* request, int32_t timeout_ms);

// switch the tamper detection
quon_mcu_status quon_mcu_client_set_tamper_info(quon_mcu_client* client, const quon_mcu_value* request, int32_t timeout_ms);

// configuration information (1000 ms)
quon_mcu_status quon_mcu_client_get_config_info(quon_mcu_client* client, quon_mcu_config_info* reply, int32_t timeout_ms);

// bit error rate; this chip has none
quon_mcu_status quon_mcu_client_get_bit_err_rate(quon_mcu_client* client, quon_mcu_bit_err_rate* reply, int32_t timeout_ms);

// wake-up times, and the time since the snapshot
quon_mcu_status quon_mcu_client_get_socup_time(quon_mcu_client* client, quon_mcu_socup_time* reply, int32_t timeout_ms);

// extended state of the Wi-Fi link (1000 ms)
quon_mcu_status quon_mcu_client_get_wifi_extended_status(quon_mcu_client* client, quon_mcu_wifi_extended_status* reply, int32_t timeout_ms);

// set a power-on time of the main processor
quon_mcu_status quon_mcu_client_set_soc_time_info(quon_mcu_client* client, const quon_mcu_soc_time_info* request, int32_t timeout_ms);

// power-on times of the main processor (1000 ms)
quon_mcu_status quon_mcu_client_get_soc_time_list(quon_mcu_client* client, quon_mcu_soc_time_list* reply, int32_t timeout_ms);

// current power-on time of the main processor (1000 ms)
quon_mcu_status quon_mcu_client_get_soc_time_cur_info(quon_mcu_client* client, quon_mcu_soc_time_cur* reply, int32_t timeout_ms);
// clang-format on

#ifdef __cplusplus
}
#endif

#endif
