#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "shared/output.h"

namespace quon::client {

// Runs one command line (without the program's name) and returns the exit status.
int run(std::vector<std::string> words, output out, int32_t timeout_ms = 5000);

}  // namespace quon::client
