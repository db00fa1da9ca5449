// Handlers of the services "method.quon.mcu.get." that ask the chip for one record.
#ifndef QUERY_HANDLERS_H
#define QUERY_HANDLERS_H

#include "bus_handler.h"

// The operation writes straight into `reply`, up to MCU_REPLY_AREA_SIZE bytes.
method_handler quon_mcu_get_version;
method_handler quon_mcu_get_wakeup_info;
method_handler quon_mcu_get_time;
method_handler quon_mcu_get_battery_status;
method_handler quon_mcu_get_pir_info;
method_handler quon_mcu_get_wifi_status;
method_handler quon_mcu_get_wifi_info;
method_handler quon_mcu_get_event_info;
method_handler quon_mcu_get_store_params;
method_handler quon_mcu_get_alarm;
method_handler quon_mcu_get_err_report;
method_handler quon_mcu_get_status_info;
method_handler quon_mcu_get_config_info;
method_handler quon_mcu_get_wifi_extended_status;
method_handler quon_mcu_get_soc_poweron_time_list;
method_handler quon_mcu_get_soc_poweron_time_cur_info;

// The operation writes into a local area; `reply` is untouched on failure.
method_handler quon_mcu_get_wifi_scanf_info;
method_handler quon_mcu_get_log_profile;
method_handler quon_mcu_get_bit_err_rate;

// The reply is a text, bounded by `reply_capacity`.
method_handler quon_mcu_get_wdg_state;
method_handler quon_mcu_get_soc_min_version;

#endif
