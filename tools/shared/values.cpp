#include "shared/values.h"

#include <arpa/inet.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "shared/failure.h"

namespace quon {
namespace {

int digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

template <typename Number, typename... Base>
bool whole(std::string_view text, Number& value, Base... base) {
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, base...);
    return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

byte_list parse_hex(std::string_view text) {
    std::string_view digits = text;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
    }
    byte_list bytes;
    int high = -1;
    for (const char each : digits) {
        if (high < 0 && (each == ' ' || each == ':' || each == '\n' || each == '\t')) {
            continue;
        }
        const int value = digit_value(each);
        if (value < 0) {
            throw failure(exit_status::usage, quoted(text) + " is not hexadecimal");
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | value));
            high = -1;
        }
    }
    if (high >= 0) {
        throw failure(exit_status::usage, quoted(text) + " has an odd number of digits");
    }
    return bytes;
}

int32_t parse_duration(std::string_view text) {
    std::string_view number = text;
    double unit = 1;
    if (number.ends_with("ms")) {
        number.remove_suffix(2);
    } else if (number.ends_with("s")) {
        number.remove_suffix(1);
        unit = 1000;
    }
    double value = 0;
    const double most = std::numeric_limits<int32_t>::max();
    if (!whole(number, value, std::chars_format::fixed) || !(value >= 0) || value * unit > most) {
        throw failure(exit_status::usage,
                      quoted(text) + " is no duration; write milliseconds or, say, 1.5s");
    }
    return static_cast<int32_t>(std::lround(value * unit));
}

int64_t parse_number(std::string_view text, int64_t least, int64_t most) {
    std::string_view digits = text;
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
        base = 16;
    }
    int64_t value = 0;
    if (digits.empty() || (base == 16 && digits[0] == '-') || !whole(digits, value, base) ||
        value < least || value > most) {
        throw failure(exit_status::usage, quoted(text) + " is no number from " +
                                              std::to_string(least) + " to " +
                                              std::to_string(most));
    }
    return value;
}

int64_t parse_number(std::string_view name, std::string_view text, int64_t least, int64_t most) {
    try {
        return parse_number(text, least, most);
    } catch (const failure& error) {
        throw failure(error.status(), std::string(name) + ": " + error.what());
    }
}

byte_list parse_ipv4(std::string_view text) {
    byte_list bytes(4);
    if (inet_pton(AF_INET, std::string(text).c_str(), bytes.data()) != 1) {
        throw failure(exit_status::usage, quoted(text) + " is no IPv4 address");
    }
    return bytes;
}

byte_list parse_mac(std::string_view text) {
    bool has_its_shape = text.size() == std::string_view("02:00:00:00:00:01").size();
    for (size_t i = 2; i < text.size(); i += 3) {
        has_its_shape = has_its_shape && text[i] == ':';
    }
    byte_list bytes = has_its_shape ? parse_hex(text) : byte_list{};
    if (bytes.size() != 6) {
        throw failure(exit_status::usage, quoted(text) + " is no MAC address");
    }
    return bytes;
}

}  // namespace quon
