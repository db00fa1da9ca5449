#include "quon_mcu/log_messages.h"

namespace quon::client {
namespace {

constexpr log_message kDaemon[] = {
    {3, R"(Ver:%s Build time: %s %s\n)", "quon_mcu_daemon.cpp",
     "The daemon has started: its version, and when it was built.", "Nothing."},
    {kPrinted, R"(SIGABRT)", "quon_mcu_daemon.cpp",
     "The process ends because it called abort: the C library found its memory damaged, or an "
     "assertion failed.",
     "Standard error has the C library's reason. Report it with the lines before it."},
    {4, R"(\n The progress exited because of the signal: )", "quon_mcu_daemon.cpp",
     "The process ends by the signal that the next line names.", "See the next line."},
    {4, R"(SIGINT\n)", "quon_mcu_daemon.cpp", "It was interrupted from a terminal.", "Nothing."},
    {4, R"(SIGQUIT\n)", "quon_mcu_daemon.cpp", "It was ended from a terminal.", "Nothing."},
    {4, R"(SIGTERM\n)", "quon_mcu_daemon.cpp",
     "It was told to end, as the init script does. The exit status is 1 all the same.", "Nothing."},
    {4, R"(SIGSEGV\n)", "quon_mcu_daemon.cpp",
     "It used memory that it does not have. There is no core file: the handler ends the process.",
     "Report it with the lines before it; the init script restarts the daemon."},
    {4, R"(SIGILL\n)", "quon_mcu_daemon.cpp",
     "It ran an instruction that the processor does not have.",
     "Look whether the program was built for this processor, and whether its file is whole."},
    {4, R"(SIGFPE\n)", "quon_mcu_daemon.cpp", "It divided by zero.",
     "Report it with the lines before it."},
    {4, R"(signum (%d)\n)", "quon_mcu_daemon.cpp",
     "The process ends by another signal, of this number.", "Look who sent it."},
    {1, R"(fopen %s failed\n)", "quon_mcu_daemon.cpp",
     "The run flag could not be made; the services run all the same.",
     "Make /tmp writable and see that it has room: who tests for the flag takes the daemon for "
     "dead."},
    {1, R"(remove %s failed\n)", "quon_mcu_daemon.cpp",
     "At its end the daemon found no run flag, or could not remove it.",
     "Nothing, unless the flag is still there; then remove it."},
    {1, R"(quon_mcu_dbus_server_init failed\n)", "quon_mcu_daemon.cpp",
     "The services could not be registered; the process ends with status 255.",
     "The line before it names the cause."},
    {1, R"(mcu_probe_init failed\n)", "quon_mcu_daemon.cpp",
     "The chip's driver did not come up; the process ends, with status 0.",
     "The lines before it name the cause. An init script that looks at the status sees no "
     "failure."},
    {1, R"(params invalid\n)", "service_table.cpp",
     "The registration was given nothing to work on: a mistake of the program.", "Report it."},
    {1, R"(DbusInfo_Alloc error\n)", "service_table.cpp",
     "No memory for the registration of the services; the daemon ends.",
     "See what takes the camera's memory, then restart the daemon."},
    {1, R"(name type error\n)", "service_table.cpp",
     "A service's name begins with neither \"method\" nor \"signal\": a mistake of the table.",
     "Mend the row in quon_mcu_services.h."},
    {1, R"(Dbus_Register error\n)", "service_table.cpp",
     "The daemon's bus socket could not be made; the daemon ends.",
     "The line before it says at which step: /tmp must be writable and have room."},
    {1, R"(Dbus_UnRegister error\n)", "service_table.cpp",
     "The registration could not be taken back.", "Nothing: the process ends, and with it all."},
    {3, R"(exec: %s\n)", "shell_services.cpp",
     "A bus peer had this shell command run, by get.system or get.popen.",
     "Look who sent it if nobody should have: these services are open to every bus peer."},
    {1, R"(popen error:%s\n)", "shell_services.cpp",
     "The shell for this command could not be started: no memory, process or descriptor was left.",
     "`quon-mcu report` shows the daemon's threads and descriptors."},
    {1, R"(func is null\n)", "mcu_call.h",
     "This chip has no such operation; the service answers with a failure.",
     "Do not use the service with this chip."},
};

constexpr log_message kDriver[] = {
    {1, R"([hi3861l_send_msg_sync failed] failed\n)", "hi3861l_query_commands.cpp",
     "The chip gave no answer within the exchange's time-out, or the request could not be sent; "
     "the "
     "function in the line says which question it was.",
     "With a line of the channel before it the link is broken: see that line. Without, the chip is "
     "silent: ask again, look at its supply and its reset, and at a decoded log for what it last "
     "said."},
    {1, R"([hi3861l_send_msg_async failed] failed\n)", "hi3861l_set_commands.cpp",
     "A command could not be sent to the chip.", "The lines before it name the cause."},
    {1, R"(hi3861l_send_data failed\n)", "hi3861l_transport.cpp",
     "A frame could not be sent; the function in the line is the way it was to go.",
     "The line before it names the cause."},
    {1, R"(hi_channel_send_to_dev failed\n)", "hi3861l_transport.cpp",
     "The channel did not take the frame.", "The channel's line before it names the cause."},
    {1, R"(malloc failed\n)", "hi3861l_transport.cpp", "No memory for a frame to the chip.",
     "See what takes the camera's memory."},
    {1, R"([para invalid] failed\n)", "hi3861l_net_record.cpp",
     "The network record was asked for without a place for it: a mistake of the program.",
     "Report it."},
    {1, R"([param is invalid] failed\n)",
     "hi3861l_query_commands.cpp, hi3861l_set_commands.cpp, hi3861l_upgrade.cpp, "
     "hi3861l_net_record.cpp, hi3861l_events.cpp",
     "An operation was refused for what it was given: for a raw command, a length below 0 or above "
     "384.",
     "Correct what the peer sends to set.cmd; anything else is a mistake of the program."},
    {1, R"([hi3861l_get_ip_info failed] failed\n)", "hi3861l_init.cpp",
     "At the start the chip did not tell its network record.",
     "See hi3861l_send_msg_sync failed. The network works once the chip reports a network event."},
    {1, R"([hi3861l_wlan_init_mac failed] failed\n)", "hi3861l_init.cpp",
     "The same, seen from the start; the daemon goes on.", "See the line before it."},
    {1, R"([QN_QUEUE_Pop failed] failed\n)", "hi3861l_events.cpp",
     "An event was to be taken from a queue that counted one and had none: a mistake of the "
     "program.",
     "Report it."},
    {1, R"([QN_QUEUE_Push failed] failed\n)", "hi3861l_events.cpp",
     "An event of the chip was lost: ten stood in the queue already, or there is no queue.",
     "Take the events more often (`quon-mcu events --follow`)."},
    {1, R"(QN_QUEUE_Create failed\n)", "hi3861l_events.cpp",
     "No memory for the event queue: all events of this run are lost.",
     "See what takes the camera's memory, then restart the daemon."},
    {3, R"(upgrade start\n)", "hi3861l_upgrade.cpp", "A firmware upgrade of the chip begins.",
     "Nothing. Its frames are not dumped."},
    {3, R"(upgrade finish\n)", "hi3861l_upgrade.cpp", "The last block has gone to the chip.",
     "Nothing."},
    {3, R"(time: %04d-%02d-%02d %02d:%02d:%02d\n)", "hi3861l_set_commands.cpp",
     "The chip's clock is being set to this time.", "Nothing."},
    {3, R"(enSysState: %d\n)", "hi3861l_set_commands.cpp",
     "The chip is being told this state of the system.", "Nothing."},
    {4, R"(%x:%x:%x:%x:%x:%x\n)", "hi3861l_net_record.cpp",
     "The hardware address in the chip's network record.", "Nothing."},
    {4, R"(D/HEX recv msg: %04X-%04X: )", "hi3861l_receive.cpp",
     "A line of the dump of a frame from the chip: its offsets, 16 bytes, their characters.",
     "`quon-mcu decode` makes fields of it."},
    {kPrinted, R"([%s][%s][l:%d],snprintf_s fail\n\r\n)", "hi3861l_init.cpp",
     "The command that brings wlan0 up could not be put together: a mistake of the program.",
     "Report it."},
    {kPrinted, R"([%s][%s][l:%d],%s up error\n\r\n)", "hi3861l_init.cpp",
     "The command that brings wlan0 up could not be started: no memory or process was left.",
     "See what takes the camera's memory; then `ifconfig wlan0 up` by hand."},
    {kPrinted, R"([%s][%s][l:%d],sample_wlan_init_up is fail\n\r\n)", "hi3861l_init.cpp",
     "The same, seen from the start; the daemon goes on.", "See the line before it."},
    {1, R"(not served\n)", "example_dev.cpp",
     "The example driver has no such operation; no camera runs it.", "Nothing."},
};

constexpr log_message kNetwork[] = {
    {3, R"(%s\n)", "mcu_wlan.cpp",
     "A network event of the chip is being applied with this command, ifconfig or route.",
     "Nothing. Its own complaints are on standard error."},
    {1, R"(%s failed\n)", "mcu_wlan.cpp",
     "The command could not be started: no memory, process or descriptor was left. The rest of the "
     "update is left out, and the network stays unusable.",
     "See what takes the camera's memory; the chip's next network event tries again."},
    {1, R"(mac is invalid\n)", "hi3861l_net_update.cpp",
     "The chip's network record has no hardware address: the interface stays down.",
     "Give the chip its hardware address; until then no network event can be applied."},
    {1, R"(fopen %s failed\n)", "mcu_resolver.cpp",
     "The resolver's file could not be written: names are not resolved, addresses work.",
     "Make /etc/resolv.conf writable, or a link to a place that is."},
};

constexpr log_message kChannel[] = {
    {kPrinted, R"([%s][%s][l:%d],create is fail:%s\n\r\n)", "hichannel_host.cpp",
     "The netlink socket to the chip could not be made.",
     "With \"Protocol not supported\" the kernel's side of the channel is not loaded."},
    {kPrinted, R"([%s][%s][l:%d],hi_channel_init is fail\n\r\n)",
     "hichannel_host.cpp, hi3861l_init.cpp",
     "The channel to the chip could not be opened, or is open already; the daemon goes on, and "
     "every "
     "exchange fails. Alone, without \"create is fail\" before it: another process holds the port.",
     "Look for a second daemon; load the kernel's side of the channel; restart the daemon."},
    {kPrinted, R"([%s][%s][l:%d],hi_channel_register_rx_cb is fail\n\r\n)", "hichannel_host.cpp",
     "Nobody can be told of the chip's frames: the channel is closed.",
     "See hi_channel_init is fail, which comes first."},
    {kPrinted, R"([%s][%s][l:%d],sendto sata len:%d\n\r\n)", "hichannel_host.cpp",
     "A frame of this length was refused; 1 to 1500 bytes are sent.",
     "Correct what the peer sends to set.cmd."},
    {kPrinted, R"([%s][%s][l:%d],malloc mem is fail\n\r\n)", "hichannel_host.cpp",
     "No memory for a message to the chip.", "See what takes the camera's memory."},
    {kPrinted, R"([%s][%s][l:%d],sendto error:%s\n\r\n)", "hichannel_host.cpp",
     "The kernel did not take a message to the chip. \"Bad file descriptor\": the channel is "
     "closed. "
     "\"Connection refused\": the kernel's side has gone.",
     "Load the kernel's side of the channel, then restart the daemon."},
    {kPrinted, R"([%s][%s][l:%d],recvfrom error! fd:%d\n\r\n)", "hichannel_host.cpp",
     "The receive thread has ended: no answer and no event of the chip arrives any more.",
     "Restart the daemon."},
    {kPrinted, R"([%s][%s][l:%d],hi_channel_deinit is fail\n\r\n)", "hichannel_host.cpp",
     "The channel was to be closed and is not open.", "Nothing."},
};

constexpr log_message kQueue[] = {
    {1, R"(queueHdl is NULL!\n)", "quon_queue.cpp", "A queue was used that could not be made.",
     "See QN_QUEUE_Create failed, at the start."},
    {1, R"(queue %s is full!\n)", "quon_queue.cpp",
     "An element was lost. Of \"hi3861 event\": an event of the chip, for ten stood there already.",
     "Take the events more often (`quon-mcu events --follow`)."},
    {1, R"(queue %s is empty!\n)", "quon_queue.cpp", "Somebody took from a queue that has nothing.",
     "Nothing, where its user may look in vain; of \"hi3861 event\": report it."},
};

constexpr log_message kServer[] = {
    {kPrinted, R"(Cannot create communication socket)",
     "dbus_registration.cpp, dbus_method_thread.cpp",
     "No socket could be made: the process has no descriptor or memory left.",
     "`quon-mcu report` shows the descriptors in use; raise the limit, or mend who leaves them "
     "open."},
    {kPrinted, R"(Cannot bind server socket (%s)\n)", "dbus_registration.cpp",
     "The bus socket could not be made at this path: /tmp is not writable or full, or the path is "
     "somebody else's.",
     "Repair /tmp, then restart the daemon."},
    {kPrinted, R"(Cannot listen the client connect request)", "dbus_registration.cpp",
     "The bus socket takes no connections.", "Restart the daemon."},
    {kPrinted, R"(Cannot accept client connect request)", "dbus_listener.cpp",
     "The listener has ended, usually for lack of descriptors: no new peer is served any more, "
     "the "
     "connected ones are. At the end of a registration it is no failure.",
     "Restart the daemon; see who holds its descriptors (`quon-mcu report`)."},
    {1, R"(too many connections, closed the fd:%d limit:%d\n)", "dbus_listener.cpp",
     "A new peer was sent away so that the daemon keeps descriptors for itself.",
     "See which programs hold connections (`quon-mcu report`) and why they do not close them."},
    {kPrinted, R"(%s malloc ListenArgs failed\n)", "dbus_listener.cpp",
     "No memory for a new connection, which was closed.", "See what takes the camera's memory."},
    {1, R"(alloc msg failed\n)", "dbus_connection_thread.cpp",
     "No memory for a request; its connection was closed.", "See what takes the camera's memory."},
    {2, R"(read msg head is invalid, ret = %d head:%x\n)", "dbus_connection_thread.cpp",
     "A peer sent something that is no bus record; it was dropped.",
     "Find the peer: it was built against another bus header, or writes records in pieces."},
    {1, R"(%s %d read socket data interrupt ret:%d errno:%d (%s)\n)", "dbus_connection_thread.cpp",
     "Reading was interrupted by a signal, and goes on.",
     "Nothing. Again and again with ret:0: that peer has gone, and its connection is kept for an "
     "old "
     "interruption."},
    {kPrinted, R"(%s Write result failed\n)", "dbus_connection.cpp",
     "A result did not reach its peer, which has closed its connection.",
     "Nothing, unless the peer did wait: then its time-out is shorter than the exchange takes."},
    {kPrinted, R"(%s malloc DbusInfo error\n)", "dbus_registration.cpp",
     "No memory for a registration.", "See what takes the camera's memory."},
    {kPrinted, R"(%s malloc DbusInterface error\n)", "dbus_registration.cpp",
     "No memory for the services of a registration.", "See what takes the camera's memory."},
};

constexpr log_message kCaller[] = {
    {kPrinted, R"(Cannot connect to the server (%s) timeout\n)", "dbus_registration.cpp",
     "Nobody serves that bus name.", "Start the daemon, or see why it takes no connections."},
    {kPrinted, R"(%s %d disconnect with server, reconnect, ret:%d errno:%d (%s)\n)",
     "dbus_method_thread.cpp", "The server has closed the connection; the caller reconnects.",
     "Nothing, once. Again and again: see the server's log for why it closes."},
    {kPrinted, R"(%s %d server socket is closed, reconnect daemon\n)", "dbus_method_thread.cpp",
     "The same, as the caller begins to connect.", "Nothing."},
    {kPrinted, R"(Cannot reconnect to the server (%s) timeout\n)", "dbus_method_thread.cpp",
     "The server did not come back; the next call tries once more.", "Restart the server."},
    {kPrinted, R"(%s %d read socket data interrupt ret:%d errno:%d (%s)\n)",
     "dbus_method_thread.cpp", "Reading was interrupted by a signal, and goes on.", "Nothing."},
    {kPrinted, R"(%s %d read socket data failed exit this thread, ret:%d errno:%d (%s)\n)",
     "dbus_method_thread.cpp",
     "The connection broke, most often because the server was killed; the next call reconnects.",
     "See why the server ended."},
    {kPrinted, R"(%s read result head is invalid, ret = %d head:%x\n)", "dbus_method_thread.cpp",
     "The server sent something that is no bus record; it was dropped.",
     "Build both sides against the same bus header."},
    {kPrinted, R"(%s method node is empty\n)", "dbus_method_thread.cpp",
     "A result came after its caller's time-out.",
     "Give the call more time; the exchange with the chip alone may take 3 seconds."},
    {kPrinted, R"(%s result is already exist\n)", "dbus_method_thread.cpp",
     "A call got a second result, which was dropped.", "The server answers twice: mend it."},
    {kPrinted, R"(%s alloc result node failed\n)", "dbus_method_thread.cpp",
     "No memory for a result: its caller gets none.", "See what takes the memory."},
};

constexpr log_message kHandOff[] = {
    {kPrinted, R"(create websocket preinit thread fail:%s\n)", "websocket.cpp",
     "The hand-off has no thread: no early connection in this run.",
     "See what takes the camera's memory, then restart the daemon."},
    {kPrinted, R"(socket failed.)", "local_peer.cpp, server_connection.cpp",
     "No socket could be made: the process has no descriptor left below 1024.",
     "`quon-mcu report` shows the descriptors in use."},
    {kPrinted, R"(bind failed. errno = %d.\n)", "local_peer.cpp",
     "The hand-off socket could not be made: no hand-off in this run.",
     "Make /tmp writable, then restart the daemon."},
    {kPrinted, R"(websocket remote wakeup wait ip update timeout!)", "websocket.cpp",
     "The camera was woken from afar, but the chip reported no network within 3 seconds: no early "
     "connection.",
     "See in a decoded log when the network event came, and whether its commands failed."},
    {kPrinted, R"(ws init ip: %x-%d\n)", "websocket.cpp",
     "The server that the wake-up names, address in hexadecimal in network order, port; 0-0 "
     "without an "
     "early connection.",
     "Nothing."},
    {kPrinted, R"(ws ls connected remote:%s-%d:%d\n)", "websocket.cpp",
     "The connection to the server is up; the last number is a clock in milliseconds.", "Nothing."},
    {kPrinted, R"(ws ls connect server %s:%d failed!\n)", "server_connection.cpp",
     "The connection to the server could not be begun: no route, no address.",
     "Look at wlan0's address and gateway (`quon-mcu status`)."},
    {kPrinted, R"(fcntl F_GETFL failed)", "server_connection.cpp",
     "The socket to the server could not be asked for its flags.",
     "See \"socket failed.\", which comes first."},
    {kPrinted, R"(fcntl F_SETFL failed)", "server_connection.cpp",
     "The socket to the server could not be made non-blocking.",
     "See \"socket failed.\", which comes first."},
    {kPrinted, R"(===========client_sock:%d\n)", "local_peer.cpp",
     "A program has connected to the hand-off socket.", "Nothing."},
    {kPrinted, R"(ws ls recv[%d] ----> len:%d\n)", "local_peer.cpp",
     "That program sent this command, so many bytes; 0 bytes: it has closed, and its last command "
     "is "
     "acted on again.",
     "Nothing."},
    {kPrinted, R"(ws ls recv websocketip, %x:%d, %d\n)", "local_peer.cpp",
     "It asks for a connection to this server; the last number is the state of the present one (0 "
     "none, "
     "1 requested, 2 connecting, 3 connected).",
     "Nothing."},
    {kPrinted, R"(ws ls %s ret = %d, fd:%d\n)", "local_peer.cpp",
     "The connected socket was handed over; a ret below 0 says that it was not, and is lost.",
     "With a ret below 0: see why the program did not wait for it. Then it asks again."},
    {kPrinted, R"(client close)", "local_peer.cpp", "The program has closed its connection.",
     "Nothing."},
    {kPrinted, R"(select error \n)", "websocket.cpp",
     "The hand-off's thread ends, on standard error with the reason: no hand-off from now on.",
     "Restart the daemon."},
};

constexpr log_message_group kGroups[] = {
    {"The daemon", kDaemon},
    {"The chip's driver", kDriver},
    {"The network", kNetwork},
    {"The channel to the chip", kChannel},
    {"Queues", kQueue},
    {"The bus, serving side", kServer},
    {"The bus, calling side", kCaller},
    {"The hand-off", kHandOff},
};

}  // namespace

std::span<const log_message_group> log_messages() {
    return kGroups;
}

}  // namespace quon::client
