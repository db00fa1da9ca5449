// Extracts the chip's frames from the daemon's log or the simulated chip's journal, line by line.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "catalog/catalog.h"
#include "shared/bytes.h"

namespace quon::catalog {

struct logged_frame {
    std::string time;  // text before the frame: the time in a journal or a stored log
    direction way;
    byte_list bytes;   // the whole frame; empty for a journal line
    std::string text;  // the journal's text after the direction
};

class log_decoder {
  public:
    explicit log_decoder(std::function<void(const logged_frame&)> found)
        : found_(std::move(found)) {}

    // One line without its newline; colour sequences and text around the dump are ignored.
    void line(std::string_view text);

    // No more input for now: a dump that has reached its declared length is a frame.
    void idle();

    // End of the log: an unfinished dump is a frame too.
    void end();

    // Dump lines that are not part of a frame.
    size_t strays() const { return strays_; }

  private:
    void dump_line(std::string_view before, std::string_view text, size_t start, size_t width);
    bool is_complete() const;
    void emit();

    std::function<void(const logged_frame&)> found_;
    byte_list frame_;
    std::string time_;  // of the frame under construction
    size_t strays_ = 0;
};

// The text before a dump or a log line, up to its time of day; empty if there is none. Programs
// that store logs may put a time before each line.
std::string time_in(std::string_view before);

// The function named in a log line: "hi3861l_api_get_time" in "E/HI3861L [...]
// (hi3861l_api_get_time:24) ..."; empty if there is none.
std::string_view logged_function(std::string_view line);

// Whether a function name from a log line, cut to its field, may be this one.
bool is_logged_function(std::string_view logged, std::string_view name);

// Whether the line says that the chip did not answer.
bool says_no_answer(std::string_view line);

// The message that a driver's function sends; null if unknown.
const message* message_asked_by(std::string_view logged);

// The whole frame described by a journal's text after the direction, "0x84 get_time len 10 year=26
// ...". Empty for a malformed frame or other text. Bytes after the end of a text, which the journal
// does not show, are zero.
std::optional<byte_list> frame_of_words(direction way, std::string_view words);

}  // namespace quon::catalog
