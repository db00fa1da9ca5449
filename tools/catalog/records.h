// The records by name, for the tables of services and messages.
#pragma once

#include "catalog/catalog.h"

namespace quon::catalog::layout {

// Replies and the request records of the same layout.
extern const record version;
extern const record net_info;
extern const record wakeup_info;
extern const record time;
extern const record battery_status;
extern const record pir_info;
extern const record wifi_status;
extern const record wifi_info;
extern const record wifi_scanf_info;
extern const record store_params;
extern const record wdg_state_byte;
extern const record wdg_state_text;
extern const record alarm;
extern const record err_report;
extern const record soc_min_version;
extern const record status_info;
extern const record config_info;
extern const record log_profile;
extern const record bit_err_rate;
extern const record wifi_extended_status;
extern const record soc_time_list;
extern const record soc_time_cur;
extern const record event_info;
extern const record wakeup_context;
extern const record socup_time;
extern const record zero_word;
extern const record upg_start_answer;
extern const record upg_transmit_answer;
extern const record shell_status;
extern const record shell_output;

// Requests.
extern const record value;
extern const record selector;
extern const record wdg_period;
extern const record wifi_connect;
extern const record wifi_keepalive;
extern const record wifi_extended_info;
extern const record ap_start;
extern const record charge_auto_poweron;
extern const record soc_time_info;
extern const record upg_start;
extern const record upg_block;
extern const record raw_command;
extern const record log_profile_request;
extern const record shell_command;

// Events.
extern const record event;
extern const record net_event;

}  // namespace quon::catalog::layout
