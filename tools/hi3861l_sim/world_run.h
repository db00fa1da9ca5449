// "hi3861l-sim run": chip and daemon in a private world, and a command in it.
#pragma once

#include <string>
#include <vector>

#include "chip_options.h"

namespace quon::sim {

struct run_words {
    chip_settings chip;
    std::string daemon;             // empty: the installed one
    std::string link;               // the chip link; empty: the installed one
    std::string logs;               // folder for both logs; empty: shown if the command fails
    std::string world = "auto";     // "own", "here" or "auto"
    std::vector<std::string> kept;  // paths below /tmp that stay visible
    std::vector<std::string> command;
};

// Exit status for failures around the command, as in timeout(1).
inline constexpr int kRunFailed = 125;

// Returns the command's exit status, 128 plus the number of the signal that ended it, or
// kRunFailed. Everything that was started has ended by then. Throws std::exception for invalid
// arguments.
int run_in_world(const run_words& words);

}  // namespace quon::sim
