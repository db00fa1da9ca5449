// Frames of the chip out of the daemon's log or the simulated chip's journal, line by line.
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
    std::string time;  // what stands before the frame: the time of a journal or of a kept log
    direction way;
    byte_list bytes;   // the whole frame; empty when it comes from a journal
    std::string text;  // the journal's own words after the direction
};

class log_decoder {
  public:
    explicit log_decoder(std::function<void(const logged_frame&)> found)
        : found_(std::move(found)) {}

    // One line without its newline; colour sequences and words around the dump are ignored.
    void line(std::string_view text);

    // Nothing more comes for now: a dump that has its declared length is a frame.
    void idle();

    // The log is over: a dump that has begun is a frame.
    void end();

    // Dump lines that belong to no frame.
    size_t strays() const { return strays_; }

  private:
    void dump_line(std::string_view before, std::string_view text, size_t start, size_t width);
    bool is_complete() const;
    void emit();

    std::function<void(const logged_frame&)> found_;
    byte_list frame_;
    std::string time_;  // of the frame that is being gathered
    size_t strays_ = 0;
};

// What stands before a dump or a log line, up to its time of day; empty without one. A log may be
// kept by a program that puts a time before each line.
std::string time_in(std::string_view before);

// The function that a log line bears: "hi3861l_api_get_time" of "E/HI3861L [...]
// (hi3861l_api_get_time:24)
// ..."; empty without one.
std::string_view logged_function(std::string_view line);

// Whether a function that a log line bears, cut to its field, may be this one.
bool is_logged_function(std::string_view logged, std::string_view name);

// Whether the line says that the chip gave no answer to its function's question.
bool says_no_answer(std::string_view line);

// The message that a function of the driver asks with; null where it cannot be told.
const message* message_asked_by(std::string_view logged);

// The whole frame that a journal's words after the direction tell, "0x84 get_time len 10 year=26
// ...". Nothing for a malformed one, or for words that no journal has. Bytes behind the end of a
// text, which the words do not tell, are zero.
std::optional<byte_list> frame_of_words(direction way, std::string_view words);

}  // namespace quon::catalog
