// "hi3861l-sim run": chip and daemon in a world of their own, and a command in it.
#pragma once

#include <string>
#include <vector>

#include "chip_options.h"

namespace quon::sim {

struct run_words {
    chip_settings chip;
    std::string daemon;             // empty: the installed one
    std::string link;               // the chip link; empty: the installed one
    std::string logs;               // folder for both logs; empty: shown when the command fails
    std::string world = "auto";     // "own", "here" or "auto"
    std::vector<std::string> kept;  // what stays visible below /tmp
    std::vector<std::string> command;
};

// Of what went wrong around the command, as timeout(1) has it.
inline constexpr int kRunFailed = 125;

// Returns the command's exit status, 128 and its number for a signal, or kRunFailed. Everything
// that was started has ended then. Throws std::exception when the words make no sense.
int run_in_world(const run_words& words);

}  // namespace quon::sim
