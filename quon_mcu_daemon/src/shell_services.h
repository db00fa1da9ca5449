// Two services that run a shell command with the daemon's rights. They are open to every bus peer,
// for any command and any time: intended.
#ifndef SHELL_SERVICES_H
#define SHELL_SERVICES_H

#include "bus_handler.h"

// The command is the request's text, which ends at its first zero byte or at the end of the payload
// area. Reply: the decimal wait status as system() returned it. Nothing runs for a null request
// (status 0); a null reply gives 0.
method_handler system_call;

// Reply: the first `reply_capacity` bytes that the command printed on its standard output. Returns
// 0 for a null request, -1 after logging when the command cannot be started.
method_handler popen_call;

#endif
