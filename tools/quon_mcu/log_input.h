// Lines of logs, whoever wrote them, and the times in them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "shared/output.h"

namespace quon::client {

// The time of day that a line begins with, in microseconds since midnight, local time: as a
// journal, a system log, the daemon's own lines ("04:05:06.789" within the first words) or strace
// -ttt
// ("1700000000.123456") have it.
std::optional<int64_t> time_of_day(std::string_view line);

// From one time of day to a later one, also across midnight.
int64_t elapsed_us(int64_t from, int64_t to);

// "12 ms", "12.3 ms".
std::string ms_text(int64_t us);

struct log_reader {
    std::function<void(std::string_view)> line;
    std::function<void()> idle = [] {};  // a followed file has nothing more for now
};

// Every line of a file, or of standard input for "" and "-". With `follow` it goes on with what is
// appended, and begins again with a file that takes the old one's place or was cut; it ends then
// only with the process. Throws failure (usage) when the file cannot be read.
void read_log(output& out, const std::string& file, bool follow, const log_reader& reader);

}  // namespace quon::client
