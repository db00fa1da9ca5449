// The client as a child process.
#pragma once

#include <string>
#include <vector>

#include "child_process.h"

namespace quon::test {

// The command that starts this build's client with these arguments.
std::vector<std::string> client_command(const std::vector<std::string>& arguments);

Result run_client(const std::vector<std::string>& arguments, const std::string& input = {});

inline ExitStatus exited_with(int code) {
    return {.exited = true, .code = code};
}

}  // namespace quon::test
