#include "shared/times.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <ctime>

namespace quon {
namespace {

constexpr int64_t kUsPerS = 1'000'000;
constexpr int64_t kUsPerDay = 86'400 * kUsPerS;
constexpr size_t kLongestHead = 64;  // a line's time begins within this many characters
constexpr size_t kEpochDigits = 10;

bool is_digit(std::string_view text, size_t at) {
    return at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) != 0;
}

bool is_mark(std::string_view text, size_t at, char mark) {
    return at < text.size() && text[at] == mark;
}

int64_t two_digits(std::string_view text, size_t at) {
    return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

// ".789" and the like, as microseconds; 0 without one.
int64_t fraction_us(std::string_view text, size_t at) {
    if (!is_mark(text, at, '.') && !is_mark(text, at, ',')) {
        return 0;
    }
    int64_t us = 0;
    int64_t unit = kUsPerS / 10;
    for (size_t i = at + 1; is_digit(text, i) && unit != 0; ++i, unit /= 10) {
        us += (text[i] - '0') * unit;
    }
    return us;
}

// "04:05:06" at `at`, and not part of something longer such as a hardware address.
bool is_clock(std::string_view text, size_t at) {
    constexpr size_t kSize = 8;
    for (size_t i = 0; i < kSize; ++i) {
        if (i % 3 == 2 ? !is_mark(text, at + i, ':') : !is_digit(text, at + i)) {
            return false;
        }
    }
    const bool goes_on = is_mark(text, at + kSize, ':') || is_digit(text, at + kSize);
    return !goes_on && (at == 0 || (text[at - 1] != ':' && !is_digit(text, at - 1)));
}

int64_t clock_us(std::string_view text, size_t at) {
    const int64_t minutes = two_digits(text, at) * 60 + two_digits(text, at + 3);
    return (minutes * 60 + two_digits(text, at + 6)) * kUsPerS + fraction_us(text, at + 8);
}

bool is_epoch(std::string_view text, size_t at) {
    for (size_t i = 0; i < kEpochDigits; ++i) {
        if (!is_digit(text, at + i)) {
            return false;
        }
    }
    return is_mark(text, at + kEpochDigits, '.') && (at == 0 || text[at - 1] == ' ');
}

int64_t epoch_us(std::string_view text, size_t at) {
    const auto seconds =
        static_cast<std::time_t>(std::stoll(std::string(text.substr(at, kEpochDigits))));
    std::tm local{};
    localtime_r(&seconds, &local);
    const int64_t minutes = local.tm_hour * 60 + local.tm_min;
    return (minutes * 60 + local.tm_sec) * kUsPerS + fraction_us(text, at + kEpochDigits);
}

}  // namespace

std::string time_text(std::chrono::system_clock::time_point moment) {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    const auto ms = duration_cast<milliseconds>(moment.time_since_epoch()).count() % 1000;
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + size, text.size() - size, ".%03d", static_cast<int>(ms));
    return text.data();
}

std::optional<int64_t> time_of_day(std::string_view line) {
    for (size_t at = 0; at < std::min(line.size(), kLongestHead); ++at) {
        if (is_clock(line, at)) {
            return clock_us(line, at);
        }
        if (is_epoch(line, at)) {
            return epoch_us(line, at);
        }
    }
    return std::nullopt;
}

int64_t elapsed_us(int64_t from, int64_t to) {
    const int64_t difference = to - from;
    return difference < -kUsPerDay / 2 ? difference + kUsPerDay : difference;
}

}  // namespace quon
