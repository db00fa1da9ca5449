// The simulated chip as a program.
#pragma once

#include <functional>
#include <memory>

#include "chip_options.h"

namespace quon::sim {

// The capture of these settings, which begins anew unless it is open already; null without one.
// Throws std::runtime_error if its file cannot be written.
std::shared_ptr<capture> open_capture(const chip_settings& chosen);

// Runs the chip until SIGINT, SIGTERM or "quit". `ready` is called once it can be reached. Throws
// std::exception if it cannot start: bad_value and std::invalid_argument for an invalid setting.
void run_chip(const chip_settings& chosen,
              const std::function<void(const std::string& where)>& ready);

}  // namespace quon::sim
