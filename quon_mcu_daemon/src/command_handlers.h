// Handlers of the services "signal.quon.mcu.set.", and of the three firmware upgrade methods.
#ifndef COMMAND_HANDLERS_H
#define COMMAND_HANDLERS_H

#include "bus_handler.h"

signal_handler quon_mcu_set_time;
signal_handler quon_mcu_set_led_state;
signal_handler quon_mcu_set_pir_switch;
signal_handler quon_mcu_set_pir_sensivity;
signal_handler quon_mcu_set_pir_info;
signal_handler quon_mcu_set_wifi_connect;
signal_handler quon_mcu_set_wifi_disconnect;
signal_handler quon_mcu_set_wifi_keepalive;
signal_handler quon_mcu_set_wifi_extended_info;
signal_handler quon_mcu_set_system_state;
signal_handler quon_mcu_set_store_params;
signal_handler quon_mcu_set_wdg_state;
signal_handler quon_mcu_set_wdg_period;
signal_handler quon_mcu_set_wdg_feed;
signal_handler quon_mcu_set_alarm;
signal_handler quon_mcu_set_ap_start;
signal_handler quon_mcu_set_ap_stop;
signal_handler quon_mcu_set_crash_test;
signal_handler quon_mcu_set_uart_switch;
signal_handler quon_mcu_set_wakeup_info;
signal_handler quon_mcu_set_charge_auto_poweron;
signal_handler quon_mcu_set_cmd;
signal_handler quon_mcu_set_tamper_switch;
signal_handler quon_mcu_set_log_profile;  // changes the daemon's own log profile as well
signal_handler quon_mcu_set_soc_poweron_time_info;

// Reply of each on success: a zero word of MCU_UPG_REPLY_SIZE bytes.
method_handler quon_mcu_upg_start;
method_handler quon_mcu_upg_transmit;
method_handler quon_mcu_upg_finish;

#endif
