#include "quon_mcu/log_input.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>

#include "shared/failure.h"
#include "shared/files.h"

namespace quon::client {
namespace {

constexpr std::chrono::milliseconds kFollowPause{100};

// Complete lines from a stream's present content; an incomplete line is kept for later.
class line_gatherer {
  public:
    explicit line_gatherer(const log_reader& reader) : reader_(reader) {}

    void take_all(std::istream& in) {
        for (std::string piece; read_line(in, piece);) {
            begun_ += piece;
            if (in.eof()) {
                return;  // its end is still missing
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
