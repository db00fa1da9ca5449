// What keeps a daemon from answering, as far as the machine shows it.
#pragma once

#include <sys/types.h>

#include <string>

namespace quon::client {

// Why a connection to the socket at `path` failed: nobody is there, the process behind it is
// stopped, its queue of connections is full, or it no longer takes any. Never empty. Does not
// block.
std::string why_unreachable(const std::string& path);

// The process that listens at `path`; 0 when none is found.
pid_t process_behind(const std::string& path);

enum class daemon_state { gone, stuck, running };

struct daemon_report {
    daemon_state state;
    std::string text;  // as above; empty while it runs
};

// How the process behind a connection stands that was made before.
daemon_report look_at_daemon(const std::string& path);

}  // namespace quon::client
