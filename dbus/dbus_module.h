// Name and tag in the messages and log lines of every file of the bus library.
#ifndef DBUS_MODULE_H
#define DBUS_MODULE_H

namespace quon::dbus {

inline constexpr char kTag[] = "DBUS";
inline constexpr char kSourceName[] = "dbus_socket_common";
inline constexpr char kThreadName[] = "DbusProcess";
inline constexpr char kNoSocket[] = "Cannot create communication socket";

}  // namespace quon::dbus

#endif
