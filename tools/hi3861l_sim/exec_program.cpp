#include "exec_program.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "chip_link/chip_link_protocol.h"
#include "installed.h"
#include "preload_path.h"

namespace quon::sim {

int become(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    std::cerr << "hi3861l-sim: " << command[0] << ": " << std::strerror(error) << '\n';
    return error == ENOENT ? exec_not_found : exec_not_startable;
}

int exec_program(const exec_words& words) {
    if (words.command.empty()) {
        throw std::invalid_argument("COMMAND is missing; see 'hi3861l-sim exec --help'");
    }
    const std::string link = words.link.empty() ? installed_chip_link() : words.link;
    setenv("LD_PRELOAD", preload_list(link).c_str(), 1);
    if (!words.socket.empty()) {
        setenv(kChipLinkSocketVariable, words.socket.c_str(), 1);
    }
    return become(words.command);
}

}  // namespace quon::sim
