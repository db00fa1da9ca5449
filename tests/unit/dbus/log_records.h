// The log calls of the code under test, as a hook of the log sees them.
#pragma once

#include <string>
#include <vector>

#include "waiting.h"

namespace quon::test {

struct LogLine {
    unsigned level;
    std::string tag;
    std::string file;
    std::string func;
    std::string msg;
    bool operator==(const LogLine&) const = default;
};

// Collects every line of every level from construction on. One at a time, to the end of the process
// (threads go on logging).
class LogRecords {
  public:
    LogRecords();
    [[nodiscard]] std::vector<LogLine> lines() const;
    // Waits for `count` lines.
    [[nodiscard]] bool wait_for(std::size_t count) const;
};

}  // namespace quon::test
