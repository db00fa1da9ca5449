// "hi3861l-sim exec": runs a program with the chip link.
#pragma once

#include <string>
#include <vector>

namespace quon::sim {

struct exec_words {
    std::string link;    // the preload library; empty: the installed one
    std::string socket;  // the chip's socket; empty: from the environment
    std::vector<std::string> command;
};

// Exit statuses of a command that cannot be started, as in env(1) and the shells.
enum exec_status { exec_not_startable = 126, exec_not_found = 127 };

// Replaces this process by the command, which has at least one word. Returns only on failure, with
// one of these statuses and a message on standard error.
int become(const std::vector<std::string>& command);

// The same with the chip link. Throws std::exception if the link or the command is missing.
int exec_program(const exec_words& words);

}  // namespace quon::sim
