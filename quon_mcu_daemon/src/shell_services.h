// Two services that run a shell command with the daemon's rights. They are open to every bus peer,
// for any command and without a time limit: intended.
#ifndef SHELL_SERVICES_H
#define SHELL_SERVICES_H

#include "bus_handler.h"

// The command is the request's text, up to its first zero byte or the end of the payload area.
// Reply: the wait status of system() in decimal. A null request runs nothing (status 0); a null
// reply returns 0.
method_handler system_call;

// Reply: the first `reply_capacity` bytes of the command's standard output. Returns 0 for a null
// request, -1 after logging if the command cannot be started.
method_handler popen_call;

#endif
