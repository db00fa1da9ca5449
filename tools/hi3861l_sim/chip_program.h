// The simulated chip as a program.
#pragma once

#include <functional>

#include "chip_options.h"

namespace quon::sim {

// Runs the chip until SIGINT, SIGTERM or "quit". `ready` is called when it can be reached. Throws
// std::exception when it cannot start: bad_value and std::invalid_argument for a setting that makes
// no sense.
void run_chip(const chip_settings& chosen,
              const std::function<void(const std::string& where)>& ready);

}  // namespace quon::sim
