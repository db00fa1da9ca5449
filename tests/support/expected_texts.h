// Texts of failures that several services or operations print, typed independently: the tests' only
// copy. A single service's text is in its row of expected_table.h.
#pragma once

#include <string>

namespace quon::test::expected {

// --- the daemon, at level 1

inline constexpr char kEmptySlot[] = "func is null\n";

// "[%s] failed\n", also printed by the driver.
inline std::string failed(const std::string& reason) {
    return "[" + reason + "] failed\n";
}

inline constexpr char kNoFlag[] = "fopen /tmp/quon_mcu_daemon_run failed\n";
inline constexpr char kFlagStays[] = "remove /tmp/quon_mcu_daemon_run failed\n";
inline constexpr char kRegisterFailed[] = "Dbus_Register error\n";
inline constexpr char kServerFailed[] = "quon_mcu_dbus_server_init failed\n";
inline constexpr char kPopenFailed[] = "popen error:";  // then the command and "\n"

// --- the driver, at level 1; a reason appears in "[%s] failed\n", a line is complete

inline constexpr char kInvalidParam[] = "param is invalid";
inline constexpr char kInvalidPara[] = "para invalid";  // for the network record's query only
inline constexpr char kSyncSendFailed[] = "hi3861l_send_msg_sync failed";
inline constexpr char kAsyncSendFailed[] = "hi3861l_send_msg_async failed";
inline constexpr char kNetQueryFailed[] = "hi3861l_get_ip_info failed";
inline constexpr char kInitMacFailed[] = "hi3861l_wlan_init_mac failed";
inline constexpr char kPushFailed[] = "QN_QUEUE_Push failed";
inline constexpr char kPopFailed[] = "QN_QUEUE_Pop failed";
inline constexpr char kSendDataFailedLine[] = "hi3861l_send_data failed\n";
inline constexpr char kChannelFailedLine[] = "hi_channel_send_to_dev failed\n";
inline constexpr char kMallocFailedLine[] = "malloc failed\n";
inline constexpr char kQueueFailedLine[] = "QN_QUEUE_Create failed\n";
inline constexpr char kNoResolverFileLine[] = "fopen /etc/resolv.conf failed\n";
inline constexpr char kInvalidMacLine[] = "mac is invalid\n";

// --- the queue, at level 1, with the event queue's name

inline constexpr char kEventQueueFull[] = "queue hi3861 event is full!";
inline constexpr char kEventQueueEmpty[] = "queue hi3861 event is empty!";
inline constexpr char kNoQueue[] = "queueHdl is NULL!";

// --- the bus and the hand-off, on standard output

inline constexpr char kResultNotWritten[] = "Dbus_ReadWrite_Process Write result failed\n";
inline constexpr char kBindFailed[] = "bind failed. errno = ";  // then the number

// --- the driver and the channel, printed as "[source][function][l:N],text\n\r\n"

inline constexpr char kChannelInitFailed[] = "hi_channel_init is fail";
inline constexpr char kRegistrationFailed[] = "hi_channel_register_rx_cb is fail";
inline constexpr char kSocketFailed[] = "create is fail:";  // then the reason
inline constexpr char kSendFailed[] = "sendto error:";      // likewise

}  // namespace quon::test::expected
