// The daemon's log as read from its standard output.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace quon::test {

// One printed call of the log under the default mask: letter, tag, time, function, line, message.
struct LogLine {
    char level = '?';  // F, E, W, I or D
    std::string tag;
    std::string function;
    std::string text;  // up to the next log line, so what is printed otherwise may follow it
    int line = 0;
};

std::ostream& operator<<(std::ostream& stream, const LogLine& line);

// Colours are stripped.
std::vector<LogLine> log_lines_of(const std::string& output);

// The text without its colour sequences.
std::string without_colours(const std::string& output);

struct Expected {
    char level;
    std::string tag;
    std::string function;
    std::string text;  // the whole message, its end included
};

bool operator==(const LogLine& line, const Expected& expected);

}  // namespace quon::test
