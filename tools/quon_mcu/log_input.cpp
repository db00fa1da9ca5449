#include "quon_mcu/log_input.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>

#include "shared/failure.h"

namespace quon::client {
namespace {

constexpr int64_t kUsPerS = 1'000'000;
constexpr int64_t kUsPerDay = 86'400 * kUsPerS;
constexpr size_t kLongestHead = 64;  // where a line's time begins at the latest
constexpr size_t kEpochDigits = 10;
constexpr std::chrono::milliseconds kFollowPause{100};

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

// "04:05:06" at `at`, and no part of something longer, as a hardware address is.
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
    const std::time_t seconds = std::stoll(std::string(text.substr(at, kEpochDigits)));
    std::tm local{};
    localtime_r(&seconds, &local);
    const int64_t minutes = local.tm_hour * 60 + local.tm_min;
    return (minutes * 60 + local.tm_sec) * kUsPerS + fraction_us(text, at + kEpochDigits);
}

// Whole lines out of what a stream has now; a line without its end is kept for later.
class line_gatherer {
  public:
    explicit line_gatherer(const log_reader& reader) : reader_(reader) {}

    void take_all(std::istream& in) {
        for (std::string piece; std::getline(in, piece);) {
            begun_ += piece;
            if (in.eof()) {
                return;  // its end has not come yet
            }
            reader_.line(begun_);
            begun_.clear();
        }
    }

    void finish() {
        if (!begun_.empty()) {
            reader_.line(begun_);
            begun_.clear();
        }
    }

  private:
    const log_reader& reader_;
    std::string begun_;
};

std::ifstream open_log(const std::string& file) {
    errno = 0;
    std::ifstream in(file);
    if (!in || in.peek() == std::ifstream::traits_type::eof()) {
        if (!in.is_open() || in.bad()) {
            throw failure(exit_status::usage,
                          "cannot read '" + file + "': " + std::strerror(errno));
        }
        in.clear();
    }
    return in;
}

struct file_state {
    ino_t number = 0;
    off_t size = 0;
};

std::optional<file_state> look_at(const std::string& file) {
    struct stat now {};
    if (stat(file.c_str(), &now) != 0) {
        return std::nullopt;
    }
    return file_state{now.st_ino, now.st_size};
}

[[noreturn]] void follow_file(output& out, const std::string& file, std::ifstream in,
                              const log_reader& reader) {
    line_gatherer lines(reader);
    file_state seen = look_at(file).value_or(file_state{});
    for (;;) {
        lines.take_all(in);
        reader.idle();
        out.rest(kFollowPause);
        const auto now = look_at(file);
        if (now && (now->number != seen.number || now->size < seen.size)) {
            in.clear();
            lines.take_all(in);  // what was written last
            lines.finish();
            in = std::ifstream(file);
        }
        seen = now.value_or(seen);
        in.clear();
    }
}

}  // namespace

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

std::string ms_text(int64_t us) {
    constexpr int64_t kUsPerMs = 1000;
    std::string text = std::to_string(us / kUsPerMs);
    if (us % kUsPerMs != 0) {
        text += "." + std::to_string(us % kUsPerMs / 100);
    }
    return text + " ms";
}

void read_log(output& out, const std::string& file, bool follow, const log_reader& reader) {
    line_gatherer lines(reader);
    if (file.empty() || file == "-") {
        lines.take_all(std::cin);
        lines.finish();
        return;
    }
    std::ifstream in = open_log(file);
    if (follow) {
        follow_file(out, file, std::move(in), reader);
    }
    lines.take_all(in);
    lines.finish();
}

}  // namespace quon::client
