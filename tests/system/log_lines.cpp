#include "log_lines.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string_view>

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

namespace {

bool is_name(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_';
}

// "0" stands for a digit, everything else for itself.
bool has_form(std::string_view text, std::string_view form) {
    return text.size() >= form.size() &&
           std::equal(form.begin(), form.end(), text.begin(), [](char wanted, char letter) {
               return wanted == '0' ? std::isdigit(static_cast<unsigned char>(letter)) != 0
                                    : wanted == letter;
           });
}

std::string take_name(std::string_view& rest) {
    const auto end = std::find_if_not(rest.begin(), rest.end(), is_name);
    std::string name(rest.begin(), end);
    rest.remove_prefix(name.size());
    return name;
}

// Takes the head "E/TAG [11-21 00:00:00.000] (function:12) " off the front.
std::optional<LogLine> take_head(std::string_view& rest) {
    constexpr std::string_view kTime = "[00-00 00:00:00.000] (";
    if (rest.size() < 2 || rest[1] != '/' || !std::strchr("FEWID", rest[0])) {
        return std::nullopt;
    }
    LogLine line;
    line.level = rest[0];
    rest.remove_prefix(2);
    line.tag = take_name(rest);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (line.tag.empty() || !has_form(rest, kTime)) {
        return std::nullopt;
    }
    rest.remove_prefix(kTime.size());
    line.function = take_name(rest);
    const std::size_t end = rest.find(") ");
    if (end == std::string_view::npos || !rest.starts_with(':')) {
        return std::nullopt;
    }
    line.line = std::atoi(std::string(rest.substr(1, end - 1)).c_str());
    rest.remove_prefix(end + 2);
    return line;
}

}  // namespace

std::vector<LogLine> log_lines_of(const std::string& output) {
    const std::string plain = without_colours(output);
    std::vector<LogLine> lines;
    for (std::string_view rest = plain; !rest.empty();) {
        std::string_view behind = rest;
        if (const std::optional<LogLine> head = take_head(behind)) {
            lines.push_back(*head);
            rest = behind;
        } else {
            if (!lines.empty()) {
                lines.back().text += rest.front();
            }
            rest.remove_prefix(1);
        }
    }
    return lines;
}

bool operator==(const LogLine& line, const Expected& expected) {
    return line.level == expected.level && line.tag == expected.tag &&
           line.function == expected.function && line.text.starts_with(expected.text);
}

}  // namespace quon::test
