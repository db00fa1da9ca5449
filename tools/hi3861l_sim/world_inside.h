// What goes on inside a world of "run": the chip, the daemon, the command.
#pragma once

#include <string>
#include <vector>

#include "chip_options.h"

namespace quon::sim {

struct world_programs {
    chip_settings chip;
    std::string daemon;
    std::string link;
    int chip_log;  // descriptors for the outputs
    int daemon_log;
    std::vector<std::string> command;
};

// Starts chip, daemon and, when the daemon has taken its snapshot of the chip, the command; ends
// them all and whatever they left behind. Returns the command's exit status, or kRunFailed with a
// word on standard error. SIGTERM, SIGHUP and a SIGINT that comes from no terminal go to the
// command. For a process of its own.
int run_programs(const world_programs& programs);

}  // namespace quon::sim
