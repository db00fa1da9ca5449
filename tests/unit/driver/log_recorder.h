// The log lines of this process, taken through the log's hook.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace quon::test {

struct LogLine {
    unsigned level = 0;
    std::string tag;
    std::string source;
    std::string function;
    std::string text;
    bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

// A line of the driver. The log keeps 31 characters of the function's name.
LogLine driver_line(unsigned level, const std::string& function, const std::string& text);

// The level-1 line "[reason] failed" of the driver.
LogLine failure_line(const std::string& function, const std::string& reason);

// Lines up to `level` are kept from now on.
void record_log(unsigned level);
std::vector<LogLine> log_lines();
std::vector<LogLine> log_lines_up_to(unsigned level);
void forget_log();

// Called with every line, under the log's lock: it must not log.
void on_log_line(std::function<void(const LogLine&)> function);

}  // namespace quon::test
