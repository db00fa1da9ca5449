// The channel's and the driver's own printed lines: "[source path][function][l:line],text".
#pragma once

#include <cctype>
#include <cstddef>
#include <string>

namespace quon::test {

// The same text with N for every source line number.
inline std::string without_line_numbers(std::string text) {
    const std::string mark = "[l:";
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
        at += mark.size();
        std::size_t end = at;
        while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0) {
            end++;
        }
        text.replace(at, end - at, "N");
    }
    return text;
}

}  // namespace quon::test
