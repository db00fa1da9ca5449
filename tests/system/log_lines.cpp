#include "log_lines.h"

#include <cstdlib>
#include <regex>

namespace quon::test {

std::string without_colours(const std::string& output) {
    std::string plain;
    for (std::size_t place = 0; place < output.size();) {
        if (output.compare(place, 2, "\x1b[") == 0) {
            const std::size_t end = output.find('m', place);
            place = end == std::string::npos ? output.size() : end + 1;
        } else {
            plain += output[place++];
        }
    }
    return plain;
}

std::ostream& operator<<(std::ostream& stream, const LogLine& line) {
    return stream << line.level << '/' << line.tag << " (" << line.function << ") " << line.text;
}

std::vector<LogLine> log_lines_of(const std::string& output) {
    static const std::regex kHead(
        R"(([FEWID])/([A-Z0-9_]+) +\[\d\d-\d\d \d\d:\d\d:\d\d\.\d\d\d\] \(([A-Za-z0-9_]+):(\d+)\) )");
    const std::string plain = without_colours(output);
    std::vector<LogLine> lines;
    std::size_t text_start = 0;
    for (std::sregex_iterator head(plain.begin(), plain.end(), kHead), end; head != end; ++head) {
        const auto place = static_cast<std::size_t>(head->position());
        if (!lines.empty()) {
            lines.back().text = plain.substr(text_start, place - text_start);
        }
        text_start = place + static_cast<std::size_t>(head->length());
        lines.push_back({.level = (*head)[1].str()[0],
                         .tag = (*head)[2],
                         .function = (*head)[3],
                         .text = {},
                         .line = std::atoi((*head)[4].str().c_str())});
    }
    if (!lines.empty()) {
        lines.back().text = plain.substr(text_start);
    }
    return lines;
}

bool operator==(const LogLine& line, const Expected& expected) {
    return line.level == expected.level && line.tag == expected.tag &&
           line.function == expected.function && line.text.starts_with(expected.text);
}

}  // namespace quon::test
