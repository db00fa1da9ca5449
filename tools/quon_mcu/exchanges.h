// Questions and answers out of a log or a journal, put together.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quon_mcu/log_decoder.h"

namespace quon::client {

enum class exchange_kind {
    query,    // a question, with or without its answer
    command,  // nobody awaits an answer
    answer,   // its question is not in the log
    event,    // the chip's own accord
    broken,   // a malformed frame
};

struct exchange {
    exchange_kind kind;
    std::string name;                    // of the message; the whole text of a malformed frame
    std::string time;                    // as the log has it; empty without one
    std::optional<int64_t> at_us = {};   // time_of_day() of its first line
    std::optional<int64_t> for_us = {};  // from the question to the answer
    std::string question = {};           // the fields; "empty" without any
    std::optional<std::string> answer = {};
    std::string asked_by = {};  // the service, where the log tells it
};

class exchange_reader {
  public:
    explicit exchange_reader(std::function<void(const exchange&)> found);

    // One line without its newline.
    void line(std::string_view text);
    // Nothing more comes for now: a dump that is complete is a frame.
    void idle() { decoder_.idle(); }
    void end();

    size_t strays() const { return decoder_.strays(); }

  private:
    void frame(const logged_frame& frame);
    void question(exchange asked, bool is_awaited);
    void answer(const exchange& given);
    void failure_line(std::string_view text);
    void give_up();

    std::function<void(const exchange&)> found_;
    log_decoder decoder_;
    std::optional<exchange> open_;  // its answer, or who asked, may still come
    bool failed_ = false;           // open_ had no answer, as the daemon says
};

// "get_time -> year=26 month=2 (12 ms)".
std::string exchange_text(const exchange& what);

}  // namespace quon::client
