// "hi3861l-sim exec": a program under the chip link.
#pragma once

#include <string>
#include <vector>

namespace quon::sim {

struct exec_words {
    std::string link;    // the preload library; empty: the installed one
    std::string socket;  // the chip's socket; empty: as the environment says
    std::vector<std::string> command;
};

// The statuses of a command that cannot be started, as env(1) and the shells have them.
enum exec_status { exec_not_startable = 126, exec_not_found = 127 };

// Becomes the command, which has a word at least. Returns only when it cannot, with one of these
// statuses and a word on standard error.
int become(const std::vector<std::string>& command);

// The same under the chip link. Throws std::exception when there is no link, or no command.
int exec_program(const exec_words& words);

}  // namespace quon::sim
