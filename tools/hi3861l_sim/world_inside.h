// The inside of a world of "run": the chip, the daemon, the command.
#pragma once

#include <string>
#include <vector>

#include "chip_options.h"

namespace quon::sim {

struct world_programs {
    chip_settings chip;
    std::string daemon;
    std::string link;
    int chip_log;  // descriptors for the two outputs
    int daemon_log;
    std::vector<std::string> command;
};

// Starts the chip, the daemon and, once the daemon has taken its snapshot, the command; ends them
// all and any processes that they left behind. Returns the command's exit status, or kRunFailed
// with a message on standard error. Passes SIGTERM, SIGHUP and a SIGINT that is not from a terminal
// to the command. Must run in its own process.
int run_programs(const world_programs& programs);

}  // namespace quon::sim
