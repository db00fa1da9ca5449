#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace quon::test {

// The lines of a text, without their ends.
inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace quon::test
