// "hi3861l-sim control": one command to a running simulator.
#pragma once

#include <string>

namespace quon::sim {

enum exit_status {
    exit_done = 0,
    exit_error = 1,
    exit_usage = 2,
    exit_no_simulator = 3,
    exit_timed_out = 4,
};

// Whether everything printed so far has reached standard output; reports a failure on standard
// error.
bool flush_output();

// Prints only the result on standard output: the answer's lines (for "get" only the values), or
// with `json` one document. Prints errors on standard error.
int send_control_command(const std::string& path, const std::string& command, bool json);

}  // namespace quon::sim
