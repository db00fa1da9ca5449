// "hi3861l-sim control": one command to a running simulator.
#pragma once

#include <string>

namespace quon::sim {

enum exit_status { exit_done = 0, exit_error = 1, exit_usage = 2, exit_no_simulator = 3 };

// Whether everything printed so far has reached standard output; says so on standard error if not.
bool flush_output();

// Prints the answer on standard output, an error or a failure on standard error.
int send_control_command(const std::string& path, const std::string& command);

}  // namespace quon::sim
