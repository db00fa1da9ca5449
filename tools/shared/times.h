// Times as the tools show them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quon {

// "2026-02-03T04:05:06.789", local time.
std::string time_text(std::chrono::system_clock::time_point moment);

// The time of day at the beginning of a line, in microseconds since midnight, local time: as in a
// journal, a system log, the daemon's own lines ("04:05:06.789" within the first words) or strace
// -ttt ("1700000000.123456").
std::optional<int64_t> time_of_day(std::string_view line);

// From one time of day to a later one, possibly across midnight.
int64_t elapsed_us(int64_t from, int64_t to);

}  // namespace quon
