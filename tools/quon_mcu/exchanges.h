// Matches queries and answers from a log or a journal.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quon_mcu/log_decoder.h"

namespace quon::client {

enum class exchange_kind {
    query,    // a query, with or without its answer
    command,  // without an answer
    answer,   // without its query in the log
    event,    // sent by the chip unasked
    broken,   // a malformed frame
};

struct exchange {
    exchange_kind kind;
    std::string name;                    // of the message; a malformed frame's whole text
    std::string time;                    // as in the log; empty if there is none
    std::optional<int64_t> at_us = {};   // time_of_day() of its first line
    std::optional<int64_t> for_us = {};  // from the query to the answer
    std::string question = {};           // the fields; "empty" if there are none
    std::optional<std::string> answer = {};
    std::string asked_by = {};  // the service, if the log shows it
};

class exchange_reader {
  public:
    explicit exchange_reader(std::function<void(const exchange&)> found);

    // One line without its newline.
    void line(std::string_view text);
    // No more input for now: a complete dump is a frame, and a failure whose asker is known an
    // exchange.
    void idle();
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
    std::optional<exchange> open_;  // its answer, or the requesting service, may still follow
    bool failed_ = false;           // the daemon says that open_ was not answered
    bool has_questions_ = false;    // a journal's log; a daemon's has answers alone
};

// "get_time -> year=26 month=2 (12 ms)".
std::string exchange_text(const exchange& what);

}  // namespace quon::client
