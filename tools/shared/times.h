// Moments as the tools show them.
#pragma once

#include <chrono>
#include <string>

namespace quon {

// "2026-02-03T04:05:06.789", local time.
std::string time_text(std::chrono::system_clock::time_point moment);

}  // namespace quon
