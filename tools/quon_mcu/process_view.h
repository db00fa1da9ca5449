// A process as the kernel shows it: its threads, memory, descriptors and sockets.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "quon_mcu/present.h"

namespace quon::client {

struct thread_view {
    pid_t id;
    std::string name;
    std::string state;  // "S (sleeping)"
};

struct descriptor_view {
    int number;
    std::string what;  // a path, or "socket:[123]"
};

// What cannot be read, such as another user's, is empty.
std::string program_of(pid_t process);                            // its executable
std::string status_line(pid_t process, const std::string& name);  // "VmRSS" of /proc/PID/status
std::string limit_of_descriptors(pid_t process);
std::vector<thread_view> threads_of(pid_t process);
std::vector<descriptor_view> descriptors_of(pid_t process);

// A header row and one row per socket of the process: descriptor, kind, address, bytes not yet
// read, bytes not yet taken by the other end, the program there.
row_list sockets_of(pid_t process);

}  // namespace quon::client
