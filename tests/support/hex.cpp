#include "hex.h"

#include <stdexcept>

namespace quon::test {

namespace {

std::uint8_t digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<std::uint8_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<std::uint8_t>(digit - 'A' + 10);
    }
    throw std::invalid_argument(std::string("no hex digit: ") + digit);
}

}  // namespace

Bytes from_hex(std::string_view text) {
    Bytes bytes;
    bool half = false;
    for (const char letter : text) {
        if (letter == ' ') {
            continue;
        }
        const std::uint8_t value = digit_value(letter);
        if (half) {
            bytes.back() = static_cast<std::uint8_t>(bytes.back() * 16 + value);
        } else {
            bytes.push_back(value);
        }
        half = !half;
    }
    if (half) {
        throw std::invalid_argument("odd number of hex digits");
    }
    return bytes;
}

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += kDigits[byte / 16];
        text += kDigits[byte % 16];
    }
    return text;
}

Bytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

}  // namespace quon::test
