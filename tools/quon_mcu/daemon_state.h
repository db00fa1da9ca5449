// Reasons why a daemon does not answer, as far as the machine shows them.
#pragma once

#include <sys/types.h>

#include <string>

namespace quon::client {

// Why a connection to the socket at `path` failed: nobody is listening, the process is stopped, its
// queue of connections is full, or it no longer accepts any. Never empty. Does not block.
std::string why_unreachable(const std::string& path);

// The process listening at `path`; 0 if none is found.
pid_t process_behind(const std::string& path);

enum class daemon_state { gone, stuck, running };

struct daemon_report {
    daemon_state state;
    std::string text;  // as above; empty while it runs
};

// The state of the process at the other end of an existing connection.
daemon_report look_at_daemon(const std::string& path);

}  // namespace quon::client
