// Lines of logs from any source, and the times in them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "shared/output.h"
#include "shared/times.h"

namespace quon::client {

// "12 ms", "12.3 ms".
std::string ms_text(int64_t us);

struct log_reader {
    std::function<void(std::string_view)> line;
    std::function<void()> idle = [] {};  // a followed file has no more for now
};

// Every line of a file, or of standard input for "" and "-". With `follow`, continues with appended
// lines, and starts again with a file that replaces the old one or was truncated; it then never
// returns. Throws failure (usage) if the file cannot be read.
void read_log(output& out, const std::string& file, bool follow, const log_reader& reader);

}  // namespace quon::client
